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

#include <chrono>
#include <cstdio>
#include <optional>

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

// The number of the last frame; none where it is damaged, or where numbers begin anew on the way and are not those that
// are played.
std::optional<uint64_t> LastNumber(CRecordingReader& recording) {
    const size_t frames = recording.FrameCount();
    if (recording.HostTimes().empty()) {
        return frames; // a folder knows no numbers: they are counted
    }
    RecordedFacts first;
    RecordedFacts last;
    const bool isRising = recording.ReadFacts(0, &first) && recording.ReadFacts(frames - 1, &last) &&
                          last.m_number >= first.m_number && last.m_number - first.m_number >= frames - 1;
    return isRising ? std::optional(last.m_number) : std::nullopt;
}

// What is to be played.
struct Whole {
    uint64_t m_frames = 0;
    std::optional<uint64_t> m_lastNumber; // of the last one, where it is known
    bool IsPlayed(const CFrameStats& stats) const {
        return stats.Frames() >= m_frames || (m_lastNumber && stats.LastFrameNum() == *m_lastNumber);
    }
};

// A recorded pause of ten seconds and more is played as one of ten, at that speed.
std::chrono::duration<double> PatienceAt(double speed) {
    constexpr double kLongestPause = 10;
    constexpr double kMore = 5;
    return std::chrono::duration<double>(kLongestPause / speed + kMore);
}

EExitCode CodeOf(const CFrameStats& stats, const PlayOptions& options, const Whole& whole) {
    if (IsInterrupted()) {
        return stats.Frames() == 0   ? EExitCode::NoFrame
               : options.m_isLooping ? EExitCode::Ok
                                     : EExitCode::Interrupted;
    }
    if (!whole.IsPlayed(stats)) {
        std::fprintf(stderr, "ox3d: %llu of %llu frames did not come, the last one among them\n",
                     static_cast<unsigned long long>(whole.m_frames - stats.Frames()),
                     static_cast<unsigned long long>(whole.m_frames));
        return EExitCode::NoFrame;
    }
    return EExitCode::Ok;
}

EExitCode Play(CCamera& camera, const PlayOptions& options, const Whole& whole) {
    constexpr uint32_t kSliceMs = 200;
    const std::chrono::duration<double> patience = PatienceAt(options.m_speed);
    CFrameStats stats;
    CProgress progress(options.m_isLooping ? 0 : whole.m_frames);
    Clock::time_point lastGood = Clock::now();
    while (options.m_isLooping || !whole.IsPlayed(stats)) {
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
    return CodeOf(stats, options, whole);
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
    const Whole whole = {recording->FrameCount(), LastNumber(*recording)};
    const EExitCode code = Play(camera, arguments.m_control.m_play, whole);
    camera.Stop();
    return code;
}

} // namespace ox3d::tool
