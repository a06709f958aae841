// ConnectionMonitor.h - the thread that looks after an opened camera: whether the camera is still there, whether this
// process still has control, and which events come over the message channel.
//
// Aravis notices a camera that has died after some five seconds, and does not notice at all that another
// application has taken control. This thread probes an Ethernet camera every 150 ms, which is its heartbeat, too, and
// a USB camera once a second. It never runs code of the application.
#ifndef OX3D_ARAVIS_CONNECTION_MONITOR_H
#define OX3D_ARAVIS_CONNECTION_MONITOR_H

#include <chrono>
#include <map>
#include <memory>
#include <string>

#include "base/UdpSocket.h"
#include "providers/aravis/Gvcp.h"
#include "providers/common/Worker.h"

namespace ox3d {

class CAravisConnection;

class CConnectionMonitor : public std::enable_shared_from_this<CConnectionMonitor> {
public:
    // An Ethernet camera that has answered no probe for this long is gone.
    static constexpr std::chrono::milliseconds kSilence{3000};

    CConnectionMonitor();
    ~CConnectionMonitor();
    CConnectionMonitor(const CConnectionMonitor&) = delete;
    CConnectionMonitor& operator=(const CConnectionMonitor&) = delete;

    bool Start(std::shared_ptr<CAravisConnection> connection);
    void RequestStop() const;
    void Join() { m_worker.Join(); }

private:
    using Clock = std::chrono::steady_clock;

    void Run(CAravisConnection& connection);
    // Waits for messages; false when the stop has been asked for.
    bool ListenUntil(CAravisConnection& connection, Clock::time_point until);
    // False when the camera is lost.
    bool Probe(CAravisConnection& connection);
    bool ProbeEthernet(CAravisConnection& connection);
    bool ProbeUsb(CAravisConnection& connection);

    void OpenMessageChannel(CAravisConnection& connection);
    void ReceiveMessage(CAravisConnection& connection);
    void Raise(CAravisConnection& connection, const gvcp::Event& event);
    const std::string& NameOf(CAravisConnection& connection, uint16_t id);

    int m_stopEvent;
    Clock::time_point m_lastAnswer;
    int m_strangeAnswers = 0;
    CUdpSocket m_messages;
    bool m_areNamesRead = false;
    std::map<uint16_t, std::string> m_names;
    uint16_t m_lastRequestId = 0;
    CWorker m_worker;
};

} // namespace ox3d

#endif
