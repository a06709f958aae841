// ox3d list: the cameras present, one line each.
#include "tools/ox3d/Camera.h"
#include "tools/ox3d/Interrupt.h"
#include "tools/ox3d/Json.h"
#include "tools/ox3d/Table.h"
#include "tools/ox3d/WorkFolder.h"
#include "tools/ox3d/commands/Command.h"
#include "tools/ox3d/commands/RecordJson.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <thread>

namespace ox3d::tool {
namespace {

TableRow RowOf(const DeviceRecord& camera) {
    return {camera.nDeviceType == OX3D_RGBD_DEVICE_USB ? "USB" : "GigE",
            TextOf(camera.chModelName),
            TextOf(camera.chSerialNumber),
            AddressOf(camera),
            TextOf(camera.chUserDefinedName),
            IsFree(camera) ? "yes" : "no"};
}

// Asks the camera, unless another program has it; empty where that is not known.
std::string KindOf(const ProviderChoice& provider, const DeviceRecord& record) {
    if (ReachOf(record) != EReach::Free) {
        return "";
    }
    try {
        return CCamera(provider, record).Kind();
    } catch (const CToolError&) {
        return ""; // taken, or gone, since
    }
}

// In the order of the cameras; empty where it is not asked for.
std::vector<std::string> KindsOf(const ProviderChoice& provider, const std::vector<DeviceRecord>& cameras,
                                 bool isWanted) {
    std::vector<std::string> kinds;
    for (size_t i = 0; isWanted && i < cameras.size(); ++i) {
        CheckInterrupted();
        kinds.push_back(KindOf(provider, cameras[i]));
    }
    return kinds;
}

std::string Table(const std::vector<DeviceRecord>& cameras, const std::vector<std::string>& kinds) {
    std::vector<TableRow> rows = {{"TYPE", "MODEL", "SERIAL", "ADDRESS", "NAME", "ACCESSIBLE"}};
    for (const DeviceRecord& camera : cameras) {
        rows.push_back(RowOf(camera));
    }
    for (size_t i = 0; !kinds.empty() && i < rows.size(); ++i) {
        rows[i].push_back(i == 0 ? "KIND" : kinds[i - 1].empty() ? std::string(1, '-') : kinds[i - 1]);
    }
    return TableText(rows);
}

Json Document(const std::vector<DeviceRecord>& cameras, const std::vector<std::string>& kinds) {
    Json document = Json::array();
    for (const DeviceRecord& camera : cameras) {
        Json& json = document.emplace_back(RecordJson(camera));
        json["accessible"] = IsFree(camera);
        if (!kinds.empty()) {
            json["kind"] = kinds[document.size() - 1];
        }
    }
    return document;
}

void Tell(const char* sign, const std::vector<DeviceRecord>& cameras,
          const std::vector<DeviceRecord>& others) {
    for (const DeviceRecord& camera : cameras) {
        const bool isThere = std::any_of(others.begin(), others.end(), [&](const DeviceRecord& other) {
            return TextOf(other.chSerialNumber) == TextOf(camera.chSerialNumber);
        });
        if (!isThere) {
            std::printf("%s %s %s (%s)\n", sign, TextOf(camera.chModelName).c_str(),
                        TextOf(camera.chSerialNumber).c_str(), AddressOf(camera).c_str());
        }
    }
    std::fflush(stdout);
}

// A reader of the list that goes away ends the watch, too.
void Watch(const ProviderChoice& provider) {
    constexpr auto kLookAgain = std::chrono::seconds(1);
    constexpr auto kSlice = std::chrono::milliseconds(100);
    std::vector<DeviceRecord> known;
    while (!IsInterrupted() && std::ferror(stdout) == 0) {
        std::vector<DeviceRecord> present = ListCameras(provider);
        Tell("-", known, present);
        Tell("+", present, known);
        known = std::move(present);
        for (auto waited = kSlice; waited <= kLookAgain && !IsInterrupted(); waited += kSlice) {
            std::this_thread::sleep_for(kSlice);
        }
    }
}

} // namespace

EExitCode RunList(CCameraControl& control, const Arguments& arguments) {
    const ProviderChoice& provider = control.Enter();
    const CScratchFolder folder;
    EnterFolder(folder.Path());
    if (arguments.m_isWatching) {
        Watch(provider);
        return EExitCode::Ok;
    }
    const std::vector<DeviceRecord> cameras = ListCameras(provider);
    const std::vector<std::string> kinds = KindsOf(provider, cameras, arguments.m_isKindWanted);
    if (arguments.m_isJson) {
        PrintJson(Document(cameras, kinds));
        return EExitCode::Ok;
    }
    if (cameras.empty()) {
        std::puts("no cameras found");
        return EExitCode::Ok;
    }
    std::fputs(Table(cameras, kinds).c_str(), stdout);
    return EExitCode::Ok;
}

} // namespace ox3d::tool
