// ox3d features, get and run: what a camera's features are, their values, and commands.
#include "tools/ox3d/Camera.h"
#include "tools/ox3d/Features.h"
#include "tools/ox3d/Interrupt.h"
#include "tools/ox3d/Json.h"
#include "tools/ox3d/Session.h"
#include "tools/ox3d/Status.h"
#include "tools/ox3d/Suggest.h"
#include "tools/ox3d/Table.h"
#include "tools/ox3d/commands/Command.h"
#include "tools/ox3d/commands/FeatureJson.h"
#include "tools/ox3d/commands/FeatureSetting.h"
#include "tools/ox3d/commands/FeatureText.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace ox3d::tool {
namespace {

std::vector<Feature> Matching(void* handle, const std::string& pattern) {
    const CFeatures features(handle);
    std::vector<Feature> matching;
    for (const Feature& feature : features.All()) {
        const bool isShown = feature.m_record.nVisibility != OX3D_RGBD_VISIBILITY_INVISIBLE;
        if (pattern.empty() ? isShown : IsFeatureMatch(pattern, feature.Name())) {
            CheckInterrupted();
            matching.push_back({feature.m_record, EntriesOf(handle, feature.m_record)});
        }
    }
    if (matching.empty()) {
        features.Find(pattern); // says what may have been meant
    }
    return matching;
}

std::string ValueWithUnit(const Feature& feature) {
    const std::string value = PlainText(feature);
    const std::string unit = TextOf(feature.m_record.chUnit);
    return value.empty() ? "-" : value + (unit.empty() ? "" : " " + unit);
}

void PrintLong(const std::vector<Feature>& features) {
    for (const Feature& feature : features) {
        const OX3D_RGBD_FEATURE& record = feature.m_record;
        const std::string description = TextOf(record.chDescription);
        const std::string range = RangeText(feature);
        std::printf("%s (%s, %s, in %s)\n", TextOf(record.chName).c_str(), TypeText(record.nType),
                    AccessText(record.nAccess), TextOf(record.chCategory).c_str());
        std::printf("    %s%s%s\n", ValueWithUnit(feature).c_str(), range.empty() ? "" : "   of ",
                    range.c_str());
        for (const std::string& text : {TextOf(record.chToolTip), description}) {
            if (!text.empty()) {
                std::printf("    %s\n", text.c_str());
            }
        }
    }
}

void PrintTable(const std::vector<Feature>& features) {
    std::vector<TableRow> rows = {{"NAME", "TYPE", "ACCESS", "VALUE", "RANGE"}};
    for (const Feature& feature : features) {
        rows.push_back({feature.Name(), TypeText(feature.m_record.nType),
                        AccessText(feature.m_record.nAccess), ValueWithUnit(feature), RangeText(feature)});
    }
    std::fputs(TableText(rows).c_str(), stdout);
}

void CheckReadable(const Feature& feature) {
    if (feature.m_record.nHasValue == 1) {
        return;
    }
    const uint32_t type = feature.m_record.nType;
    if (type == OX3D_RGBD_FEATURE_COMMAND || type == OX3D_RGBD_FEATURE_REGISTER) {
        ParseValue(feature, ""); // says that it has none
    }
    throw CToolError(EExitCode::Camera,
                     feature.Name() + " cannot be read now: it is " + AccessText(feature.m_record.nAccess));
}

} // namespace

EExitCode RunFeatures(CCameraControl& control, const Arguments& arguments) {
    const ProviderChoice& provider = control.Enter();
    CSession session(provider, arguments.m_serial);
    const std::vector<Feature> matching = Matching(session.Handle(), arguments.m_feature.m_name);
    CheckInterrupted();
    if (arguments.m_isJson) {
        Json document = Json::array();
        std::transform(matching.begin(), matching.end(), std::back_inserter(document), FeatureJson);
        PrintJson(document);
    } else if (arguments.m_feature.m_isLong) {
        PrintLong(matching);
    } else {
        PrintTable(matching);
    }
    return EExitCode::Ok;
}

EExitCode RunGet(CCameraControl& control, const Arguments& arguments) {
    const ProviderChoice& provider = control.Enter();
    const std::vector<std::string>& names = arguments.m_feature.m_names;
    CSession session(provider, arguments.m_serial);
    std::vector<Feature> features;
    for (const std::string& name : names) {
        features.push_back(FindFeature(session.Handle(), name));
        CheckReadable(features.back());
        CheckInterrupted();
    }
    Json document = Json::object();
    for (const Feature& feature : features) {
        const std::string name = feature.Name();
        document[name] = ValueJson(feature);
        if (!arguments.m_isJson) {
            std::printf("%s%s\n", names.size() > 1 ? (name + "=").c_str() : "", PlainText(feature).c_str());
        }
    }
    if (arguments.m_isJson) {
        PrintJson(document);
    }
    return EExitCode::Ok;
}

EExitCode RunRun(CCameraControl& control, const Arguments& arguments) {
    const ProviderChoice& provider = control.Enter();
    CSession session(provider, arguments.m_serial);
    const Feature command = FindCommand(session.Handle(), arguments.m_feature.m_name);
    CheckInterrupted();
    Execute(session.Handle(), command);
    return EExitCode::Ok;
}

} // namespace ox3d::tool
