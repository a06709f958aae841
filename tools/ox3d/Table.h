// Rows of texts as a table with aligned columns.
#ifndef OX3D_TOOL_TABLE_H
#define OX3D_TOOL_TABLE_H

#include <string>
#include <vector>

namespace ox3d::tool {

using TableRow = std::vector<std::string>;

// One line a row; every row has as many cells as the first.
std::string TableText(const std::vector<TableRow>& rows);

} // namespace ox3d::tool

#endif
