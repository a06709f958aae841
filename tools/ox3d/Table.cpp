// Tables.
#include "tools/ox3d/Table.h"

#include <algorithm>

namespace ox3d::tool {

std::string TableText(const std::vector<TableRow>& rows) {
    std::vector<size_t> widths(rows.empty() ? 0 : rows.front().size());
    for (const TableRow& row : rows) {
        for (size_t i = 0; i < widths.size(); ++i) {
            widths[i] = std::max(widths[i], row[i].size());
        }
    }
    std::string text;
    for (const TableRow& row : rows) {
        std::string line;
        for (size_t i = 0; i < widths.size(); ++i) {
            line += row[i] + std::string(widths[i] - row[i].size() + 2, ' ');
        }
        line.erase(line.find_last_not_of(' ') + 1);
        text += line + '\n';
    }
    return text;
}

} // namespace ox3d::tool
