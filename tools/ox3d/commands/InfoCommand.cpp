// ox3d info: what one camera says about itself.
#include "tools/ox3d/Camera.h"
#include "tools/ox3d/Features.h"
#include "tools/ox3d/Json.h"
#include "tools/ox3d/WorkFolder.h"
#include "tools/ox3d/commands/CalibrationJson.h"
#include "tools/ox3d/commands/Command.h"
#include "tools/ox3d/commands/FeatureJson.h"
#include "tools/ox3d/commands/FeatureText.h"
#include "tools/ox3d/commands/RecordJson.h"
#include "tools/ox3d/commands/Scan3dReport.h"

#include <cstdio>
#include <nlohmann/json.hpp>
#include <ox3drgbd/Ox3dRgbdExtension.h>

namespace ox3d::tool {
namespace {

constexpr const char* kFeatures[] = {"DeviceVendorName",
                                     "DeviceModelName",
                                     "DeviceSerialNumber",
                                     "DeviceVersion",
                                     "DeviceUserID",
                                     "DeviceTemperature",
                                     "Width",
                                     "Height",
                                     "PixelFormat",
                                     "PayloadSize",
                                     "CameraWorkingMode",
                                     "ImageMode",
                                     "ChunkModeActive",
                                     "TriggerMode",
                                     "TriggerSource",
                                     "ExposureTime",
                                     "Gain",
                                     "AcquisitionFrameRate",
                                     "GevSCPSPacketSize",
                                     "Ox3dCameraKind",
                                     "Ox3dConfidenceThreshold",
                                     "Ox3dFrameRetention"};

constexpr const char* kLibraryKeys[] = {OX3D_RGBD_KEY_IMAGE_ALIGN, OX3D_RGBD_KEY_RESOLUTION_ALIGN,
                                        OX3D_RGBD_KEY_OUTPUT_RGBD, OX3D_RGBD_KEY_THREADS};

void PrintLine(const char* name, const std::string& value) {
    std::printf("  %-24s %s\n", name, value.c_str());
}

void PrintRecord(const DeviceRecord& record) {
    const bool isUsb = record.nDeviceType == OX3D_RGBD_DEVICE_USB;
    std::puts("Device");
    PrintLine("type", isUsb ? "USB3 Vision" : "GigE Vision");
    PrintLine("manufacturer", TextOf(record.chManufacturerName));
    PrintLine("model", TextOf(record.chModelName));
    PrintLine("serial number", TextOf(record.chSerialNumber));
    PrintLine("version", TextOf(record.chDeviceVersion));
    PrintLine("user-defined name", TextOf(record.chUserDefinedName));
    PrintLine(isUsb ? "vendor" : "manufacturer's note", TextOf(record.chManufacturerSpecificInfo));
    char text[32];
    if (isUsb) {
        std::snprintf(text, sizeof(text), "%04x:%04x", record.nVendorId, record.nProductId);
        PrintLine("vendor and product id", text);
        PrintLine("bus", AddressOf(record));
        return;
    }
    PrintLine("MAC address", MacText(record));
    PrintLine("IP address", TextOf(record.chCurrentIp));
    PrintLine("subnet mask", TextOf(record.chCurrentSubNetMask));
    PrintLine("gateway", TextOf(record.chDefaultGateWay));
    PrintLine("seen from", TextOf(record.chNetExport));
}

void PrintFeatures(const CCamera& camera) {
    std::puts("\nFeatures");
    for (const char* const name : kFeatures) {
        Ox3dRgbdAccessMode mode = OX3D_RGBD_ACCESS_NOT_IMPLEMENTED;
        if (OX3D_RGBD_XML_GetNodeAccessMode(camera.Handle(), name, &mode) != OX3D_RGBD_OK ||
            mode == OX3D_RGBD_ACCESS_NOT_IMPLEMENTED) {
            continue; // cameras differ in what they have
        }
        OX3D_RGBD_PARAM param{};
        const bool isRead = mode != OX3D_RGBD_ACCESS_NOT_AVAILABLE && mode != OX3D_RGBD_ACCESS_WRITE_ONLY &&
                            OX3D_RGBD_GetParam(camera.Handle(), name, &param) == OX3D_RGBD_OK;
        PrintLine(name, (isRead ? ValueText(param) : "-") + std::string("  (") + AccessText(mode) + ")");
    }
    for (const char* const key : kLibraryKeys) {
        OX3D_RGBD_PARAM param{};
        if (OX3D_RGBD_GetParam(camera.Handle(), key, &param) == OX3D_RGBD_OK) {
            PrintLine(key, ValueText(param) + "  (of the library)");
        }
    }
}

void PrintCalibration(const CCamera& camera, const char* title, uint32_t calibType) {
    std::printf("\n%s\n", title);
    const std::optional<OX3D_RGBD_CALIB_INFO> calib = camera.Calibration(calibType);
    if (!calib) {
        PrintLine("not available", "");
        return;
    }
    char text[128];
    std::snprintf(text, sizeof(text), "%u x %u", calib->nWidth, calib->nHeight);
    PrintLine("image", calib->nWidth == 0 ? "not stated" : text);
    std::snprintf(text, sizeof(text), "fx %.3f  fy %.3f  cx %.3f  cy %.3f", static_cast<double>(calib->fFx),
                  static_cast<double>(calib->fFy), static_cast<double>(calib->fCx),
                  static_cast<double>(calib->fCy));
    PrintLine("intrinsics, pixels", text);
    std::snprintf(text, sizeof(text), "k1 %g  k2 %g  p1 %g  p2 %g  k3 %g", static_cast<double>(calib->fK1),
                  static_cast<double>(calib->fK2), static_cast<double>(calib->fP1),
                  static_cast<double>(calib->fP2), static_cast<double>(calib->fK3));
    PrintLine("distortion", text);
}

void PrintAll(const CCamera& camera) {
    PrintRecord(camera.Record());
    PrintFeatures(camera);
    PrintCalibration(camera, "Calibration of the depth sensor", OX3D_RGBD_CALIB_DEPTH);
    PrintCalibration(camera, "Calibration of the color sensor", OX3D_RGBD_CALIB_COLOR);
}

void PrintDocument(const CCamera& camera) {
    Json document = {{"device", RecordJson(camera.Record())}, {"features", Json::object()}};
    const CFeatures features(camera.Handle());
    for (Feature feature : features.All()) {
        if (feature.m_record.nHasValue == 1) {
            feature.m_entries = EntriesOf(camera.Handle(), feature.m_record);
            document["features"][feature.Name()] = ValueJson(feature);
        }
    }
    document["calibration"] = CalibrationJson(CalibrationOf(camera));
    PrintJson(document);
}

void ShowScan3d(const CCamera& camera, bool isJson) {
    const Scan3dReport report = ReportScan3d(camera);
    if (isJson) {
        PrintJson(Scan3dJson(report));
    } else {
        std::fputs(Scan3dText(report).c_str(), stdout);
    }
}

// Another program's camera answers nothing but the search.
EExitCode ShowRecord(const DeviceRecord& record, bool isJson, const CStatusError& error) {
    if (error.Status() != OX3D_RGBD_E_CAMERA_0E && error.Status() != OX3D_RGBD_E_CAMERA_07) {
        throw error;
    }
    if (isJson) {
        PrintJson({{"device", RecordJson(record)}});
    } else {
        PrintRecord(record);
    }
    std::fprintf(stderr, "ox3d: %s; features and calibration are not shown\n", error.what());
    return error.Status() == OX3D_RGBD_E_CAMERA_0E ? EExitCode::Ok : error.Code();
}

} // namespace

EExitCode RunInfo(CCameraControl& control, const Arguments& arguments) {
    const ProviderChoice& provider = control.Enter();
    const CScratchFolder folder;
    EnterFolder(folder.Path());
    const std::vector<DeviceRecord> cameras = ListCameras(provider);
    const DeviceRecord& record = PickCamera(cameras, arguments.m_serial);
    try {
        const CCamera camera(provider, record);
        if (arguments.m_isScan3dWanted) {
            ShowScan3d(camera, arguments.m_isJson);
            return EExitCode::Ok;
        }
        arguments.m_isJson ? PrintDocument(camera) : PrintAll(camera);
    } catch (const CStatusError& error) {
        return ShowRecord(record, arguments.m_isJson, error);
    }
    return EExitCode::Ok;
}

} // namespace ox3d::tool
