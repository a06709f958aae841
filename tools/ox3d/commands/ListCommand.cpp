// ox3d list: the cameras present, one line each.
#include "tools/ox3d/Camera.h"
#include "tools/ox3d/Table.h"
#include "tools/ox3d/WorkFolder.h"
#include "tools/ox3d/commands/Command.h"

#include <cstdio>

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

} // namespace

EExitCode RunList(CCameraControl& control, const Arguments& /*arguments*/) {
    const ProviderChoice& provider = control.Enter();
    const CScratchFolder folder;
    EnterFolder(folder.Path());
    const std::vector<DeviceRecord> cameras = ListCameras(provider);
    if (cameras.empty()) {
        std::puts("no cameras found");
        return EExitCode::Ok;
    }
    std::vector<TableRow> rows = {{"TYPE", "MODEL", "SERIAL", "ADDRESS", "NAME", "ACCESSIBLE"}};
    for (const DeviceRecord& camera : cameras) {
        rows.push_back(RowOf(camera));
    }
    std::fputs(TableText(rows).c_str(), stdout);
    return EExitCode::Ok;
}

} // namespace ox3d::tool
