// Features as the page takes them, and values as it sends them.
#ifndef OX3D_TOOL_VIEW_FEATURE_H
#define OX3D_TOOL_VIEW_FEATURE_H

#include "tools/ox3d/Features.h"
#include "tools/ox3d/Json.h"

namespace ox3d::tool {

// Whole numbers that a browser's numbers do not hold, those beyond 2^53, are texts in both.
Json ViewFeatureJson(const Feature& feature);
Json ViewValueJson(const Feature& feature);
// As the command line has it: the same checks follow. Throws CViewError for what can be no value.
std::string ValueTextOf(const Json& value);

} // namespace ox3d::tool

#endif
