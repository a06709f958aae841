// Scan3dSetup.h - a camera of GenICam's 3D model is set to send depth, color and confidence, and asked what its
// values mean. The caller holds the camera's mutex.
#ifndef OX3D_ARAVIS_SCAN3D_SETUP_H
#define OX3D_ARAVIS_SCAN3D_SETUP_H

#include <arv.h>

#include <string>
#include <vector>

#include "providers/aravis/Scan3dDepth.h"

namespace ox3d {

// The standard's numbers of components.
constexpr uint32_t kComponentIntensity = 1;
constexpr uint32_t kComponentRange = 4;
constexpr uint32_t kComponentConfidence = 6;
constexpr uint32_t kComponentDisparity = 8;

// Components that a frame consists of, and what the depth's values mean.
struct Scan3dPlan {
    struct Component {
        uint32_t m_id = 0; // 0: the camera does not send it
        uint32_t m_format = 0;
    };
    Component m_depth;
    Component m_intensity;
    Component m_confidence;
    DepthRule m_rule;
    bool m_isRectified = false; // columns are metric: no pinhole

    uint32_t Components() const {
        return 1U + (m_intensity.m_id != 0 ? 1U : 0U) + (m_confidence.m_id != 0 ? 1U : 0U);
    }
};

// What the camera does not tell, or what the application wants otherwise.
struct Scan3dOptions {
    double m_confidenceShare = 0.0;
    std::string m_baselineUnit; // empty: as the feature says, metres where it says none
};

// Millimetres of a unit by its name or sign; 0 for a name that is none.
double MillimetresOf(const std::string& unit);

class CScan3dSetup {
public:
    // Components, pixel formats, output mode and multi-part; what the camera cannot is left as it is.
    void Apply(ArvDevice* device);
    // As the camera is set now. A code, with the reason in *why.
    int Read(ArvDevice* device, const Scan3dOptions& options, Scan3dPlan* plan, std::string* why) const;
    // The calibration file in the library's form, of what the camera's features tell of its lenses; one that knows
    // nothing where they tell nothing.
    std::string Calibration(ArvDevice* device) const;
    // What Apply has changed, the last change first.
    void PutBack(ArvDevice* device);

private:
    struct Component {
        std::string m_entry; // of ComponentSelector
        uint32_t m_id = 0;
    };
    struct Change {
        std::string m_entry; // selected before; empty: none
        const char* m_key;
        std::string m_name; // of an enumeration; empty: m_isOn of a switch
        bool m_isOn = false;
    };

    struct Side { // of a component's image
        int64_t m_width = 0;
        int64_t m_height = 0;
    };

    const Component* Find(uint32_t id) const;
    const Component* Depth() const;
    void FindComponents(ArvDevice* device);
    void Enable(ArvDevice* device, const Component* component);
    void Choose(ArvDevice* device, const std::string& entry, const char* key,
                const std::vector<std::string>& wanted);
    void TurnOnMultiPart(ArvDevice* device);
    bool IsEnabled(ArvDevice* device, const Component* component) const;
    Side SideOf(ArvDevice* device, const Component* component) const;
    bool IsOneLens(ArvDevice* device, const Side& depth) const;
    int ReadComponent(ArvDevice* device, const Component* component, Scan3dPlan::Component* out) const;

    std::vector<Component> m_components;
    std::vector<Change> m_changes;
    bool m_isMultiPart = false;
    bool m_wasMultiPart = false;
};

} // namespace ox3d

#endif
