// All that a viewer shows, and its API.
#include "tools/ox3d/view/ViewStage.h"

#include "base/ExceptionBarrier.h"
#include "base/LocalFile.h"
#include "base/SignalMask.h"
#include "tools/ox3d/commands/RecordedSource.h"
#include "tools/ox3d/pictures/Ply.h"
#include "tools/ox3d/view/ViewFeature.h"
#include "tools/ox3d/view/ViewMetrics.h"

#include <algorithm>
#include <cstdio>
#include <system_error>

namespace ox3d::tool {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

constexpr size_t kMaxSources = 1000;
constexpr auto kLooking = 5s;     // between two looks for cameras that come and go
constexpr auto kListIsFresh = 1s; // a request does not look again
constexpr uint64_t kMaxFileBytes = uint64_t{512} << 20U;

Json BodyOf(const viewer::Request& request) {
    Json body = Json::parse(request.m_body, nullptr, false);
    if (!body.is_object()) {
        throw CViewError(kBadRequest, "the body is no JSON object");
    }
    return body;
}

bool StartsRecording(const viewer::Request& request) {
    const Json body = BodyOf(request);
    const Json action = body.value("action", Json());
    if (action != "start" && action != "stop") {
        throw CViewError(kBadRequest, "\"action\" is \"start\" or \"stop\"");
    }
    return action == "start";
}

// What stands behind a beginning of the path; empty where it begins otherwise.
std::string Behind(const std::string& path, const std::string& beginning) {
    return path.starts_with(beginning) ? path.substr(beginning.size()) : "";
}

std::string QueryValue(const viewer::Request& request, const char* key) {
    const auto value = request.m_query.find(key);
    return value == request.m_query.end() ? "" : value->second;
}

// Until it ends, however it does.
struct Listing {
    std::atomic<bool>& m_isListing;
    ~Listing() { m_isListing.store(false); }
};

viewer::Answer Refused(const std::exception& error, const fs::path& scratch) {
    ViewProblem problem = ProblemOf(error);
    problem.m_sentence = WithoutFolder(problem.m_sentence, scratch);
    return {problem.m_httpStatus, "application/json", TextOf(ProblemJson(problem))};
}

} // namespace

CViewStage::CViewStage(std::optional<ViewSite> site, const std::vector<std::string>& recordings,
                       const fs::path& scratch, bool isReadOnly)
    : m_site(std::move(site)), m_scratch(scratch), m_isReadOnly(isReadOnly) {
    {
        const CLock lock(m_mutex);
        for (const std::string& recording : recordings) {
            const size_t index = m_sources.size();
            m_sources.push_back(std::make_shared<CPlayedSource>(
                static_cast<uint16_t>(index), "recording-" + std::to_string(index + 1), recording, m_voice));
        }
    }
    if (m_site) {
        const CSignalsBlocked blocked;
        m_looking = std::thread([this] { Look(); });
    }
}

CViewStage::~CViewStage() {
    {
        const CLock lock(m_mutex);
        m_isEnding = true;
    }
    m_changed.NotifyAll();
    if (m_looking.joinable()) {
        m_looking.join();
    }
}

void CViewStage::Attach(viewer::IAudience* audience) {
    m_voice.Attach(audience);
    if (audience == nullptr) {
        for (const SourcePointer& source : Sources()) {
            source->End();
        }
    }
}

std::vector<CViewStage::SourcePointer> CViewStage::Sources() const {
    const CLock lock(m_mutex);
    return m_sources;
}

// Cameras that come and go while somebody looks.
void CViewStage::Look() noexcept {
    for (;;) {
        bool isSought = false;
        {
            const CLock lock(m_mutex);
            if (m_isEnding) {
                return;
            }
            isSought =
                m_isSought || std::any_of(m_sources.begin(), m_sources.end(),
                                          [](const SourcePointer& source) { return source->IsWatched(); });
            m_isSought = false; // who still misses one says so again
        }
        if (isSought) {
            ExceptionBarrier([this] { ListCamerasAnew(kLooking); }, [](const std::exception*) {});
        }
        const CLock lock(m_mutex);
        if (!m_isEnding) {
            m_changed.WaitFor(m_mutex, 1s);
        }
    }
}

