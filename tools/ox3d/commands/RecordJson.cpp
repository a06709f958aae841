// Device records as JSON.
#include "tools/ox3d/commands/RecordJson.h"

#include <nlohmann/json.hpp>

namespace ox3d::tool {

Json RecordJson(const DeviceRecord& record) {
    const bool isUsb = record.nDeviceType == OX3D_RGBD_DEVICE_USB;
    Json json = {{"type", isUsb ? "USB" : "GigE"},
                 {"manufacturer", TextOf(record.chManufacturerName)},
                 {"model", TextOf(record.chModelName)},
                 {"serial", TextOf(record.chSerialNumber)},
                 {"version", TextOf(record.chDeviceVersion)},
                 {"name", TextOf(record.chUserDefinedName)},
                 {"address", AddressOf(record)}};
    if (isUsb) {
        json.update({{"vendor_id", record.nVendorId}, {"product_id", record.nProductId}});
    } else {
        json.update({{"mac", MacText(record)},
                     {"mask", TextOf(record.chCurrentSubNetMask)},
                     {"gateway", TextOf(record.chDefaultGateWay)},
                     {"seen_from", TextOf(record.chNetExport)}});
    }
    return json;
}

} // namespace ox3d::tool
