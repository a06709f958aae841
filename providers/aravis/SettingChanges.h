// SettingChanges.h - settings of a camera that the provider changes for as long as it has it open.
//
// A camera that refuses one is told of in a line with what that costs: nobody sees otherwise why frames lack something.
// The caller holds the camera's mutex.
#ifndef OX3D_ARAVIS_SETTING_CHANGES_H
#define OX3D_ARAVIS_SETTING_CHANGES_H

#include <arv.h>

#include <string>
#include <variant>
#include <vector>

namespace ox3d {

// A feature, of an entry of a selector.
struct Setting {
    const char* m_selector;
    std::string m_entry; // empty: the feature has no selector
    const char* m_key;
};

class CSettingChanges {
public:
    // False when the camera refuses. What a camera does not have is as wanted.
    bool Switch(ArvDevice* device, const Setting& setting, bool isOn, const char* cost);
    bool SetToZero(ArvDevice* device, const Setting& setting, const char* cost);
    // The first of the wanted entries that the camera has and takes, unless it is set to that already. False when it takes
    // none of those that it has.
    bool Choose(ArvDevice* device, const Setting& setting, const std::vector<std::string>& wanted,
                const char* cost);
    // What has been changed and is as it was changed to, the last change first. What the application has set since stays.
    void PutBack(ArvDevice* device);

private:
    using Value = std::variant<bool, float, std::string>;
    struct Change {
        Setting m_setting;
        Value m_before;
        Value m_now;
    };

    int Set(ArvDevice* device, const Setting& setting, const Value& before, const Value& wanted);
    bool SetOrTell(ArvDevice* device, const Setting& setting, const Value& wanted, const char* cost);

    std::vector<Change> m_changes;
};

} // namespace ox3d

#endif
