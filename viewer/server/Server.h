// Server.h - HTTP and WebSocket for the viewer over libwebsockets: one thread serves all clients and never waits for one of
// them, nor for a camera. What a request is allowed to is decided here.
#ifndef OX3D_VIEWER_SERVER_H
#define OX3D_VIEWER_SERVER_H

#include "viewer/server/Client.h"
#include "viewer/server/Mailbox.h"
#include "viewer/server/Peers.h"
#include "viewer/server/StaticFiles.h"
#include "viewer/server/Workers.h"

#include <libwebsockets.h>
#include <set>

namespace ox3d::viewer {

class CServer {
public:
    CServer(ServerOptions options, IStage& stage);
    ~CServer();
    CServer(const CServer&) = delete;
    CServer& operator=(const CServer&) = delete;

    // False with a reason when it cannot listen.
    bool Listen(std::string* error);
    uint16_t Port() const { return m_port; }
    void Run(bool (*isOver)());

    // Of libwebsockets: what happens to a connection. Non-zero ends it.
    int OnHttp(lws* wsi, lws_callback_reasons reason, void** session, void* in, size_t length);
    int OnSocket(lws* wsi, lws_callback_reasons reason, void** session, void* in, size_t length);

private:
    static constexpr uint64_t kSecondUs = 1000000;

    // An HTTP request and its answer.
    struct Exchange {
        lws* m_wsi = nullptr;
        uint64_t m_ticket = 0;
        Request m_request;
        bool m_isHead = false;
        bool m_isAnswered = false;
        bool m_areHeadersSent = false;
        Answer m_answer;                          // unless
        std::shared_ptr<const StaticFile> m_file; // is what is asked for
        size_t m_sentBytes = 0;
        size_t m_heldBytes = 0;    // of m_heldBytes of all
        uint64_t m_deadlineUs = 0; // when it has to be read
        const std::string& Body() const { return m_file ? m_file->m_bytes : m_answer.m_body; }
        const std::string& Type() const { return m_file ? m_file->m_type : m_answer.m_type; }
    };
    // A WebSocket client.
    struct Session {
        lws* m_wsi = nullptr;
        std::string m_address;
        CClient m_client;
        CAllowance m_messages{500};
        std::string m_message; // as far as it has come
        uint64_t m_begunUs = 0;
        uint64_t m_sentUs = 0; // when it was sent something
        bool m_hasSubscribed = false;
        std::map<std::string, Subscribe> m_awaited; // cameras that are not there yet
    };

    static uint64_t NowUs();

    bool TakeOfAllowance(lws* wsi, const std::string& path);
    unsigned Refusal(lws* wsi, const std::string& path, bool isSocket, std::string* why);
    int BeginRequest(lws* wsi, void** session, const std::string& path);
    int ReadBody(Exchange& exchange, const void* in, size_t length);
    int FinishRequest(Exchange& exchange);
    int Reply(Exchange& exchange, unsigned status, const std::string& sentence);
    int WriteReply(Exchange& exchange);
    bool WriteHeaders(Exchange& exchange);
    void Answered(Exchange& exchange, Answer answer);
    void EndExchange(void** session);

    bool HasPlace(const std::string& address) const;
    int OnMessage(Session& session, const char* text, size_t length, bool isFinal);
    void OnClientMessage(Session& session, const ClientMessage& message);
    void OnSubscribe(Session& session, const Subscribe& wish);
    void Show(Session& session, const Subscribe& wish, uint16_t camera);
    void ShowAwaited(Session& session);
    int EachSecond();
    int WriteNext(Session& session);
    void Renew(uint16_t camera);
    void Deliver();

    const ServerOptions m_options;
    IStage& m_stage;
    const StaticFiles m_files;
    std::vector<std::string> m_hosts;
    const lws_retry_bo_t m_patience;
    uint16_t m_port = 0;
    lws_context* m_context = nullptr;
    std::unique_ptr<CMailbox> m_mailbox;
    std::unique_ptr<CWorkers> m_workers;
    std::map<uint64_t, Exchange*> m_exchanges; // those that a worker has
    uint64_t m_tickets = 0;
    std::set<Session*> m_sessions;
    std::map<uint16_t, Wishes> m_wanted; // as the stage was told
    size_t m_heldBytes = 0;              // of answers that are not read yet
    CPeers m_peers;
    CAllowance m_requests; // of all that are allowed more than files
};

} // namespace ox3d::viewer

#endif
