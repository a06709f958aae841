// ox3d set: all of the settings or none. What the command line gets wrong is said before anything is set; what the camera
// refuses takes back what was set before it.
#include "tools/ox3d/Features.h"
#include "tools/ox3d/Interrupt.h"
#include "tools/ox3d/Json.h"
#include "tools/ox3d/Session.h"
#include "tools/ox3d/commands/Command.h"
#include "tools/ox3d/commands/FeatureJson.h"
#include "tools/ox3d/commands/FeatureSetting.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string_view>

namespace ox3d::tool {
namespace {

struct Setting {
    Feature m_feature;
    std::string m_text;
};

Setting SettingOf(void* handle, const std::string& text) {
    const size_t equals = text.find('=');
    if (equals == std::string::npos) {
        FindFeature(handle, text); // says that there is none
        throw CToolError(EExitCode::Usage,
                         "\"" + text + "\" says no value; \"ox3d set " + text + "=VALUE\" sets one");
    }
    return {FindFeature(handle, text.substr(0, equals)), text.substr(equals + 1)};
}

// Nothing is asked of the camera for it. Ranges may move by what is set before: those of the first setting alone count here.
void Check(const std::vector<Setting>& settings) {
    for (size_t i = 0; i < settings.size(); ++i) {
        Feature feature = settings[i].m_feature;
        if (feature.m_record.nAccess == OX3D_RGBD_ACCESS_READ_ONLY && i == 0) {
            throw CToolError(EExitCode::Camera, feature.Name() + " cannot be set now: it is read-only");
        }
        if (i > 0) {
            feature.m_record.nHasValue = 0;
        }
        ParseValue(feature, settings[i].m_text);
    }
}

// Which the library keeps for USB cameras, too, with success and to no effect.
constexpr std::array<std::string_view, 7> kEthernetKeys = {
    OX3D_RGBD_KEY_IMAGE_ALIGN,         OX3D_RGBD_KEY_RESOLUTION_ALIGN, OX3D_RGBD_KEY_OUTPUT_RGBD,
    OX3D_RGBD_KEY_ALIGN_MODE,          OX3D_RGBD_KEY_ALIGN_TARGET,     OX3D_RGBD_KEY_OCCLUSION_MASK,
    OX3D_RGBD_KEY_ALIGN_STEP_PERMILLE,
};

void NoteKeysWithoutEffect(const std::vector<Setting>& settings, const CCamera& camera) {
    for (const Setting& setting : settings) {
        const std::string name = setting.m_feature.Name();
        if (!camera.IsRegistered() &&
            std::find(kEthernetKeys.begin(), kEthernetKeys.end(), name) != kEthernetKeys.end()) {
            std::fprintf(
                stderr,
                "ox3d: %s acts on Ethernet cameras only; frames of this USB camera stay as they are\n",
                name.c_str());
        }
    }
}

// Nothing reaches the camera: without a word it would look as if the next program found them so.
void NoteKeysThatEnd(const std::vector<Setting>& settings) {
    for (const Setting& setting : settings) {
        if (setting.m_feature.m_record.chCategory == std::string_view("Ox3d")) {
            std::fprintf(stderr,
                         "ox3d: %s is the library's own and ends with this command; a program sets it after "
                         "it has opened the camera\n",
                         setting.m_feature.Name().c_str());
        }
    }
}

} // namespace

EExitCode RunSet(CCameraControl& control, const Arguments& arguments) {
    const ProviderChoice& provider = control.Enter();
    CSession session(provider, arguments.m_serial);
    std::vector<Setting> settings;
    for (const std::string& text : arguments.m_feature.m_names) {
        settings.push_back(SettingOf(session.Handle(), text));
        CheckInterrupted();
    }
    Check(settings);
    std::vector<FeatureSetting> named;
    named.reserve(settings.size());
    for (const Setting& setting : settings) {
        named.push_back({setting.m_feature.Name(), setting.m_text});
    }
    SetFeatures(session.Handle(), named);
    NoteKeysWithoutEffect(settings, session.Camera());
    NoteKeysThatEnd(settings);
    Json document = Json::object();
    for (const Setting& setting : settings) { // as the camera has it: it may have rounded
        const Feature present = FindFeature(session.Handle(), setting.m_feature.Name());
        document[present.Name()] = ValueJson(present);
        if (!arguments.m_isJson) {
            std::printf("%s=%s\n", present.Name().c_str(), PlainText(present).c_str());
        }
    }
    if (arguments.m_isJson) {
        PrintJson(document);
    }
    return EExitCode::Ok;
}

} // namespace ox3d::tool
