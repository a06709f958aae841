// The features of an opened camera by name, their values from and to text.
#ifndef OX3D_TOOL_FEATURES_H
#define OX3D_TOOL_FEATURES_H

#include <optional>
#include <ox3drgbd/Ox3dRgbdExtension.h>
#include <string>
#include <vector>

namespace ox3d::tool {

struct Feature {
    OX3D_RGBD_FEATURE m_record{};
    std::vector<OX3D_RGBD_FEATURE_ENTRY> m_entries; // of an enumeration, where they were asked for

    std::string Name() const;
};

class CFeatures {
public:
    // Of an open camera, which has to outlive this. Throws CToolError.
    explicit CFeatures(void* handle);

    // Those that the camera has: in the order of its description, then the library's keys. Without entries.
    const std::vector<Feature>& All() const { return m_features; }
    // Throws a CToolError for an unknown name, with what may have been meant.
    const Feature& Find(const std::string& name) const;

private:
    std::vector<Feature> m_features;
};

// The feature as it is at present, with its entries: nothing else is asked of the camera. None of an unknown name; throws.
std::optional<Feature> AskFor(void* handle, const std::string& name);
// The same, but throws as CFeatures::Find() does.
Feature FindFeature(void* handle, const std::string& name);
// The camera's description is read for them each time.
std::vector<OX3D_RGBD_FEATURE_ENTRY> EntriesOf(void* handle, const OX3D_RGBD_FEATURE& record);

// "Integer", "Enumeration", "Command" ...
const char* TypeText(uint32_t type);

// The value alone, as ParseValue() reads it: "5000", "Software", "yes". Empty without one.
std::string PlainText(const Feature& feature);
// What the value can be at present: "20 .. 1000000, step 4", "Line0, Line1, Software"; empty where nothing is to be said.
std::string RangeText(const Feature& feature);

// A text as a value of the feature's type; numbers within the present range, enumerations by name or number. Throws a
// CToolError that says what is possible.
OX3D_RGBD_PARAM ParseValue(const Feature& feature, const std::string& text);

} // namespace ox3d::tool

#endif
