// ConnectionMonitor.cpp - probes at a fixed pace, and events as they come.
#include "providers/aravis/ConnectionMonitor.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <vector>

#include "base/ExceptionBarrier.h"
#include "gigevision/Registers.h"
#include "providers/aravis/AravisConnection.h"
#include "providers/aravis/Features.h"
#include "providers/aravis/GvcpClient.h"
#include "providers/common/DeviceText.h"
#include "providers/common/Status.h"

namespace ox3d {
namespace {

// Probes count as heartbeats: a third of the shortest time-out of a heartbeat that cameras offer.
constexpr std::chrono::milliseconds kEthernetPeriod{150};
constexpr std::chrono::milliseconds kUsbPeriod{1000};
constexpr uint32_t kMaxProbeMs = 500; // an application may want to wait longer for its own commands
constexpr int kMaxStrangeAnswers = 2;
constexpr uint32_t kMessageTimeoutMs = 200; // the camera's, for our acknowledge
constexpr uint32_t kMessageRetries = 2;
constexpr size_t kMaxMessageBytes = 2048;

// Events that the standard numbers itself; a description does not have to.
struct StandardEvent {
    uint16_t m_id;
    const char* m_name;
};
constexpr StandardEvent kStandardEvents[] = {
    {0x0002, "FrameTrigger"},       {0x0003, "ExposureStart"},    {0x0004, "ExposureEnd"},
    {0x0005, "FrameTransferStart"}, {0x0006, "FrameTransferEnd"}, {0x0007, "PrimaryApplicationSwitch"}};

} // namespace

CConnectionMonitor::CConnectionMonitor() : m_stopEvent(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

CConnectionMonitor::~CConnectionMonitor() {
    if (m_stopEvent >= 0) {
        close(m_stopEvent);
    }
}

bool CConnectionMonitor::Start(std::shared_ptr<CAravisConnection> connection) {
    if (m_stopEvent < 0) {
        return false;
    }
    m_lastAnswer = Clock::now();
    return m_worker.Start([self = shared_from_this(), connection = std::move(connection)] {
        ExceptionBarrier([&] { self->Run(*connection); },
                         [](const std::exception*) {
                             std::fputs("camera control: no memory to look after a camera\n", stderr);
                         });
    });
}

void CConnectionMonitor::RequestStop() const {
    const uint64_t one = 1;
    const ssize_t written = write(m_stopEvent, &one, sizeof(one));
    static_cast<void>(written); // fails on a full counter only, and then the event is raised already
}

void CConnectionMonitor::Run(CAravisConnection& connection) {
    if (connection.IsEthernet() && connection.MayWrite()) {
        OpenMessageChannel(connection);
    }
    const auto period = connection.IsEthernet() ? kEthernetPeriod : kUsbPeriod;
    while (ListenUntil(connection, Clock::now() + period)) {
        if (!Probe(connection)) {
            connection.MarkGone();
            return;
        }
    }
}

bool CConnectionMonitor::ListenUntil(CAravisConnection& connection, Clock::time_point until) {
    for (auto now = Clock::now(); now < until; now = Clock::now()) {
        std::array<pollfd, 2> entries{
            {{m_stopEvent, POLLIN, 0}, {m_messages.Descriptor(), POLLIN, 0}}}; // -1 is skipped by poll
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - now).count();
        const int ready = poll(entries.data(), entries.size(), static_cast<int>(left));
        if (ready < 0 && errno != EINTR) {
            return false;
        }
        if (ready > 0 && entries[0].revents != 0) {
            return false;
        }
        if (ready > 0 && entries[1].revents != 0) {
            ReceiveMessage(connection);
        }
    }
    return true;
}

// ---- Whether the camera is there, and under control of this process ----

bool CConnectionMonitor::Probe(CAravisConnection& connection) {
    if (!connection.IsAlive()) { // another call has found out
        return false;
    }
    return connection.IsEthernet() ? ProbeEthernet(connection) : ProbeUsb(connection);
}

bool CConnectionMonitor::ProbeEthernet(CAravisConnection& connection) {
    const CameraPath& path = connection.Path();
    CGvcpClient client(path.m_hostIp, path.m_cameraIp, std::min(connection.ControlTimeoutMs(), kMaxProbeMs),
                       1);
    uint32_t control = 0;
    const EGvcpResult result = client.Read(gige::reg::kControlPrivilege, &control);
    if (result == EGvcpResult::Silent) {
        return Clock::now() - m_lastAnswer < kSilence;
    }
    m_lastAnswer = Clock::now();
    if (!connection.MayWrite()) {
        return true;
    }
    if (result == EGvcpResult::Ok && (control & (gige::kControlAccess | gige::kExclusiveAccess)) == 0) {
        return false;
    }
    return !connection.HasLostControl();
}

bool CConnectionMonitor::ProbeUsb(CAravisConnection& connection) {
    uint32_t version = 0;
    const int code = connection.OnDevice([&](ArvDevice* device) {
        CArvError error;
        arv_device_read_memory(device, 0, sizeof(version), &version, error.Out());
        return IsUnreachable(error.Get()) ? kDeviceGone : kOk;
    });
    m_strangeAnswers = code == kOk ? 0 : m_strangeAnswers + 1;
    return m_strangeAnswers < kMaxStrangeAnswers;
}

// ---- Events ----

// A camera without a message channel goes without events.
void CConnectionMonitor::OpenMessageChannel(CAravisConnection& connection) {
    CUdpSocket socket;
    const uint32_t hostIp = connection.Path().m_hostIp;
    if (!socket.Open({hostIp, 0})) {
        return;
    }
    const int code = connection.OnDevice([&](ArvDevice* device) {
        CArvError error;
        guint32 channels = 0;
        arv_device_read_register(device, gige::reg::kMessageChannelCount, &channels, error.Out());
        if (error.IsSet() || channels == 0) {
            return Code(OX_CC_E_SUPPORT);
        }
        // The retries are optional; the address goes before the port, which opens the channel.
        arv_device_write_register(device, gige::reg::kMessageTimeout, kMessageTimeoutMs, error.Out());
        arv_device_write_register(device, gige::reg::kMessageRetries, kMessageRetries, error.Out());
        arv_device_write_register(device, gige::reg::kMessageAddress, hostIp, error.Out());
        if (!error.IsSet()) {
            arv_device_write_register(device, gige::reg::kMessagePort, socket.Port(), error.Out());
        }
        return error.Code();
    });
    if (code == kOk) {
        m_messages = std::move(socket);
    }
}

void CConnectionMonitor::ReceiveMessage(CAravisConnection& connection) {
    std::array<uint8_t, kMaxMessageBytes> packet{};
    Endpoint from;
    const size_t length = m_messages.Receive(packet, &from).value_or(0);
    const auto command = gvcp::ReadEvents({packet.data(), length});
    if (from.m_ip != connection.Path().m_cameraIp || !command) {
        return;
    }
    if (command->m_isAckWanted) {
        m_messages.Send(gvcp::Acknowledge(command->m_command, command->m_requestId), from);
    }
    // Our acknowledge got lost: the event is known already.
    if (command->m_requestId == m_lastRequestId && command->m_requestId != 0) {
        return;
    }
    m_lastRequestId = command->m_requestId;
    for (const gvcp::Event& event : command->m_events) {
        Raise(connection, event);
    }
}

void CConnectionMonitor::Raise(CAravisConnection& connection, const gvcp::Event& event) {
    OX_EVENT_OUT_INFO info{};
    CopyText(info.chEventName, std::string_view(NameOf(connection, event.m_id)).substr(0, 127));
    info.nEventID = event.m_id;
    info.nStreamChannel = event.m_streamChannel;
    info.nBlockIdLow = event.m_blockId;
    info.nTimestampHigh = static_cast<uint32_t>(event.m_timestamp >> 32);
    info.nTimestampLow = static_cast<uint32_t>(event.m_timestamp);
    std::vector<uint8_t> data(event.m_data.begin(), event.m_data.end());
    info.nEventDataSize = static_cast<uint32_t>(data.size());
    info.pEventData = data.empty() ? nullptr : data.data();
    connection.RaiseEvent(info);
}

// A camera names its events in EventSelector, and tells the number of event X in the integer EventX.
const std::string& CConnectionMonitor::NameOf(CAravisConnection& connection, uint16_t id) {
    if (!m_areNamesRead) {
        m_areNamesRead = true;
        for (const StandardEvent& event : kStandardEvents) {
            m_names[event.m_id] = event.m_name;
        }
        connection.OnDevice([&](ArvDevice* device) {
            CArvError error;
            guint count = 0;
            const CGMemory<const char*> names(arv_device_dup_available_enumeration_feature_values_as_strings(
                device, "EventSelector", &count, error.Out()));
            for (guint i = 0; names != nullptr && i < count; ++i) {
                const std::string name = names.get()[i];
                OX_CC_INT_VALUE_EX value{};
                if (features::GetInteger(device, ("Event" + name).c_str(), &value) == kOk) {
                    m_names[static_cast<uint16_t>(value.nCurValue)] = name;
                }
            }
            return kOk;
        });
    }
    constexpr size_t kMaxNames = 1024;
    if (const auto found = m_names.find(id); found != m_names.end()) {
        return found->second;
    }
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "Event_0x%04X", id);
    if (m_names.size() >= kMaxNames) {
        m_names.clear();
        m_areNamesRead = false;
    }
    return m_names[id] = text.data();
}

} // namespace ox3d
