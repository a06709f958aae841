// HTTP.
#include "viewer/server/Server.h"

#include "base/ExceptionBarrier.h"
#include "viewer/server/HttpFields.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <sys/socket.h>
#include <unistd.h>

namespace ox3d::viewer {
namespace {

constexpr size_t kMaxBodyBytes = 65536;
constexpr size_t kMaxHeaderBytes = 4096;
constexpr size_t kPieceBytes = 65536;
constexpr size_t kMaxSendBytes = size_t{4} << 20U;
static_assert(LWS_PRE <= kHeadroomBytes, "packets have room for the framing");

CServer* ServerOf(lws* wsi) {
    return static_cast<CServer*>(lws_context_user(lws_get_context(wsi)));
}

// Nothing is thrown through the library's frames: a connection for which there is no memory ends.
template <typename Call>
int Guarded(Call&& call) {
    return ExceptionBarrier(call, [](const std::exception*) { return -1; });
}

extern "C" int OnHttpEvent(lws* wsi, lws_callback_reasons reason, void* user, void* in, size_t length) {
    return Guarded([&] { return ServerOf(wsi)->OnHttp(wsi, reason, static_cast<void**>(user), in, length); });
}

extern "C" int OnSocketEvent(lws* wsi, lws_callback_reasons reason, void* user, void* in, size_t length) {
    return Guarded(
        [&] { return ServerOf(wsi)->OnSocket(wsi, reason, static_cast<void**>(user), in, length); });
}

const lws_protocols kProtocols[] = {
    {"http", OnHttpEvent, sizeof(void*), kMaxMessageBytes, 0, nullptr, kMaxSendBytes},
    {kProtocol, OnSocketEvent, sizeof(void*), kMaxMessageBytes, 0, nullptr, kMaxSendBytes},
    {nullptr, nullptr, 0, 0, 0, nullptr, 0}};

// In every answer, those of the library's own included.
const lws_protocol_vhost_options kHeaders[] = {
    {&kHeaders[1], nullptr, "content-security-policy:",
     "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' blob:; connect-src 'self'; "
     "worker-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
    {&kHeaders[2], nullptr, "referrer-policy:", "no-referrer"},
    {&kHeaders[3], nullptr, "x-content-type-options:", "nosniff"},
    {&kHeaders[4], nullptr, "cross-origin-resource-policy:", "same-origin"},
    {&kHeaders[5], nullptr, "cross-origin-opener-policy:", "same-origin"},
    {nullptr, nullptr, "x-frame-options:", "DENY"}};

// Why a server cannot listen there, which libwebsockets does not tell; empty: it can.
std::string ReasonNotToListen(const std::string& address, uint16_t port) {
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_port = htons(port);
    const int probe = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int isReused = 1;
    setsockopt(probe, SOL_SOCKET, SO_REUSEADDR, &isReused,
               sizeof(isReused)); // of a server that has just ended
    const bool isFree = inet_pton(AF_INET, address.c_str(), &place.sin_addr) == 1 &&
                        bind(probe, reinterpret_cast<const sockaddr*>(&place), sizeof(place)) == 0;
    const int failure = errno;
    if (probe >= 0) {
        close(probe);
    }
    return isFree                     ? ""
           : failure == EADDRNOTAVAIL ? "this host has no such address"
           : failure == EACCES        ? "the system keeps that port; --port takes another"
                                      : "--port takes another, and 0 one that is free";
}

bool IsFile(const std::string& path) {
    return !path.starts_with("/api/") && !path.starts_with("/snapshot/") && path != "/metrics" &&
           path != "/ws";
}

} // namespace

uint64_t CServer::NowUs() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}

CServer::CServer(ServerOptions options, IStage& stage)
    : m_options(std::move(options)), m_stage(stage), m_files(ReadStaticFiles(m_options.m_pageFolder)),
      m_hosts(m_options.m_hosts), m_patience{nullptr, 0, 0, m_options.m_pingSeconds, m_options.m_goneSeconds,
                                             0},
      m_peers(m_options.m_requestsPerSecond), m_requests(m_options.m_requestsPerSecond) {
    m_hosts.push_back(m_options.m_address);
    m_hosts.emplace_back("localhost");
    m_hosts.emplace_back("127.0.0.1");
    m_hosts.emplace_back("[::1]"); // by way of a tunnel; no page's name leads there
}

CServer::~CServer() {
    m_stage.Attach(nullptr);
    m_workers.reset();
    if (m_context != nullptr) {
        lws_context_destroy(m_context);
    }
}

bool CServer::Listen(std::string* error) {
    const std::string where =
        "cannot listen on " + m_options.m_address + ":" + std::to_string(m_options.m_port) + "; ";
    if (const std::string reason = ReasonNotToListen(m_options.m_address, m_options.m_port);
        !reason.empty()) {
        *error = where + reason;
        return false;
    }
    lws_set_log_level(0, nullptr); // what it logs may hold what clients sent
    lws_context_creation_info info{};
    info.port = m_options.m_port;
    info.iface = m_options.m_address.c_str();
    info.protocols = kProtocols;
    info.headers = &kHeaders[0];
    info.server_string = "ox3d";
    info.user = this;
    info.gid = static_cast<gid_t>(-1);
    info.uid = static_cast<uid_t>(-1);
    info.options = LWS_SERVER_OPTION_DISABLE_IPV6 | LWS_SERVER_OPTION_FAIL_UPON_UNABLE_TO_BIND;
    info.max_http_header_data = kMaxHeaderBytes;
    info.max_http_header_pool = kMaxConnections;
    info.fd_limit_per_thread = kMaxConnections + 16;
    info.timeout_secs = m_options.m_idleSeconds;
    info.timeout_secs_ah_idle = m_options.m_idleSeconds;
    info.keepalive_timeout = static_cast<int>(m_options.m_idleSeconds);
    info.retry_and_idle_policy = &m_patience;
    m_context = lws_create_context(&info);
    lws_vhost* const host = m_context == nullptr ? nullptr : lws_get_vhost_by_name(m_context, "default");
    const int port = host == nullptr ? -1 : lws_get_vhost_listen_port(host);
    if (port <= 0) {
        *error = where + "libwebsockets does not start";
        return false;
    }
    m_port = static_cast<uint16_t>(port);
    const auto wake = [this] { lws_cancel_service(m_context); };
    m_mailbox = std::make_unique<CMailbox>(wake);
    m_workers = std::make_unique<CWorkers>(m_stage, wake);
    m_stage.Attach(m_mailbox.get());
    return true;
}

void CServer::Run(bool (*isOver)()) {
    struct Tick {
        lws_sorted_usec_list_t m_entry; // the first: what libwebsockets hands back
        lws_context* m_context;
    };
    constexpr lws_usec_t kTickUs = 100000; // Ctrl-C is answered soon
    Tick tick{{}, m_context};
    const auto again = [](lws_sorted_usec_list_t* entry) {
        auto* const self = reinterpret_cast<Tick*>(entry);
        lws_sul_schedule(self->m_context, 0, entry, entry->cb, kTickUs);
    };
    lws_sul_schedule(m_context, 0, &tick.m_entry, again, kTickUs);
    uint64_t nextUs = NowUs() + kSecondUs;
    while (!isOver() && lws_service(m_context, 0) >= 0) {
        if (NowUs() >= nextUs) {
            nextUs = NowUs() + kSecondUs;
            Guarded([this] { return EachSecond(); });
        }
    }
    lws_sul_cancel(&tick.m_entry);
}

// What stands in the way of a request; 0: nothing.
unsigned CServer::Refusal(lws* wsi, const std::string& path, bool isSocket, std::string* why) {
    const std::string host = HeaderOf(wsi, WSI_TOKEN_HOST);
    const std::string own =
        LocalAddressOf(lws_get_socket_fd(wsi)); // no name that a page could make lead here
    if (!IsHostAllowed(host, m_hosts, m_port) && !IsHostAllowed(host, {&own, 1}, m_port)) {
        *why = "this is no name of the server; --host NAME allows one";
        return HTTP_STATUS_FORBIDDEN;
    }
    if (!IsOriginAllowed(HeaderOf(wsi, WSI_TOKEN_ORIGIN), host) ||
        (!IsFile(path) && !IsSiteAllowed(HeaderNamed(wsi, "sec-fetch-site:")))) {
        *why = "a page of another origin asks";
        return HTTP_STATUS_FORBIDDEN;
    }
    if (m_options.m_token.empty() || (IsFile(path) && !isSocket)) {
        return 0;
    }
    const bool isKnown = isSocket ? HasTokenProtocol(HeaderOf(wsi, WSI_TOKEN_PROTOCOL), m_options.m_token)
                                  : IsBearer(HeaderOf(wsi, WSI_TOKEN_HTTP_AUTHORIZATION), m_options.m_token);
    *why = "the token is missing or wrong; the address that ox3d view printed has it";
    return isKnown ? 0 : HTTP_STATUS_UNAUTHORIZED;
}

int CServer::OnHttp(lws* wsi, lws_callback_reasons reason, void** session, void* in, size_t length) {
    switch (reason) {
    case LWS_CALLBACK_EVENT_WAIT_CANCELLED:
        Deliver();
        return 0;
    case LWS_CALLBACK_FILTER_NETWORK_CONNECTION:
        return m_peers.MayConnect(PeerAddressOf(static_cast<lws_sockfd_type>(reinterpret_cast<intptr_t>(in))))
                   ? 0
                   : -1;
    case LWS_CALLBACK_SERVER_NEW_CLIENT_INSTANTIATED:
        m_peers.Connected(wsi, PeerAddressOf(lws_get_socket_fd(wsi)));
        return 0;
    case LWS_CALLBACK_WSI_DESTROY:
        m_peers.Disconnected(wsi);
        return 0;
    case LWS_CALLBACK_HTTP:
        return BeginRequest(wsi, session, std::string(static_cast<const char*>(in), length));
    case LWS_CALLBACK_HTTP_BODY:
        return *session == nullptr ? -1 : ReadBody(*static_cast<Exchange*>(*session), in, length);
    case LWS_CALLBACK_HTTP_BODY_COMPLETION:
        return *session == nullptr ? -1 : FinishRequest(*static_cast<Exchange*>(*session));
    case LWS_CALLBACK_HTTP_WRITEABLE:
        return session == nullptr || *session == nullptr ? 0 : WriteReply(*static_cast<Exchange*>(*session));
    case LWS_CALLBACK_HTTP_DROP_PROTOCOL:
    case LWS_CALLBACK_CLOSED_HTTP:
        EndExchange(session);
        return 0;
    case LWS_CALLBACK_HTTP_CONFIRM_UPGRADE: {
        std::string why;
        const unsigned status = Refusal(wsi, "/ws", true, &why);
        if (status == 0) {
            return 0;
        }
        lws_return_http_status(wsi, status, nullptr);
        return 1;
    }
    default:
        return 0;
    }
}

// Who has no token spends of its own address's; nobody without one keeps out who has.
bool CServer::TakeOfAllowance(lws* wsi, const std::string& path) {
    CAllowance* const ofPeer = IsFile(path) ? m_peers.AllowanceOf(wsi) : nullptr;
    return (ofPeer == nullptr ? m_requests : *ofPeer).Take(NowUs());
}

void CServer::EndExchange(void** session) {
    if (session != nullptr && *session != nullptr) {
        auto* const exchange = static_cast<Exchange*>(*session);
        m_exchanges.erase(exchange->m_ticket);
        m_heldBytes -= exchange->m_heldBytes;
        delete exchange;
        *session = nullptr;
    }
}

int CServer::BeginRequest(lws* wsi, void** session, const std::string& path) {
    EndExchange(session);
    auto exchange = std::make_unique<Exchange>();
    exchange->m_wsi = wsi;
    exchange->m_ticket = ++m_tickets;
    exchange->m_request = {MethodOf(wsi), path, QueryOf(wsi), {}};
    Exchange& begun = *exchange;
    *session = exchange.release();
    std::string why;
    Request& request = begun.m_request;
    begun.m_isHead = request.m_method == "HEAD";
    request.m_method = begun.m_isHead ? "GET" : request.m_method;
    if (const unsigned status = Refusal(wsi, path, false, &why); status != 0) {
        return Reply(begun, status, why);
    }
    if (request.m_method != "GET" && request.m_method != "PUT" && request.m_method != "POST") {
        return Reply(begun, HTTP_STATUS_METHOD_NOT_ALLOWED, "no such method");
    }
    if (request.m_method != "GET" && m_options.m_isReadOnly && path != "/api/playback") {
        return Reply(begun, HTTP_STATUS_FORBIDDEN, "the server was started with --read-only");
    }
    if (!TakeOfAllowance(wsi, path)) {
        constexpr unsigned kTooMany = 429;
        return Reply(begun, kTooMany, "too many requests");
    }
    if (request.m_method != "GET" && lws_hdr_total_length(wsi, WSI_TOKEN_HTTP_CONTENT_LENGTH) > 0 &&
        HeaderOf(wsi, WSI_TOKEN_HTTP_CONTENT_LENGTH) != "0") {
        return 0; // its body comes first
    }
    return FinishRequest(begun);
}

int CServer::ReadBody(Exchange& exchange, const void* in, size_t length) {
    std::string& body = exchange.m_request.m_body;
    if (body.size() + length > kMaxBodyBytes) {
        return -1;
    }
    body.append(static_cast<const char*>(in), length);
    return 0;
}

int CServer::FinishRequest(Exchange& exchange) {
    if (exchange.m_isAnswered) {
        return 0; // refused, and its body came all the same
    }
    const std::string& path = exchange.m_request.m_path;
    if (path == "/healthz") {
        exchange.m_answer.m_body = R"({"status":"ok"})";
    } else if (IsFile(path)) {
        const auto file = m_files.find(path);
        if (file == m_files.end() || exchange.m_request.m_method != "GET") {
            return Reply(exchange, HTTP_STATUS_NOT_FOUND,
                         m_files.empty() && path == "/" ? "the page is not installed" : "no such file");
        }
        exchange.m_file = file->second;
    } else if (path == "/metrics" || path == "/api/server") {
        exchange.m_answer = m_workers->ServeOne(exchange.m_request); // neither waits for a camera
    } else {
        if (!m_workers->Add(exchange.m_ticket, exchange.m_request)) {
            return Reply(exchange, HTTP_STATUS_SERVICE_UNAVAILABLE, "too many requests wait");
        }
        m_exchanges[exchange.m_ticket] = &exchange;
        lws_set_timeout(exchange.m_wsi, PENDING_TIMEOUT_HTTP_CONTENT,
                        static_cast<int>(m_options.m_answerSeconds));
        return 0;
    }
    exchange.m_isAnswered = true;
    lws_callback_on_writable(exchange.m_wsi);
    return 0;
}

int CServer::Reply(Exchange& exchange, unsigned status, const std::string& sentence) {
    exchange.m_answer = {status, "application/json", ErrorText(sentence)};
    exchange.m_isAnswered = true;
    lws_callback_on_writable(exchange.m_wsi);
    return 0;
}

bool CServer::WriteHeaders(Exchange& exchange) {
    unsigned char room[LWS_PRE + 2048];
    unsigned char* const begin = room + LWS_PRE;
    unsigned char* at = begin;
    unsigned char* const end = room + sizeof(room) - 1;
    const auto add = [&](const char* name, const char* value) {
        return lws_add_http_header_by_name(exchange.m_wsi, reinterpret_cast<const unsigned char*>(name),
                                           reinterpret_cast<const unsigned char*>(value),
                                           static_cast<int>(std::strlen(value)), &at, end) == 0;
    };
    exchange.m_areHeadersSent = true;
    return lws_add_http_common_headers(exchange.m_wsi, exchange.m_answer.m_status, exchange.Type().c_str(),
                                       exchange.Body().size(), &at, end) == 0 &&
           add("cache-control:", exchange.m_file ? "no-cache" : "no-store") &&
           lws_finalize_write_http_header(exchange.m_wsi, begin, &at, end) == 0;
}

// One piece each time that the socket takes one.
int CServer::WriteReply(Exchange& exchange) {
    if (!exchange.m_isAnswered) {
        return 0;
    }
    if (!exchange.m_areHeadersSent) {
        if (!WriteHeaders(exchange)) {
            return -1;
        }
        lws_callback_on_writable(exchange.m_wsi);
        exchange.m_deadlineUs = NowUs() + m_options.m_answerSeconds * kSecondUs +
                                exchange.Body().size() * kSecondUs / m_options.m_leastBytesPerSecond;
        return exchange.m_isHead || exchange.Body().empty() ? -1 : 0;
    }
    if (NowUs() > exchange.m_deadlineUs) {
        return -1;
    }
    const std::string& body = exchange.Body();
    const size_t length = std::min(kPieceBytes, body.size() - exchange.m_sentBytes);
    std::vector<unsigned char> piece(LWS_PRE + length);
    std::memcpy(piece.data() + LWS_PRE, body.data() + exchange.m_sentBytes, length);
    exchange.m_sentBytes += length;
    const bool isLast = exchange.m_sentBytes == body.size();
    if (lws_write(exchange.m_wsi, piece.data() + LWS_PRE, length,
                  isLast ? LWS_WRITE_HTTP_FINAL : LWS_WRITE_HTTP) < 0) {
        return -1;
    }
    if (!isLast) {
        lws_set_timeout(exchange.m_wsi, PENDING_TIMEOUT_HTTP_CONTENT,
                        static_cast<int>(m_options.m_idleSeconds));
        lws_callback_on_writable(exchange.m_wsi);
        return 0;
    }
    return lws_http_transaction_completed(exchange.m_wsi);
}

// What cameras and workers have brought meanwhile.
void CServer::Deliver() {
    const auto [packets, texts] =
        m_mailbox == nullptr ? std::pair<CMailbox::Packets, CMailbox::Texts>() : m_mailbox->TakeAll();
    const uint64_t nowUs = NowUs();
    for (Session* const session : m_sessions) {
        if (texts.contains("cameras")) {
            ShowAwaited(*session);
        }
        bool hasNews = false;
        for (const auto& [key, telling] : texts) {
            hasNews = session->m_client.Hear(telling) || hasNews;
        }
        for (const auto& [place, packet] : packets) {
            hasNews = session->m_client.Offer(place.first, place.second, packet, nowUs) || hasNews;
        }
        if (hasNews) {
            lws_callback_on_writable(session->m_wsi);
        }
    }
    for (CWorkers::Done& done :
         m_workers == nullptr ? std::vector<CWorkers::Done>() : m_workers->TakeDone()) {
        if (const auto found = m_exchanges.find(done.m_ticket); found != m_exchanges.end()) {
            Exchange& exchange = *found->second;
            m_exchanges.erase(found);
            Answered(exchange, std::move(done.m_answer));
        }
    }
}

// Whoever asks for much and reads none of it takes no more memory than that.
void CServer::Answered(Exchange& exchange, Answer answer) {
    if (m_heldBytes + answer.m_body.size() > m_options.m_maxAnswerBytes) {
        Reply(exchange, HTTP_STATUS_SERVICE_UNAVAILABLE,
              "answers that nobody reads take all memory there is for them");
        return;
    }
    exchange.m_heldBytes = answer.m_body.size();
    m_heldBytes += exchange.m_heldBytes;
    exchange.m_answer = std::move(answer);
    exchange.m_isAnswered = true;
    lws_callback_on_writable(exchange.m_wsi);
}

} // namespace ox3d::viewer

extern "C" __attribute__((visibility("default"))) bool
Ox3dViewerServe(const ox3d::viewer::ServerOptions& options, ox3d::viewer::IStage& stage, bool (*isOver)(),
                void (*onListening)(uint16_t port, void* user), void* user, std::string* error) {
    ox3d::viewer::CServer server(options, stage);
    if (!server.Listen(error)) {
        return false;
    }
    onListening(server.Port(), user);
    server.Run(isOver);
    return true;
}
