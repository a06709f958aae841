// One WebSocket client.
#include "viewer/server/Client.h"

#include <algorithm>

namespace ox3d::viewer {
namespace {

constexpr uint32_t kStalled = 30; // images that came and were not asked for

} // namespace

void CClient::Look(uint16_t camera, const Subscribe& wish) {
    if (!wish.m_depth && !wish.m_color && !wish.m_stats) {
        m_views.erase(camera);
        return;
    }
    View& view = m_views[camera];
    view.m_hasStats = wish.m_stats;
    const std::array<bool, kStreams> isWanted = {wish.m_depth, wish.m_color};
    for (size_t i = 0; i < kStreams; ++i) {
        Slot& slot = view.m_slots[i];
        slot.m_isWanted = isWanted[i];
        slot.m_pace = CPace(wish.m_fps);
        slot.m_waiting = isWanted[i] ? slot.m_waiting : nullptr;
        slot.m_overtaken = 0;
        slot.m_isUnderWay = isWanted[i] && slot.m_isUnderWay; // a page that looks away may forget to say so
    }
}

bool CClient::Offer(uint16_t camera, EStream stream, const PacketPointer& packet, uint64_t nowUs) {
    const auto view = m_views.find(camera);
    if (view == m_views.end()) {
        return false;
    }
    Slot& slot = view->second.m_slots[PlaceOf(stream)];
    if (!slot.m_isWanted || !slot.m_pace.IsDue(nowUs)) {
        return false;
    }
    slot.m_waiting = packet;
    slot.m_overtaken += slot.m_isUnderWay && slot.m_overtaken < kStalled ? 1 : 0;
    return !slot.m_isUnderWay;
}

bool CClient::Acknowledged(uint16_t camera, EStream stream, uint32_t number) {
    const auto view = m_views.find(camera);
    if (view == m_views.end()) {
        return false;
    }
    Slot& slot = view->second.m_slots[PlaceOf(stream)];
    if (!slot.m_isUnderWay || slot.m_number != number) {
        return false;
    }
    slot.m_isUnderWay = false;
    slot.m_overtaken = 0;
    return slot.m_waiting != nullptr;
}

bool CClient::Hear(const Telling& telling) {
    if (telling.m_audience != EAudience::All) {
        const auto view = m_views.find(telling.m_camera);
        if (view == m_views.end() || (telling.m_audience == EAudience::OfStats && !view->second.m_hasStats)) {
            return false;
        }
    }
    const auto same = std::find_if(m_texts.begin(), m_texts.end(),
                                   [&](const auto& text) { return text.first == telling.m_key; });
    if (same != m_texts.end()) {
        same->second = telling.m_text;
    } else {
        m_texts.emplace_back(telling.m_key, telling.m_text);
    }
    return true;
}

void CClient::AddWishes(uint16_t camera, Wishes* wishes) const {
    const auto view = m_views.find(camera);
    if (view != m_views.end()) {
        const auto isWanted = [](const Slot& slot) { return slot.m_isWanted && slot.m_overtaken < kStalled; };
        wishes->m_depth = wishes->m_depth || isWanted(view->second.m_slots[0]);
        wishes->m_color = wishes->m_color || isWanted(view->second.m_slots[1]);
        ++wishes->m_clients;
    }
}

std::vector<uint16_t> CClient::Cameras() const {
    std::vector<uint16_t> cameras;
    for (const auto& [camera, view] : m_views) {
        cameras.push_back(camera);
    }
    return cameras;
}

std::optional<CClient::Next> CClient::TakeNext() {
    if (!m_texts.empty()) {
        Next next{std::move(m_texts.front().second), nullptr};
        m_texts.erase(m_texts.begin());
        return next;
    }
    auto view = m_views.upper_bound(m_lastCamera);
    for (size_t i = 0; i < m_views.size(); ++i, ++view) {
        view = view == m_views.end() ? m_views.begin() : view;
        for (Slot& slot : view->second.m_slots) {
            if (slot.m_waiting != nullptr && !slot.m_isUnderWay) {
                slot.m_isUnderWay = true;
                slot.m_number = NumberIn(*slot.m_waiting);
                m_lastCamera = view->first;
                return Next{{}, std::move(slot.m_waiting)};
            }
        }
    }
    return std::nullopt;
}

} // namespace ox3d::viewer
