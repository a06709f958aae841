// CalibrationXml.cpp - see CalibrationXml.h.
#include "base/CalibrationXml.h"

#include <algorithm>
#include <locale.h>
#include <tinyxml2.h>

namespace ox3d {
namespace {

using tinyxml2::XMLDocument;
using tinyxml2::XMLElement;

// Of this thread alone.
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

const XMLElement* Child(const XMLElement* parent, const char* name) {
    return parent == nullptr ? nullptr : parent->FirstChildElement(name);
}

int IntAttribute(const XMLElement* element, const char* name) {
    int value = 0;
    return element != nullptr && element->QueryIntAttribute(name, &value) == tinyxml2::XML_SUCCESS ? value
                                                                                                   : 0;
}

float FloatAttribute(const XMLElement& element, const char* name) {
    float value = 0;
    return element.QueryFloatAttribute(name, &value) == tinyxml2::XML_SUCCESS ? value : 0;
}

template <size_t N>
std::optional<std::array<float, N>> FloatAttributes(const XMLElement* element,
                                                    const char* const (&names)[N]) {
    if (element == nullptr) {
        return std::nullopt;
    }
    std::array<float, N> values{};
    for (size_t i = 0; i < N; ++i) {
        values[i] = FloatAttribute(*element, names[i]);
    }
    return values;
}

std::optional<CalibratedDistortion> DistortionOf(const XMLElement* distort) {
    const auto terms = FloatAttributes(distort, {"k1", "k2", "p1", "p2"});
    if (!terms) {
        return std::nullopt;
    }
    const auto named = [&](const char* name) {
        return distort->Attribute(name) == nullptr ? std::nullopt
                                                   : std::optional(FloatAttribute(*distort, name));
    };
    return CalibratedDistortion{*terms, named("p3"), named("k3")};
}

CalibratedCamera CameraOf(const XMLElement* sensor) {
    return {sensor != nullptr, FloatAttributes(Child(sensor, "Intrins"), {"fx", "fy", "cx", "cy"}),
            DistortionOf(Child(sensor, "Distort"))};
}

CalibrationSet SetOf(const XMLElement* set) {
    const XMLElement* const camera = Child(set, "Camera");
    const XMLElement* const way = Child(set, "Left_correct_2_RGB");
    CalibrationSet out;
    out.m_width = static_cast<uint32_t>(std::max(IntAttribute(camera, "img_w"), 0));
    out.m_height = static_cast<uint32_t>(std::max(IntAttribute(camera, "img_h"), 0));
    out.m_isDepthLeft = camera != nullptr && camera->Attribute("registration", "none") != nullptr;
    out.m_depth = CameraOf(Child(set, "Left_correct"));
    out.m_color = CameraOf(Child(set, "RGB"));
    out.m_hasWay = way != nullptr;
    out.m_rotation = FloatAttributes(Child(way, "RotMat"),
                                     {"r00", "r01", "r02", "r10", "r11", "r12", "r20", "r21", "r22"});
    out.m_translation = FloatAttributes(Child(way, "TVec"), {"t0", "t1", "t2"});
    return out;
}

} // namespace

ECalibrationSet ReadCalibrationSet(std::string_view xml, int64_t width, CalibrationSet* out) {
    const CCLocale locale;
    XMLDocument document(true, tinyxml2::PRESERVE_WHITESPACE);
    if (document.Parse(xml.data(), xml.size()) != tinyxml2::XML_SUCCESS) {
        return ECalibrationSet::NoXml;
    }
    const XMLElement* const root = document.RootElement();
    const XMLElement* const first = Child(root, "RGBD_1");
    const XMLElement* const camera = Child(first, "Camera");
    if (camera == nullptr) {
        return root == nullptr    ? ECalibrationSet::NoRoot
               : first == nullptr ? ECalibrationSet::NoSet
                                  : ECalibrationSet::NoCamera;
    }
    const XMLElement* const set = IntAttribute(camera, "img_w") == width ? first : Child(root, "RGBD_2");
    if (set == nullptr) {
        return ECalibrationSet::NoSet;
    }
    *out = SetOf(set);
    return ECalibrationSet::Found;
}

} // namespace ox3d
