// ViewerScenario.cpp - ox3d view with ten clients, one of which stalls, while others misuse it. Rates are held as shares of
// what was encoded: the machine may be busy.
#include <array>
#include <atomic>
#include <cstdio>
#include <fstream>
#include <memory>
#include <thread>

#include "fuzz/session/Checks.h"
#include "fuzz/session/Scenarios.h"
#include "tests/support/Process.h"
#include "tests/support/ViewerWire.h"

namespace ox3d::session {
namespace {

using test::CProcess;
using test::CWire;

constexpr size_t kClients = 10;
constexpr size_t kStalled = 0; // of them
constexpr uint64_t kStallSeconds =
    30; // the server ends a client that answers no ping: another comes in its place
constexpr double kLeastOfRate = 0.9;
constexpr long kMaxGrowthKib = 16L << 10U; // from the second third to the last

uint16_t PortIn(const std::string& output) {
    const size_t at = output.rfind(':');
    return at == output.npos ? uint16_t{0}
                             : static_cast<uint16_t>(std::strtoul(&output[at + 1], nullptr, 10));
}

long MemoryKib(pid_t process) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    std::string word;
    long kib = 0;
    while (status >> word && word != "VmRSS:") {
    }
    status >> kib;
    return kib;
}

// Looks at depth and color, and says of each image that it has it, as the page does; while it stalls it reads nothing.
class CLooker {
public:
    explicit CLooker(uint16_t port) : m_wire(port) {
        if (!m_wire.Upgrade("ox3d.v1") ||
            !m_wire.SendFrame(R"({"type":"subscribe","camera":"SOAK","streams":["depth","color"]})")) {
            Complain("a client is not let in");
        }
        m_thread = std::thread([this] { Look(); });
    }
    ~CLooker() {
        m_isOver = true;
        m_thread.join();
    }
    CLooker(const CLooker&) = delete;
    CLooker& operator=(const CLooker&) = delete;

    uint64_t Images() const { return m_images; }
    void Stall() { m_isStalled = true; }

private:
    void Look() {
        while (!m_isOver) {
            if (m_isStalled) {
                std::this_thread::sleep_for(std::chrono::milliseconds(100));
                continue;
            }
            const std::string message = m_wire.AnyMessage();
            if (message == "closed") {
                Complain("a client is cut off");
                return;
            }
            if (message[0] == '{' || message.size() < viewer::kHeaderBytes) {
                continue;
            }
            uint32_t number = 0;
            for (size_t i = 8; i > 4; --i) {
                number = number << 8U | static_cast<uint8_t>(message[i - 1]);
            }
            const char* const stream = message[0] == 1 ? "depth" : "color";
            m_wire.SendFrame(std::string(R"({"type":"ack","camera":"SOAK","stream":")") + stream +
                             R"(","number":)" + std::to_string(number) + "}");
            ++m_images;
        }
    }

    CWire m_wire;
    std::atomic<bool> m_isOver{false};
    std::atomic<bool> m_isStalled{false};
    std::atomic<uint64_t> m_images{0};
    std::thread m_thread;
};

// Images of the stream that were made for clients, as /metrics tells.
uint64_t Encoded(uint16_t port) {
    const std::string text = CWire(port).Ask("GET /metrics");
    const std::string row = "\nox3d_encoded_frames_total{camera=\"SOAK\"} ";
    const size_t at = text.find(row);
    return at == text.npos ? 0 : std::strtoull(&text[at + row.size()], nullptr, 10);
}

// Those who mean no good, from an address of their own: the places of others are not theirs.
class CMisuse {
public:
    CMisuse(uint16_t port, bool isCheck) : m_port(port), m_connections(isCheck ? 300 : 1000) {
        m_thread = std::thread([this] { Misuse(); });
    }
    ~CMisuse() {
        m_isOver = true;
        m_thread.join();
    }
    CMisuse(const CMisuse&) = delete;
    CMisuse& operator=(const CMisuse&) = delete;
    uint64_t Connections() const { return m_count; }

private:
    static constexpr const char* kFrom = "127.0.0.2";
    static constexpr size_t kLetIn = 8; // at once: whoever may look shares the places with all others who may

    void Misuse() {
        std::mt19937 random(1);
        while (!m_isOver) {
            std::vector<std::unique_ptr<CWire>> open;
            for (size_t i = 0; i < m_connections && !m_isOver; ++i, ++m_count) {
                open.push_back(std::make_unique<CWire>(m_port, kFrom));
                switch (i % 4 == 2 && i >= 4 * kLetIn ? 0 : i % 4) {
                case 0: // says nothing, and stays
                    break;
                case 1: // a request that does not end
                    open.back()->Send("GET /healthz HTTP/1.1\r\nX: ");
                    break;
                case 2: // a client that is let in, and never heard of again
                    open.back()->Send("GET /ws HTTP/1.1\r\nHost: localhost:" + std::to_string(m_port) +
                                      "\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
                                      "Sec-WebSocket-Version: 13\r\nSec-WebSocket-Key: "
                                      "dGhlIHNhbXBsZSBub25jZQ==\r\nSec-WebSocket-Protocol: ox3d.v1\r\n\r\n");
                    break;
                default: { // frames of whatever bytes
                    std::string garbage(300, '\0');
                    for (char& byte : garbage) {
                        byte = static_cast<char>(random());
                    }
                    open.back()->Send(garbage);
                }
                }
            }
            for (int i = 0; i < 30 && !m_isOver; ++i) { // a byte now and then, for three seconds
                for (size_t k = 1; k < open.size(); k += 4) {
                    open[k]->Send("x");
                }
                std::this_thread::sleep_for(std::chrono::milliseconds(100));
            }
        }
    }

