// What --json prints: one document on standard output, messages go to standard error.
#ifndef OX3D_TOOL_JSON_H
#define OX3D_TOOL_JSON_H

#include "tools/ox3d/Table.h"

#include <nlohmann/json_fwd.hpp>

namespace ox3d::tool {

using Json = nlohmann::ordered_json;

// Bytes that are no UTF-8 are replaced.
void PrintJson(const Json& document);

// A table whose first row has the titles: an object a row.
void PrintTableJson(const std::vector<TableRow>& rows);

} // namespace ox3d::tool

#endif
