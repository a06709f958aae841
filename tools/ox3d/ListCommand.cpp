// ox3d list: the cameras present, one line each.
#include "Camera.h"
#include "Commands.h"
#include "TempFiles.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace ox3dtool {
namespace {

constexpr size_t kColumns = 6;
using Row = std::array<std::string, kColumns>;

std::string Accessibility(const DeviceRecord& camera) {
    constexpr uint32_t kExclusive = 1;
    DeviceRecord record = camera;
    return OX3D_RGBD_CamIsAccessible(&record, kExclusive) == 1 ? "yes" : "no";
}

Row RowOf(const DeviceRecord& camera) {
    return {camera.nDeviceType == OX3D_RGBD_DEVICE_USB ? "USB" : "GigE",
            TextOf(camera.chModelName),
            TextOf(camera.chSerialNumber),
            AddressOf(camera),
            TextOf(camera.chUserDefinedName),
            Accessibility(camera)};
}

void PrintTable(const std::vector<Row>& rows) {
    std::array<size_t, kColumns> widths{};
    for (const Row& row : rows) {
        for (size_t i = 0; i < kColumns; ++i) {
            widths[i] = std::max(widths[i], row[i].size());
        }
    }
    for (const Row& row : rows) {
        std::string line;
        for (size_t i = 0; i < kColumns; ++i) {
            line += row[i] + std::string(widths[i] - row[i].size() + 2, ' ');
        }
        line.erase(line.find_last_not_of(' ') + 1);
        std::printf("%s\n", line.c_str());
    }
}

} // namespace

EExitCode RunList(const ProviderChoice& provider) {
    const CTempFolder folder;
    EnterFolder(folder.Path());
    const std::vector<DeviceRecord> cameras = ListCameras(provider);
    if (cameras.empty()) {
        std::puts("no cameras found");
        return kExitOk;
    }
    std::vector<Row> rows = {{"TYPE", "MODEL", "SERIAL", "ADDRESS", "NAME", "ACCESSIBLE"}};
    for (const DeviceRecord& camera : cameras) {
        rows.push_back(RowOf(camera));
    }
    PrintTable(rows);
    return kExitOk;
}

} // namespace ox3dtool
