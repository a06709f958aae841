// One feature set, one command executed.
#include "tools/ox3d/commands/FeatureSetting.h"

#include "tools/ox3d/Camera.h"
#include "tools/ox3d/Interrupt.h"
#include "tools/ox3d/Status.h"
#include "tools/ox3d/commands/FeatureText.h"

#include <fnmatch.h>

namespace ox3d::tool {
namespace {

bool IsTakenBack(const Feature& former, void* handle) {
    try {
        if (former.m_record.nHasValue == 1) { // what can only be written has no value to go back to
            ApplyValue(handle, former, former.m_record.stValue);
            return true;
        }
    } catch (const CToolError&) {
    }
    return false;
}

// The last first: it may have been possible by the others only. Says what came of it.
std::string TakeBack(const std::vector<Feature>& former, void* handle) {
    std::string left;
    for (auto feature = former.rbegin(); feature != former.rend(); ++feature) {
        if (!IsTakenBack(*feature, handle)) {
            left += (left.empty() ? "" : ", ") + feature->Name();
        }
    }
    return left.empty() ? "; what was set before it is taken back"
                        : "; of what was set before it this could not be taken back: " + left;
}

} // namespace

bool IsWritable(const Feature& feature) {
    const uint32_t access = feature.m_record.nAccess;
    return access == OX3D_RGBD_ACCESS_READ_WRITE || access == OX3D_RGBD_ACCESS_WRITE_ONLY;
}

bool IsFeatureMatch(const std::string& pattern, const std::string& name) {
    const bool isWhole = pattern.find_first_of("*?[") != std::string::npos;
    const std::string wanted = isWhole ? pattern : "*" + pattern + "*";
    return fnmatch(wanted.c_str(), name.c_str(), FNM_CASEFOLD) == 0;
}

void ApplyValue(void* handle, const Feature& feature, const OX3D_RGBD_PARAM& value) {
    OX3D_RGBD_PARAM copy = value;
    if (const uint32_t status = OX3D_RGBD_SetParam(handle, feature.m_record.chName, &copy);
        status != OX3D_RGBD_OK) {
        throw CStatusError(EExitCode::Camera,
                           "the camera refuses " + feature.Name() + "=" + PlainText(feature) + ": " +
                               StatusText(status),
                           status);
    }
}

Feature SetFeature(void* handle, const std::string& name, const std::string& text) {
    Feature present = FindFeature(handle, name);
    if (!IsWritable(present)) {
        throw CToolError(EExitCode::Camera, present.Name() + " cannot be set now: it is " +
                                                AccessText(present.m_record.nAccess));
    }
    const OX3D_RGBD_PARAM value = ParseValue(present, text);
    Feature wanted = present;
    wanted.m_record.stValue = value;
    wanted.m_record.nHasValue = 1;
    ApplyValue(handle, wanted, value);
    return present;
}

void SetFeatures(void* handle, const std::vector<FeatureSetting>& settings) {
    std::vector<Feature> former;
    try {
        for (const auto& [name, text] : settings) {
            former.push_back(SetFeature(handle, name, text));
            CheckInterrupted();
        }
    } catch (const CToolError& error) {
        if (former.empty()) {
            throw;
        }
        throw CToolError(error.Code(), error.what() + TakeBack(former, handle));
    }
}

Feature FindCommand(void* handle, const std::string& name) {
    Feature feature = FindFeature(handle, name);
    if (feature.m_record.nType != OX3D_RGBD_FEATURE_COMMAND) {
        throw CToolError(EExitCode::Usage, feature.Name() + " is no command but a " +
                                               TypeText(feature.m_record.nType) + "; \"ox3d set\" sets it");
    }
    return feature;
}

void Execute(void* handle, const Feature& feature) {
    if (const uint32_t status = OX3D_RGBD_Execute(handle, feature.m_record.chName); status != OX3D_RGBD_OK) {
        throw CStatusError(EExitCode::Camera,
                           "the camera does not execute " + feature.Name() + ": " + StatusText(status),
                           status);
    }
}

} // namespace ox3d::tool
