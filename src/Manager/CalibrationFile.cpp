// CalibrationFile.cpp - see CalibrationFile.h.
#include "src/Manager/CalibrationFile.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <locale.h>
#include <string>
#include <tinyxml2.h>

#include "base/LocalFile.h"

namespace {

using tinyxml2::XMLDocument;
using tinyxml2::XMLElement;

constexpr uint64_t kMaxFileBytes = 1 << 20;

// Numbers in the file are written with a decimal point; an application's locale may read a comma.
class CCLocale {
public:
    CCLocale() : m_locale(newlocale(LC_ALL_MASK, "C", nullptr)) {
        if (m_locale != nullptr) {
            m_previous = uselocale(m_locale);
        }
    }
    ~CCLocale() {
        if (m_locale != nullptr) {
            uselocale(m_previous);
            freelocale(m_locale);
        }
    }
    CCLocale(const CCLocale&) = delete;
    CCLocale& operator=(const CCLocale&) = delete;

private:
    locale_t m_locale;
    locale_t m_previous = nullptr;
};

bool LoadDocument(const char* fileName, XMLDocument* document) {
    std::string text;
    return ox3d::ReadLocalFile(fileName, kMaxFileBytes, &text) &&
           document->Parse(text.data(), text.size()) == tinyxml2::XML_SUCCESS;
}

// Preserved for compatibility: the messages do not always name the missing element. Support staff search logs
// for them.
constexpr const char* kFileLine = "[DepthMapConvert] cfg_file is not exist.\r\n";
constexpr const char* kRootLine = "[DepthMapConvert] pArithConfig is null.\r\n";
constexpr const char* kSetLine = "[DepthMapConvert] pRGBD_2 is null.\r\n";
constexpr const char* kCameraLine = "[DepthMapConvert] camera is null.\r\n";

// Walks from element to element and remembers the log line of the first missing one.
class CWalk {
public:
    const XMLElement* Child(const XMLElement* parent, const char* name, const char* line) {
        const XMLElement* child = parent != nullptr ? parent->FirstChildElement(name) : nullptr;
        if (child == nullptr && m_line == nullptr) {
            m_line = line;
        }
        return child;
    }
    const char* MissingLine() const { return m_line; }

private:
    const char* m_line = nullptr;
};

float FloatAttribute(const XMLElement* element, const char* name) {
    float value = 0.0f;
    if (element->QueryFloatAttribute(name, &value) != tinyxml2::XML_SUCCESS) {
        return 0.0f;
    }
    return value;
}

template <size_t N>
void ReadFloats(const XMLElement* element, const char* const (&names)[N], float* out) {
    for (size_t i = 0; i < N; ++i) {
        out[i] = FloatAttribute(element, names[i]);
    }
}

int IntAttribute(const XMLElement* element, const char* name) {
    int value = 0;
    return element != nullptr && element->QueryIntAttribute(name, &value) == tinyxml2::XML_SUCCESS ? value
                                                                                                   : 0;
}

// Of the images that a set is for; 0 where it is no size.
uint32_t SideAttribute(const XMLElement* set, const char* name) {
    return static_cast<uint32_t>(std::max(IntAttribute(set->FirstChildElement("Camera"), name), 0));
}

// "RGBD_1" where its "img_w" is the width, else "RGBD_2", whose own width is not checked.
const XMLElement* SelectSet(const XMLDocument& document, int64_t width, CWalk* walk) {
    const XMLElement* root = document.RootElement();
    if (root == nullptr) {
        walk->Child(nullptr, "", kRootLine);
        return nullptr;
    }
    const XMLElement* first = walk->Child(root, "RGBD_1", kSetLine);
    const XMLElement* camera = walk->Child(first, "Camera", kCameraLine);
    if (camera == nullptr) {
        return nullptr;
    }
    return IntAttribute(camera, "img_w") == width ? first : walk->Child(root, "RGBD_2", kSetLine);
}

constexpr const char* kIntrinsicNames[] = {"fx", "fy", "cx", "cy"};

// k1, k2, p1, p2 and the fifth term, which files name p3 or k3: the reader's own name first.
void ReadDistortion(const XMLElement* distort, const char* fifth, const char* otherFifth, float* out) {
    const char* const names[] = {"k1", "k2", "p1", "p2",
                                 distort->Attribute(fifth) != nullptr ? fifth : otherFifth};
    ReadFloats(distort, names, out);
}

const char* ReadDepthSet(const XMLElement* set, CWalk* walk, DepthCalibration* out) {
    const XMLElement* left = walk->Child(set, "Left_correct", "[DepthMapConvert] Left_correct is null.\r\n");
    const XMLElement* leftIntrins = walk->Child(left, "Intrins", "[DepthMapConvert] ty is null.\r\n");
    const XMLElement* extrinsics =
        walk->Child(set, "Left_correct_2_RGB", "[DepthMapConvert] Left_correct is null.\r\n");
    const XMLElement* rotation = walk->Child(extrinsics, "RotMat", "[DepthMapConvert] pRotMat is null.\r\n");
    const XMLElement* translation = walk->Child(extrinsics, "TVec", "[DepthMapConvert] pTVec is null.\r\n");
    const XMLElement* rgb = walk->Child(set, "RGB", "[DepthMapConvert] pRGB is null.\r\n");
    const XMLElement* rgbIntrins = walk->Child(rgb, "Intrins", "[DepthMapConvert] pRgbData is null.\r\n");
    const XMLElement* distort = walk->Child(rgb, "Distort", "[DepthMapConvert] pRgbDistort is null.\r\n");
    if (walk->MissingLine() != nullptr) {
        return walk->MissingLine();
    }

    ReadFloats(leftIntrins, kIntrinsicNames, out->m_depthIntrinsics);
    constexpr const char* kRotationNames[3][3] = {
        {"r00", "r01", "r02"}, {"r10", "r11", "r12"}, {"r20", "r21", "r22"}};
    constexpr const char* kTranslationNames[3] = {"t0", "t1", "t2"};
    for (size_t row = 0; row < 3; ++row) {
        ReadFloats(rotation, kRotationNames[row], out->m_depthToColor + 4 * row);
        out->m_depthToColor[4 * row + 3] = FloatAttribute(translation, kTranslationNames[row]);
    }
    constexpr float kLastRow[4] = {0.0f, 0.0f, 0.0f, 1.0f};
    memcpy(out->m_depthToColor + 12, kLastRow, sizeof(kLastRow));
    ReadFloats(rgbIntrins, kIntrinsicNames, out->m_colorIntrinsics);
    ReadDistortion(distort, "p3", "k3", out->m_colorIntrinsics + 4);
    out->m_setWidth = SideAttribute(set, "img_w");
    out->m_setHeight = SideAttribute(set, "img_h");
    return nullptr;
}

} // namespace

