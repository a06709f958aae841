// ox3d play: a recording as a camera, frame by frame at its own speed, through the library as any program would have it.
#include "recording/RecordingReader.h"
#include "tools/ox3d/Camera.h"
#include "tools/ox3d/Interrupt.h"
#include "tools/ox3d/Session.h"
#include "tools/ox3d/Status.h"
#include "tools/ox3d/commands/Command.h"
#include "tools/ox3d/commands/FrameStats.h"
#include "tools/ox3d/commands/Progress.h"
#include "tools/ox3d/pictures/FrameDecode.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

namespace ox3d::tool {
namespace {

using Clock = std::chrono::steady_clock;

void PrintRecording(const CRecordingReader& recording) {
    const PngSize depth = recording.DepthSize();
    const PngSize color = recording.ColorSize();
    std::printf("%zu frames, depth %u x %u", recording.FrameCount(), depth.m_width, depth.m_height);
    if (color.m_width > 0) {
        const auto& facts = recording.Camera().m_facts;
        const auto kind = facts.find("color");
        const bool isLossy = kind != facts.end() && kind->second == "jpeg";
        std::printf(", color %u x %u%s", color.m_width, color.m_height, isLossy ? " (JPEG, lossy)" : "");
    }
    const std::vector<uint64_t>& times = recording.HostTimes();
    if (times.size() > 1 && times.back() > times.front()) {
        const double seconds = static_cast<double>(times.back() - times.front()) / 1e9;
        std::printf(", %.1f s, %.1f fps", seconds, static_cast<double>(times.size() - 1) / seconds);
    }
    std::puts("");
}

// A recorded pause of ten seconds and more is played as one of ten, at that speed.
std::chrono::duration<double> PatienceAt(double speed) {
    constexpr double kLongestPause = 10;
    constexpr double kMore = 2;
    return std::chrono::duration<double>(std::max(kLongestPause, kLongestPause / speed) + kMore);
}

EExitCode Play(CCamera& camera, const PlayOptions& options, uint64_t frames) {
    constexpr uint32_t kSliceMs = 200;
    const std::chrono::duration<double> patience = PatienceAt(options.m_speed);
    CFrameStats stats;
    CProgress progress(options.m_isLooping ? 0 : frames);
    Clock::time_point lastGood = Clock::now();
    while (options.m_isLooping || stats.Frames() + stats.LostFrames() < frames) {
        OX3D_RGBD_FRAME_DATA frame{};
        const uint32_t status = OX3D_RGBD_FetchFrame(camera.Handle(), &frame, kSliceMs);
        const Clock::time_point now = Clock::now();
        if (IsInterrupted()) {
            break;
        }
        const OX3D_RGBD_IMAGE_DATA* const depth = status == OX3D_RGBD_OK ? FindDepth(frame) : nullptr;
        if (depth != nullptr) {
            lastGood = now;
            stats.Add(depth->nFrameNum, std::chrono::duration<double>(now.time_since_epoch()).count(),
                      DecodeDepth(frame));
            progress.Update(stats);
        } else if (status != OX3D_RGBD_E_NO_DATA && status != OX3D_RGBD_OK) {
            stats.AddBad();
        }
        if (now - lastGood > patience) {
            break; // frames at the end that cannot be read
        }
    }
    progress.Finish();
    std::printf("%s\n", stats.Summary().c_str());
    if (IsInterrupted()) {
        return stats.Frames() == 0   ? EExitCode::NoFrame
               : options.m_isLooping ? EExitCode::Ok
                                     : EExitCode::Interrupted;
    }
    const uint64_t seen = stats.Frames() + stats.LostFrames();
    if (seen < frames) {
        std::fprintf(stderr, "ox3d: the last %llu of %llu frames did not come\n",
                     static_cast<unsigned long long>(frames - seen), static_cast<unsigned long long>(frames));
        return EExitCode::NoFrame;
    }
    return EExitCode::Ok;
}

} // namespace

EExitCode RunPlay(CCameraControl& control, const Arguments& arguments) {
    std::string error;
    const std::unique_ptr<CRecordingReader> recording =
        CRecordingReader::Open(std::filesystem::absolute(arguments.m_control.m_recording).string(), &error);
    if (recording == nullptr) {
        throw CToolError(EExitCode::File, error);
    }
    CSession session(control.Enter(), "");
    CCamera& camera = session.Camera();
    std::fprintf(stderr, "camera: %s %s\n", TextOf(camera.Record().chModelName).c_str(),
                 TextOf(camera.Record().chSerialNumber).c_str());
    PrintRecording(*recording);
    camera.Switch(OX3D_RGBD_KEY_IMAGE_ALIGN, false); // frames as they were recorded
    camera.Switch(OX3D_RGBD_KEY_RESOLUTION_ALIGN, false);
    camera.Start();
    const EExitCode code = Play(camera, arguments.m_control.m_play, recording->FrameCount());
    camera.Stop();
    return code;
}

} // namespace ox3d::tool