void CViewStage::ListCamerasAnew(Clock::duration notBefore) {
    const CLock lock(m_listMutex);
    if (m_site && (m_listedAt == Clock::time_point() || Clock::now() - m_listedAt >= notBefore)) {
        m_isListing.store(m_listedAt != Clock::time_point());
        const Listing listing{m_isListing};
        const std::vector<DeviceRecord> present = ListCameras(m_site->m_provider);
        m_listedAt = Clock::now();
        TakeList(present);
    }
}

void CViewStage::TakeList(const std::vector<DeviceRecord>& present) {
    std::string shown;
    bool isChanged = false;
    {
        const CLock lock(m_mutex);
        for (const DeviceRecord& record : present) {
            const std::string id = TextOf(record.chSerialNumber);
            const bool isKnown = std::any_of(m_sources.begin(), m_sources.end(),
                                             [&](const SourcePointer& source) { return source->Id() == id; });
            if (!id.empty() && !isKnown && m_sources.size() < kMaxSources) {
                const auto index = static_cast<uint16_t>(m_sources.size());
                m_cameras.push_back(std::make_shared<CCameraSource>(index, record, *m_site, m_voice));
                m_sources.push_back(m_cameras.back());
            }
        }
        for (const auto& camera : m_cameras) {
            const auto record =
                std::find_if(present.begin(), present.end(), [&](const DeviceRecord& candidate) {
                    return TextOf(candidate.chSerialNumber) == camera->Id();
                });
            camera->SetListed(record == present.end() ? nullptr : &*record);
            shown += camera->IsShown() ? camera->Id() + "\n" : "";
        }
        isChanged = shown != m_shown;
        m_shown = shown;
    }
    if (isChanged) {
        m_voice.Tell({"cameras", R"({"type":"cameras"})", 0, viewer::EAudience::All});
    }
}

std::optional<uint16_t> CViewStage::IndexOf(const std::string& camera) {
    const CLock lock(m_mutex);
    const auto found = std::find_if(m_sources.begin(), m_sources.end(),
                                    [&](const SourcePointer& source) { return source->Id() == camera; });
    m_isSought = m_isSought || found == m_sources.end();
    return found == m_sources.end() ? std::nullopt
                                    : std::optional(static_cast<uint16_t>(found - m_sources.begin()));
}

void CViewStage::Want(uint16_t camera, const viewer::Wishes& wishes) {
    SourcePointer source;
    {
        const CLock lock(m_mutex);
        source = camera < m_sources.size() ? m_sources[camera] : nullptr;
    }
    if (source != nullptr) {
        source->SetWatched(wishes.m_clients > 0);
        source->Want(wishes);
    }
}

std::vector<viewer::Telling> CViewStage::Greeting(uint16_t camera) {
    const CLock lock(m_mutex);
    return camera < m_sources.size() ? m_sources[camera]->Greeting() : std::vector<viewer::Telling>();
}

CViewStage::SourcePointer CViewStage::Find(const viewer::Request& request) {
    const std::string id = QueryValue(request, "id");
    std::optional<uint16_t> index = IndexOf(id);
    if (!index) {
        ListCamerasAnew(kListIsFresh);
        index = IndexOf(id);
    }
    if (!index) {
        throw CViewError(kNotFound, "there is no camera \"" + id + "\"");
    }
    const CLock lock(m_mutex);
    return m_sources[*index];
}

viewer::Answer CViewStage::Serve(const viewer::Request& request) {
    try {
        if (request.m_path == "/metrics") {
            return {200, "text/plain; version=0.0.4; charset=utf-8", Metrics()};
        }
        if (request.m_path.starts_with("/snapshot/")) {
            return ServeSnapshot(request);
        }
        return {200, "application/json", TextOf(ServeApi(request))};
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& error) {
        return Refused(error, m_scratch);
    }
}

Json CViewStage::ServeApi(const viewer::Request& request) {
    const std::string& path = request.m_path;
    const std::string wanted =
        Behind(path, "/api/features/").empty() == false                                     ? "PUT"
        : path.starts_with("/api/run/") || path == "/api/record" || path == "/api/playback" ? "POST"
                                                                                            : "GET";
    if (request.m_method != wanted) {
        throw CViewError(kNoMethod, path + " takes " + wanted);
    }
    if (path == "/api/server") {
        return ServerJson();
    }
    if (path == "/api/cameras") {
        return CamerasJson();
    }
    return ServeNamed(request, *Find(request));
}

