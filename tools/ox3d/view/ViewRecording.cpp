// Recordings that clients start.
#include "tools/ox3d/view/ViewRecording.h"

#include "recording/camera/CameraRecord.h"
#include "tools/ox3d/ExitCode.h"
#include "tools/ox3d/view/ViewError.h"

#include <ctime>
#include <nlohmann/json.hpp>

namespace ox3d::tool {
namespace {

// "VC00000001-20260131-142305"; a serial number is a camera's text and no part of a path.
std::string NameOf(const std::string& serial) {
    std::string name;
    for (const char c : serial) {
        const bool isPlain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
        name += isPlain ? c : '_';
    }
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    char text[32] = "";
    if (localtime_r(&now, &local) != nullptr) {
        std::strftime(text, sizeof(text), "-%Y%m%d-%H%M%S", &local);
    }
    return name + text;
}

// Several may be begun within one second.
std::string FreeName(const std::filesystem::path& folder, const std::string& serial) {
    const std::string base = NameOf(serial);
    std::string name = base + ".mcap";
    std::error_code ignored;
    for (unsigned count = 2; std::filesystem::exists(folder / name, ignored); ++count) {
        name = base + "-" + std::to_string(count) + ".mcap";
    }
    return name;
}

const char* WordOf(EWriting state) {
    return state == EWriting::Ok ? "ok" : state == EWriting::Full ? "full" : "failed";
}

} // namespace

bool CViewRecording::IsUnderWay() const {
    const CLock lock(m_mutex);
    return m_recorder != nullptr;
}

bool CViewRecording::HasFailed() const {
    const CLock lock(m_mutex);
    return m_recorder != nullptr && m_recorder->Counts().m_state != EWriting::Ok;
}

void CViewRecording::Start(const std::string& serial, const RecordedCamera& camera,
                           const std::function<bool()>& mayBegin) {
    RecorderOptions options;
    options.m_library = "ox3d " + LibraryVersion();
    const std::string name = FreeName(m_folder, serial);
    std::string error;
    std::shared_ptr<CRecorder> recorder =
        CRecorder::Open((m_folder / name).string(), camera, options, &error);
    if (recorder == nullptr) {
        throw CToolError(EExitCode::File, WithoutFolder(error, m_folder));
    }
    const CLock lock(m_mutex);
    if (m_recorder != nullptr) {
        throw CViewError(kConflict, "it is recorded already");
    }
    if (!mayBegin()) {
        throw CViewError(kUnavailable, "the camera was closed meanwhile");
    }
    m_recorder = std::move(recorder);
    m_name = name;
    m_why.clear();
    m_missing = 0;
    m_begun = std::chrono::steady_clock::now();
}

void CViewRecording::Add(FrameView view) {
    const CLock lock(m_mutex);
    if (m_recorder == nullptr) {
        return;
    }
    const uint64_t lost = view.m_facts.m_lostBefore;
    view.m_facts.m_lostBefore += m_missing;
    m_missing = m_recorder->Add(view) ? 0 : m_missing + lost + 1;
}

bool CViewRecording::Finish(const std::string& why) {
    std::shared_ptr<CRecorder> recorder;
    {
        const CLock lock(m_mutex);
        recorder = std::move(m_recorder);
        m_recorder = nullptr;
    }
    if (recorder == nullptr) {
        return false;
    }
    RecorderCounts counts = recorder->Finish();
    const CLock lock(m_mutex);
    m_recorded = std::move(counts);
    m_why = why;
    m_ended = std::chrono::steady_clock::now();
    return true;
}

Json CViewRecording::Describe() const {
    const CLock lock(m_mutex);
    const bool isUnderWay = m_recorder != nullptr;
    const RecorderCounts counts = isUnderWay ? m_recorder->Counts() : m_recorded;
    const auto until = isUnderWay ? std::chrono::steady_clock::now() : m_ended;
    const std::string error =
        counts.m_state == EWriting::Ok ? m_why : m_name + ": " + WithoutFolder(counts.m_error, m_folder);
    const bool isEmpty = !isUnderWay && counts.m_written == 0; // a file has its name from the first frame on
    Json json = {{"recording", isUnderWay},
                 {"file", isEmpty ? "" : m_name},
                 {"frames", counts.m_written},
                 {"dropped", counts.m_dropped},
                 {"state", WordOf(counts.m_state)},
                 {"error", error.empty() ? Json() : Json(error)},
                 {"seconds", std::chrono::duration<double>(until - m_begun).count()}};
    if (isEmpty && !m_name.empty()) {
        json["warning"] = "no frame came: there is no file";
    }
    return json;
}

} // namespace ox3d::tool
