// Finding and setting one feature and executing one command, with the checks that say what is possible. They throw CToolError.
#ifndef OX3D_TOOL_FEATURE_SETTING_H
#define OX3D_TOOL_FEATURE_SETTING_H

#include "tools/ox3d/Features.h"

namespace ox3d::tool {

// A pattern is a part of the name, or all of it with '*' and '?', in any case.
bool IsFeatureMatch(const std::string& pattern, const std::string& name);

bool IsWritable(const Feature& feature); // at present

void ApplyValue(void* handle, const Feature& feature, const OX3D_RGBD_PARAM& value);
// By what the camera says of the feature at that time: an earlier setting may have locked it or moved its range. Returns what
// was there before.
Feature SetFeature(void* handle, const std::string& name, const std::string& text);

struct FeatureSetting {
    std::string m_name;
    std::string m_text;
};
// All or none: what was set before one that fails is taken back, or else named in what is thrown.
void SetFeatures(void* handle, const std::vector<FeatureSetting>& settings);

Feature FindCommand(void* handle, const std::string& name);
void Execute(void* handle, const Feature& command);

} // namespace ox3d::tool

#endif
