// ox3d grab: fetches frames and writes pictures and a point cloud of them.
#include "tools/ox3d/Camera.h"
#include "tools/ox3d/Commands.h"
#include "tools/ox3d/FrameDecode.h"
#include "tools/ox3d/FrameStats.h"
#include "tools/ox3d/Interrupt.h"
#include "tools/ox3d/Progress.h"
#include "tools/ox3d/Results.h"
#include "tools/ox3d/Status.h"
#include "tools/ox3d/TempFiles.h"

#include <chrono>
#include <cstdio>
#include <thread>

namespace ox3dtool {
namespace {

using Clock = std::chrono::steady_clock;

constexpr uint32_t kSliceMs = 200; // a fetch waits no longer, so that Ctrl-C is answered soon

double SecondsOf(Clock::time_point time) {
    return std::chrono::duration<double>(time.time_since_epoch()).count();
}

class CGrab {
public:
    CGrab(CCamera& camera, const GrabOptions& options)
        : m_camera(camera), m_options(options), m_progress(options.m_frames) {}

    EExitCode Run();

private:
    bool IsDone() const { return m_options.m_frames != 0 && m_stats.Frames() >= m_options.m_frames; }
    EExitCode FetchAll();
    bool FetchOne();
    void Take(const OX3D_RGBD_FRAME_DATA& frame);
    void AddCloud(GrabbedFrame& frame) const;
    void AddUnregisteredCloud(GrabbedFrame& frame) const;
    void WriteLast(const std::filesystem::path& folder);
    void Report(const std::vector<std::string>& files) const;

    CCamera& m_camera;
    const GrabOptions& m_options;
    CProgress m_progress;
    CFrameStats m_stats;
    GrabbedFrame m_last; // the last good frame
    std::optional<OX3D_RGBD_CALIB_INFO> m_colorCalib;
    uint32_t m_lastStatus = OX3D_RGBD_OK; // of the last fetch that failed
};

// One fetch; whether it gave a good frame.
bool CGrab::FetchOne() {
    OX3D_RGBD_FRAME_DATA frame{};
    const Clock::time_point begin = Clock::now();
    const uint32_t status = OX3D_RGBD_FetchFrame(m_camera.Handle(), &frame, kSliceMs);
    if (status == OX3D_RGBD_OK && FindDepth(frame) != nullptr) {
        Take(frame);
        return true;
    }
    m_lastStatus = status == OX3D_RGBD_OK ? OX3D_RGBD_E_NO_DATA : status;
    if (status != OX3D_RGBD_E_NO_DATA) {
        m_stats.AddBad();
    }
    if (Clock::now() - begin < std::chrono::milliseconds(5)) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5)); // a fetch that fails at once must not spin
    }
    return false;
}

void CGrab::Take(const OX3D_RGBD_FRAME_DATA& frame) {
    m_last.m_depth = DecodeDepth(frame);
    m_last.m_color = DecodeColor(frame);
    m_last.m_frameNum = FindDepth(frame)->nFrameNum;
    m_last.m_isRegistered = m_camera.IsRegistered();
    m_stats.Add(m_last.m_frameNum, SecondsOf(Clock::now()), m_last.m_depth);
    m_progress.Update(m_stats);
    if (m_options.m_writeAll) {
        char name[32];
        std::snprintf(name, sizeof(name), "frame_%06u", static_cast<unsigned>(m_stats.Frames()));
        WriteLast(m_options.m_out / name);
    }
}

EExitCode CGrab::FetchAll() {
    const std::chrono::seconds patience(m_options.m_patienceSeconds);
    Clock::time_point lastGood = Clock::now();
    while (!IsDone()) {
        if (IsInterrupted()) {
            return m_options.m_frames == 0 ? kExitOk : kExitInterrupted;
        }
        if (FetchOne()) {
            lastGood = Clock::now();
        } else if (m_camera.IsLost()) {
            m_progress.Finish();
            std::fputs("ox3d: the camera went offline\n", stderr);
            return kExitCamera;
        } else if (Clock::now() - lastGood > patience) {
            m_progress.Finish();
            std::fprintf(stderr, "ox3d: no frame for %u s: %s\n", m_options.m_patienceSeconds,
                         StatusText(m_lastStatus).c_str());
            return kExitNoFrame;
        }
    }
    return kExitOk;
}