void CalibrationFileName(const char* serialNumber, char* name) {
    char safe[64] = {};
    const size_t length = strnlen(serialNumber, sizeof(safe) - 1);
    for (size_t i = 0; i < length; ++i) {
        const auto byte = static_cast<unsigned char>(serialNumber[i]);
        safe[i] = byte == '/' || byte < 0x20 || byte == 0x7F ? '_' : serialNumber[i];
    }
    snprintf(name, kCalibrationNameBytes, "RGBDSensorCali_%s.xml", safe);
}

const char* LoadDepthCalibration(const char* fileName, uint32_t depthWidth, DepthCalibration* out) try {
    const CCLocale locale;
    XMLDocument document(true, tinyxml2::PRESERVE_WHITESPACE);
    if (!LoadDocument(fileName, &document)) {
        return kFileLine;
    }
    CWalk walk;
    const XMLElement* set = SelectSet(document, depthWidth, &walk);
    if (set == nullptr) {
        return walk.MissingLine();
    }
    DepthCalibration calibration = {};
    const char* missing = ReadDepthSet(set, &walk, &calibration);
    if (missing == nullptr) {
        *out = calibration;
    }
    return missing;
} catch (const std::exception&) {
    return kFileLine;
}

bool LoadSensorCalibration(const char* fileName, int64_t width, uint32_t sensor,
                           OX3D_RGBD_CALIB_INFO* out) try {
    const CCLocale locale;
    XMLDocument document(true, tinyxml2::PRESERVE_WHITESPACE);
    CWalk walk;
    const XMLElement* set = LoadDocument(fileName, &document) ? SelectSet(document, width, &walk) : nullptr;
    if (set == nullptr) {
        return false;
    }
    const bool isDepth = sensor == OX3D_RGBD_CALIB_DEPTH;
    const XMLElement* owner = walk.Child(set, isDepth ? "Left_correct" : "RGB", "");
    const XMLElement* intrinsics = walk.Child(owner, "Intrins", "");
    const XMLElement* distort = owner != nullptr ? owner->FirstChildElement("Distort") : nullptr;
    // Depth images are rectified: their sensor's file section has no distortion as a rule.
    if (intrinsics == nullptr || (distort == nullptr && !isDepth)) {
        return false;
    }
    OX3D_RGBD_CALIB_INFO info = {};
    info.nWidth = SideAttribute(set, "img_w");
    info.nHeight = SideAttribute(set, "img_h");
    float values[4] = {};
    ReadFloats(intrinsics, kIntrinsicNames, values);
    info.fFx = values[0];
    info.fFy = values[1];
    info.fCx = values[2];
    info.fCy = values[3];
    if (distort != nullptr) {
        float coefficients[5] = {};
        ReadDistortion(distort, "k3", "p3", coefficients);
        info.fK1 = coefficients[0];
        info.fK2 = coefficients[1];
        info.fP1 = coefficients[2];
        info.fP2 = coefficients[3];
        info.fK3 = coefficients[4];
    }
    *out = info;
    return true;
} catch (const std::exception&) {
    return false;
}
