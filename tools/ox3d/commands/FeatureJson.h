// Features and their values for --json.
#ifndef OX3D_TOOL_FEATURE_JSON_H
#define OX3D_TOOL_FEATURE_JSON_H

#include "tools/ox3d/Features.h"
#include "tools/ox3d/Json.h"

namespace ox3d::tool {

// A number, a truth value or a text, of an enumeration the name of its entry; null without a value.
Json ValueJson(const Feature& feature);

Json FeatureJson(const Feature& feature);

} // namespace ox3d::tool

#endif
