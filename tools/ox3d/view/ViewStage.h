// All that a viewer shows, and its API: which request asks which camera for what.
#ifndef OX3D_TOOL_VIEW_STAGE_H
#define OX3D_TOOL_VIEW_STAGE_H

#include "tools/ox3d/view/CameraSource.h"
#include "tools/ox3d/view/PlayedSource.h"

namespace ox3d::tool {

class CViewStage : public viewer::IStage {
public:
    // With no provider there are recordings alone. Throws CToolError for a recording that cannot be read.
    CViewStage(std::optional<ViewSite> site, const std::vector<std::string>& recordings,
               const std::filesystem::path& scratch, bool isReadOnly);
    ~CViewStage() override;

    void Attach(viewer::IAudience* audience) override OX_EXCLUDES(m_mutex);
    viewer::Answer Serve(const viewer::Request& request) override;
    std::optional<uint16_t> IndexOf(const std::string& camera) override OX_EXCLUDES(m_mutex);
    void Want(uint16_t camera, const viewer::Wishes& wishes) override OX_EXCLUDES(m_mutex);
    std::vector<viewer::Telling> Greeting(uint16_t camera) override OX_EXCLUDES(m_mutex);

private:
    using Clock = std::chrono::steady_clock;
    using SourcePointer = std::shared_ptr<CViewSource>;

    Json ServeApi(const viewer::Request& request);
    Json ServeNamed(const viewer::Request& request, CViewSource& source);
    viewer::Answer ServeSnapshot(const viewer::Request& request);
    Json ServerJson() const;
    Json CamerasJson() OX_EXCLUDES(m_mutex, m_listMutex);
    std::string Metrics() OX_EXCLUDES(m_mutex);
    SourcePointer Find(const viewer::Request& request) OX_EXCLUDES(m_mutex);
    std::vector<SourcePointer> Sources() const OX_EXCLUDES(m_mutex);
    void ListCamerasAnew(Clock::duration notBefore) OX_EXCLUDES(m_mutex, m_listMutex);
    void TakeList(const std::vector<DeviceRecord>& present) OX_EXCLUDES(m_mutex);
    void Look() noexcept OX_EXCLUDES(m_mutex);

    const std::optional<ViewSite> m_site;
    const std::filesystem::path m_scratch;
    const bool m_isReadOnly;
    CViewVoice m_voice;
    std::atomic<uint64_t> m_files{0}; // that went by way of the scratch folder

    std::atomic<bool> m_isListing{false}; // though not for the first time
    CMutex m_listMutex;                   // held while cameras are looked for
    Clock::time_point m_listedAt OX_GUARDED_BY(m_listMutex);

    mutable CMutex m_mutex;
    CCondition m_changed;
    std::vector<SourcePointer> m_sources OX_GUARDED_BY(m_mutex);                  // by index; grows only
    std::vector<std::shared_ptr<CCameraSource>> m_cameras OX_GUARDED_BY(m_mutex); // those of them
    std::string m_shown OX_GUARDED_BY(m_mutex);                                   // ids of the last list
    bool m_isSought OX_GUARDED_BY(m_mutex) = true; // a camera that is not listed: at first any
    bool m_isEnding OX_GUARDED_BY(m_mutex) = false;
    std::thread m_looking;
};

} // namespace ox3d::tool

#endif
