// What cameras and recordings have in common for viewers.
#include "tools/ox3d/view/ViewSource.h"

namespace ox3d::tool {

std::string TextOf(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

Json StreamJson(const std::optional<RecordedLens>& lens) {
    if (!lens) {
        return nullptr;
    }
    return {{"width", lens->m_width},
            {"height", lens->m_height},
            {"fx", lens->m_fx},
            {"fy", lens->m_fy},
            {"cx", lens->m_cx},
            {"cy", lens->m_cy},
            {"distortion", lens->m_distortion}};
}

Json WayJson(const std::optional<RecordedWay>& way) {
    return way ? Json{{"rotation", way->m_rotation}, {"translation", way->m_translationMm}} : Json();
}

CViewSource::CViewSource(uint16_t index, std::string id, CViewVoice& voice)
    : m_index(index), m_id(std::move(id)), m_voice(voice),
      m_encoder(index, [this](viewer::EStream stream, viewer::PacketPointer packet) {
          m_voice.Publish(m_index, stream, std::move(packet));
      }) {}

viewer::Telling CViewSource::TellingOf(const char* type, const Json& json, viewer::EAudience audience) const {
    Json document = {{"type", type}, {"camera", m_id}};
    document.update(json);
    return {type + (" " + m_id), TextOf(document), m_index, audience};
}

void CViewSource::Tell(const char* type, const Json& json, viewer::EAudience audience) {
    m_voice.Tell(TellingOf(type, json, audience));
}

void CViewSource::EnterState(const std::string& state, const std::optional<ViewProblem>& problem) {
    {
        const CLock lock(m_stateMutex);
        const std::string former = m_problem ? m_problem->m_sentence : "";
        if (m_state == state && former == (problem ? problem->m_sentence : "")) {
            return;
        }
        m_state = state;
        m_problem = problem;
    }
    Tell("state", StateJson(), viewer::EAudience::All);
}

Json CViewSource::StateJson() const {
    return {{"state", State()}, {"error", Problem()}};
}

std::string CViewSource::State() const {
    const CLock lock(m_stateMutex);
    return m_state;
}

Json CViewSource::Problem() const {
    const CLock lock(m_stateMutex);
    return m_problem ? ProblemJson(*m_problem) : Json();
}

std::vector<viewer::Telling> CViewSource::Greeting() const {
    return {TellingOf("state", StateJson(), viewer::EAudience::All)};
}

void CViewSource::TellStats(uint32_t clients, std::optional<double> temperature) {
    const EncodedCounts encoded = m_encoder.Counts();
    const ViewFigures figures = m_stats.Close(encoded.m_bytes);
    Tell("stats",
         {{"fps", figures.m_fps},
          {"lost", figures.m_lost},
          {"incomplete", figures.m_incomplete},
          {"latencyMs", {{"p50", figures.m_latencyMs50}, {"p99", figures.m_latencyMs99}}},
          {"megabytesPerSecond", figures.m_megabytesPerSecond},
          {"validDepth", encoded.m_validDepth},
          {"temperature", temperature ? Json(*temperature) : Json()},
          {"clients", clients}},
         viewer::EAudience::OfStats);
}

} // namespace ox3d::tool
