// DeviceControl.cpp - commands of the control channel, one function each, and what ends a connection.
#include "virtual-camera/gige/DeviceControl.h"

#include <algorithm>
#include <bit>

#include "gigevision/Gvsp.h"
#include "gigevision/Registers.h"

namespace ox3d::gige {
namespace {

EGvcpStatus ToStatus(EModelStatus status) {
    switch (status) {
    case EModelStatus::Ok:
        return EGvcpStatus::Success;
    case EModelStatus::Access:
        return EGvcpStatus::WriteProtect;
    case EModelStatus::Range:
    case EModelStatus::Argument:
        return EGvcpStatus::InvalidParameter;
    default:
        return EGvcpStatus::Error;
    }
}

bool Overlaps(uint32_t address, uint32_t lengthBytes, uint32_t reg) {
    return address < reg + 4 && reg < uint64_t{address} + lengthBytes;
}

Bytes WriteAnswer(size_t done) {
    Bytes payload(4);
    Put16(payload.data() + 2, static_cast<uint32_t>(done));
    return payload;
}

} // namespace

struct CDeviceControl::Row {
    EGvcpCommand m_command;
    bool m_mayBeBroadcast;
    Reply (CDeviceControl::*m_run)(ByteView payload, const Context& context);
};

const CDeviceControl::Row CDeviceControl::kRows[] = {
    {EGvcpCommand::Discovery, true, &CDeviceControl::Discovery},
    {EGvcpCommand::ForceIp, true, &CDeviceControl::ForceIp},
    {EGvcpCommand::PacketResend, false, &CDeviceControl::PacketResend},
    {EGvcpCommand::ReadReg, false, &CDeviceControl::ReadReg},
    {EGvcpCommand::WriteReg, false, &CDeviceControl::WriteReg},
    {EGvcpCommand::ReadMem, false, &CDeviceControl::ReadMem},
    {EGvcpCommand::WriteMem, false, &CDeviceControl::WriteMem},
};

CDeviceControl::CDeviceControl(CCameraModel& model, CDevicePorts& ports)
    : m_model(model), m_ports(ports), m_faults(model.Config().m_faults), m_plugCount(model.PlugCount()) {}

bool CDeviceControl::IsDark(Time now) const {
    return m_faults.IsSilent(now) || !m_model.IsPlugged();
}

void CDeviceControl::Tick(Time now) {
    if (m_faults.TakeReboot(now)) {
        m_model.Execute("DeviceReset");
        TellRestart();
    }
    const std::chrono::milliseconds timeout(m_model.TransportValue(EFeature::GevHeartbeatTimeout));
    if (m_model.PlugCount() != m_plugCount || m_privilege.HasExpired(now, timeout)) {
        m_plugCount = m_model.PlugCount();
        EndControl();
    }
    TellTemperature(now);
}

// A camera whose cable is pulled cannot tell; one that restarts tells while the channel is still open.
void CDeviceControl::TellRestart() {
    if (m_model.IsEventOn(ECameraEvent::DeviceLost)) {
        m_ports.Notify({kEventDeviceLost, 0, m_model.TimestampNs(), {0, 0, 0, 1}});
    }
}

void CDeviceControl::TellTemperature(Time now) {
    constexpr std::chrono::seconds kEvery{1};
    if (now < m_nextTemperature || !m_model.IsEventOn(ECameraEvent::DeviceTemperature)) {
        return;
    }
    m_nextTemperature = now + kEvery;
    FloatValue temperature;
    if (m_model.GetFloat("DeviceTemperature", &temperature) == EModelStatus::Ok) {
        Bytes data(4);
        Put32(data.data(), std::bit_cast<uint32_t>(temperature.m_value));
        m_ports.Notify({kEventDeviceTemperature, 0, m_model.TimestampNs(), data});
    }
}

// An application that loses control loses the channels with it.
void CDeviceControl::EndControl() {
    m_privilege.Release();
    m_lastCommand.clear();
    m_model.Execute("AcquisitionStop");
    for (const EFeature id : {EFeature::GevCCP, EFeature::GevMCPHostPort, EFeature::GevMCDA,
                              EFeature::GevSCPHostPort, EFeature::GevSCDA, EFeature::TLParamsLocked}) {
        m_model.SetTransportValue(id, 0);
    }
    m_ports.OnChannelWritten();
}

Bytes CDeviceControl::Handle(ByteView datagram, const Endpoint& from, bool isBroadcast, Time now) {
    Tick(now);
    GvcpCommand command;
    const EGvcpParse parse = ParseGvcp(datagram, &command);
    if (parse == EGvcpParse::Foreign || IsDark(now)) {
        return {};
    }
    if (parse == EGvcpParse::BadLength) {
        return command.WantsAck() && !isBroadcast ? GvcpAck(command, EGvcpStatus::InvalidHeader) : Bytes();
    }
    m_privilege.Heard(from, now);
    if (from == m_lastFrom &&
        std::equal(datagram.begin(), datagram.end(), m_lastCommand.begin(), m_lastCommand.end())) {
        return m_lastAnswer;
    }
    const Reply reply = Run(command, isBroadcast, {from, now});
    Bytes answer;
    if (command.WantsAck() && !reply.m_isSilent) {
        answer = GvcpAck(command, reply.m_status, reply.m_payload);
    }
    if (m_privilege.IsHolder(from)) {
        m_lastFrom = from;
        m_lastCommand.assign(datagram.begin(), datagram.end());
        m_lastAnswer = answer;
    }
    return answer;
}

Endpoint CDeviceControl::AnswerTo(ByteView datagram, const Endpoint& from) const {
    GvcpCommand command;
    if (ParseGvcp(datagram, &command) != EGvcpParse::Ok || !command.MayAckByBroadcast() ||
        command.m_command != static_cast<uint16_t>(EGvcpCommand::Discovery)) {
        return from;
    }
    const auto identity = m_model.Identity();
    const bool isNeighbour = ((identity.m_ip ^ from.m_ip) & identity.m_mask) == 0;
    return isNeighbour ? from : Endpoint{kBroadcastIp, from.m_port};
}

CDeviceControl::Reply CDeviceControl::Run(const GvcpCommand& command, bool isBroadcast,
                                          const Context& context) {
    for (const Row& row : kRows) {
        if (static_cast<uint16_t>(row.m_command) != command.m_command) {
            continue;
        }
        if (isBroadcast && !row.m_mayBeBroadcast) {
            return {EGvcpStatus::Success, {}, true};
        }
        return (this->*row.m_run)(command.m_payload, context);
    }
    return {EGvcpStatus::NotImplemented, {}, isBroadcast};
}

CDeviceControl::Reply CDeviceControl::Discovery(ByteView payload, const Context&) {
    if (!payload.empty()) {
        return {EGvcpStatus::InvalidParameter, {}, true};
    }
    Bytes registers(kDiscoveryBytes);
    const EGvcpStatus status = Read(0, registers.data(), kDiscoveryBytes);
    return {status, std::move(registers)};
}

// The command reaches every camera; only the one whose hardware address it names may answer.
CDeviceControl::Reply CDeviceControl::ForceIp(ByteView payload, const Context& context) {
    if (payload.size() != force_ip::kBytes) {
        return {EGvcpStatus::InvalidParameter, {}, true};
    }
    const uint64_t mac =
        uint64_t{Get16(payload.data() + force_ip::kMac)} << 32 | Get32(payload.data() + force_ip::kMac + 2);
    if (mac != m_model.Config().m_mac) {
        return {EGvcpStatus::Success, {}, true};
    }
    if (m_privilege.IsHeld() && !m_privilege.IsHolder(context.m_from)) {
        return {EGvcpStatus::AccessDenied, {}};
    }
    const uint32_t ip = Get32(payload.data() + force_ip::kIp);
    if (ip == 0) {
        m_model.RenewIp(); // no application would know where an answer comes from
        EndControl();
        return {EGvcpStatus::Success, {}, true};
    }
    const EModelStatus status = m_model.ForceIp(ip, Get32(payload.data() + force_ip::kMask),
                                                Get32(payload.data() + force_ip::kGateway));
    if (status == EModelStatus::Ok) {
        EndControl();
    }
    return {ToStatus(status), {}};
}

// Receivers ask from the port of their stream, so only the address can be compared.
CDeviceControl::Reply CDeviceControl::PacketResend(ByteView payload, const Context& context) {
    const auto receiver = static_cast<uint32_t>(m_model.TransportValue(EFeature::GevSCDA));
    const bool isReceiver =
        context.m_from.m_ip == receiver || m_privilege.IsHolderAddress(context.m_from.m_ip);
    const bool isForStream = isReceiver && payload.size() >= kPacketResendBytes && Get16(payload.data()) == 0;
    if (isForStream && payload.size() == kExtendedPacketResendBytes) {
        m_ports.Resend({Get64(payload.data() + kPacketResendBytes), Get32(payload.data() + 4),
                        Get32(payload.data() + 8), true});
    } else if (isForStream && payload.size() == kPacketResendBytes) {
        m_ports.Resend({Get16(payload.data() + 2), Get32(payload.data() + 4) & kPacketIdMask,
                        Get32(payload.data() + 8) & kPacketIdMask});
    }
    return {EGvcpStatus::Success, {}, true}; // the packets are the answer
}

CDeviceControl::Reply CDeviceControl::ReadReg(ByteView payload, const Context& context) {
    if (payload.empty() || payload.size() > kMaxMemoryBytes + 4) {
        return {EGvcpStatus::InvalidParameter, {}};
    }
    Reply reply;
    reply.m_payload.resize(payload.size());
    for (size_t at = 0; at < payload.size(); at += 4) {
        const uint32_t address = Get32(payload.data() + at);
        // Every application may see whether the camera is under control, also when it may see nothing else.
        const bool isAllowed = m_privilege.MayRead(context.m_from) || address == reg::kControlPrivilege;
        reply.m_status =
            isAllowed ? Read(address, reply.m_payload.data() + at, 4) : EGvcpStatus::AccessDenied;
        if (reply.m_status != EGvcpStatus::Success) {
            reply.m_payload.resize(at); // what was read before the error
            break;
        }
    }
    return reply;
}

CDeviceControl::Reply CDeviceControl::WriteReg(ByteView payload, const Context& context) {
    if (payload.empty() || payload.size() % 8 != 0 || payload.size() > kMaxGvcpBytes - kGvcpHeaderBytes) {
        return {EGvcpStatus::InvalidParameter, {}};
    }
    EGvcpStatus status = EGvcpStatus::Success;
    size_t done = 0;
    for (; done < payload.size() / 8; ++done) {
        const uint8_t* pair = payload.data() + 8 * done;
        status = Write(Get32(pair), pair + 4, 4, context);
        if (status != EGvcpStatus::Success) {
            break;
        }
    }
    return {status, WriteAnswer(done)};
}

CDeviceControl::Reply CDeviceControl::ReadMem(ByteView payload, const Context& context) {
    if (payload.size() != 8) {
        return {EGvcpStatus::InvalidParameter, {}};
    }
    const uint32_t lengthBytes = Get16(payload.data() + 6);
    if (lengthBytes == 0 || lengthBytes % 4 != 0 || lengthBytes > kMaxMemoryBytes) {
        return {EGvcpStatus::InvalidParameter, {}};
    }
    if (!m_privilege.MayRead(context.m_from)) {
        return {EGvcpStatus::AccessDenied, {}};
    }
    Reply reply;
    reply.m_payload.resize(4 + lengthBytes);
    std::copy_n(payload.begin(), 4, reply.m_payload.begin());
    reply.m_status = Read(Get32(payload.data()), reply.m_payload.data() + 4, lengthBytes);
    if (reply.m_status != EGvcpStatus::Success) {
        reply.m_payload.clear();
    }
    return reply;
}

CDeviceControl::Reply CDeviceControl::WriteMem(ByteView payload, const Context& context) {
    if (payload.size() < 8 || payload.size() > kMaxMemoryBytes + 4) {
        return {EGvcpStatus::InvalidParameter, {}};
    }
    const auto lengthBytes = static_cast<uint32_t>(payload.size() - 4);
    const EGvcpStatus status = Write(Get32(payload.data()), payload.data() + 4, lengthBytes, context);
    return {status, WriteAnswer(status == EGvcpStatus::Success ? lengthBytes : 0)};
}

// ---- Registers ----

EGvcpStatus CDeviceControl::Read(uint32_t address, uint8_t* out, uint32_t lengthBytes) {
    if (address % 4 != 0) {
        return EGvcpStatus::BadAlignment;
    }
    if (m_model.ReadMemory(address, out, lengthBytes) != EModelStatus::Ok) {
        return EGvcpStatus::InvalidAddress;
    }
    if (m_model.Config().m_faults.m_isXmlBroken != 0 && address >= kXmlArea) {
        const uint64_t brokenFrom = kXmlArea + m_model.Xml().size() / 2;
        for (uint32_t i = 0; i < lengthBytes; ++i) {
            out[i] = address + i < brokenFrom ? out[i] : uint8_t{'<'};
        }
    }
    return EGvcpStatus::Success;
}

EGvcpStatus CDeviceControl::Write(uint32_t address, const uint8_t* in, uint32_t lengthBytes,
                                  const Context& context) {
    if (address % 4 != 0) {
        return EGvcpStatus::BadAlignment;
    }
    if (address == reg::kControlPrivilege && lengthBytes == 4) {
        return WritePrivilege(Get32(in), context);
    }
    if (!m_privilege.IsHolder(context.m_from)) {
        return EGvcpStatus::AccessDenied;
    }
    if (!m_model.HasMemory(address, lengthBytes)) {
        return EGvcpStatus::InvalidAddress;
    }
    if (Overlaps(address, lengthBytes, reg::kControlPrivilege)) {
        return EGvcpStatus::InvalidParameter; // control is not taken in passing
    }
    const EGvcpStatus status = ToStatus(m_model.WriteMemory(address, in, lengthBytes));
    if (status == EGvcpStatus::Success) {
        AfterWrite(address, lengthBytes, in);
    }
    return status;
}

void CDeviceControl::AfterWrite(uint32_t address, uint32_t lengthBytes, const uint8_t* in) {
    if (m_model.PlugCount() != m_plugCount) {
        TellRestart();
    }
    if (Overlaps(address, lengthBytes, reg::kStreamPort) ||
        Overlaps(address, lengthBytes, reg::kStreamAddress)) {
        m_ports.OnChannelWritten();
    }
    // The model takes whole registers only, so this one lies in the written bytes with all of its own.
    if (Overlaps(address, lengthBytes, reg::kStreamPacketSize) &&
        (Get32(in + (reg::kStreamPacketSize - address)) & kFireTestPacket) != 0) {
        m_ports.FireTestPacket();
    }
}

EGvcpStatus CDeviceControl::WritePrivilege(uint32_t value, const Context& context) {
    const bool wasHeld = m_privilege.IsHeld();
    const bool isTaking = (value & (kExclusiveAccess | kControlAccess)) != 0;
    if (!isTaking && !m_privilege.IsHolder(context.m_from)) {
        return wasHeld ? EGvcpStatus::AccessDenied : EGvcpStatus::Success;
    }
    if (isTaking && m_model.Config().m_faults.m_isOpenDenied != 0) {
        return EGvcpStatus::AccessDenied;
    }
    if (!m_privilege.Ask(context.m_from, value, context.m_now)) {
        return EGvcpStatus::AccessDenied;
    }
    if (!isTaking) {
        EndControl();
        return EGvcpStatus::Success;
    }
    if (!wasHeld) {
        m_model.PowerUp();
        m_faults.ControlTaken(context.m_now);
    }
    m_model.SetTransportValue(EFeature::GevCCP, m_privilege.Access());
    return EGvcpStatus::Success;
}

} // namespace ox3d::gige
