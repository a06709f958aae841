// Printing of JSON.
#include "tools/ox3d/Json.h"

#include <cstdio>
#include <nlohmann/json.hpp>

namespace ox3d::tool {

void PrintJson(const Json& document) {
    std::puts(document.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
}

} // namespace ox3d::tool
