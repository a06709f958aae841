// Features as JSON.
#include "tools/ox3d/commands/FeatureJson.h"

#include "tools/ox3d/Camera.h"
#include "tools/ox3d/commands/FeatureText.h"

#include <array>
#include <charconv>
#include <nlohmann/json.hpp>

namespace ox3d::tool {
namespace {

constexpr const char* kVisibilities[] = {"beginner", "expert", "guru", "invisible"};

// The number that people would write: 0.1 and not 0.10000000149.
Json NumberJson(float number) {
    std::array<char, 64> text{};
    const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), number);
    double shortest = 0;
    std::from_chars(text.data(), end, shortest);
    return shortest;
}

Json EntriesJson(const Feature& feature) {
    Json entries = Json::array();
    for (const OX3D_RGBD_FEATURE_ENTRY& entry : feature.m_entries) {
        entries.push_back({{"name", TextOf(entry.chName)},
                           {"display_name", TextOf(entry.chDisplayName)},
                           {"value", entry.nValue},
                           {"available", entry.nIsAvailable == 1}});
    }
    return entries;
}

} // namespace

Json ValueJson(const Feature& feature) {
    const OX3D_RGBD_FEATURE& record = feature.m_record;
    if (record.nHasValue != 1) {
        return nullptr;
    }
    switch (record.nType) {
    case OX3D_RGBD_PARAM_BOOL:
        return record.stValue.bBoolValue != 0;
    case OX3D_RGBD_PARAM_INT:
        return record.stValue.stIntParam.nCurValue;
    case OX3D_RGBD_PARAM_FLOAT:
        return NumberJson(record.stValue.stFloatParam.fCurValue);
    default:
        return PlainText(feature);
    }
}

Json FeatureJson(const Feature& feature) {
    const OX3D_RGBD_FEATURE& record = feature.m_record;
    Json json = {{"name", TextOf(record.chName)},
                 {"display_name", TextOf(record.chDisplayName)},
                 {"category", TextOf(record.chCategory)},
                 {"type", TypeText(record.nType)},
                 {"access", AccessText(record.nAccess)},
                 {"visibility", record.nVisibility < std::size(kVisibilities)
                                    ? kVisibilities[record.nVisibility]
                                    : "unknown"},
                 {"value", ValueJson(feature)},
                 {"unit", TextOf(record.chUnit)},
                 {"tooltip", TextOf(record.chToolTip)},
                 {"description", TextOf(record.chDescription)}};
    if (record.nHasValue == 1 && record.nType == OX3D_RGBD_PARAM_INT) {
        const OX3D_RGBD_INTPARAM& range = record.stValue.stIntParam;
        json.update({{"min", range.nMin}, {"max", range.nMax}, {"increment", range.nInc}});
    } else if (record.nHasValue == 1 && record.nType == OX3D_RGBD_PARAM_FLOAT) {
        json["min"] = NumberJson(record.stValue.stFloatParam.fMin);
        json["max"] = NumberJson(record.stValue.stFloatParam.fMax);
    } else if (record.nType == OX3D_RGBD_PARAM_ENUM) {
        json["entries"] = EntriesJson(feature);
    }
    return json;
}

} // namespace ox3d::tool
