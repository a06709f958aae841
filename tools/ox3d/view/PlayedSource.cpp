// A recording for viewers.
#include "tools/ox3d/view/PlayedSource.h"

#include "base/ExceptionBarrier.h"
#include "base/SignalMask.h"
#include "recording/CalibrationReader.h"
#include "tools/ox3d/ExitCode.h"
#include "tools/ox3d/pictures/DepthCloud.h"

#include <algorithm>
#include <filesystem>

namespace ox3d::tool {
namespace {

using namespace std::chrono_literals;

constexpr auto kStep = 100ms;
constexpr std::chrono::nanoseconds kUsualPeriod(33333333); // of recordings without times
constexpr std::chrono::nanoseconds kLongestPause(5000000000);
constexpr double kSlowest = 0.01;
constexpr double kFastest = 100;

std::unique_ptr<CRecordingReader> OpenOrThrow(const std::string& path) {
    std::string error;
    std::unique_ptr<CRecordingReader> reader = CRecordingReader::Open(path, &error);
    if (reader == nullptr) {
        throw CToolError(EExitCode::File, error);
    }
    if (reader->FrameCount() == 0) {
        throw CToolError(EExitCode::File, path + " has no frames");
    }
    return reader;
}

std::string FactOf(const RecordedCamera& camera, const char* key) {
    const auto fact = camera.m_facts.find(key);
    return fact == camera.m_facts.end() ? "" : fact->second;
}

} // namespace

CPlayedSource::CPlayedSource(uint16_t index, std::string id, const std::string& path, CViewVoice& voice)
    : CViewSource(index, std::move(id), voice), m_file(std::filesystem::path(path).filename().string()),
      m_reader(OpenOrThrow(path)), m_frames(m_reader->FrameCount()) {
    const CSignalsBlocked blocked;
    m_thread = std::thread([this] { Run(); });
}

CPlayedSource::~CPlayedSource() {
    {
        const CLock lock(m_mutex);
        m_isEnding = true;
    }
    m_changed.NotifyAll();
    m_thread.join();
}

void CPlayedSource::Want(const viewer::Wishes& wishes) {
    {
        const CLock lock(m_mutex);
        // Who begins to look while it stands still sees where.
        m_isToShow = m_isToShow || wishes.m_clients > m_wishes.m_clients ||
                     wishes.m_depth != m_wishes.m_depth || wishes.m_color != m_wishes.m_color;
        m_wishes = wishes;
    }
    m_changed.NotifyAll();
}

std::vector<viewer::Telling> CPlayedSource::Greeting() const {
    std::vector<viewer::Telling> tellings = CViewSource::Greeting();
    tellings.push_back(TellingOf("playback", PlayingJson(), viewer::EAudience::OfCamera));
    return tellings;
}

Json CPlayedSource::Summary() const {
    const RecordedCamera& camera = m_reader->Camera();
    return {{"id", m_id},
            {"model", FactOf(camera, "model")},
            {"serial", FactOf(camera, "serial")},
            {"firmware", FactOf(camera, "device_version")},
            {"ip", nullptr},
            {"kind", "recording"},
            {"open", true},
            {"problem", Problem()}};
}

std::optional<RecordedLens> CPlayedSource::Lens(bool isColor) const {
    const PngSize size = isColor ? m_reader->ColorSize() : m_reader->DepthSize();
    const std::optional<RecordedLens>& known =
        isColor ? m_reader->Camera().m_colorLens : m_reader->Camera().m_depthLens;
    if (known || size.m_width == 0) {
        return size.m_width == 0 ? std::nullopt : known;
    }
    const auto calibration = ReadCalibration(m_reader->CalibrationXml(), m_reader->DepthSize().m_width);
    if (!calibration) {
        return std::nullopt;
    }
    return ScaledTo(isColor ? calibration->m_color : calibration->m_depth, m_reader->DepthSize(), size);
}

Json CPlayedSource::Details() {
    const RecordedCamera& camera = m_reader->Camera();
    Json details = Summary();
    details["info"] = camera.m_facts;
    details["streams"] = {{"depth", StreamJson(Lens(false))}, {"color", StreamJson(Lens(true))}};
    const auto calibration = ReadCalibration(m_reader->CalibrationXml(), m_reader->DepthSize().m_width);
    details["depthToColor"] = camera.m_depthToColor ? WayJson(camera.m_depthToColor)
                              : calibration         ? WayJson(calibration->m_depthToColor)
                                                    : Json();
    details["depthAligned"] = FactOf(camera, "aligned") == "1";
    details["millimetresPerUnit"] = 1.0;
    const std::vector<uint64_t>& times = m_reader->HostTimes();
    const double seconds =
        times.size() > 1 && times.back() > times.front()
            ? static_cast<double>(times.back() - times.front()) / 1e9
            : std::chrono::duration<double>(kUsualPeriod).count() * static_cast<double>(m_frames);
    details["recording"] = {{"file", m_file}, {"frames", m_frames}, {"durationSeconds", seconds}};
    return details;
}

Json CPlayedSource::Features(const std::string&) {
    return {{"features", Json::array()}};
}

void CPlayedSource::Refuse() const {
    throw CViewError(kConflict, "a recording has no features, and is recorded already");
}

Json CPlayedSource::SetFeature(const std::string&, const std::string&) {
    Refuse();
}

void CPlayedSource::Execute(const std::string&) {
    Refuse();
}

Json CPlayedSource::Record(bool) {
    Refuse();
}

Json CPlayedSource::PlayingJson() const {
    const CLock lock(m_mutex);
    return {{"playing", m_playing.m_isPlaying},
            {"speed", m_playing.m_speed},
            {"position", m_playing.m_position},
            {"frames", m_frames}};
}

Json CPlayedSource::Play(const Json& wish) {
    SetPlaying(wish);
    m_changed.NotifyAll();
    Json playing = PlayingJson();
    Tell("playback", playing, viewer::EAudience::OfCamera);
    return playing;
}

// All of a wish or, where a part of it is refused, nothing; those of several clients one after the other.
void CPlayedSource::SetPlaying(const Json& wish) {
    const CLock lock(m_mutex);
    Playing wanted = m_playing;
    const auto number = [&](const char* key, double least, double most) {
        const Json& value = wish.at(key);
        if (!value.is_number() || !(value.get<double>() >= least && value.get<double>() <= most)) {
            throw CViewError(kBadRequest, std::string("\"") + key + "\" is out of range");
        }
        return value.get<double>();
    };
    const double last = static_cast<double>(m_frames) - 1;
    if (wish.contains("playing")) {
        if (!wish["playing"].is_boolean()) {
            throw CViewError(kBadRequest, "\"playing\" is true or false");
        }
        wanted.m_isPlaying = wish["playing"].get<bool>();
    }
    if (wish.contains("speed")) {
        wanted.m_speed = number("speed", kSlowest, kFastest);
    }
    if (wish.contains("position")) {
        wanted.m_position = static_cast<size_t>(number("position", 0, last));
    }
    if (wish.contains("step")) {
        const double to = static_cast<double>(wanted.m_position) + number("step", -1, 1);
        wanted.m_position = static_cast<size_t>(std::clamp(to, 0.0, last));
        wanted.m_isPlaying = false;
    }
    m_playing = wanted;
    m_isToShow = true;
}

CPlayedSource::Clock::duration CPlayedSource::TimeAfter(size_t frame, double speed) const {
    const std::vector<uint64_t>& times = m_reader->HostTimes();
    std::chrono::nanoseconds pause = kUsualPeriod;
    if (frame + 1 < times.size() && times[frame + 1] >= times[frame]) {
        pause = std::chrono::nanoseconds(static_cast<int64_t>(
            std::min(times[frame + 1] - times[frame], static_cast<uint64_t>(kLongestPause.count()))));
    }
    return std::chrono::nanoseconds(static_cast<int64_t>(static_cast<double>(pause.count()) / speed));
}

void CPlayedSource::Run() noexcept {
    ExceptionBarrier([this] { EnterState("streaming", std::nullopt); }, [](const std::exception*) {});
    for (;;) {
        {
            const CLock lock(m_mutex);
            if (m_isEnding) {
                return;
            }
            const bool isLookedAt = m_wishes.m_depth || m_wishes.m_color;
            const Clock::time_point now = Clock::now();
            if (!m_isToShow && !(isLookedAt && m_playing.m_isPlaying && now >= m_due)) {
                const bool isRunning = isLookedAt && m_playing.m_isPlaying;
                m_changed.WaitUntil(m_mutex, isRunning ? std::min(m_due, now + kStep) : now + kStep);
                if (!m_isToShow && !(isRunning && Clock::now() >= m_due) && Clock::now() < m_nextSecond) {
                    continue;
                }
            }
        }
        ExceptionBarrier([this] { ShowNext(); }, [](const std::exception*) {});
    }
}

void CPlayedSource::ShowNext() {
    const Clock::time_point now = Clock::now();
    viewer::Wishes wishes;
    Playing shown;
    bool isShown = false;
    {
        const CLock lock(m_mutex);
        wishes = m_wishes;
        const bool isLookedAt = wishes.m_depth || wishes.m_color;
        const bool isDue = isLookedAt && m_playing.m_isPlaying && now >= m_due;
        if (isDue && !m_isToShow) {
            m_playing.m_position = (m_playing.m_position + 1) % m_frames; // begins again at the end
        }
        isShown = isDue || (m_isToShow && isLookedAt);
        m_isToShow = false;
        shown = m_playing;
    }
    if (isShown) {
        const Clock::duration pause = TimeAfter(shown.m_position, shown.m_speed);
        m_due = std::clamp(m_due, now - pause, now) + pause; // what was slow is not caught up with
        Show(shown.m_position, wishes.m_depth, wishes.m_color);
        TellPlaying(!shown.m_isPlaying);
    }
    if (now >= m_nextSecond) {
        m_nextSecond = now + 1s;
        TellStats(wishes.m_clients, std::nullopt);
    }
}

void CPlayedSource::TellPlaying(bool isAtOnce) {
    const Clock::time_point now = Clock::now();
    if (isAtOnce || now >= m_nextTelling) {
        m_nextTelling = now + 200ms;
        Tell("playback", PlayingJson(), viewer::EAudience::OfCamera);
    }
}

void CPlayedSource::Show(size_t frame, bool isDepthWanted, bool isColorWanted) {
    const CLock lock(m_readerMutex);
    std::vector<uint16_t> samples;
    std::vector<uint8_t> planes;
    FrameView view;
    m_reader->ReadFacts(frame, &view.m_facts);
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    view.m_facts.m_hostNs = static_cast<uint64_t>(std::chrono::nanoseconds(now).count());
    view.m_facts.m_cameraNs = 0; // played frames arrive when they are read
    view.m_facts.m_number = view.m_facts.m_number == 0 ? frame : view.m_facts.m_number;
    const PngSize depth = m_reader->DepthSize();
    const PngSize color = m_reader->ColorSize();
    if (isDepthWanted && m_reader->ReadDepth(frame, &samples)) {
        view.m_depth = {samples.data(), depth.m_width, depth.m_height, depth.m_width};
    }
    if (isColorWanted && color.m_width > 0 && m_reader->ReadColor(frame, &planes)) {
        view.m_color = {planes.data(), color.m_width, color.m_height, EColorLayout::Planar};
    }
    m_stats.Add(view.m_facts);
    m_encoder.Take(view, isDepthWanted, isColorWanted);
}

GrabbedFrame CPlayedSource::Snapshot(bool isCloudWanted) {
    size_t position = 0;
    {
        const CLock lock(m_mutex);
        position = m_playing.m_position;
    }
    GrabbedFrame frame;
    {
        const CLock lock(m_readerMutex);
        const PngSize depth = m_reader->DepthSize();
        const PngSize color = m_reader->ColorSize();
        std::vector<uint8_t> planes;
        frame.m_depth = DepthImage(depth.m_width, depth.m_height);
        if (!m_reader->ReadDepth(position, &frame.m_depth.m_samples)) {
            throw CViewError(kConflict, "the frame cannot be read");
        }
        if (color.m_width > 0 && m_reader->ReadColor(position, &planes)) {
            frame.m_color = ColorOfPlanes(planes, color.m_width, color.m_height);
        }
    }
    if (isCloudWanted) {
        const uint32_t width = frame.m_depth.m_width;
        const auto calibration = ReadCalibration(m_reader->CalibrationXml(), width);
        if (!calibration) {
            throw CViewError(kConflict, "the recording has no calibration that points could be computed by");
        }
        frame.m_cloud = CDepthCloud(*calibration, EDepthView::Sensor, width, frame.m_depth.m_height)
                            .Of(frame.m_depth, frame.m_color);
    }
    return frame;
}

} // namespace ox3d::tool
