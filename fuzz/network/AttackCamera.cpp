// AttackCamera.cpp - attack_camera [SEED [SCALE [NAME]]]: a network camera and a client that streams from it live through
// hostile packets, other applications, silence and sudden death. One line for each scenario; 1 when one has failed.
//
// Relies on a network of its own (scripts/private-network.sh). SCALE 1 sends 10,000 packets in each scenario of
// packets, SCALE 100 a million. A SCALE of 0 is a short round for every day. NAME is a part of the names of the scenarios to run.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <malloc.h>
#include <memory>
#include <string>
#include <unistd.h>

#include "base/UdpSocket.h"
#include "fuzz/network/CameraClient.h"
#include "fuzz/network/Datagrams.h"
#include "gigevision/Gvcp.h"
#include "gigevision/Registers.h"
#include "tests/support/OpenThings.h"
#include "tests/support/Process.h"

namespace ox3d::attack {
namespace {

using std::chrono::seconds;

constexpr uint32_t kCameraIp = 0x7F000001;
constexpr uint32_t kForeignIp = 0x7F000063;
constexpr Endpoint kCamera{kCameraIp, gige::kGvcpPort};
constexpr milliseconds kPatience = seconds(20);
constexpr int64_t kMaxGrowthKib = 4096; // image nodes that a busy machine needs are among it
constexpr milliseconds kMaxFetchDelay = seconds(1);
constexpr uint32_t kHeartbeatMs = 500;

struct Scale {
    uint64_t m_packets;
    int m_rounds; // of what takes about a second each
    bool m_isShort;
};

// Without what this process's own heap keeps for later.
int64_t ResidentKib(pid_t process) {
    malloc_trim(0);
    std::ifstream file("/proc/" + std::to_string(process) + "/statm");
    int64_t pages = 0;
    file >> pages >> pages;
    return pages * (sysconf(_SC_PAGESIZE) / 1024);
}

// The camera, which may be killed and started again, and the client. Each complaint makes the scenario fail.
class CStage {
public:
    explicit CStage(uint32_t seed) : m_dice(seed) { Plug(); }

    void Plug() {
        m_camera.reset();
        const std::string camera = "serial=TARGET,fps=30,cycle=" + std::to_string(kCycle);
        m_camera = std::make_unique<test::CProcess>(
            std::vector<std::string>{OX3D_VIRTUAL_CAMERA, "--camera", camera}, ".");
        Expect(m_camera->WaitForOutput("\nready\n"), "the camera does not start");
    }
    void Expect(bool isTrue, const std::string& complaint) {
        m_complaint += isTrue || !m_complaint.empty() ? "" : complaint;
    }
    void Begin(bool hasPacketSocket) {
        Expect(m_client.Begin(hasPacketSocket, kPatience), "the client gets no frame from the camera");
    }
    void End() { Expect(m_client.End(), "stopping and closing take too long"); }

