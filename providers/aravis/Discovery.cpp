// Discovery.cpp - asks through a socket for each address of the host, so that an answer tells the interface.
#include "providers/aravis/Discovery.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <map>
#include <set>

#include "base/Mutex.h"
#include "base/PerProcess.h"
#include "base/UdpSocket.h"
#include "providers/aravis/Gvcp.h"
#include "providers/aravis/Network.h"

namespace ox3d {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kAskAgain{150}; // in case a packet got lost
constexpr std::chrono::milliseconds kQuiet{100};

uint16_t NextRequestId() {
    static std::atomic<uint16_t> s_next{0x4F00};
    const uint16_t id = ++s_next;
    return id == 0 ? ++s_next : id; // 0 is not allowed
}

// One interface of the host. A camera with an address of another subnet may only be able to answer by
// broadcast, which a socket bound to one address does not hear.
struct Way {
    HostInterface m_host;
    CUdpSocket m_direct;
    CUdpSocket m_broadcast;
    uint16_t m_requestId = 0;
};

std::vector<Way> OpenWays() {
    std::vector<Way> ways;
    for (const HostInterface& host : HostInterfaces()) {
        Way way;
        way.m_host = host;
        way.m_requestId = NextRequestId();
        if (!way.m_direct.Open({host.m_ip, 0})) {
            continue;
        }
        way.m_direct.AllowBroadcast();
        if (way.m_broadcast.Open({kBroadcastIp, way.m_direct.Port()})) {
            way.m_broadcast.BindToInterface(host.m_name);
        }
        ways.push_back(std::move(way));
    }
    return ways;
}

void SendEverywhere(const std::vector<Way>& ways, const gvcp::Packet& packet) {
    for (const Way& way : ways) {
        way.m_direct.Send(packet, {kBroadcastIp, gige::kGvcpPort});
        way.m_direct.Send(packet, {way.m_host.m_broadcast, gige::kGvcpPort});
    }
}

// The cameras that the last whole search found, for a moment: most likely they are all there are, and a search
// that has heard them, and then no other camera for a while, need not wait for the slow ones.
class CLately {
public:
    void Remember(std::set<uint64_t> macs) {
        const CLock lock(m_mutex);
        m_macs = std::move(macs);
        m_end = Clock::now() + std::chrono::milliseconds(kLatelyMs);
    }
    std::set<uint64_t> Cameras() {
        const CLock lock(m_mutex);
        return Clock::now() < m_end ? m_macs : std::set<uint64_t>();
    }

private:
    CMutex m_mutex;
    std::set<uint64_t> m_macs OX_GUARDED_BY(m_mutex);
    Clock::time_point m_end OX_GUARDED_BY(m_mutex);
};

CLately& Lately() {
    static CPerProcess<CLately> s_lately;
    return s_lately.Get();
}

class CSearch {
public:
    explicit CSearch(std::optional<uint64_t> wanted)
        : m_wanted(wanted), m_expected(Lately().Cameras()), m_ways(OpenWays()) {}

    std::vector<OX_CC_DEVICE_INFO> Run() {
        const auto start = Clock::now();
        auto asked = start;
        m_lastNews = start;
        Ask();
        for (bool isAskedTwice = false; !m_ways.empty();) {
            const auto now = Clock::now();
            if (!isAskedTwice && now >= start + kAskAgain) {
                isAskedTwice = true;
                asked = now;
                Ask();
            }
            const auto end = End(start, asked);
            if (now >= end) {
                break;
            }
            WaitAndReceive((isAskedTwice ? end : std::min(end, start + kAskAgain)) - now);
        }
        if (!m_wanted && !HasAllExpected()) {
            Remember();
        }
        return Found();
    }

private:
    Clock::time_point End(Clock::time_point start, Clock::time_point asked) const {
        const auto latest = start + std::chrono::milliseconds(kLongestSearchMs);
        if (m_wanted && m_found.contains(*m_wanted)) {
            return start; // over at once
        }
        if (m_found.empty()) {
            return latest;
        }
        if (HasAllExpected()) {
            return m_lastNews + std::chrono::milliseconds(kNoOtherMs);
        }
        // Two rounds: what counts is the time since the last one.
        const auto usual = std::max(asked, start + kAskAgain) + std::chrono::milliseconds(kUsualAnswerMs);
        return std::min(latest, std::max(usual, m_lastNews + kQuiet));
    }

    bool HasAllExpected() const {
        return !m_expected.empty() && std::all_of(m_expected.begin(), m_expected.end(),
                                                  [this](uint64_t mac) { return m_found.contains(mac); });
    }

