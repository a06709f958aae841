// Printing of JSON.
#include "tools/ox3d/Json.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace ox3d::tool {

void PrintJson(const Json& document) {
    std::puts(document.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
}

void PrintTableJson(const std::vector<TableRow>& rows) {
    Json document = Json::array();
    for (size_t row = 1; row < rows.size(); ++row) {
        Json& json = document.emplace_back(Json::object());
        for (size_t i = 0; i < rows.front().size(); ++i) {
            std::string key = rows.front()[i];
            std::transform(key.begin(), key.end(), key.begin(),
                           [](char c) { return c == ' ' ? '_' : static_cast<char>(std::tolower(c)); });
            json[key] = rows[row][i];
        }
    }
    PrintJson(document);
}

} // namespace ox3d::tool
