// The built server with a made-up stage: what it serves, whom it refuses, and that no client costs another anything.
#include "tests/support/Files.h"
#include "tests/support/ViewerWire.h"
#include "viewer/server/DepthPacker.h"

#include <atomic>
#include <dlfcn.h>
#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <mutex>
#include <sys/resource.h>
#include <thread>

namespace ox3d::viewer {
namespace {

using namespace ::testing;
using test::CWire;
using test::kAlive;

const std::string kToken = "0123456789abcdef";
std::atomic<bool> g_isOver{false};

// Cameras "A", one "late" that comes when m_isLateThere says so, and one "stuck" that answers when m_unstuck is set.
class CStage : public IStage {
public:
    void Attach(IAudience* audience) override { m_audience.store(audience); }
    Answer Serve(const Request& request) override {
        if (request.m_path == "/snapshot/big") {
            return {200, "text/plain", std::string(size_t{48} << 20U, 'x')};
        }
        if (request.m_query.contains("id") && request.m_query.at("id") == "stuck") {
            m_release.wait();
        }
        std::string query;
        for (const auto& [key, value] : request.m_query) {
            query.append(key).append("=").append(value).append(";");
        }
        return {200, "text/plain",
                request.m_method + " " + request.m_path + " " + query + " " + request.m_body};
    }
    std::optional<uint16_t> IndexOf(const std::string& camera) override {
        const bool isThere = camera == "A" || (camera == "late" && m_isLateThere.load());
        return isThere ? std::optional<uint16_t>(7) : std::nullopt;
    }
    void Want(uint16_t, const Wishes& wishes) override { m_clients.store(wishes.m_clients); }
    std::vector<Telling> Greeting(uint16_t) override { return {{"state A", "hello", 7, EAudience::All}}; }

