// ox3d features, get and run: what a camera's features are, their values, and commands.
#include "tools/ox3d/Camera.h"
#include "tools/ox3d/Features.h"
#include "tools/ox3d/Json.h"
#include "tools/ox3d/Session.h"
#include "tools/ox3d/Status.h"
#include "tools/ox3d/Suggest.h"
#include "tools/ox3d/Table.h"
#include "tools/ox3d/commands/Command.h"
#include "tools/ox3d/commands/FeatureJson.h"
#include "tools/ox3d/commands/FeatureText.h"

#include <algorithm>
#include <cstdio>
#include <fnmatch.h>
#include <nlohmann/json.hpp>

namespace ox3d::tool {
namespace {

// A part of the name, or all of it with '*' and '?', in any case.
bool IsMatch(const std::string& pattern, const std::string& name) {
    const bool isWhole = pattern.find_first_of("*?[") != std::string::npos;
    const std::string wanted = isWhole ? pattern : "*" + pattern + "*";
    return fnmatch(wanted.c_str(), name.c_str(), FNM_CASEFOLD) == 0;
}

std::vector<const Feature*> Matching(const CFeatures& features, const std::string& pattern) {
    std::vector<const Feature*> matching;
    for (const Feature& feature : features.All()) {
        const bool isShown = feature.m_record.nVisibility != OX3D_RGBD_VISIBILITY_INVISIBLE;
        if (pattern.empty() ? isShown : IsMatch(pattern, feature.Name())) {
            matching.push_back(&feature);
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

void PrintLong(const std::vector<const Feature*>& features) {
    for (const Feature* feature : features) {
        const OX3D_RGBD_FEATURE& record = feature->m_record;
        const std::string description = TextOf(record.chDescription);
        const std::string range = RangeText(*feature);
        std::printf("%s (%s, %s, in %s)\n", TextOf(record.chName).c_str(), TypeText(record.nType),
                    AccessText(record.nAccess), TextOf(record.chCategory).c_str());
        std::printf("    %s%s%s\n", ValueWithUnit(*feature).c_str(), range.empty() ? "" : "   of ",
                    range.c_str());
        for (const std::string& text : {TextOf(record.chToolTip), description}) {
            if (!text.empty()) {
                std::printf("    %s\n", text.c_str());
            }
        }
    }
}

void PrintTable(const std::vector<const Feature*>& features) {
    std::vector<TableRow> rows = {{"NAME", "TYPE", "ACCESS", "VALUE", "RANGE"}};
    for (const Feature* feature : features) {
        rows.push_back({feature->Name(), TypeText(feature->m_record.nType),
                        AccessText(feature->m_record.nAccess), ValueWithUnit(*feature), RangeText(*feature)});
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
    const CFeatures features(session.Handle());
    const std::vector<const Feature*> matching = Matching(features, arguments.m_feature.m_name);
    if (arguments.m_isJson) {
        Json document = Json::array();
        std::transform(matching.begin(), matching.end(), std::back_inserter(document),
                       [](const Feature* feature) { return FeatureJson(*feature); });
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
    const CFeatures features(session.Handle());
    for (const std::string& name : names) {
        CheckReadable(features.Find(name));
    }
    Json document = Json::object();
    for (const std::string& name : names) {
        const Feature& feature = features.Find(name);
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
    const CFeatures features(session.Handle());
    const Feature& feature = features.Find(arguments.m_feature.m_name);
    if (feature.m_record.nType != OX3D_RGBD_FEATURE_COMMAND) {
        throw CToolError(EExitCode::Usage, feature.Name() + " is no command but a " +
                                               TypeText(feature.m_record.nType) + "; \"ox3d set\" sets it");
    }
    if (const uint32_t status = OX3D_RGBD_Execute(session.Handle(), feature.m_record.chName);
        status != OX3D_RGBD_OK) {
        throw CToolError(EExitCode::Camera,
                         "the camera does not execute " + feature.Name() + ": " + StatusText(status));
    }
    return EExitCode::Ok;
}

} // namespace ox3d::tool
