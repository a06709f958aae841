// ox3d record: a camera's frames into an MCAP file. Frames come by callback and are packed and written by the recorder's
// threads; the file is made with the first frame, which also tells the lenses.
#include "base/Mutex.h"
#include "recording/McapLeftovers.h"
#include "recording/Recorder.h"
#include "recording/RecordingTarget.h"
#include "recording/camera/CameraRecord.h"
#include "recording/camera/FrameImages.h"
#include "tools/ox3d/Camera.h"
#include "tools/ox3d/Interrupt.h"
#include "tools/ox3d/Session.h"
#include "tools/ox3d/Status.h"
#include "tools/ox3d/commands/Command.h"
#include "tools/ox3d/commands/FrameStats.h"
#include "tools/ox3d/commands/Progress.h"
#include "tools/ox3d/commands/RecordedSource.h"

#include <chrono>
#include <cstdio>
#include <thread>

namespace ox3d::tool {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

double SecondsOf(Clock::time_point time) {
    return std::chrono::duration<double>(time.time_since_epoch()).count();
}

class CRecording {
public:
    CRecording(CCamera& camera, const RecordOptions& options, std::string path, RecordedCamera recorded)
        : m_camera(camera), m_options(options), m_path(std::move(path)), m_recorded(std::move(recorded)),
          m_views(camera.Handle()), m_progress(options.m_frames) {}

    EExitCode Run();

private:
    static void OnFrame(OX3D_RGBD_FRAME_DATA* frame, void* user);
    void Take(const OX3D_RGBD_FRAME_DATA& frame) OX_EXCLUDES(m_mutex);
    bool Begin();
    EExitCode Watch() OX_EXCLUDES(m_mutex);
    bool IsOver(Clock::time_point now) const OX_REQUIRES(m_mutex);
    EExitCode Report(EExitCode code) OX_EXCLUDES(m_mutex);

    CCamera& m_camera;
    const RecordOptions& m_options;
    const std::string m_path;
    RecordedCamera m_recorded;             // the callback's
    std::unique_ptr<CRecorder> m_recorder; // the same, until the camera has been stopped
    CFrameViews m_views;                   // the same