    // A search that was cut short is not remembered, or one could follow the other for ever.
    void Remember() const {
        std::set<uint64_t> macs;
        for (const auto& [mac, record] : m_found) {
            macs.insert(mac);
        }
        Lately().Remember(std::move(macs));
    }

    void Ask() const {
        for (const Way& way : m_ways) {
            const gvcp::Packet packet = gvcp::DiscoveryCommand(way.m_requestId);
            way.m_direct.Send(packet, {kBroadcastIp, gige::kGvcpPort});
            way.m_direct.Send(packet, {way.m_host.m_broadcast, gige::kGvcpPort});
        }
    }

    void WaitAndReceive(Clock::duration time) {
        std::vector<pollfd> entries;
        for (const Way& way : m_ways) {
            entries.push_back({way.m_direct.Descriptor(), POLLIN, 0});
            entries.push_back({way.m_broadcast.Descriptor(), POLLIN, 0}); // -1 is skipped by poll
        }
        const auto ms = std::chrono::ceil<std::chrono::milliseconds>(time).count();
        const int ready =
            poll(entries.data(), entries.size(), static_cast<int>(std::clamp<int64_t>(ms, 0, 1000)));
        for (size_t i = 0; ready > 0 && i < entries.size(); ++i) {
            if (entries[i].revents != 0) {
                const Way& way = m_ways[i / 2];
                Receive(way, i % 2 == 0 ? way.m_direct : way.m_broadcast);
            }
        }
    }

    void Receive(const Way& way, const CUdpSocket& socket) {
        std::array<uint8_t, gvcp::kMaxPacketBytes> packet{};
        Endpoint from;
        const size_t length = socket.Receive(packet, &from).value_or(0);
        const auto ack = gvcp::ReadAck({packet.data(), length});
        if (!ack || ack->m_command != gige::AckCode(gige::EGvcpCommand::Discovery) ||
            ack->m_status != gige::EGvcpStatus::Success || ack->m_requestId != way.m_requestId) {
            return;
        }
        auto record = gvcp::ReadDiscovery(ack->m_payload);
        if (!record) {
            return;
        }
        record->stGigEInfo.nNetExport = way.m_host.m_ip;
        const auto [place, isNew] = m_found.try_emplace(gvcp::MacOf(*record), *record);
        if (isNew) {
            m_lastNews = Clock::now();
        } else if (IsBetterWay(*record, place->second)) {
            place->second = *record;
        }
    }

    std::vector<OX_CC_DEVICE_INFO> Found() const {
        std::vector<OX_CC_DEVICE_INFO> records;
        for (const auto& [mac, record] : m_found) {
            records.push_back(record);
        }
        std::stable_sort(records.begin(), records.end(), [](const auto& a, const auto& b) {
            return a.stGigEInfo.nCurrentIp < b.stGigEInfo.nCurrentIp;
        });
        return records;
    }

    const std::optional<uint64_t> m_wanted;
    const std::set<uint64_t> m_expected;
    const std::vector<Way> m_ways;
    std::map<uint64_t, OX_CC_DEVICE_INFO> m_found; // by hardware address
    Clock::time_point m_lastNews;
};

} // namespace

bool IsBetterWay(const OX_CC_DEVICE_INFO& a, const OX_CC_DEVICE_INFO& b) {
    const auto isDirect = [](const OX_CC_DEVICE_INFO& record) {
        const OX_CC_GIGE_DEVICE_INFO& device = record.stGigEInfo;
        return ((device.nCurrentIp ^ device.nNetExport) & device.nCurrentSubNetMask) == 0;
    };
    return isDirect(a) && !isDirect(b);
}

std::vector<OX_CC_DEVICE_INFO> DiscoverGigE() {
    return CSearch(std::nullopt).Run();
}

std::optional<OX_CC_DEVICE_INFO> FindByMac(uint64_t mac) {
    const auto records = CSearch(mac).Run();
    const auto found = std::find_if(records.begin(), records.end(),
                                    [&](const auto& record) { return gvcp::MacOf(record) == mac; });
    return found == records.end() ? std::nullopt : std::make_optional(*found);
}

void BroadcastForceIp(uint64_t mac, uint32_t ip, uint32_t mask, uint32_t gateway) {
    SendEverywhere(OpenWays(), gvcp::ForceIpCommand(NextRequestId(), mac, ip, mask, gateway));
}

} // namespace ox3d
