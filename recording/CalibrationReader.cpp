// CalibrationReader.cpp - see CalibrationReader.h.
#include "recording/CalibrationReader.h"

#include <array>
#include <cmath>
#include <tinyxml2.h>

namespace ox3d {
namespace {

using tinyxml2::XMLElement;

constexpr std::array<const char*, 9> kRotation = {"r00", "r01", "r02", "r10", "r11",
                                                  "r12", "r20", "r21", "r22"};
constexpr std::array<const char*, 3> kTranslation = {"t0", "t1", "t2"};

// 0 for what is missing, as the library takes it.
double Number(const XMLElement& element, const char* name) {
    const double number = element.DoubleAttribute(name, 0);
    return std::isfinite(number) ? number : 0;
}

const XMLElement* Child(const XMLElement* parent, const char* name) {
    return parent == nullptr ? nullptr : parent->FirstChildElement(name);
}

// The first set where it is for that width, else the second, whose own width does not count.
const XMLElement* SetFor(const tinyxml2::XMLDocument& document, uint32_t depthWidth) {
    const XMLElement* const root = document.RootElement();
    const XMLElement* const first = Child(root, "RGBD_1");
    const XMLElement* const camera = Child(first, "Camera");
    if (camera == nullptr) {
        return nullptr;
    }
    return camera->Unsigned64Attribute("img_w") == depthWidth ? first : Child(root, "RGBD_2");
}

bool ReadLens(const XMLElement* sensor, const XMLElement* camera, RecordedLens* lens) {
    const XMLElement* const intrinsics = Child(sensor, "Intrins");
    if (intrinsics == nullptr) {
        return false;
    }
    lens->m_fx = Number(*intrinsics, "fx");
    lens->m_fy = Number(*intrinsics, "fy");
    lens->m_cx = Number(*intrinsics, "cx");
    lens->m_cy = Number(*intrinsics, "cy");
    if (camera != nullptr) {
        lens->m_width = camera->UnsignedAttribute("img_w");
        lens->m_height = camera->UnsignedAttribute("img_h");
    }
    if (const XMLElement* const distortion = Child(sensor, "Distort")) {
        const bool isFifthK3 = distortion->Attribute("k3") != nullptr;
        lens->m_distortion = {Number(*distortion, "k1"), Number(*distortion, "k2"), Number(*distortion, "p1"),
                              Number(*distortion, "p2"), Number(*distortion, isFifthK3 ? "k3" : "p3")};
    }
    return lens->m_fx > 0 && lens->m_fy > 0;
}

bool ReadWay(const XMLElement* correction, RecordedWay* way) {
    const XMLElement* const rotation = Child(correction, "RotMat");
    const XMLElement* const translation = Child(correction, "TVec");
    if (rotation == nullptr || translation == nullptr) {
        return false;
    }
    for (size_t i = 0; i < kRotation.size(); ++i) {
        way->m_rotation[i] = Number(*rotation, kRotation[i]);
    }
    for (size_t i = 0; i < kTranslation.size(); ++i) {
        way->m_translationMm[i] = Number(*translation, kTranslation[i]);
    }
    return true;
}

} // namespace

std::optional<RecordedCalibration> ReadCalibration(const std::string& xml, uint32_t depthWidth) {
    tinyxml2::XMLDocument document;
    if (document.Parse(xml.data(), xml.size()) != tinyxml2::XML_SUCCESS) {
        return std::nullopt;
    }
    const XMLElement* const set = SetFor(document, depthWidth);
    const XMLElement* const camera = Child(set, "Camera");
    const XMLElement* depth = Child(set, "Left_correct");
    RecordedCalibration calibration;
    RecordedLens& depthLens = calibration.m_depth;
    if (!ReadLens(depth, camera, &depthLens) || !ReadLens(Child(set, "RGB"), camera, &calibration.m_color) ||
        !ReadWay(Child(set, "Left_correct_2_RGB"), &calibration.m_depthToColor)) {
        return std::nullopt;
    }
    depthLens.m_distortion = {}; // depth images have none, whatever the file says
    return calibration;
}

} // namespace ox3d
