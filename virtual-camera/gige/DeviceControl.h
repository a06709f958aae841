// DeviceControl.h - the control channel of a GigE Vision device: commands in, acknowledgements out.
//
// No sockets and no clock are in here: datagrams and times come from the caller, which calls from one thread.
#ifndef OX3D_VIRTUAL_CAMERA_GIGE_DEVICE_CONTROL_H
#define OX3D_VIRTUAL_CAMERA_GIGE_DEVICE_CONTROL_H

#include "virtual-camera/CameraModel.h"
#include "virtual-camera/gige/CameraEvent.h"
#include "virtual-camera/gige/ControlPrivilege.h"
#include "virtual-camera/gige/GvcpPacket.h"
#include "virtual-camera/gige/NetworkFaults.h"

namespace ox3d::gige {

struct ResendRequest {
    uint64_t m_blockId = 0;
    uint32_t m_firstPacket = 0;
    uint32_t m_lastPacket = 0;
    bool m_isExtendedId = false;
};

// What the control channel asks of the stream channel and the message channel.
class CDevicePorts {
public:
    virtual ~CDevicePorts() = default;
    // The stream channel's address or port has been written. Port 0 closes it.
    virtual void OnChannelWritten() = 0;
    virtual void FireTestPacket() = 0;
    virtual void Resend(const ResendRequest& request) = 0;
    virtual void Notify(const CameraEvent& event) = 0;
};

class CDeviceControl {
public:
    CDeviceControl(CCameraModel& model, CDevicePorts& ports);

    // Gives the answer; empty when there is none. Broadcasts reach every camera of the network.
    Bytes Handle(ByteView datagram, const Endpoint& from, bool isBroadcast, Time now);
    // Where the answer to a datagram goes. A discovery that allows it is answered by broadcast when its sender
    // is outside the camera's subnet: an answer to that address alone would not find its way.
    Endpoint AnswerTo(ByteView datagram, const Endpoint& from) const;
    // Looks at everything that happens without a command: heartbeat, restarts, faults that are due.
    void Tick(Time now);
    // Whether the camera is dead to its network now.
    bool IsDark(Time now) const;

private:
    struct Reply {
        EGvcpStatus m_status = EGvcpStatus::Success;
        Bytes m_payload;
        bool m_isSilent = false;
    };
    struct Context {
        const Endpoint& m_from;
        Time m_now;
    };
    struct Row;
    static const Row kRows[];

    Reply Run(const GvcpCommand& command, bool isBroadcast, const Context& context);
    Reply Discovery(ByteView payload, const Context& context);
    Reply ForceIp(ByteView payload, const Context& context);
    Reply PacketResend(ByteView payload, const Context& context);
    Reply ReadReg(ByteView payload, const Context& context);
    Reply WriteReg(ByteView payload, const Context& context);
    Reply ReadMem(ByteView payload, const Context& context);
    Reply WriteMem(ByteView payload, const Context& context);

    EGvcpStatus Read(uint32_t address, uint8_t* out, uint32_t lengthBytes);
    EGvcpStatus Write(uint32_t address, const uint8_t* in, uint32_t lengthBytes, const Context& context);
    EGvcpStatus WritePrivilege(uint32_t value, const Context& context);
    void AfterWrite(uint32_t address, uint32_t lengthBytes, const uint8_t* in);
    void EndControl();
    void TellRestart();
    void TellTemperature(Time now);

    CCameraModel& m_model;
    CDevicePorts& m_ports;
    CControlPrivilege m_privilege;
    CFaultTimer m_faults;
    uint32_t m_plugCount;
    Time m_nextTemperature;

    // A command that comes again because its answer got lost is answered, not run, again.
    Endpoint m_lastFrom;
    Bytes m_lastCommand;
    Bytes m_lastAnswer;
};

} // namespace ox3d::gige

#endif
