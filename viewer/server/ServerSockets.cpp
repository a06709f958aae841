// WebSocket.
#include "viewer/server/HttpFields.h"
#include "viewer/server/Server.h"

#include <algorithm>
#include <cstring>

namespace ox3d::viewer {
namespace {

constexpr size_t kMaxClients = 32;
constexpr size_t kMaxClientsOfOne = kMaxClients / 2; // address, so that others have places left
constexpr size_t kMaxAwaited = 64;                   // cameras of one client

} // namespace

bool CServer::HasPlace(const std::string& address) const {
    const auto ofOne = std::count_if(m_sessions.begin(), m_sessions.end(),
                                     [&](const Session* session) { return session->m_address == address; });
    return m_sessions.size() < kMaxClients && static_cast<size_t>(ofOne) < kMaxClientsOfOne;
}

int CServer::OnSocket(lws* wsi, lws_callback_reasons reason, void** session, void* in, size_t length) {
    switch (reason) {
    case LWS_CALLBACK_FILTER_PROTOCOL_CONNECTION: {
        std::string why; // asked once more: whatever way a connection takes to this protocol
        return !HasPlace(PeerAddressOf(lws_get_socket_fd(wsi))) || Refusal(wsi, "/ws", true, &why) != 0 ? -1
                                                                                                        : 0;
    }
    case LWS_CALLBACK_ESTABLISHED: {
        auto begun = std::make_unique<Session>();
        begun->m_wsi = wsi;
        begun->m_address = PeerAddressOf(lws_get_socket_fd(wsi));
        begun->m_begunUs = NowUs();
        begun->m_sentUs = begun->m_begunUs;
        m_sessions.insert(begun.get());
        *session = begun.release();
        return 0;
    }
    case LWS_CALLBACK_RECEIVE:
        return *session == nullptr || lws_frame_is_binary(wsi) != 0
                   ? -1
                   : OnMessage(*static_cast<Session*>(*session), static_cast<const char*>(in), length,
                               lws_is_final_fragment(wsi) != 0 && lws_remaining_packet_payload(wsi) == 0);
    case LWS_CALLBACK_SERVER_WRITEABLE:
        return *session == nullptr ? 0 : WriteNext(*static_cast<Session*>(*session));
    case LWS_CALLBACK_CLOSED:
        if (session != nullptr && *session != nullptr) {
            const std::unique_ptr<Session> ended(static_cast<Session*>(*session));
            *session = nullptr;
            m_sessions.erase(ended.get());
            for (const uint16_t camera : ended->m_client.Cameras()) {
                Renew(camera);
            }
        }
        return 0;
    default:
        return 0;
    }
}

int CServer::OnMessage(Session& session, const char* text, size_t length, bool isFinal) {
    if (session.m_message.size() + length > kMaxMessageBytes) {
        return -1;
    }
    session.m_message.append(text, length);
    if (!isFinal) {
        return 0;
    }
    const std::optional<ClientMessage> message = ParseClientMessage(session.m_message);
    session.m_message.clear();
    if (!message || !session.m_messages.Take(NowUs())) {
        return -1;
    }
    OnClientMessage(session, *message);
    return 0;
}

void CServer::OnClientMessage(Session& session, const ClientMessage& message) {
    if (const auto* const wish = std::get_if<Subscribe>(&message); wish != nullptr) {
        OnSubscribe(session, *wish);
        return;
    }
    const auto& seen = std::get<Acknowledge>(message);
    const std::optional<uint16_t> camera = m_stage.IndexOf(seen.m_camera);
    if (camera && session.m_client.Acknowledged(*camera, seen.m_stream, seen.m_number)) {
        lws_callback_on_writable(session.m_wsi);
        Renew(*camera);
    }
}

void CServer::OnSubscribe(Session& session, const Subscribe& wish) {
    session.m_hasSubscribed = true;
    session.m_awaited.erase(wish.m_camera);
    const std::optional<uint16_t> camera = m_stage.IndexOf(wish.m_camera);
    if (!camera) {
        const bool wantsAny = wish.m_depth || wish.m_color || wish.m_stats;
        if (wantsAny && session.m_awaited.size() < kMaxAwaited) {
            session.m_awaited[wish.m_camera] = wish; // until it is there
        }
        session.m_client.Hear({"unknown", ErrorText("no camera " + wish.m_camera), 0, EAudience::All});
        lws_callback_on_writable(session.m_wsi);
        return;
    }
    Show(session, wish, *camera);
}

void CServer::Show(Session& session, const Subscribe& wish, uint16_t camera) {
    session.m_client.Look(camera, wish);
    session.m_client.Hear(
        {"subscribed " + wish.m_camera, SubscribedText(wish, camera), camera, EAudience::All});
    for (const Telling& telling : m_stage.Greeting(camera)) {
        session.m_client.Hear(telling);
    }
    Renew(camera);
    lws_callback_on_writable(session.m_wsi);
}

// Cameras that a client wanted before they were there.
void CServer::ShowAwaited(Session& session) {
    for (auto wish = session.m_awaited.begin(); wish != session.m_awaited.end();) {
        if (const std::optional<uint16_t> camera = m_stage.IndexOf(wish->first); camera) {
            const Subscribe found = wish->second;
            wish = session.m_awaited.erase(wish);
            Show(session, found, *camera);
        } else {
            ++wish;
        }
    }
}

int CServer::EachSecond() {
    const uint64_t nowUs = NowUs();
    for (Session* const session : m_sessions) {
        ShowAwaited(*session);
        if (!session->m_hasSubscribed && nowUs - session->m_begunUs >= m_options.m_idleSeconds * kSecondUs) {
            lws_set_timeout(session->m_wsi, PENDING_TIMEOUT_USER_OK, LWS_TO_KILL_ASYNC); // it keeps a place
        } else if (nowUs - session->m_sentUs >= kSecondUs) {
            session->m_client.Hear({"alive", R"({"type":"alive"})", 0, EAudience::All});
            lws_callback_on_writable(session->m_wsi);
        }
        for (const uint16_t camera : session->m_client.Cameras()) {
            Renew(camera); // one may have stalled
        }
    }
    return 0;
}

// What all clients together want of the camera.
void CServer::Renew(uint16_t camera) {
    Wishes wishes;
    for (const Session* const session : m_sessions) {
        session->m_client.AddWishes(camera, &wishes);
    }
    if (m_wanted[camera] != wishes) {
        m_wanted[camera] = wishes;
        m_stage.Want(camera, wishes);
    }
}

// One message each time that the socket takes one: what libwebsockets cannot send at once it keeps, and does not ask for
// more before that is gone.
int CServer::WriteNext(Session& session) {
    std::optional<CClient::Next> next = session.m_client.TakeNext();
    if (!next) {
        return 0;
    }
    session.m_sentUs = NowUs();
    int written = 0;
    if (next->m_packet != nullptr) {
        Packet& packet = *next->m_packet; // all clients' framing is the same
        written = lws_write(session.m_wsi, packet.data() + kHeadroomBytes, packet.size() - kHeadroomBytes,
                            LWS_WRITE_BINARY);
    } else {
        std::vector<unsigned char> text(LWS_PRE + next->m_text.size());
        std::memcpy(text.data() + LWS_PRE, next->m_text.data(), next->m_text.size());
        written = lws_write(session.m_wsi, text.data() + LWS_PRE, next->m_text.size(), LWS_WRITE_TEXT);
    }
    lws_callback_on_writable(session.m_wsi);
    return written < 0 ? -1 : 0;
}

} // namespace ox3d::viewer
