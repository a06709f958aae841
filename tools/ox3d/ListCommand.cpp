// ox3d list: the cameras present, one line each.
#include "tools/ox3d/Camera.h"
#include "tools/ox3d/Commands.h"
#include "tools/ox3d/Table.h"
#include "tools/ox3d/TempFiles.h"

#include <cstdio>

namespace ox3dtool {
namespace {

TableRow RowOf(const DeviceRecord& camera) {
    return {camera.nDeviceType == OX3D_RGBD_DEVICE_USB ? "USB" : "GigE",
            TextOf(camera.chModelName),
            TextOf(camera.chSerialNumber),
            AddressOf(camera),
            TextOf(camera.chUserDefinedName),
            IsFree(camera) ? "yes" : "no"};
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
    std::vector<TableRow> rows = {{"TYPE", "MODEL", "SERIAL", "ADDRESS", "NAME", "ACCESSIBLE"}};
    for (const DeviceRecord& camera : cameras) {
        rows.push_back(RowOf(camera));
    }
    std::fputs(TableText(rows).c_str(), stdout);
    return kExitOk;
}

} // namespace ox3dtool
