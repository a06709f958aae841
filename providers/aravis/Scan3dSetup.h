// Scan3dSetup.h - a camera of GenICam's 3D model is set to send depth, color and confidence, and asked what its
// values mean. The caller holds the camera's mutex.
#ifndef OX3D_ARAVIS_SCAN3D_SETUP_H
#define OX3D_ARAVIS_SCAN3D_SETUP_H

#include <arv.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "providers/aravis/Scan3dDepth.h"
#include "providers/aravis/SettingChanges.h"
#include "recording/CalibrationText.h"

namespace ox3d {

class CLensLook;

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
    // Components, pixel formats, output mode, coordinate system and multi-part; what the camera cannot is left as it is.
    void Apply(ArvDevice* device);
    // As the camera is set now. A code, with the reason in *why.
    int Read(ArvDevice* device, const Scan3dOptions& options, Scan3dPlan* plan, std::string* why) const;
    // Whether no look is needed for a calibration.
    bool IsLensTold(ArvDevice* device) const;
    // The calibration file in the library's form: of what the camera's features tell of its lenses, else of what one look
    // through it does (null: none may be taken now), or else the user's; one that knows nothing where there is none of these.
    std::string Calibration(ArvDevice* device, const CLensLook* look);
    // What Apply has changed, the last change first.
    void PutBack(ArvDevice* device);

private:
    struct Component {
        std::string m_entry; // of ComponentSelector
        uint32_t m_id = 0;
    };
    struct Side { // of a component's image
        int64_t m_width = 0;
        int64_t m_height = 0;
        int64_t m_x = 0;
        int64_t m_y = 0;

        bool operator==(const Side&) const = default;
        bool IsImage() const {
            return m_width > 0 && m_width <= kMaxImageSide && m_height > 0 && m_height <= kMaxImageSide;
        }
    };

    const Component* Find(uint32_t id) const;
    const Component* Find(const char* entry) const;
    const Component* Depth() const;
    void FindComponents(ArvDevice* device);
    void Enable(ArvDevice* device, const Component* component, const char* cost);
    void ChooseSystem(ArvDevice* device, const Component& depth);
    void ChooseColor(ArvDevice* device, const Component& intensity);
    void TurnOnMultiPart(ArvDevice* device);
    bool IsEnabled(ArvDevice* device, const Component* component) const;
    Side SideOf(ArvDevice* device, const Component* component) const;
    bool IsOneLens(ArvDevice* device, const Side& depth) const;
    std::optional<RgbdIntrinsics> LearnLens(ArvDevice* device, const CLensLook* look, const Side& side);
    const char* LookAtMaps(ArvDevice* device, const CLensLook& look, const Side& side,
                           CSettingChanges* changes, RgbdIntrinsics* lens) const;
    const char* LookAtPoints(ArvDevice* device, const CLensLook& look, const Side& side,
                             CSettingChanges* changes, RgbdIntrinsics* lens) const;
    int ReadComponent(ArvDevice* device, const Component* component, Scan3dPlan::Component* out) const;

    std::vector<Component> m_components;
    CSettingChanges m_changes;
    // By a look, of this region; no lens where there is none to be learnt.
    std::optional<std::pair<Side, std::optional<RgbdIntrinsics>>> m_learnt;
    bool m_isMultiPart = false;
    bool m_wasMultiPart = false;
};

} // namespace ox3d

#endif