    std::atomic<IAudience*> m_audience{nullptr};
    std::atomic<uint32_t> m_clients{0};
    std::atomic<bool> m_isLateThere{false};
    std::promise<void> m_unstuck;
    const std::shared_future<void> m_release{m_unstuck.get_future()};
};

class ViewerServer : public Test {
protected:
    void Begin(bool isReadOnly = false, unsigned idleSeconds = 10, const char* address = "127.0.0.1") {
        m_options.m_isReadOnly = isReadOnly;
        m_options.m_idleSeconds = idleSeconds;
        m_options.m_address = address;
        void* const module = dlopen(OX3D_VIEWER_MODULE, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(module, nullptr) << dlerror();
        const auto serve = reinterpret_cast<ServeFunction>(dlsym(module, kServeSymbol));
        ASSERT_NE(serve, nullptr);
        std::filesystem::create_directories(m_folder.Path() / "page");
        test::WriteFile(m_folder.File("page/index.html"), "<p>page");
        test::WriteFile(m_folder.File("secret"), "secret");
        m_options.m_port = 0;
        m_options.m_token = kToken;
        m_options.m_pageFolder = m_folder.File("page");
        m_options.m_maxAnswerBytes = size_t{64} << 20U;
        g_isOver.store(false);
        std::future<uint16_t> port = m_listening.get_future();
        m_thread = std::thread([this, serve] {
            std::string error;
            const auto onListening = [](uint16_t at, void* user) {
                static_cast<std::promise<uint16_t>*>(user)->set_value(at);
            };
            if (!serve(
                    m_options, m_stage, [] { return g_isOver.load(); }, onListening, &m_listening, &error)) {
                m_listening.set_value(0);
            }
        });
        m_port = port.get();
        ASSERT_NE(m_port, 0);
    }
    ~ViewerServer() override {
        g_isOver.store(true);
        if (m_thread.joinable()) {
            m_thread.join();
        }
    }
    // Empty where there is no answer.
    std::string Status(const std::string& line, const std::string& headers = "",
                       const std::string& body = "") const {
        const std::string answer = CWire(m_port).Ask(line, headers, body);
        return answer.substr(std::min<size_t>(9, answer.size()), 3);
    }
    std::unique_ptr<CWire> Look(const std::string& streams = R"("depth","stats")") const {
        auto wire = std::make_unique<CWire>(m_port);
        EXPECT_TRUE(wire->Upgrade("ox3d.v1, ox3d.token." + kToken));
        wire->SendFrame(R"({"type":"subscribe","camera":"A","streams":[)" + streams + "]}");
        EXPECT_THAT(wire->Message(), HasSubstr(R"("type":"subscribed","camera":"A","index":7)"));
        EXPECT_EQ(wire->Message(), "hello");
        return wire;
    }
    static void Acknowledge(CWire& wire, uint32_t number) {
        wire.SendFrame(R"({"type":"ack","camera":"A","stream":"depth","number":)" + std::to_string(number) +
                       "}");
    }
    std::weak_ptr<Packet> Publish(uint32_t number, size_t bytes = 100) {
        ImageHeader header;
        header.m_number = number;
        PacketPointer packet = MakePacket(header, std::vector<uint8_t>(bytes));
        std::weak_ptr<Packet> watched = packet;
        m_stage.m_audience.load()->Publish(7, EStream::Depth, std::move(packet));
        return watched;
    }

    test::CTempFolder m_folder;
    ServerOptions m_options;
    CStage m_stage;
    std::promise<uint16_t> m_listening;
    std::thread m_thread;
    uint16_t m_port = 0;
};

const std::string kBearer = "Authorization: Bearer " + kToken + "\r\n";

TEST_F(ViewerServer, ServesItsFilesAndNoOthers) {
    std::filesystem::create_directories(m_folder.Path() / "page");
    test::WriteFile(m_folder.File("page/.hidden"), "secret");
    std::filesystem::create_symlink(m_folder.File("secret"), m_folder.File("page/link.html"));
    Begin();
    test::WriteFile(m_folder.File("page/later.html"), "secret"); // what is served was read at the start
    const std::string page = CWire(m_port).Ask("GET /");
    EXPECT_THAT(page, StartsWith("HTTP/1.1 200"));
    EXPECT_THAT(page, EndsWith("<p>page"));
    EXPECT_THAT(page, HasSubstr("content-security-policy: default-src 'none'; script-src 'self'"));
    EXPECT_THAT(page, HasSubstr("referrer-policy: no-referrer"));
    EXPECT_THAT(CWire(m_port).Ask("GET /healthz"), EndsWith(R"({"status":"ok"})"));
    for (const char* const path : {"/secret", "/../secret", "/%2e%2e/secret", "/..%2fsecret", "//etc/passwd",
                                   "/index.html/", "/.hidden", "/link.html", "/later.html"}) {
        const std::string answer = CWire(m_port).Ask(std::string("GET ") + path);
        EXPECT_THAT(answer, Not(HasSubstr("\r\n\r\nsecret"))) << path;
        EXPECT_THAT(answer, Not(StartsWith("HTTP/1.1 200"))) << path;
    }
}

TEST_F(ViewerServer, HandsOnWhatIsAllowedAndRefusesTheRest) {
    Begin();
    EXPECT_THAT(CWire(m_port).Ask("PUT /api/features/Gain%20X?id=A%26B&q=1",
                                  kBearer + "Content-Length: 3\r\n", "{1}"),
                EndsWith("PUT /api/features/Gain X id=A&B;q=1; {1}"));
    const std::string body = "Content-Length: 2\r\n";
    const struct {
        std::string m_line;
        std::string m_headers;
        const char* m_status;
    } cases[] = {
        {"GET /api/cameras", kBearer, "200"},
        {"GET /api/cameras", "", "401"},
        {"GET /metrics", "Authorization: Bearer 0123456789abcdeX\r\n", "401"},
        {"GET /snapshot/depth.png", "Authorization: Basic " + kToken + "\r\n", "401"},
        {"GET /api/cameras", kBearer + "Host: evil.com\r\n", "403"},
        {"GET /", "Host: evil.com\r\n", "403"},
        {"POST /api/run/Stop", kBearer + body + "Origin: http://evil.com\r\n", "403"},
        {"POST /api/run/Stop",
         kBearer + body + "Origin: http://localhost:" + std::to_string(m_port) +
             "\r\nHost: localhost:" + std::to_string(m_port) + "\r\n",
         "200"},
        {"GET /api/cameras", kBearer + "Host: [::1]:" + std::to_string(m_port) + "\r\n", "200"},
        {"GET /api/cameras", kBearer + "Host: [::2]:" + std::to_string(m_port) + "\r\n", "403"},
        {"GET /api/cameras", kBearer + "Sec-Fetch-Site: cross-site\r\n", "403"},
        {"GET /api/cameras", kBearer + "Sec-Fetch-Site: same-site\r\n", "403"},
        {"GET /api/cameras", kBearer + "Sec-Fetch-Site: same-origin\r\n", "200"},
    };
    for (const auto& one : cases) {
        EXPECT_EQ(Status(one.m_line, one.m_headers, one.m_line[0] == 'P' ? "{}" : ""), one.m_status)
            << one.m_line << " " << one.m_headers;
    }
    EXPECT_FALSE(CWire(m_port).Upgrade("ox3d.v1"));
    EXPECT_FALSE(CWire(m_port).Upgrade("ox3d.v1, ox3d.token.0123456789abcdeX"));
    EXPECT_TRUE(CWire(m_port).Upgrade("ox3d.v1, ox3d.token." + kToken));
}

TEST_F(ViewerServer, ChangesNothingWhenItIsReadOnly) {
    Begin(true);
    EXPECT_EQ(Status("POST /api/run/Stop", kBearer + "Content-Length: 0\r\n"), "403");
    EXPECT_EQ(Status("PUT /api/features/Gain", kBearer + "Content-Length: 0\r\n"), "403");
    EXPECT_EQ(Status("GET /api/features", kBearer), "200");
    EXPECT_EQ(Status("POST /api/playback", kBearer + "Content-Length: 0\r\n"), "200");
}

TEST_F(ViewerServer, IsCalledByTheAddressThatAClientReachesItAt) {
    Begin(false, 10, "0.0.0.0");
    const std::string host = "Host: 127.0.0.3:" + std::to_string(m_port) + "\r\n";
    EXPECT_EQ(Status("GET /api/cameras", kBearer + host), "403"); // reached at 127.0.0.1
    EXPECT_EQ(Status("GET /api/cameras", kBearer), "200");
}

TEST_F(ViewerServer, SaysWhyItCannotListen) {
    Begin();
    const auto serve =
        reinterpret_cast<ServeFunction>(dlsym(dlopen(OX3D_VIEWER_MODULE, RTLD_NOW), kServeSymbol));
    CStage stage;
    const auto reasonOf = [&](const char* address) {
        ServerOptions options = m_options;
        options.m_address = address;
        options.m_port = m_port;
        std::string error;
        EXPECT_FALSE(serve(
            options, stage, [] { return true; }, [](uint16_t, void*) {}, nullptr, &error));
        return error;
    };
    EXPECT_THAT(reasonOf("127.0.0.1"), HasSubstr("--port takes another"));
    EXPECT_THAT(reasonOf("203.0.113.1"), HasSubstr("no such address"));
}

TEST_F(ViewerServer, ShowsACameraAsSoonAsItIsThere) {
    Begin();
    CWire wire(m_port);
    ASSERT_TRUE(wire.Upgrade("ox3d.v1, ox3d.token." + kToken));
    wire.SendFrame(R"({"type":"subscribe","camera":"late","streams":["depth"]})");
    EXPECT_THAT(wire.Message(), HasSubstr("no camera late"));
    EXPECT_EQ(wire.AnyMessage(), kAlive); // whoever has nothing to hear hears that
    m_stage.m_isLateThere.store(true);
    EXPECT_THAT(wire.Message(), HasSubstr(R"("type":"subscribed","camera":"late")"));
}

TEST_F(ViewerServer, AnswersWhileACameraHangs) {
    Begin(false, 60);
    std::vector<std::unique_ptr<CWire>> hanging;
    for (int i = 0; i < 10; ++i) { // two are served, eight wait
        hanging.push_back(std::make_unique<CWire>(m_port));
        hanging.back()->Send("GET /api/camera?id=stuck HTTP/1.1\r\nHost: localhost\r\n" + kBearer + "\r\n");
    }
    EXPECT_EQ(Status("GET /api/camera?id=A", kBearer), "200");
    EXPECT_EQ(Status("GET /metrics", kBearer), "200");
    m_stage.m_unstuck.set_value();
    for (const auto& wire : hanging) {
        EXPECT_THAT(wire->Head(), StartsWith("HTTP/1.1 200"));
    }
}

TEST_F(ViewerServer, HoldsNoMoreAnswersThanItHasRoomFor) {
    Begin(false, 60);
    CWire greedy(m_port);
    greedy.Send("GET /snapshot/big HTTP/1.1\r\nHost: localhost\r\n" + kBearer + "\r\n");
    EXPECT_THAT(greedy.Head(), StartsWith("HTTP/1.1 200")); // and reads no further
    EXPECT_EQ(Status("GET /snapshot/big", kBearer), "503");
    EXPECT_EQ(Status("GET /api/cameras", kBearer), "200");
}

TEST_F(ViewerServer, SendsOthersEveryImageWhileOneStalls) {
    Begin();
    const auto stalled = Look();
    const auto quick = Look();
    std::vector<std::weak_ptr<Packet>> packets;
    packets.reserve(100);
    for (uint32_t number = 1; number <= 100; ++number) {
        packets.push_back(Publish(number, 1000000));
        ASSERT_EQ(quick->Number(), number);
        Acknowledge(*quick, number);
    }
    const auto alive =
        std::count_if(packets.begin(), packets.end(), [](const auto& packet) { return !packet.expired(); });
    EXPECT_LE(alive, 3);                      // what waits for the one, and what is just sent
    const uint32_t first = stalled->Number(); // the newest when the server came round to it
    EXPECT_LT(first, 100U);
    Acknowledge(*stalled, first);
    EXPECT_EQ(stalled->Number(), 100U);
}

TEST_F(ViewerServer, OutlivesGarbageAndGreed) {
    Begin();
    const auto watcher = Look();
    const std::string longText(kMaxMessageBytes + 1, ' ');
    for (const std::string& text : {std::string("garbage"), std::string("{}"), longText}) {
        const auto wire = Look();
        wire->SendFrame(text);
        EXPECT_TRUE(wire->IsClosed()) << text.substr(0, 20);
    }
    for (const char firstByte : {'\x82', '\x83', '\xF1'}) { // binary, an unknown kind, reserved bits
        const auto wire = Look();
        wire->SendFrame("{}", firstByte);
        EXPECT_TRUE(wire->IsSentAway());
    }
    EXPECT_NE(Status("POST /api/run/X", kBearer + "Content-Length: 1000000\r\n", std::string(100000, 'x')),
              "200");
    CWire noise(m_port);
    noise.Send(std::string(3000, '\xFF') + "\r\n\r\n");
    EXPECT_TRUE(noise.IsClosed());
    rlimit files{};
    getrlimit(RLIMIT_NOFILE, &files); // of both sides
    files.rlim_cur = std::min<rlim_t>(files.rlim_max, 4096);
    setrlimit(RLIMIT_NOFILE, &files);
    std::vector<std::unique_ptr<CWire>> many;
    many.reserve(1000);
    for (int i = 0; i < 1000; ++i) {
        many.push_back(std::make_unique<CWire>(m_port));
    }
    Publish(1);
    EXPECT_EQ(watcher->Number(), 1U);
    EXPECT_THAT(CWire(m_port, "127.0.0.2").Ask("GET /healthz"), HasSubstr("ok")); // others have places left
    many.clear();
    while (CWire(m_port).Ask("GET /healthz").empty()) { // until those are gone
    }
}

TEST_F(ViewerServer, LeavesPlacesForClientsOfOtherAddresses) {
    Begin();
    std::vector<std::unique_ptr<CWire>> clients;
    const auto placesOf = [&](const char* address) {
        size_t accepted = 0;
        for (int i = 0; i < 20; ++i) {
            clients.push_back(std::make_unique<CWire>(m_port, address));
            accepted += clients.back()->Upgrade("ox3d.v1, ox3d.token." + kToken) ? 1 : 0;
            clients.back()->SendFrame(R"({"type":"subscribe","camera":"A","streams":[]})");
        }
        return accepted;
    };
    EXPECT_EQ(placesOf("127.0.0.1"), 16U);
    EXPECT_EQ(placesOf("127.0.0.2"), 16U);
    EXPECT_EQ(placesOf("127.0.0.3"), 0U);
}

TEST_F(ViewerServer, GivesUpAnswersThatAreNotMadeOrNotReadInTime) {
    m_options.m_answerSeconds = 1;
    m_options.m_leastBytesPerSecond = 1U << 30U;
    Begin(false, 60);
    CWire stuck(m_port);
    CWire slow(m_port);
    stuck.Send("GET /api/camera?id=stuck HTTP/1.1\r\nHost: localhost\r\n" + kBearer + "\r\n");
    slow.Send("GET /snapshot/big HTTP/1.1\r\nHost: localhost\r\n" + kBearer + "\r\n");
    EXPECT_THAT(slow.Head(), StartsWith("HTTP/1.1 200"));
    std::this_thread::sleep_for(std::chrono::milliseconds(1200)); // 45 more than the second are allowed
    EXPECT_EQ(stuck.Head(), "");
    EXPECT_LT(slow.Receive(size_t{48} << 20U).size(), size_t{48} << 20U);
    EXPECT_TRUE(slow.IsClosed());
    m_stage.m_unstuck.set_value();
    EXPECT_EQ(Status("GET /api/camera?id=A", kBearer), "200");
}

TEST_F(ViewerServer, RefusesRequestsThatComeTooFastAndNobodyElses) {
    m_options.m_requestsPerSecond = 2;
    Begin();
    const auto spend = [&](const std::string& line, const std::string& headers) {
        std::string status = "200";
        for (int i = 0; i < 100 && status == "200"; ++i) {
            status = Status(line, headers);
        }
        return status;
    };
    EXPECT_EQ(spend("GET /", ""), "429");
    EXPECT_THAT(CWire(m_port, "127.0.0.2").Ask("GET /"), StartsWith("HTTP/1.1 200"));
    EXPECT_EQ(Status("GET /api/cameras", kBearer), "200"); // files do not use up what the token allows
    EXPECT_EQ(spend("GET /api/cameras", kBearer), "429");
    std::string again;
    while ((again = Status("GET /")) == "429") { // half a second later
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    EXPECT_EQ(again, "200");
}

TEST_F(ViewerServer, WaitsForNoOneForEver) {
    m_options.m_pingSeconds = 1; // the least that libwebsockets counts, with the answer's
    m_options.m_goneSeconds = 2;
    Begin(false, 1);
    const auto halfOpen = Look(); // acknowledges nothing, as one whose host lost its power
    const auto quiet = Look();
    std::jthread pongs(
        [&] { EXPECT_EQ(quiet->Message(), "the end"); }); // until then it says nothing but that it is there
    const auto rude = Look();
    rude->SendFrame("{}", '\x83'); // and says nothing when it is sent away for that
    CWire silent(m_port);
    CWire mute(m_port);
    ASSERT_TRUE(mute.Upgrade("ox3d.v1, ox3d.token." + kToken));
    CWire slow(m_port);
    CWire endless(m_port);
    endless.Send("GET /healthz HTTP/1.1\r\nX: " + std::string(20000, 'x'));
    CWire bodyless(m_port);
    bodyless.Send("POST /api/run/X HTTP/1.1\r\nHost: localhost:" + std::to_string(m_port) + "\r\n" + kBearer +
                  "Content-Length: 10\r\n\r\n{");
    slow.Send("GET /healthz HTTP/1.1\r\nX: ");
    bool isSlowClosed = false;
    for (int i = 0; i < 600 && !isSlowClosed; ++i) { // a byte now and then keeps nothing open
        isSlowClosed = !slow.Send("x");
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    EXPECT_TRUE(isSlowClosed);
    EXPECT_TRUE(silent.IsClosed());
    EXPECT_TRUE(mute.IsClosed()); // it has subscribed to nothing
    EXPECT_TRUE(bodyless.IsClosed());
    EXPECT_TRUE(endless.IsClosed());
    EXPECT_TRUE(rude->IsClosed());
    EXPECT_TRUE(halfOpen->IsClosed());
    m_stage.m_audience.load()->Tell({"end", "the end", 7, EAudience::All});
    pongs.join();
}

} // namespace
} // namespace ox3d::viewer
