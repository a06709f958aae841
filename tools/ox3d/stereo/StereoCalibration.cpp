// Calibration files of raw pictures. They may be damaged or hostile.
#include "tools/ox3d/stereo/StereoCalibration.h"

#include "base/LocalFile.h"
#include "tools/ox3d/ExitCode.h"
#include "tools/ox3d/Json.h"

#include <cmath>
#include <nlohmann/json.hpp>

namespace ox3d::tool {
namespace {

constexpr uint64_t kMaxFileBytes = 1U << 20U;
constexpr int32_t kMaxSide = 32768; // pixels

// What a part of the file lacks, in words.
class CMissing : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

const Json& PartOf(const Json& json, const char* name) {
    const auto part = json.is_object() ? json.find(name) : json.end();
    if (!json.is_object() || part == json.end()) {
        throw CMissing(std::string("there is no \"") + name + "\"");
    }
    return *part;
}

float NumberOf(const Json& json, const char* name) {
    const double number = json.is_number() ? json.get<double>() : NAN;
    if (!std::isfinite(static_cast<float>(number))) {
        throw CMissing(std::string("\"") + name + "\" is no number that can be used");
    }
    return static_cast<float>(number);
}

template <size_t N>
void FillNumbers(const Json& json, const char* name, float (&numbers)[N]) {
    const Json& list = PartOf(json, name);
    if (!list.is_array() || list.size() != N) {
        throw CMissing(std::string("\"") + name + "\" has to be a list of " + std::to_string(N) + " numbers");
    }
    for (size_t i = 0; i < N; ++i) {
        numbers[i] = NumberOf(list[i], name);
    }
}

int32_t SideOf(const Json& json, const char* name) {
    const Json& side = PartOf(json, name);
    if (!side.is_number_integer() || side < 1 || side > kMaxSide) {
        throw CMissing(std::string("\"") + name + "\" is no size of a picture");
    }
    return side.get<int32_t>();
}

OXB3D_BINOSTEREO_CAMERA CameraOf(const Json& json, const char* name) {
    const Json& part = PartOf(json, name);
    OXB3D_BINOSTEREO_CAMERA camera{};
    camera.matrix[0] = NumberOf(PartOf(part, "fx"), "fx");
    camera.matrix[2] = NumberOf(PartOf(part, "cx"), "cx");
    camera.matrix[4] = NumberOf(PartOf(part, "fy"), "fy");
    camera.matrix[5] = NumberOf(PartOf(part, "cy"), "cy");
    camera.matrix[8] = 1;
    FillNumbers(part, "distortion", camera.distortion);
    return camera;
}

} // namespace

OXB3D_BINOSTEREO_INIT_INPUT ReadStereoCalibration(const std::string& file) {
    std::string text;
    if (!ReadLocalFile(file, kMaxFileBytes, &text)) {
        throw CToolError(EExitCode::File, "cannot read " + file);
    }
    return StereoCalibrationOf(text, file);
}

OXB3D_BINOSTEREO_INIT_INPUT StereoCalibrationOf(const std::string& text, const std::string& file) {
    try {
        const Json json = Json::parse(text);
        OXB3D_BINOSTEREO_INIT_INPUT calibration{};
        calibration.width = SideOf(json, "width");
        calibration.height = SideOf(json, "height");
        calibration.left = CameraOf(json, "left");
        calibration.right = CameraOf(json, "right");
        FillNumbers(json, "rotation", calibration.rotation);
        FillNumbers(json, "translation", calibration.translation);
        return calibration;
    } catch (const CMissing& missing) {
        throw CToolError(EExitCode::File, file + " is no calibration of a stereo pair: " + missing.what());
    } catch (const Json::exception&) {
        throw CToolError(EExitCode::File, file + " is no calibration of a stereo pair: it is no JSON");
    }
}

} // namespace ox3d::tool
