// A camera for viewers.
#include "tools/ox3d/view/CameraSource.h"

#include "base/ExceptionBarrier.h"
#include "base/SignalMask.h"
#include "tools/ox3d/Features.h"
#include "tools/ox3d/Status.h"
#include "tools/ox3d/commands/FeatureJson.h"
#include "tools/ox3d/commands/FeatureSetting.h"
#include "tools/ox3d/commands/RecordJson.h"
#include "tools/ox3d/pictures/FrameDecode.h"
#include "tools/ox3d/view/ViewFeature.h"

#include <algorithm>

namespace ox3d::tool {
namespace {

using namespace std::chrono_literals;

constexpr auto kStep = 100ms;
constexpr auto kKeptOpen = 5s; // after the last who looked
constexpr auto kRetry = 1s;    // for a camera that is not there
constexpr auto kOpening = 15s; // a request waits for it no longer
constexpr const char* kTemperature = "DeviceTemperature";

bool IsAligned(const CCamera& camera) {
    OX3D_RGBD_PARAM param{};
    return camera.IsRegistered() &&
           OX3D_RGBD_GetParam(camera.Handle(), OX3D_RGBD_KEY_IMAGE_ALIGN, &param) == OX3D_RGBD_OK &&
           param.stIntParam.nCurValue != 0;
}

// Whether depth has the pixels of color, and not color those of depth.
bool IsDepthInColor(const CCamera& camera) {
    OX3D_RGBD_PARAM param{};
    return IsAligned(camera) &&
           (OX3D_RGBD_GetParam(camera.Handle(), OX3D_RGBD_KEY_ALIGN_TARGET, &param) != OX3D_RGBD_OK ||
            param.stIntParam.nCurValue == 0);
}

// In the frame of the camera whose pixels the depth has, as the page shows and saves it, and as recordings have it.
PointCloud CloudOfCopy(const CCamera& camera, const OX3D_RGBD_FRAME_DATA& frame) {
    void* const handle = camera.Handle();
    OX3D_RGBD_CLOUD_OPTIONS options{};
    options.nCamera = IsDepthInColor(camera) ? OX3D_RGBD_CAMERA_COLOR : OX3D_RGBD_CAMERA_DEPTH;
    options.nColor = OX3D_RGBD_CLOUD_COLOR_BESIDE;
    OX3D_RGBD_CLOUD cloud{};
    uint32_t status = OX3D_RGBD_MapFrameToPointCloud(handle, &frame, &options, &cloud);
    if (status == OX3D_RGBD_E_NO_DATA) { // no color, or none that the library knows
        options.nColor = OX3D_RGBD_CLOUD_NO_COLOR;
        status = OX3D_RGBD_MapFrameToPointCloud(handle, &frame, &options, &cloud);
    }
    if (status != OX3D_RGBD_OK) {
        throw CStatusError(EExitCode::Camera, "no point cloud: " + StatusText(status), status);
    }
    return CloudOf(cloud);
}

} // namespace

CCameraSource::CCameraSource(uint16_t index, const DeviceRecord& record, const ViewSite& site,
                             CViewVoice& voice)
    : CViewSource(index, TextOf(record.chSerialNumber), voice), m_site(site), m_record(record),
      m_recording(site.m_recordDir) {
    const CSignalsBlocked blocked;
    m_thread = std::thread([this] { Run(); });
}

CCameraSource::~CCameraSource() {
    CCameraSource::End();
    m_thread.join();
}

void CCameraSource::End() {
    {
        const CLock lock(m_mutex);
        m_isEnding = true;
    }
    m_changed.NotifyAll();
}

std::vector<viewer::Telling> CCameraSource::Greeting() const {
    std::vector<viewer::Telling> tellings = CViewSource::Greeting();
    tellings.push_back(TellingOf("record", m_recording.Describe(), viewer::EAudience::OfCamera));
    return tellings;
}

void CCameraSource::Want(const viewer::Wishes& wishes) {
    m_isDepthWanted.store(wishes.m_depth);
    m_isColorWanted.store(wishes.m_color);
    {
        const CLock lock(m_mutex);
        m_wishes = wishes;
    }
    m_changed.NotifyAll();
}

void CCameraSource::SetListed(const DeviceRecord* record) {
    const CLock lock(m_mutex);
    m_isListed = record != nullptr;
    if (record != nullptr) {
        m_record = *record;
    }
}

bool CCameraSource::IsShown() const {
    const CLock lock(m_mutex);
    return m_isListed || m_opened != nullptr || m_wishes.m_clients > 0;
}

Json CCameraSource::Summary() const {
    const Json problem = Problem();
    const CLock lock(m_mutex);
    const std::string ip = TextOf(m_record.chCurrentIp);
    const bool isUsb = m_record.nDeviceType == OX3D_RGBD_DEVICE_USB;
    return {{"id", m_id},
            {"model", TextOf(m_record.chModelName)},
            {"serial", TextOf(m_record.chSerialNumber)},
            {"firmware", TextOf(m_record.chDeviceVersion)},
            {"ip", isUsb || ip.empty() ? Json() : Json(ip)},
            {"kind", "camera"},
            {"open", m_opened != nullptr},
            {"problem", problem}};
}

void CCameraSource::Run() noexcept {
    for (;;) {
        {
            const CLock lock(m_mutex);
            if (m_isEnding) {
                break;
            }
            m_changed.WaitFor(m_mutex, kStep);
        }
        // Whatever fails is tried again with the next step.
        ExceptionBarrier([this] { Step(Clock::now()); }, [](const std::exception*) {});
    }
    ExceptionBarrier([this] { Close("closed", std::nullopt); }, [](const std::exception*) {});
}

bool CCameraSource::IsWanted(Clock::time_point now) {
    const bool isRecording = m_recording.IsUnderWay();
    const CLock lock(m_mutex);
    if (isRecording || m_wishes.m_clients > 0) {
        m_wantedUntil = std::max(m_wantedUntil, now + kKeptOpen);
    }
    return now < m_wantedUntil;
}

void CCameraSource::Step(Clock::time_point now) {
    OpenedPointer opened;
    {
        const CLock lock(m_mutex);
        opened = m_opened;
    }
    const bool isWanted = IsWanted(now);
    if (opened == nullptr) {
        if (!m_former.expired()) {
            return; // a request still has the camera's former handle
        }
        if (isWanted && now >= m_nextTry) {
            TryOpen(now);
        } else if (!isWanted) {
            EnterState("closed", std::nullopt);
        }
        return;
    }
    if (opened->m_camera.IsLost()) {
        opened.reset();
        Close("lost", ViewProblem{"the camera went offline; it is looked for", 0});
        m_nextTry = now + kRetry;
    } else if (!isWanted) {
        opened.reset();
        Close("closed", std::nullopt);
    } else if (now >= m_nextSecond) {
        m_nextSecond = now + 1s;
        EachSecond(*opened);
    }
}

void CCameraSource::TryOpen(Clock::time_point now) {
    const std::string before = State();
    const bool isTriedAgain = before == "lost" || before == "failed"; // and why is told until it is open
    if (!isTriedAgain) {
        EnterState("opening", std::nullopt);
    }
    try {
        const OpenedPointer opened = Open();
        EnterState("streaming", std::nullopt);
        const CLock lock(m_mutex);
        m_opened = opened;
        m_geometry = nullptr;
        m_nextSecond = now + 500ms;
    } catch (const std::exception& error) {
        EnterState(before == "lost" ? "lost" : "failed", ProblemOf(error));
        m_nextTry = now + kRetry;
        const CLock lock(m_mutex);
        ++m_attempts;
    }
    m_changed.NotifyAll();
}

std::map<std::string, std::string> CCameraSource::Aligning() const {
    const CLock lock(m_mutex);
    return m_aligning;
}

CCameraSource::OpenedPointer CCameraSource::Open() {
    const std::vector<DeviceRecord> present = ListCameras(m_site.m_provider);
    const DeviceRecord& record = PickCamera(present, m_id);
    SetListed(&record);
    {
        const CLock lock(m_mutex);
        m_hasFrame = false;
    }
    auto opened = std::make_shared<Opened>(*this, m_site.m_provider, record);
    CCamera& camera = opened->m_camera;
    // As the camera sends it: the page lays depth onto color by the calibration.
    camera.Switch(OX3D_RGBD_KEY_IMAGE_ALIGN, false);
    camera.Switch(OX3D_RGBD_KEY_RESOLUTION_ALIGN, false);
    for (const auto& [name, value] : Aligning()) {
        tool::SetFeature(camera.Handle(), name, value); // what clients have chosen outlives a loss
    }
    const std::optional<Feature> temperature = AskFor(camera.Handle(), kTemperature);
    opened->m_hasTemperature = temperature && temperature->m_record.nType == OX3D_RGBD_PARAM_FLOAT;
    if (const uint32_t status = OX3D_RGBD_RegisterFrameCallBack(camera.Handle(), OnFrame, opened.get());
        status != OX3D_RGBD_OK) {
        throw CStatusError(EExitCode::Camera, "cannot be told of frames: " + StatusText(status), status);
    }
    camera.Start();
    return opened;
}

void CCameraSource::Close(const char* state, const std::optional<ViewProblem>& problem) {
    OpenedPointer opened;
    {
        const CLock lock(m_mutex);
        opened = std::move(m_opened);
        m_opened = nullptr;
    }
    if (opened != nullptr) {
        opened->m_camera.Stop();
        OX3D_RGBD_RegisterFrameCallBack(opened->m_camera.Handle(), nullptr, nullptr);
        FinishRecording(problem ? problem->m_sentence : "the camera was closed");
        m_former = opened->m_life;
    }
    EnterState(state, problem);
}

void CCameraSource::EachSecond(Opened& opened) {
    std::optional<double> temperature;
    OX3D_RGBD_PARAM param{};
    if (opened.m_hasTemperature &&
        OX3D_RGBD_GetParam(opened.m_camera.Handle(), kTemperature, &param) == OX3D_RGBD_OK) {
        temperature = static_cast<double>(param.stFloatParam.fCurValue);
    }
    uint32_t clients = 0;
    bool hasFrame = false;
    {
        const CLock lock(m_mutex);
        clients = m_wishes.m_clients;
        hasFrame = m_hasFrame;
    }
    TellStats(clients, temperature);
    {
        if (m_recording.HasFailed()) {
            FinishRecording("");
        } else if (m_recording.IsUnderWay()) {
            Tell("record", m_recording.Describe(), viewer::EAudience::OfCamera);
        }
    }
    Json geometry = hasFrame ? GeometryJson(opened) : Json();
    if (hasFrame && geometry != m_geometry) {
        m_geometry = std::move(geometry);
        Tell("geometry", Json::object(), viewer::EAudience::OfCamera);
    }
}

Json CCameraSource::GeometryJson(const Opened& opened) {
    RecordedCamera recorded;
    AddLenses(opened.m_camera.Handle(), &recorded);
    return {{"streams",
             {{"depth", StreamJson(recorded.m_depthLens)}, {"color", StreamJson(recorded.m_colorLens)}}},
            {"depthToColor", WayJson(recorded.m_depthToColor)},
            {"depthAligned", IsAligned(opened.m_camera)},
            {"millimetresPerUnit", 1.0}};
}

// Nothing leaves a callback: a frame for which there is no memory is left out.
void CCameraSource::OnFrame(OX3D_RGBD_FRAME_DATA* frame, void* user) {
    auto& opened = *static_cast<Opened*>(user);
    ExceptionBarrier(
        [&] {
            if (frame != nullptr) {
                opened.m_source.Take(opened, *frame);
            }
        },
        [](const std::exception*) {});
}

void CCameraSource::Take(Opened& opened, const OX3D_RGBD_FRAME_DATA& frame) {
    const OX3D_RGBD_IMAGE_DATA* const depth = FindDepth(frame);
    if (depth == nullptr) {
        m_stats.AddBad();
        return;
    }
    const FrameView view = opened.m_views.Of(frame, *depth);
    opened.m_views.WasTaken(depth->nFrameNum);
    m_stats.Add(view.m_facts);
    const bool isDepthWanted = m_isDepthWanted.load();
    const bool isColorWanted = m_isColorWanted.load();
    if (isDepthWanted || isColorWanted) {
        m_encoder.Take(view, isDepthWanted, isColorWanted);
    }
    m_recording.Add(view);
    KeepCopy(opened, frame);
}

void CCameraSource::KeepCopy(const Opened& opened, const OX3D_RGBD_FRAME_DATA& frame) {
    bool isWanted = false;
    bool isFirst = false;
    {
        const CLock lock(m_mutex);
        isFirst = !m_hasFrame;
        m_hasFrame = true;
        isWanted = m_copiesWanted > 0;
    }
    if (isWanted) {
        OX3D_RGBD_FRAME_DATA* copy = nullptr;
        if (OX3D_RGBD_CopyFrame(opened.m_camera.Handle(), &frame, &copy) == OX3D_RGBD_OK) {
            FrameCopy kept(copy, [](OX3D_RGBD_FRAME_DATA* own) { OX3D_RGBD_FreeFrame(own); });
            const CLock lock(m_mutex);
            m_copy = std::move(kept);
            ++m_copyCount;
        }
    }
    if (isWanted || isFirst) {
        m_changed.NotifyAll();
    }
}

CCameraSource::OpenedPointer CCameraSource::Acquire() {
    const Clock::time_point until = Clock::now() + kOpening;
    CLock lock(m_mutex);
    m_wantedUntil = std::max(m_wantedUntil, Clock::now() + kKeptOpen);
    const uint64_t attempts = m_attempts;
    m_changed.NotifyAll();
    while (m_opened == nullptr && m_attempts == attempts && Clock::now() < until && !m_isEnding) {
        m_wantedUntil = std::max(m_wantedUntil, Clock::now() + kKeptOpen);
        m_changed.WaitUntil(m_mutex, until);
    }
    if (m_opened != nullptr) {
        m_wantedUntil = std::max(m_wantedUntil, Clock::now() + kKeptOpen);
        return m_opened;
    }
    lock.Unlock();
    const Json problem = Problem();
    throw CViewError(kUnavailable,
                     problem.is_object() ? problem["error"].get<std::string>() : "the camera does not open");
}

void CCameraSource::AwaitFrame(std::chrono::seconds patience) {
    const Clock::time_point until = Clock::now() + patience;
    const CLock lock(m_mutex);
    m_wantedUntil = std::max(m_wantedUntil, until + kKeptOpen);
    while (!m_hasFrame && m_opened != nullptr && Clock::now() < until && !m_isEnding) {
        m_changed.WaitUntil(m_mutex, until);
    }
}

Json CCameraSource::Details() {
    const OpenedPointer opened = Acquire();
    AwaitFrame(2s); // frames tell the lenses; a camera that waits for a trigger has none yet
    Json details = Summary();
    details["info"] = ox3d::tool::RecordJson(opened->m_camera.Record());
    details.update(GeometryJson(*opened));
    details["recording"] = nullptr;
    return details;
}

Json CCameraSource::Features(const std::string& pattern) {
    const OpenedPointer opened = Acquire();
    Json list = Json::array();
    const CFeatures features(opened->m_camera.Handle());
    for (Feature feature : features.All()) {
        if (feature.m_record.nVisibility != OX3D_RGBD_VISIBILITY_INVISIBLE &&
            (pattern.empty() || IsFeatureMatch(pattern, feature.Name()))) {
            feature.m_entries = EntriesOf(opened->m_camera.Handle(), feature.m_record);
            list.push_back(ViewFeatureJson(feature));
        }
    }
    return {{"features", list}};
}

Json CCameraSource::SetFeature(const std::string& name, const std::string& value) {
    const OpenedPointer opened = Acquire();
    void* const handle = opened->m_camera.Handle();
    if (name == OX3D_RGBD_KEY_IMAGE_ALIGN || name == OX3D_RGBD_KEY_RESOLUTION_ALIGN) {
        SetAligning(handle, name, value);
    } else {
        tool::SetFeature(handle, name, value);
    }
    return {{"name", name},
            {"value", ViewValueJson(FindFeature(handle, name))}}; // the camera may have rounded
}

void CCameraSource::SetAligning(void* handle, const std::string& name, const std::string& value) {
    const CLock aligning(m_alignMutex);
    if (m_recording.IsUnderWay()) {
        throw CViewError(kConflict, "a recording holds frames as the camera sends them: stop it first");
    }
    tool::SetFeature(handle, name, value);
    const CLock lock(m_mutex);
    m_aligning[name] = value;
}

void CCameraSource::Execute(const std::string& name) {
    const OpenedPointer opened = Acquire();
    tool::Execute(opened->m_camera.Handle(), FindCommand(opened->m_camera.Handle(), name));
}

Json CCameraSource::Play(const Json&) {
    throw CViewError(kConflict, "a camera is not played; a recording is");
}

GrabbedFrame CCameraSource::Snapshot(bool isCloudWanted) {
    const OpenedPointer opened = Acquire();
    const Clock::time_point until = Clock::now() + 5s;
    FrameCopy copy;
    {
        const CLock lock(m_mutex);
        ++m_copiesWanted;
        const uint64_t seen = m_copyCount;
        while (m_copyCount == seen && Clock::now() < until && !m_isEnding) {
            m_changed.WaitUntil(m_mutex, until);
        }
        --m_copiesWanted;
        copy = m_copyCount == seen ? nullptr : m_copy;
        m_copy = m_copiesWanted == 0 ? nullptr : m_copy;
    }
    if (copy == nullptr) {
        throw CViewError(kUnavailable, "no frame came");
    }
    GrabbedFrame frame;
    frame.m_depth = DecodeDepth(*copy);
    frame.m_color = DecodeColor(*copy);
    if (isCloudWanted) {
        frame.m_cloud = CloudOfCopy(opened->m_camera, *copy);
    }
    return frame;
}

void CCameraSource::StartRecording() {
    const OpenedPointer opened = Acquire();
    AwaitFrame(5s);
    const CLock aligning(m_alignMutex);
    if (IsAligned(opened->m_camera)) {
        throw CViewError(kConflict, "frames are recorded as the camera sends them: switch " +
                                        std::string(OX3D_RGBD_KEY_IMAGE_ALIGN) + " off first");
    }
    RecordedCamera recorded = DescribeCamera(opened->m_camera, m_site.m_scratch);
    AddLenses(opened->m_camera.Handle(), &recorded);
    m_recording.Start(m_id, recorded, [&] {
        const CLock lock(m_mutex);
        return m_opened == opened;
    });
}

void CCameraSource::FinishRecording(const std::string& why) {
    if (m_recording.Finish(why)) {
        Tell("record", m_recording.Describe(), viewer::EAudience::OfCamera);
    }
}

Json CCameraSource::Record(bool isStarting) {
    if (isStarting && m_recording.IsUnderWay()) {
        throw CViewError(kConflict, "it is recorded already");
    }
    if (isStarting) {
        StartRecording();
        return m_recording.Describe();
    }
    if (!m_recording.IsUnderWay()) {
        throw CViewError(kConflict, "it is not recorded");
    }
    FinishRecording("");
    Json recorded = m_recording.Describe();
    if (recorded["state"] != "ok") {
        throw CToolError(EExitCode::File, recorded["error"].get<std::string>());
    }
    return recorded;
}

} // namespace ox3d::tool