    CMutex m_mutex;
    CCondition m_changed;
    CProgress m_progress;
    CFrameStats m_stats OX_GUARDED_BY(m_mutex);
    uint64_t m_taken OX_GUARDED_BY(m_mutex) = 0; // frames that the recorder took
    bool m_hasFailed OX_GUARDED_BY(m_mutex) = false;
    std::string m_error OX_GUARDED_BY(m_mutex);
    Clock::time_point m_firstAt OX_GUARDED_BY(m_mutex);
    Clock::time_point m_lastAt OX_GUARDED_BY(m_mutex);
};

// Nothing leaves a callback: what goes wrong ends the recording.
void CRecording::OnFrame(OX3D_RGBD_FRAME_DATA* frame, void* user) {
    auto* const recording = static_cast<CRecording*>(user);
    std::string error;
    try {
        if (frame != nullptr) {
            recording->Take(*frame);
        }
        return;
    } catch (const std::exception& failure) {
        error = failure.what();
    }
    const CLock lock(recording->m_mutex);
    recording->m_hasFailed = true;
    recording->m_error = error;
    recording->m_changed.NotifyAll();
}

bool CRecording::Begin() {
    AddLenses(m_camera.Handle(), &m_recorded);
    RecorderOptions options;
    options.m_library = "ox3d " + LibraryVersion();
    options.m_isReplacing = m_options.m_isReplacing;
    options.m_color = m_options.m_color.value_or(ERecordedColor::Jpeg);
    options.m_jpegQuality = static_cast<int>(m_options.m_quality);
    options.m_queueFrames = m_options.m_queueFrames;
    options.m_syncInterval = std::chrono::milliseconds(static_cast<int64_t>(m_options.m_syncSeconds * 1000));
    std::string error;
    m_recorder = CRecorder::Open(m_path, m_recorded, options, &error);
    if (m_recorder == nullptr) {
        throw CToolError(EExitCode::File, error);
    }
    return true;
}

void CRecording::Take(const OX3D_RGBD_FRAME_DATA& frame) {
    const Clock::time_point now = Clock::now();
    {
        const CLock lock(m_mutex);
        if (m_hasFailed || IsOver(now)) {
            return;
        }
    }
    const OX3D_RGBD_IMAGE_DATA* const depth = FindDepth(frame);
    if (depth == nullptr) {
        const CLock lock(m_mutex);
        m_stats.AddBad();
        return;
    }
    const FrameView view = m_views.Of(frame, *depth);
    if (m_recorder == nullptr) {
        Begin();
    }
    const bool isTaken = m_recorder->Add(view);
    if (isTaken) {
        m_views.WasTaken(depth->nFrameNum); // one that was dropped is lost to the recording
    }
    const CLock lock(m_mutex);
    m_firstAt = m_stats.Frames() == 0 ? now : m_firstAt;
    m_lastAt = now;
    m_stats.Add(depth->nFrameNum, SecondsOf(now), {});
    m_taken += isTaken ? 1 : 0;
    m_hasFailed = m_recorder->Counts().m_state != EWriting::Ok;
    m_changed.NotifyAll();
}

bool CRecording::IsOver(Clock::time_point now) const {
    const bool areAllThere = m_options.m_frames != 0 && m_taken >= m_options.m_frames;
    const std::chrono::duration<double> length = now - m_firstAt;
    return areAllThere ||
           (m_options.m_seconds > 0 && m_stats.Frames() > 0 && length.count() >= m_options.m_seconds);
}

EExitCode CRecording::Watch() {
    const std::chrono::seconds patience(m_options.m_patienceSeconds);
    constexpr std::chrono::milliseconds kSlice(100); // Ctrl-C is answered soon
    const Clock::time_point begin = Clock::now();
    const bool isBounded = m_options.m_frames != 0 || m_options.m_seconds > 0;
    CLock lock(m_mutex);
    while (!m_hasFailed && !IsOver(Clock::now())) {
        m_changed.WaitFor(m_mutex, kSlice);
        if (IsInterrupted()) {
            return isBounded ? EExitCode::Interrupted : EExitCode::Ok;
        }
        if (m_camera.IsLost()) {
            std::fputs("ox3d: the camera went offline\n", stderr);
            return EExitCode::Camera;
        }
        const Clock::time_point last = m_stats.Frames() == 0 ? begin : m_lastAt;
        if (Clock::now() - last > patience) {
            std::fprintf(stderr, "ox3d: no frame for %u s\n", m_options.m_patienceSeconds);
            return EExitCode::NoFrame;
        }
        if (m_stats.Frames() > 0) {
            m_progress.Update(m_stats);
        }
    }
    return EExitCode::Ok;
}

EExitCode CRecording::Report(EExitCode code) {
    const CLock lock(m_mutex);
    if (m_recorder == nullptr) {
        if (m_hasFailed) {
            throw CToolError(EExitCode::File, m_error);
        }
        std::fputs("ox3d: no frame came, nothing was recorded\n", stderr);
        return code == EExitCode::Ok ? EExitCode::NoFrame : code;
    }
    const RecorderCounts counts = m_recorder->Finish();
    if (m_stats.LostFrames() > 0) {
        std::fprintf(stderr, "%llu frames were lost on the way from the camera\n",
                     static_cast<unsigned long long>(m_stats.LostFrames()));
    }
    if (counts.m_state != EWriting::Ok) {
        std::fprintf(stderr, "ox3d: %s: %s; every frame before is whole\n", m_path.c_str(),
                     counts.m_error.c_str());
        code = EExitCode::File;
    } else if (m_hasFailed) {
        std::fprintf(stderr, "ox3d: %s\n", m_error.c_str());
        code = EExitCode::Failure;
    } else if (code == EExitCode::Ok && counts.m_dropped > 0) {
        code = EExitCode::NoFrame;
    }
    if (counts.m_withoutColor > 0) {
        std::fprintf(stderr, "%llu frames have no color: no image could be made of it\n",
                     static_cast<unsigned long long>(counts.m_withoutColor));
    }
    constexpr double kBytesPerMb = 1e6;
    std::printf("%llu frames, %.1f fps, %llu dropped, %.0f MB\n",
                static_cast<unsigned long long>(counts.m_written), m_stats.FrameRate(),
                static_cast<unsigned long long>(counts.m_dropped),
                static_cast<double>(counts.m_bytes) / kBytesPerMb);
    return code;
}

EExitCode CRecording::Run() {
    if (const uint32_t status = OX3D_RGBD_RegisterFrameCallBack(m_camera.Handle(), OnFrame, this);
        status != OX3D_RGBD_OK) {
        throw CToolError(EExitCode::Camera, "cannot be told of frames: " + StatusText(status));
    }
    m_camera.Start();
    const EExitCode code = Watch();
    m_progress.Finish();
    m_camera.Stop();
    m_camera.Close(); // no callback runs from here on
    return Report(code);
}

// Before a camera is asked: what stands in the way of the file.
void CheckTarget(const fs::path& path, bool isReplacing) {
    std::string error;
    const ERecordingTarget target = LookAtTarget(path.string(), isReplacing, &error);
    if (target != ERecordingTarget::Free) {
        throw CToolError(EExitCode::File,
                         error + (target == ERecordingTarget::Taken ? "; --force replaces it" : ""));
    }
}

} // namespace

EExitCode RunRecord(CCameraControl& control, const Arguments& arguments) {
    const fs::path path = fs::absolute(arguments.m_record.m_file);
    CheckTarget(path, arguments.m_record.m_isReplacing);
    for (const std::string& leftover : RemoveMcapLeftovers(path.string())) {
        std::fprintf(stderr, "removed %s: a recording left it that was killed before its first frame\n",
                     leftover.c_str());
    }
    CSession session(control.Enter(), arguments.m_serial);
    CCamera& camera = session.Camera();
    std::fprintf(stderr, "camera: %s %s (%s)\n", TextOf(camera.Record().chModelName).c_str(),
                 TextOf(camera.Record().chSerialNumber).c_str(), AddressOf(camera.Record()).c_str());
    // As the camera sends it: the library registers it when it is played, by the same calibration.
    camera.Switch(OX3D_RGBD_KEY_IMAGE_ALIGN, false);
    camera.Switch(OX3D_RGBD_KEY_RESOLUTION_ALIGN, false);
    return CRecording(camera, arguments.m_record, path.string(),
                      DescribeCamera(camera, session.Folder().Path()))
        .Run();
}

} // namespace ox3d::tool