Json CViewStage::ServeNamed(const viewer::Request& request, CViewSource& source) {
    const std::string& path = request.m_path;
    if (path == "/api/camera") {
        return source.Details();
    }
    if (path == "/api/features") {
        return source.Features(QueryValue(request, "q"));
    }
    if (const std::string feature = Behind(path, "/api/features/"); !feature.empty()) {
        return source.SetFeature(feature, ValueTextOf(BodyOf(request).value("value", Json())));
    }
    if (const std::string command = Behind(path, "/api/run/"); !command.empty()) {
        source.Execute(command);
        return Json::object();
    }
    if (path == "/api/record") {
        return source.Record(StartsRecording(request));
    }
    if (path == "/api/playback") {
        return source.Play(BodyOf(request));
    }
    throw CViewError(kNotFound, "there is no " + path);
}

Json CViewStage::ServerJson() const {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return {{"version", LibraryVersion()},
            {"readOnly", m_isReadOnly},
            {"provider", m_site ? Json(m_site->m_provider.m_name) : Json()},
            {"now", std::chrono::duration_cast<std::chrono::microseconds>(now).count()}};
}

Json CViewStage::CamerasJson() {
    if (!m_isListing.load()) { // who asks meanwhile is shown the last list, and told when there is another
        ListCamerasAnew(kListIsFresh);
    }
    Json cameras = Json::array();
    for (const SourcePointer& source : Sources()) {
        const auto* const camera = dynamic_cast<const CCameraSource*>(source.get());
        if (camera == nullptr || camera->IsShown()) {
            cameras.push_back(source->Summary());
        }
    }
    return {{"cameras", cameras}};
}

viewer::Answer CViewStage::ServeSnapshot(const viewer::Request& request) {
    const std::string name = Behind(request.m_path, "/snapshot/");
    if (name != "depth.png" && name != "color.jpg" && name != "cloud.ply") {
        throw CViewError(kNotFound, "there is no " + request.m_path);
    }
    if (request.m_method != "GET") {
        throw CViewError(kNoMethod, request.m_path + " takes GET");
    }
    const GrabbedFrame frame = Find(request)->Snapshot(name == "cloud.ply");
    if (name == "color.jpg") {
        const auto* const pixels = reinterpret_cast<const uint8_t*>(frame.m_color.m_samples.data());
        CJpegEncoder encoder;
        constexpr int kQuality = 95;
        const auto image = frame.m_color.IsEmpty() ? std::span<const uint8_t>()
                                                   : encoder.Encode(pixels, frame.m_color.m_width,
                                                                    frame.m_color.m_height, kQuality);
        if (image.empty()) {
            throw CViewError(kConflict, "the frame has no color image");
        }
        return {200, "image/jpeg", std::string(image.begin(), image.end())};
    }
    const fs::path file = m_scratch / ("snapshot-" + std::to_string(++m_files));
    std::string error;
    viewer::Answer answer{200, "image/png", {}};
    if (name == "cloud.ply") {
        answer.m_type = "application/octet-stream";
        WritePly(file.string(), frame.m_cloud);
    } else if (!WriteDepthPng(file.string(), {frame.m_depth.m_width, frame.m_depth.m_height},
                              frame.m_depth.m_samples.data(), &error)) {
        throw CToolError(EExitCode::File, error);
    }
    const bool isRead = ReadLocalFile(file.string(), kMaxFileBytes, &answer.m_body);
    std::error_code ignored;
    fs::remove(file, ignored);
    if (!isRead) {
        throw CToolError(EExitCode::File, "the file cannot be read back");
    }
    return answer;
}

std::string CViewStage::Metrics() {
    std::vector<ViewMetric> metrics;
    for (const SourcePointer& source : Sources()) {
        metrics.push_back({source->Id(), source->Figures(), source->Encoded()});
    }
    return MetricsText(metrics);
}

} // namespace ox3d::tool
