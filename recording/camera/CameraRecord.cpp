// CameraRecord.cpp - asks the library what a recording has beside frames.
#include "recording/camera/CameraRecord.h"

#include "base/BoundedText.h"
#include "base/LocalFile.h"
#include "recording/camera/FrameImages.h"

#include <atomic>
#include <chrono>
#include <unistd.h>

namespace ox3d {
namespace {

constexpr uint64_t kMaxTextBytes = uint64_t{16} << 20U;

std::string HostName() {
    char name[256] = "";
    gethostname(name, sizeof(name) - 1);
    return PrintableText(BoundedText(name));
}

std::string TextOfFile(const std::string& file) {
    std::string text;
    return ReadLocalFile(file, kMaxTextBytes, &text) ? text : std::string();
}

std::string DescriptionOf(void* handle) {
    std::vector<uint8_t> bytes(size_t{4} << 20U);
    uint32_t lengthBytes = 0;
    const uint32_t status =
        OX3D_RGBD_GetCameraXML(handle, bytes.data(), static_cast<uint32_t>(bytes.size()), &lengthBytes);
    const bool isWhole = status == OX3D_RGBD_OK && lengthBytes <= bytes.size();
    return isWhole ? std::string(bytes.begin(), bytes.begin() + lengthBytes) : std::string();
}

std::optional<RecordedWay> WayOf(void* handle) {
    OX3D_RGBD_EXTRINSICS way{};
    if (OX3D_RGBD_GetExtrinsics(handle, OX3D_RGBD_CAMERA_DEPTH, OX3D_RGBD_CAMERA_COLOR, &way) !=
        OX3D_RGBD_OK) {
        return std::nullopt;
    }
    RecordedWay recorded;
    std::copy(std::begin(way.fRotation), std::end(way.fRotation), recorded.m_rotation.begin());
    std::copy(std::begin(way.fTranslation), std::end(way.fTranslation), recorded.m_translationMm.begin());
    return recorded;
}

template <size_t N>
std::string TextOf(const char (&field)[N]) {
    return PrintableText(BoundedText(field));
}

} // namespace

std::string LibraryVersion() {
    OX3D_RGBD_VERSION_INFO version{};
    OX3D_RGBD_GetSDKVersion(&version);
    return std::to_string(version.nMajor) + "." + std::to_string(version.nMinor) + "." +
           std::to_string(version.nRevision);
}

std::optional<RecordedLens> LensOf(void* handle, uint32_t stream) {
    OX3D_RGBD_INTRINSICS lens{};
    if (OX3D_RGBD_GetIntrinsics(handle, stream, &lens) != OX3D_RGBD_OK) {
        return std::nullopt;
    }
    return RecordedLens{lens.nWidth,
                        lens.nHeight,
                        lens.fFx,
                        lens.fFy,
                        lens.fCx,
                        lens.fCy,
                        {lens.fK1, lens.fK2, lens.fP1, lens.fP2, lens.fK3}};
}

uint32_t SaveCalibrationFile(void* handle, const std::string& file) {
    OX3D_RGBD_FILE_ACCESS access{};
    access.pUserFileName = file.c_str();
    access.pDevFileName = "RGBDSensorCali";
    return OX3D_RGBD_FileAccessRead(handle, &access);
}

RecordedCamera DescribeCamera(void* handle, const OX3D_RGBD_DEVICE_INFO& record,
                              const std::filesystem::path& scratch, uint32_t* calibration) {
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
    static std::atomic<uint64_t> s_described{0}; // several cameras may be described at once
    const std::string own = std::to_string(++s_described);
    const std::string features = (scratch / ("features-" + own + ".txt")).string();
    const std::string file = (scratch / ("calibration-" + own + ".xml")).string();
    if (OX3D_RGBD_ExportAllParam(handle, features.c_str()) == OX3D_RGBD_OK) {
        recorded.m_features = TextOfFile(features);
    }
    *calibration = SaveCalibrationFile(handle, file);
    if (*calibration == OX3D_RGBD_OK) {
        recorded.m_calibrationXml = TextOfFile(file);
    }
    recorded.m_description = DescriptionOf(handle);
    return recorded;
}

void AddLenses(void* handle, RecordedCamera* camera) {
    camera->m_depthLens = LensOf(handle, OX3D_RGBD_CAMERA_DEPTH);
    camera->m_colorLens = LensOf(handle, OX3D_RGBD_CAMERA_COLOR);
    camera->m_depthToColor = WayOf(handle);
}

void CFrameViews::AddTimes(const OX3D_RGBD_FRAME_DATA& frame, RecordedFacts* facts) const {
    OX3D_RGBD_FRAME_TIMES times{};
    if (OX3D_RGBD_GetFrameTimes(m_handle, &frame, &times) == OX3D_RGBD_OK) {
        facts->m_hostNs = times.nArrivalUtcNs;
        facts->m_cameraNs = times.nCaptureUtcNs;
        return;
    }
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    facts->m_hostNs = static_cast<uint64_t>(std::chrono::nanoseconds(now).count());
}

FrameView CFrameViews::Of(const OX3D_RGBD_FRAME_DATA& frame, const OX3D_RGBD_IMAGE_DATA& depth) {
    FrameView view;
    AddTimes(frame, &view.m_facts);
    view.m_facts.m_number = depth.nFrameNum;
    view.m_facts.m_ticks = depth.nTimeStamp;
    view.m_facts.m_lostBefore =
        m_lastNumber != 0 && depth.nFrameNum > m_lastNumber + 1 ? depth.nFrameNum - m_lastNumber - 1 : 0;
    view.m_depth = {reinterpret_cast<const uint16_t*>(depth.pData), depth.nWidth, depth.nHeight,
                    depth.nWidth};
    if (const OX3D_RGBD_IMAGE_DATA* const color = FindColor(frame); color != nullptr) {
        const bool isPlanar = color->enImageType == OX3D_RGBD_PIXEL_RGB8_PLANAR;
        if (!isPlanar) {
            m_color.resize(size_t{color->nWidth} * color->nHeight * 3);
            InterleaveColor(*color, m_color.data());
        }
        view.m_color = {isPlanar ? color->pData : m_color.data(), color->nWidth, color->nHeight,
                        isPlanar ? EColorLayout::Planar : EColorLayout::Interleaved};
    }
    view.m_facts.m_isIncomplete = m_hadColor && view.m_color.m_bytes == nullptr;
    m_hadColor = m_hadColor || view.m_color.m_bytes != nullptr;
    return view;
}

} // namespace ox3d
