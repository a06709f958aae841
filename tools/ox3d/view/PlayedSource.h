// A recording for viewers: read frame by frame by a thread of its own, while somebody looks.
#ifndef OX3D_TOOL_PLAYED_SOURCE_H
#define OX3D_TOOL_PLAYED_SOURCE_H

#include "recording/RecordingReader.h"
#include "tools/ox3d/view/ViewSource.h"

namespace ox3d::tool {

class CPlayedSource : public CViewSource {
public:
    // Throws CToolError for what cannot be read.
    CPlayedSource(uint16_t index, std::string id, const std::string& path, CViewVoice& voice);
    ~CPlayedSource() override;

    void Want(const viewer::Wishes& wishes) override OX_EXCLUDES(m_mutex);
    std::vector<viewer::Telling> Greeting() const override OX_EXCLUDES(m_mutex);
    Json Summary() const override;
    Json Details() override;
    Json Features(const std::string& pattern) override;
    Json SetFeature(const std::string& name, const std::string& value) override;
    void Execute(const std::string& name) override;
    Json Record(bool isStarting) override;
    Json Play(const Json& wish) override OX_EXCLUDES(m_mutex);
    GrabbedFrame Snapshot(bool isCloudWanted) override OX_EXCLUDES(m_mutex, m_readerMutex);

private:
    using Clock = std::chrono::steady_clock;

    struct Playing {
        bool m_isPlaying = true;
        double m_speed = 1;
        size_t m_position = 0;
    };

    void Run() noexcept OX_EXCLUDES(m_mutex);
    void ShowNext() OX_EXCLUDES(m_mutex);
    void Show(size_t frame, bool isDepthWanted, bool isColorWanted) OX_EXCLUDES(m_readerMutex);
    Clock::duration TimeAfter(size_t frame, double speed) const;
    void SetPlaying(const Json& wish) OX_EXCLUDES(m_mutex);
    Json PlayingJson() const OX_EXCLUDES(m_mutex);
    void TellPlaying(bool isAtOnce) OX_EXCLUDES(m_mutex);
    std::optional<RecordedLens> Lens(bool isColor) const;
    [[noreturn]] void Refuse() const;

    const std::string m_file; // its name without folders
    std::unique_ptr<CRecordingReader> m_reader;
    CMutex m_readerMutex; // held while frames are read
    size_t m_frames = 0;

    mutable CMutex m_mutex;
    CCondition m_changed;
    Playing m_playing OX_GUARDED_BY(m_mutex);
    viewer::Wishes m_wishes OX_GUARDED_BY(m_mutex);
    bool m_isToShow OX_GUARDED_BY(m_mutex) = false; // the frame at the position, at once
    bool m_isEnding OX_GUARDED_BY(m_mutex) = false;

    Clock::time_point m_due; // of the next frame; the rest is the thread's
    Clock::time_point m_nextSecond;
    Clock::time_point m_nextTelling;
    std::thread m_thread;
};

} // namespace ox3d::tool

#endif