    // A valid command, until it is answered: what was sent before it has been read by then.
    void AwaitCamera(const CUdpSocket& socket) {
        m_requestId = m_requestId == UINT16_MAX ? 1 : static_cast<uint16_t>(m_requestId + 1);
        gige::Bytes address(4);
        gige::Put32(address.data(), gige::reg::kControlPrivilege);
        Expect(Command(socket, gige::EGvcpCommand::ReadReg, address), "the camera does not answer");
    }
    // False without an answer that says success.
    bool Command(const CUdpSocket& socket, gige::EGvcpCommand command, const gige::Bytes& payload) {
        const gige::Bytes datagram = gige::GvcpDatagram(uint32_t{gige::kCommandKey} << 8 | gige::kAckRequired,
                                                        static_cast<uint32_t>(command), m_requestId, payload);
        for (int tries = 0; tries < 20; ++tries) {
            socket.Send(datagram, kCamera);
            const auto until = std::chrono::steady_clock::now() + milliseconds(250);
            while (socket.WaitForDatagram(until)) {
                std::array<uint8_t, 2048> answer{};
                Endpoint from;
                const size_t length = socket.Receive(answer, &from).value_or(0);
                if (length >= gige::kGvcpHeaderBytes && gige::Get16(answer.data() + 6) == m_requestId &&
                    gige::Get16(answer.data() + 2) == gige::AckCode(command)) {
                    return gige::Get16(answer.data()) == 0;
                }
            }
        }
        return false;
    }
    bool Write(const CUdpSocket& socket, uint32_t address, uint32_t value) {
        gige::Bytes payload(8);
        gige::Put32(payload.data(), address);
        gige::Put32(payload.data() + 4, value);
        ++m_requestId;
        return Command(socket, gige::EGvcpCommand::WriteReg, payload);
    }
    CUdpSocket Socket(uint32_t ip) {
        CUdpSocket socket;
        Expect(socket.Open({ip, 0}), "no socket");
        return socket;
    }
    // Memory must not grow after the first tenth of what is done so many times.
    template <typename TStep>
    void Repeat(uint64_t times, TStep step) {
        for (uint64_t i = 0; i < times && m_complaint.empty(); ++i) {
            if (i == times / 10) {
                m_cameraKib = ResidentKib(m_camera->Id());
                m_clientKib = ResidentKib(getpid());
            }
            step(i);
        }
        m_cameraKib = ResidentKib(m_camera->Id()) - m_cameraKib;
        m_clientKib = ResidentKib(getpid()) - m_clientKib;
        Expect(kSanitized || std::max(m_cameraKib, m_clientKib) <= kMaxGrowthKib, "memory grows");
    }
    // Ends a scenario: its line, and whether it went well.
    bool Report(const char* name, uint64_t count) {
        Expect(m_client.Forged() == 0, std::to_string(m_client.Forged()) + " frames were not the camera's");
        Expect(m_client.LatestFetch() <= kMaxFetchDelay, "a fetch took too long");
        std::printf(
            "%-28s %9llu times, %6llu genuine frames, memory camera %+lld KiB, client %+lld KiB: %s\n", name,
            static_cast<unsigned long long>(count),
            static_cast<unsigned long long>(m_client.Frames() - m_framesBefore),
            static_cast<long long>(m_cameraKib), static_cast<long long>(m_clientKib),
            m_complaint.empty() ? "ok" : m_complaint.c_str());
        std::fflush(stdout);
        const bool isGood = m_complaint.empty();
        m_complaint.clear();
        m_framesBefore = m_client.Frames();
        m_cameraKib = m_clientKib = 0;
        return isGood;
    }

