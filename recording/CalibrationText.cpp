// CalibrationText.cpp - the structure is that of the cameras' own files; readers look elements up by name.
#include "recording/CalibrationText.h"

#include <charconv>

namespace ox3d {
namespace {

constexpr const char* kHead = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<SensorCali>\n";
constexpr const char* kTail = "</SensorCali>\n";

void Attribute(std::string* text, const char* name, double value) {
    char digits[40];
    // Nine digits bring every single-precision number back to the bit.
    const auto end = std::to_chars(digits, digits + sizeof(digits), value, std::chars_format::general, 9);
    text->append(" ").append(name).append("=\"").append(digits, end.ptr).append("\"");
}

void Intrinsics(std::string* text, const RgbdIntrinsics& intrinsics) {
    text->append("      <Intrins");
    Attribute(text, "fx", intrinsics.m_fx);
    Attribute(text, "fy", intrinsics.m_fy);
    Attribute(text, "cx", intrinsics.m_cx);
    Attribute(text, "cy", intrinsics.m_cy);
    text->append("/>\n");
}

void Transform(std::string* text, const RgbdCalibration& set) {
    static const char* const names[9] = {"r00", "r01", "r02", "r10", "r11", "r12", "r20", "r21", "r22"};
    text->append("    <Left_correct_2_RGB>\n      <RotMat");
    for (int i = 0; i < 9; ++i) {
        Attribute(text, names[i], set.m_rotation[i]);
    }
    text->append("/>\n      <TVec");
    Attribute(text, "t0", set.m_translationMm[0]);
    Attribute(text, "t1", set.m_translationMm[1]);
    Attribute(text, "t2", set.m_translationMm[2]);
    text->append("/>\n    </Left_correct_2_RGB>\n");
}

void Distortion(std::string* text, const RgbdCalibration& set) {
    // Readers differ in what they call the third radial coefficient: both names carry it.
    static const char* const names[5] = {"k1", "k2", "p1", "p2", "p3"};
    text->append("      <Distort");
    for (int i = 0; i < 5; ++i) {
        Attribute(text, names[i], set.m_distortion[i]);
    }
    Attribute(text, "k3", set.m_distortion[4]);
    text->append("/>\n");
}

void Begin(std::string* text, const char* name, uint32_t width, uint32_t height, const char* more) {
    text->append("  <").append(name).append(">\n    <Camera img_w=\"").append(std::to_string(width));
    text->append("\" img_h=\"").append(std::to_string(height)).append("\"").append(more).append("/>\n");
}

void End(std::string* text, const char* name) {
    text->append("  </").append(name).append(">\n");
}

void Set(std::string* text, const char* name, const RgbdCalibration& set, bool hasColor,
         const char* more = "") {
    Begin(text, name, set.m_width, set.m_height, more);
    text->append("    <Left_correct>\n");
    Intrinsics(text, set.m_depth);
    text->append("    </Left_correct>\n");
    if (hasColor) {
        Transform(text, set);
        text->append("    <RGB>\n");
        Intrinsics(text, set.m_color);
        Distortion(text, set);
        text->append("    </RGB>\n");
    }
    End(text, name);
}

} // namespace

std::string FormatCalibrationXml(const RgbdCalibration& first, const RgbdCalibration& second) {
    std::string text = kHead;
    Set(&text, "RGBD_1", first, true);
    Set(&text, "RGBD_2", second, true);
    return text + kTail;
}

std::string FormatUnregisteredXml(const RgbdCalibration* only, bool hasColor) {
    constexpr const char* kUnregistered = " registration=\"none\"";
    std::string text = kHead;
    if (only != nullptr) {
        Set(&text, "RGBD_1", *only, hasColor, kUnregistered);
    }
    for (const char* name : {"RGBD_1", "RGBD_2"}) {
        if (only == nullptr || name[5] == '2') {
            Begin(&text, name, 0, 0, kUnregistered);
            End(&text, name);
        }
    }
    return text + kTail;
}

} // namespace ox3d