    const uint16_t m_port;
    const size_t m_connections;
    std::atomic<bool> m_isOver{false};
    std::atomic<uint64_t> m_count{0};
    std::thread m_thread;
};

struct Phase {
    std::array<double, kClients> m_share{}; // of the images encoded
    double m_perSecond = 0;                 // frames encoded
    long m_memoryKib = 0;                   // at most
};

Phase Watch(Run& run, uint64_t seconds, const CProcess& server, uint16_t port,
            std::vector<std::unique_ptr<CLooker>>& lookers, bool isOneStalled) {
    std::array<uint64_t, kClients> before{};
    for (size_t i = 0; i < kClients; ++i) {
        before[i] = lookers[i]->Images();
    }
    const uint64_t encoded = Encoded(port);
    const auto begin = std::chrono::steady_clock::now();
    const auto end = begin + std::chrono::seconds(seconds);
    Phase phase;
    while (std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::seconds(1));
        phase.m_memoryKib = std::max(phase.m_memoryKib, MemoryKib(server.Id()));
        if (isOneStalled && run.m_done % kStallSeconds == 0) {
            lookers[kStalled] = std::make_unique<CLooker>(port);
            lookers[kStalled]->Stall();
        }
        ++run.m_done;
    }
    const auto frames = static_cast<double>(Encoded(port) - encoded);
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
    phase.m_perSecond = frames / taken.count();
    for (size_t i = kStalled + 1; i < kClients; ++i) {
        phase.m_share[i] =
            frames == 0 ? 0 : static_cast<double>(lookers[i]->Images() - before[i]) / (2 * frames);
    }
    const auto [least, most] = std::minmax_element(phase.m_share.begin() + 1, phase.m_share.end());
    printf("%.1f frames encoded a second, clients had %.1f to %.1f %% of them; memory %ld "
           "MiB\n",
           phase.m_perSecond, 100 * *least, 100 * *most, phase.m_memoryKib >> 10U);
    fflush(stdout);
    return phase;
}

} // namespace

void RunViewer(Run& run) {
    const std::string cameras = std::filesystem::absolute("cameras.txt").string();
    std::ofstream(cameras) << "[camera]\nserial = SOAK\ncycle = 20\nfps = 15\nwidth = 640\nheight = 480\n";
    CProcess server({OX3D_VIEWER_TOOL, "view", "--port", "0"}, ".",
                    {"OX3D_PROVIDER=virtual", "OX3D_VIRTUAL_CAMERAS=" + cameras, "LD_LIBRARY_PATH="});
    if (!server.WaitForOutput("/\n")) {
        Complain("ox3d view does not begin: " + server.Output());
    }
    const uint16_t port = PortIn(server.Output());
    std::vector<std::unique_ptr<CLooker>> lookers;
    for (size_t i = 0; i < kClients; ++i) {
        lookers.push_back(std::make_unique<CLooker>(port));
    }
    if (!Eventually([&] { return lookers.back()->Images() > 20; })) {
        Complain("no images");
    }
    Phase first;
    Phase middle;
    Phase last;
    {
        const CMisuse misuse(port, run.m_count < 100);
        first = Watch(run, run.m_count / 3, server, port, lookers, false);
        lookers[kStalled]->Stall();
        middle = Watch(run, run.m_count / 3, server, port, lookers, true);
        last = Watch(run, run.m_count / 3, server, port, lookers, true);
        run.m_faults = misuse.Connections();
    }
    for (size_t i = 1; i < kClients; ++i) {
        for (const Phase& phase : {middle, last}) {
            if (phase.m_share[i] < kLeastOfRate * first.m_share[i]) {
                Complain("client " + std::to_string(i) + " has lost of its rate");
            }
        }
    }
    if (last.m_memoryKib > middle.m_memoryKib + kMaxGrowthKib) {
        Complain("the server grows by " + std::to_string(last.m_memoryKib - middle.m_memoryKib) + " KiB");
    }
    if (!CWire(port).Ask("GET /healthz").ends_with(R"({"status":"ok"})")) {
        Complain("the server has gone");
    }
    lookers.clear();
    server.Signal(SIGINT);
    const int code = server.Finish();
    if (code != 0 && code != 130) {
        Complain("ox3d view ended with " + std::to_string(code));
    }
}

} // namespace ox3d::session
