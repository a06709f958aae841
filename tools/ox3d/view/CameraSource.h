// A camera for viewers: opened when somebody looks at it or asks it something, closed some seconds after nobody does, looked
// for again when it is lost. A thread of its own opens and closes it; frames come by callback and are never held up.
#ifndef OX3D_TOOL_CAMERA_SOURCE_H
#define OX3D_TOOL_CAMERA_SOURCE_H

#include "tools/ox3d/Camera.h"
#include "tools/ox3d/commands/RecordedSource.h"
#include "tools/ox3d/view/ViewRecording.h"
#include "tools/ox3d/view/ViewSource.h"

#include <filesystem>

namespace ox3d::tool {

// What all cameras of a viewer share.
struct ViewSite {
    ProviderChoice m_provider;
    std::filesystem::path m_scratch;   // for files on their way
    std::filesystem::path m_recordDir; // for recordings
};

class CCameraSource : public CViewSource {
public:
    CCameraSource(uint16_t index, const DeviceRecord& record, const ViewSite& site, CViewVoice& voice);
    ~CCameraSource() override;

    void Want(const viewer::Wishes& wishes) override OX_EXCLUDES(m_mutex);
    Json Summary() const override OX_EXCLUDES(m_mutex);
    Json Details() override;
    Json Features(const std::string& pattern) override;
    Json SetFeature(const std::string& name, const std::string& value) override;
    void Execute(const std::string& name) override;
    Json Record(bool isStarting) override;
    void End() override OX_EXCLUDES(m_mutex);
    std::vector<viewer::Telling> Greeting() const override;
    Json Play(const Json& wish) override;
    GrabbedFrame Snapshot(bool isCloudWanted) override OX_EXCLUDES(m_mutex);
    // Of the last enumeration.
    void SetListed(const DeviceRecord* record) OX_EXCLUDES(m_mutex);
    bool IsShown() const OX_EXCLUDES(m_mutex);

private:
    using Clock = std::chrono::steady_clock;
    using FrameCopy = std::shared_ptr<OX3D_RGBD_FRAME_DATA>;

    // An opened camera, kept by who works with it.
    struct Opened {
        Opened(CCameraSource& source, const ProviderChoice& provider, const DeviceRecord& record)
            : m_source(source), m_camera(provider, record), m_views(m_camera.Handle()) {}
        const std::shared_ptr<void> m_life = std::make_shared<char>(); // the first, so that it ends last
        CCameraSource& m_source;
        CCamera m_camera;
        CFrameViews m_views; // the callback's
        bool m_hasTemperature = false;
    };
    using OpenedPointer = std::shared_ptr<Opened>;

    void Run() noexcept OX_EXCLUDES(m_mutex);
    void Step(Clock::time_point now) OX_EXCLUDES(m_mutex);
    bool IsWanted(Clock::time_point now) OX_EXCLUDES(m_mutex);
    void TryOpen(Clock::time_point now) OX_EXCLUDES(m_mutex);
    OpenedPointer Open();
    void Close(const char* state, const std::optional<ViewProblem>& problem) OX_EXCLUDES(m_mutex);
    void EachSecond(Opened& opened) OX_EXCLUDES(m_mutex);
    static void OnFrame(OX3D_RGBD_FRAME_DATA* frame, void* user);
    void Take(Opened& opened, const OX3D_RGBD_FRAME_DATA& frame) OX_EXCLUDES(m_mutex);
    void KeepCopy(const Opened& opened, const OX3D_RGBD_FRAME_DATA& frame) OX_EXCLUDES(m_mutex);

    // Opens the camera where it is not open, and waits for that. Throws CViewError.
    OpenedPointer Acquire() OX_EXCLUDES(m_mutex);
    void AwaitFrame(std::chrono::seconds patience) OX_EXCLUDES(m_mutex);
    void SetAligning(void* handle, const std::string& name, const std::string& value)
        OX_EXCLUDES(m_mutex, m_alignMutex);
    void StartRecording() OX_EXCLUDES(m_mutex, m_alignMutex);
    void FinishRecording(const std::string& why);
    // What clients have set of how the library aligns images.
    std::map<std::string, std::string> Aligning() const OX_EXCLUDES(m_mutex);
    static Json GeometryJson(const Opened& opened);

    const ViewSite& m_site;
    std::atomic<bool> m_isDepthWanted{false};
    std::atomic<bool> m_isColorWanted{false};

    mutable CMutex m_mutex;
    CCondition m_changed;
    DeviceRecord m_record OX_GUARDED_BY(m_mutex);
    bool m_isListed OX_GUARDED_BY(m_mutex) = true;
    viewer::Wishes m_wishes OX_GUARDED_BY(m_mutex);
    OpenedPointer m_opened OX_GUARDED_BY(m_mutex);
    Clock::time_point m_wantedUntil OX_GUARDED_BY(m_mutex);
    bool m_hasFrame OX_GUARDED_BY(m_mutex) = false; // since it was opened
    uint64_t m_attempts OX_GUARDED_BY(m_mutex) = 0; // to open it that have failed
    bool m_isEnding OX_GUARDED_BY(m_mutex) = false;
    size_t m_copiesWanted OX_GUARDED_BY(m_mutex) = 0;
    FrameCopy m_copy OX_GUARDED_BY(m_mutex);
    uint64_t m_copyCount OX_GUARDED_BY(m_mutex) = 0;

    std::map<std::string, std::string> m_aligning OX_GUARDED_BY(m_mutex);

    CViewRecording m_recording;
    CMutex m_alignMutex; // held while alignment changes or a recording begins: never both

    std::weak_ptr<void> m_former; // the life of the opened camera before, which requests may still have
    Clock::time_point m_nextTry;  // the rest is the thread's
    Clock::time_point m_nextSecond;
    Json m_geometry;
    std::thread m_thread;
};

} // namespace ox3d::tool

#endif