    Dice m_dice;
    CCameraClient m_client;
    std::unique_ptr<test::CProcess> m_camera;

private:
    std::string m_complaint; // the first
    uint16_t m_requestId = 0;
    uint64_t m_framesBefore = 0;
    int64_t m_cameraKib = 0;
    int64_t m_clientKib = 0;
};

// ---- Scenarios ----

uint64_t ControlPackets(CStage& stage, const Scale& scale) {
    stage.Begin(true);
    const CUdpSocket neighbour = stage.Socket(kCameraIp); // of the client's address
    const CUdpSocket stranger = stage.Socket(kForeignIp);
    const CUdpSocket asker = stage.Socket(kForeignIp); // gets no answer to what the others send
    stage.Repeat(scale.m_packets, [&](uint64_t i) {
        (stage.m_dice() % 2 == 0 ? neighbour : stranger).Send(ControlDatagram(stage.m_dice), kCamera);
        if (i % 64 == 63) { // no more than the camera's socket holds
            stage.AwaitCamera(asker);
        }
    });
    stage.Expect(stage.m_client.Losses() == 0, "the client has lost the camera");
    stage.Expect(stage.m_client.HasNextFrame(kPatience), "no next frame");
    stage.End();
    return scale.m_packets;
}

uint64_t StreamPackets(CStage& stage, const Scale& scale, bool hasPacketSocket) {
    stage.Begin(hasPacketSocket);
    const CUdpSocket stranger = stage.Socket(kForeignIp);
    const Endpoint port = stage.m_client.StreamPort();
    stage.Repeat(scale.m_packets, [&](uint64_t i) {
        stranger.Send(StreamDatagram(stage.m_dice), port);
        if (i % 1000 == 999) {
            stage.Expect(stage.m_client.HasNextFrame(kPatience), "no frame meanwhile");
        }
    });
    stage.Expect(stage.m_client.Losses() == 0, "the client has lost the camera");
    stage.End();
    return scale.m_packets;
}

uint64_t SecondClient(CStage& stage, const Scale& scale) {
    stage.Begin(true);
    const CUdpSocket second = stage.Socket(kCameraIp);
    const auto rounds = static_cast<uint64_t>(scale.m_rounds) * 10;
    stage.Repeat(rounds, [&](uint64_t) {
        stage.Expect(stage.m_client.OpenBeside(OX_CC_ACCESS_CONTROL) != 0, "two have control");
        stage.Expect(stage.m_client.OpenBeside(OX_CC_ACCESS_MONITOR) == 0, "another may not look");
        stage.Expect(!stage.Write(second, gige::reg::kControlPrivilege, gige::kControlAccess),
                     "two have control");
        stage.Expect(!stage.Write(second, gige::reg::kStreamPort, 1), "another may write");
    });
    stage.Expect(stage.m_client.Losses() == 0, "the client has lost the camera");
    stage.Expect(stage.m_client.HasNextFrame(kPatience), "no next frame");
    stage.End();
    return rounds;
}

// An application takes control and the stream, and is heard of no more.
uint64_t Heartbeats(CStage& stage, const Scale& scale) {
    stage.Repeat(static_cast<uint64_t>(scale.m_rounds), [&](uint64_t) {
        const CUdpSocket dying = stage.Socket(kCameraIp);
        for (const auto& [address, value] : {std::pair(gige::reg::kControlPrivilege, gige::kControlAccess),
                                             std::pair(gige::reg::kHeartbeatTimeout, kHeartbeatMs),
                                             std::pair(gige::reg::kStreamAddress, kCameraIp),
                                             std::pair(gige::reg::kStreamPort, uint32_t{dying.Port()})}) {
            stage.Expect(stage.Write(dying, address, value), "control cannot be taken");
        }
        stage.Begin(true);
        stage.End();
    });
    stage.Plug(); // the short time-out goes
    return static_cast<uint64_t>(scale.m_rounds);
}

// Streams again, after opening again where the camera was lost.
void Recover(CStage& stage, bool isLost) {
    if (isLost) {
        stage.Expect(stage.m_client.Losses() == 1, "the loss is told more than once");
        stage.End();
        stage.Begin(true);
    }
    stage.Expect(stage.m_client.HasNextFrame(kPatience), "no next frame");
}

uint64_t Pauses(CStage& stage, const Scale& scale) {
    uint64_t pauses = 0;
    for (const int length : {1, 3, 10}) {
        if (scale.m_isShort && length > 1) {
            break;
        }
        ++pauses;
        stage.Begin(true);
        stage.m_camera->Signal(SIGSTOP);
        std::this_thread::sleep_for(seconds(length));
        stage.m_camera->Signal(SIGCONT);
        const bool isLost = stage.m_client.WaitForLoss(seconds(1));
        stage.Expect(!isLost || length > 1, "a short pause is taken for a loss");
        stage.Expect(isLost || length < 10, "a long pause is not noticed");
        Recover(stage, isLost);
        stage.End();
    }
    return pauses;
}

uint64_t Deaths(CStage& stage, const Scale& scale) {
    stage.Begin(true);
    for (int i = 0; i < scale.m_rounds; ++i) {
        stage.m_camera->Signal(SIGKILL);
        stage.Expect(stage.m_client.WaitForLoss(seconds(7)), "the loss is not told");
        stage.Plug();
        Recover(stage, true);
    }
    stage.End();
    return static_cast<uint64_t>(scale.m_rounds);
}

struct Scenario {
    const char* m_name;
    uint64_t (*m_run)(CStage& stage, const Scale& scale); // gives how often it did what it does
};

constexpr Scenario kScenarios[] = {
    {"control packets", &ControlPackets},
    {"stream packets, UDP", [](CStage& stage, const Scale& s) { return StreamPackets(stage, s, false); }},
    {"stream packets, packet socket",
     [](CStage& stage, const Scale& s) { return StreamPackets(stage, s, true); }},
    {"a second client", &SecondClient},
    {"heartbeats that end", &Heartbeats},
    {"pauses", &Pauses},
    {"deaths", &Deaths},
};

int Run(uint32_t seed, uint64_t factor, const std::string& wanted) {
    Scale scale{10000 * factor, static_cast<int>(std::min<uint64_t>(2 * factor, 20)), false};
    if (factor == 0) {
        scale = {2000, 1, true};
    }
    CStage stage(seed);
    bool isGood = true;
    for (const Scenario& scenario : kScenarios) {
        if (std::string(scenario.m_name).find(wanted) != std::string::npos) {
            const uint64_t count = scenario.m_run(stage, scale);
            isGood = stage.Report(scenario.m_name, count) && isGood;
        }
    }
    return isGood ? 0 : 1;
}

} // namespace
} // namespace ox3d::attack

int main(int argc, char** argv) {
    const auto number = [&](int index) {
        return argc > index ? std::strtoull(argv[index], nullptr, 10) : 1ULL;
    };
    return ox3d::attack::Run(static_cast<uint32_t>(number(1)), number(2), argc > 3 ? argv[3] : "");
}