// Depth that is not registered keeps the depth camera's view, and nothing tells where its points are seen in
// color: its cloud has no colors rather than wrong ones.
void CGrab::AddUnregisteredCloud(GrabbedFrame& frame) const {
    OX3D_RGBD_IMAGE_DATA depth{};
    depth.enImageType = OX3D_RGBD_PIXEL_DEPTH16;
    depth.nWidth = frame.m_depth.m_width;
    depth.nHeight = frame.m_depth.m_height;
    depth.pData = reinterpret_cast<uint8_t*>(frame.m_depth.m_samples.data());
    depth.nDataLen = static_cast<uint32_t>(frame.m_depth.m_samples.size() * sizeof(uint16_t));
    OX3D_RGBD_IMAGE_DATA points{};
    const uint32_t status = OX3D_RGBD_MapDepthToPointCloud(m_camera.Handle(), &depth, &points);
    if (status != OX3D_RGBD_OK) {
        std::fprintf(stderr, "ox3d: no point cloud: %s\n", StatusText(status).c_str());
        return;
    }
    frame.m_cloud = CloudFromPointImage(points);
}

void CGrab::AddCloud(GrabbedFrame& frame) const {
    frame.m_cloud = {};
    if (!frame.m_isRegistered) {
        AddUnregisteredCloud(frame);
    } else if (m_colorCalib) {
        frame.m_cloud = CloudFromRegistered(frame.m_depth, &frame.m_color, *m_colorCalib);
    } else {
        std::fputs("ox3d: no point cloud: the camera's color calibration is missing\n", stderr);
    }
}

void CGrab::WriteLast(const std::filesystem::path& folder) {
    AddCloud(m_last);
    std::error_code failure;
    std::filesystem::create_directories(folder, failure);
    if (failure) {
        throw CToolError(kExitFile, "cannot make the folder " + folder.string() + ": " + failure.message());
    }
    WriteResults(folder, m_last);
}

void CGrab::Report(const std::vector<std::string>& files) const {
    std::printf("%s\n", m_stats.Summary().c_str());
    if (!m_last.m_isRegistered && !files.empty()) {
        std::puts("depth of USB cameras is not registered to color: no overlay, and a cloud without colors");
    }
    for (const std::string& file : files) {
        std::printf("  %s\n", (m_options.m_out / file).c_str());
    }
}

EExitCode CGrab::Run() {
    m_camera.SwitchOn(OX3D_RGBD_KEY_IMAGE_ALIGN);
    m_camera.SwitchOn(OX3D_RGBD_KEY_RESOLUTION_ALIGN);
    m_colorCalib = m_camera.Calibration(OX3D_RGBD_CALIB_COLOR);
    m_camera.Start();
    const EExitCode code = FetchAll();
    m_progress.Finish();
    m_camera.Stop();
    if (m_stats.Frames() == 0) {
        m_camera.Close();
        Report({});
        return code == kExitOk ? kExitInterrupted : code;
    }
    AddCloud(m_last);
    m_camera.Close(); // others may have it while the files are written
    Report(WriteResults(m_options.m_out, m_last));
    return code;
}

} // namespace

EExitCode RunGrab(const ProviderChoice& provider, const GrabOptions& options) {
    EnterFolder(options.m_out);
    const std::vector<DeviceRecord> cameras = ListCameras(provider);
    CCamera camera(provider, PickCamera(cameras, options.m_serial));
    const DeviceRecord& record = camera.Record();
    std::fprintf(stderr, "camera: %s %s (%s)\n", TextOf(record.chModelName).c_str(),
                 TextOf(record.chSerialNumber).c_str(), AddressOf(record).c_str());
    return CGrab(camera, options).Run();
}

} // namespace ox3dtool
