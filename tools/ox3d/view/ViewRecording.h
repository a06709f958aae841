// ViewRecording.h - what a client lets be recorded of one camera, and what clients are told of it.
#ifndef OX3D_TOOL_VIEW_RECORDING_H
#define OX3D_TOOL_VIEW_RECORDING_H

#include "recording/Recorder.h"
#include "tools/ox3d/Json.h"

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>

namespace ox3d::tool {

// Any thread. No call of the library stands under the lock, which frame callbacks take.
class CViewRecording {
public:
    // Files go into the folder. Its name is kept from clients.
    explicit CViewRecording(std::filesystem::path folder) : m_folder(std::move(folder)) {}

    bool IsUnderWay() const OX_EXCLUDES(m_mutex);
    // Whether one is under way that writes no more.
    bool HasFailed() const OX_EXCLUDES(m_mutex);
    // Unless mayBegin() is false, which is asked last. Throws CViewError and CToolError.
    void Start(const std::string& serial, const RecordedCamera& camera, const std::function<bool()>& mayBegin)
        OX_EXCLUDES(m_mutex);
    void Add(FrameView view) OX_EXCLUDES(m_mutex);
    // False where there is none. The sentence tells why it ended before somebody stopped it; empty: somebody did.
    bool Finish(const std::string& why) OX_EXCLUDES(m_mutex);
    // Of the one that is under way, or the last.
    Json Describe() const OX_EXCLUDES(m_mutex);

private:
    const std::filesystem::path m_folder;
    mutable CMutex m_mutex;
    std::shared_ptr<CRecorder> m_recorder OX_GUARDED_BY(m_mutex);
    std::string m_name OX_GUARDED_BY(m_mutex);
    std::string m_why OX_GUARDED_BY(m_mutex);
    RecorderCounts m_recorded OX_GUARDED_BY(m_mutex);
    uint64_t m_missing OX_GUARDED_BY(m_mutex) = 0; // frames since the last that the recorder took
    std::chrono::steady_clock::time_point m_begun OX_GUARDED_BY(m_mutex);
    std::chrono::steady_clock::time_point m_ended OX_GUARDED_BY(m_mutex);
};

} // namespace ox3d::tool

#endif
