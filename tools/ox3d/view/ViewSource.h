// What a viewer looks at: a camera or a recording, whose frames go through one encoder to all clients.
#ifndef OX3D_TOOL_VIEW_SOURCE_H
#define OX3D_TOOL_VIEW_SOURCE_H

#include "tools/ox3d/pictures/Results.h"
#include "tools/ox3d/view/ViewEncoder.h"
#include "tools/ox3d/view/ViewError.h"
#include "tools/ox3d/view/ViewStats.h"

#include <atomic>
#include <nlohmann/json.hpp>
#include <optional>

namespace ox3d::tool {

// Where sources send what clients are to hear: to nobody while there is no server.
class CViewVoice {
public:
    void Attach(viewer::IAudience* audience) OX_EXCLUDES(m_mutex) {
        const CLock lock(m_mutex);
        m_audience = audience;
    }
    void Publish(uint16_t camera, viewer::EStream stream, viewer::PacketPointer packet) OX_EXCLUDES(m_mutex) {
        const CLock lock(m_mutex);
        if (m_audience != nullptr) {
            m_audience->Publish(camera, stream, std::move(packet));
        }
    }
    void Tell(viewer::Telling telling) OX_EXCLUDES(m_mutex) {
        const CLock lock(m_mutex);
        if (m_audience != nullptr) {
            m_audience->Tell(std::move(telling));
        }
    }

private:
    CMutex m_mutex;
    viewer::IAudience* m_audience OX_GUARDED_BY(m_mutex) = nullptr;
};

// The text of a document for clients.
std::string TextOf(const Json& json);
// null without a lens.
Json StreamJson(const std::optional<RecordedLens>& lens);
Json WayJson(const std::optional<RecordedWay>& way);

class CViewSource {
public:
    CViewSource(uint16_t index, std::string id, CViewVoice& voice);
    virtual ~CViewSource() = default;
    CViewSource(const CViewSource&) = delete;
    CViewSource& operator=(const CViewSource&) = delete;

    const std::string& Id() const { return m_id; }
    // Does not wait.
    virtual void Want(const viewer::Wishes& wishes) = 0;
    virtual std::vector<viewer::Telling> Greeting() const;
    // Calls that wait return soon, and the source does no more.
    virtual void End() {}
    // Whether somebody looks.
    void SetWatched(bool isWatched) { m_isWatched.store(isWatched); }
    bool IsWatched() const { return m_isWatched.load(); }
    // What /api/cameras says of it; does not ask the camera.
    virtual Json Summary() const = 0;

    // These may take their time, and throw what ProblemOf() knows.
    virtual Json Details() = 0;
    virtual Json Features(const std::string& pattern) = 0;
    virtual Json SetFeature(const std::string& name, const std::string& value) = 0;
    virtual void Execute(const std::string& name) = 0;
    virtual Json Record(bool isStarting) = 0;
    virtual Json Play(const Json& wish) = 0;
    // A frame that came after the call; its cloud, too, where that is wanted.
    virtual GrabbedFrame Snapshot(bool isCloudWanted) = 0;

    ViewFigures Figures() const { return m_stats.Last(); }
    EncodedCounts Encoded() const { return m_encoder.Counts(); }

protected:
    // "opening", "streaming", "lost", "failed" or "closed". Told on every change.
    void EnterState(const std::string& state, const std::optional<ViewProblem>& problem)
        OX_EXCLUDES(m_stateMutex);
    Json StateJson() const OX_EXCLUDES(m_stateMutex);
    std::string State() const OX_EXCLUDES(m_stateMutex);
    Json Problem() const OX_EXCLUDES(m_stateMutex);
    void TellStats(uint32_t clients, std::optional<double> temperature);
    void Tell(const char* type, const Json& json, viewer::EAudience audience);
    viewer::Telling TellingOf(const char* type, const Json& json, viewer::EAudience audience) const;

    const uint16_t m_index;
    const std::string m_id;
    CViewVoice& m_voice;
    CViewStats m_stats;
    CViewEncoder m_encoder;

private:
    std::atomic<bool> m_isWatched{false};
    mutable CMutex m_stateMutex;
    std::string m_state OX_GUARDED_BY(m_stateMutex) = "closed";
    std::optional<ViewProblem> m_problem OX_GUARDED_BY(m_stateMutex);
};

} // namespace ox3d::tool

#endif
