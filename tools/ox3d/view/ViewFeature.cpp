// Features for the page: what `ox3d features --json` knows of them.
#include "tools/ox3d/view/ViewFeature.h"

#include "tools/ox3d/commands/FeatureJson.h"
#include "tools/ox3d/view/ViewError.h"

#include <algorithm>
#include <cctype>
#include <nlohmann/json.hpp>

namespace ox3d::tool {
namespace {

std::string LowerText(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); });
    return text;
}

Json AvailableNames(const Json& entries) {
    Json names = Json::array();
    for (const Json& entry : entries) {
        if (entry["available"].get<bool>()) {
            names.push_back(entry["name"]);
        }
    }
    return names;
}

// A browser's numbers are doubles, and hold whole numbers to 2^53: larger ones go as text.
Json ExactJson(const Json& value) {
    constexpr int64_t kLargest = int64_t{1} << 53;
    const bool isExact = !value.is_number_integer() || (value >= -kLargest && value <= kLargest);
    return isExact ? value : Json(value.dump());
}

} // namespace

Json ViewValueJson(const Feature& feature) {
    return ExactJson(ValueJson(feature));
}

Json ViewFeatureJson(const Feature& feature) {
    const Json known = FeatureJson(feature);
    const uint32_t access = feature.m_record.nAccess;
    Json json = {{"name", known["name"]},
                 {"displayName", known["display_name"]},
                 {"category", known["category"]},
                 {"type", LowerText(known["type"].get<std::string>())},
                 {"readable", access == OX3D_RGBD_ACCESS_READ_ONLY || access == OX3D_RGBD_ACCESS_READ_WRITE},
                 {"writable", access == OX3D_RGBD_ACCESS_WRITE_ONLY || access == OX3D_RGBD_ACCESS_READ_WRITE},
                 {"value", ExactJson(known["value"])}};
    for (const char* const key : {"min", "max", "increment"}) {
        json[key] = known.contains(key) ? ExactJson(known[key]) : Json();
    }
    json["unit"] = known["unit"];
    if (known.contains("entries")) {
        json["entries"] = AvailableNames(known["entries"]);
    }
    const std::string description = known["description"].get<std::string>();
    json["description"] = description.empty() ? known["tooltip"] : Json(description);
    return json;
}

std::string ValueTextOf(const Json& value) {
    if (value.is_string()) {
        return value.get<std::string>();
    }
    if (value.is_boolean()) {
        return value.get<bool>() ? "yes" : "no";
    }
    if (value.is_number()) {
        return value.dump();
    }
    throw CViewError(kBadRequest, "\"value\" has to be a text, a number or a truth value");
}

} // namespace ox3d::tool
