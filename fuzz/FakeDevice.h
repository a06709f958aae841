// FakeDevice.h - Aravis's own camera without hardware, whose description may be any text.
#ifndef OX3D_FUZZ_FAKE_DEVICE_H
#define OX3D_FUZZ_FAKE_DEVICE_H

#include <arv.h>

#include <string>

#include "providers/aravis/ArvError.h"

namespace ox3d::fuzz {

// Null where the description is not one. An empty path stands for the description that Aravis brings.
inline CObject<ArvDevice> MakeFakeDevice(const std::string& descriptionPath) {
    arv_set_fake_camera_genicam_filename(descriptionPath.empty() ? nullptr : descriptionPath.c_str());
    CArvError error;
    CObject<ArvDevice> device(arv_fake_device_new("FUZZ01", error.Out()));
    if (device != nullptr) {
        arv_device_set_range_check_policy(device.get(), ARV_RANGE_CHECK_POLICY_ENABLE);
        arv_device_set_access_check_policy(device.get(), ARV_ACCESS_CHECK_POLICY_ENABLE);
    }
    return device;
}

// What Aravis tells on the standard outputs does not help and takes time.
inline void SilenceLibraries() {
    g_log_set_default_handler([](const gchar*, GLogLevelFlags, const gchar*, gpointer) {}, nullptr);
}

} // namespace ox3d::fuzz

#endif
