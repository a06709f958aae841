// Cameras and frames as a recorder takes them.
#include "tools/ox3d/commands/RecordedSource.h"

#include "base/LocalFile.h"
#include "tools/ox3d/Status.h"
#include "tools/ox3d/pictures/FrameDecode.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <unistd.h>

namespace ox3d::tool {
namespace {

namespace fs = std::filesystem;

constexpr uint64_t kMaxTextBytes = uint64_t{16} << 20U;

std::string HostName() {
    char name[256] = "";
    gethostname(name, sizeof(name) - 1);
    return PrintableText(name, sizeof(name));
}

std::string TextOfFile(const fs::path& file) {
    std::string text;
    return ReadLocalFile(file.string(), kMaxTextBytes, &text) ? text : std::string();
}

std::string DescriptionOf(const CCamera& camera) {
    std::vector<uint8_t> bytes(size_t{4} << 20U);
    uint32_t lengthBytes = 0;
    const uint32_t status = OX3D_RGBD_GetCameraXML(camera.Handle(), bytes.data(),
                                                   static_cast<uint32_t>(bytes.size()), &lengthBytes);
    const bool isWhole = status == OX3D_RGBD_OK && lengthBytes <= bytes.size();
    return isWhole ? std::string(bytes.begin(), bytes.begin() + lengthBytes) : std::string();
}

std::optional<RecordedWay> WayOf(const CCamera& camera) {
    OX3D_RGBD_EXTRINSICS way{};
    if (OX3D_RGBD_GetExtrinsics(camera.Handle(), OX3D_RGBD_CAMERA_DEPTH, OX3D_RGBD_CAMERA_COLOR, &way) !=
        OX3D_RGBD_OK) {
        return std::nullopt;
    }
    RecordedWay recorded;
    std::copy(std::begin(way.fRotation), std::end(way.fRotation), recorded.m_rotation.begin());
    std::copy(std::begin(way.fTranslation), std::end(way.fTranslation), recorded.m_translationMm.begin());
    return recorded;
}

} // namespace

std::string LibraryVersion() {
    OX3D_RGBD_VERSION_INFO version{};
    OX3D_RGBD_GetSDKVersion(&version);
    return std::to_string(version.nMajor) + "." + std::to_string(version.nMinor) + "." +
           std::to_string(version.nRevision);
}

RecordedCamera DescribeCamera(const CCamera& camera, const fs::path& scratch) {
    const DeviceRecord& record = camera.Record();
    RecordedCamera recorded;
    recorded.m_facts = {
        {"serial", TextOf(record.chSerialNumber)},
        {"model", TextOf(record.chModelName)},
        {"manufacturer", TextOf(record.chManufacturerName)},
        {"device_version", TextOf(record.chDeviceVersion)},
        {"user_name", TextOf(record.chUserDefinedName)},
        {"transport", record.nDeviceType == OX3D_RGBD_DEVICE_USB ? "usb" : "gige"},
        {"sdk", LibraryVersion()},
        {"host", HostName()},
        {"depth_unit_mm", "1"},
        {"aligned", "0"},
    };
    const std::string features = (scratch / "features.txt").string();
    const std::string calibration = (scratch / "calibration.xml").string();
    if (OX3D_RGBD_ExportAllParam(camera.Handle(), features.c_str()) == OX3D_RGBD_OK) {
        recorded.m_features = TextOfFile(features);
    }
    if (const uint32_t status = camera.SaveCalibration(calibration); status == OX3D_RGBD_OK) {
        recorded.m_calibrationXml = TextOfFile(calibration);
    } else {
        std::fprintf(stderr, "ox3d: the recording will lack the camera's calibration: %s\n",
                     StatusText(status).c_str());
    }
    recorded.m_description = DescriptionOf(camera);
    return recorded;
}

void AddLenses(const CCamera& camera, RecordedCamera* recorded) {
    recorded->m_depthLens = camera.Lens(OX3D_RGBD_CAMERA_DEPTH);
    recorded->m_colorLens = camera.Lens(OX3D_RGBD_CAMERA_COLOR);
    recorded->m_depthToColor = WayOf(camera);
}

FrameView CFrameViews::Of(const OX3D_RGBD_FRAME_DATA& frame, const OX3D_RGBD_IMAGE_DATA& depth) {
    FrameView view;
    OX3D_RGBD_FRAME_TIMES times{};
    if (OX3D_RGBD_GetFrameTimes(m_camera.Handle(), &frame, &times) == OX3D_RGBD_OK) {
        view.m_facts.m_hostNs = times.nArrivalUtcNs;
        view.m_facts.m_cameraNs = times.nCaptureUtcNs;
    } else {
        const auto now = std::chrono::system_clock::now().time_since_epoch();
        view.m_facts.m_hostNs = static_cast<uint64_t>(std::chrono::nanoseconds(now).count());
    }
    view.m_facts.m_number = depth.nFrameNum;
    view.m_facts.m_ticks = depth.nTimeStamp;
    view.m_facts.m_lostBefore =
        m_lastNumber != 0 && depth.nFrameNum > m_lastNumber + 1 ? depth.nFrameNum - m_lastNumber - 1 : 0;
    view.m_depth = {reinterpret_cast<const uint16_t*>(depth.pData), depth.nWidth, depth.nHeight,
                    depth.nWidth};
    if (const OX3D_RGBD_IMAGE_DATA* const color = FindColor(frame); color != nullptr) {
        const bool isPlanar = color->enImageType == OX3D_RGBD_PIXEL_RGB8_PLANAR;
        m_color = isPlanar ? RgbImage() : DecodeColor(frame);
        const auto* const pixels = reinterpret_cast<const uint8_t*>(m_color.m_samples.data());
        view.m_color = {isPlanar ? color->pData : pixels, color->nWidth, color->nHeight,
                        isPlanar ? EColorLayout::Planar : EColorLayout::Interleaved};
    }
    view.m_facts.m_isIncomplete = m_hadColor && view.m_color.m_bytes == nullptr;
    m_hadColor = m_hadColor || view.m_color.m_bytes != nullptr;
    return view;
}

} // namespace ox3d::tool
