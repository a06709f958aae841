// Datagrams.cpp - packets from the encoders of the camera's own protocol code, and what is done to them.
#include "fuzz/network/Datagrams.h"

#include <algorithm>
#include <iterator>

#include "gigevision/Gvcp.h"
#include "gigevision/Registers.h"
#include "virtual-camera/gige/GvspFrame.h"

namespace ox3d::attack {
namespace {

using gige::Bytes;
using gige::Put32;
namespace reg = gige::reg;

constexpr uint32_t kKinds = 8; // one of so many is not touched, one is noise alone

void Fill(Bytes* bytes, Dice& dice) {
    std::generate(bytes->begin(), bytes->end(), [&] { return static_cast<uint8_t>(dice()); });
}

// Changes, cuts or lengthens.
void Spoil(Bytes* bytes, Dice& dice) {
    for (uint32_t i = dice() % 4; i > 0 && !bytes->empty(); --i) {
        (*bytes)[dice() % bytes->size()] = static_cast<uint8_t>(dice());
    }
    if (dice() % 4 == 0) {
        bytes->resize(dice() % (bytes->size() + 40));
    }
}

Bytes Finish(Bytes bytes, Dice& dice) {
    const uint32_t kind = dice() % kKinds;
    if (kind == 0) {
        bytes.resize(dice() % 1500);
        Fill(&bytes, dice);
    } else if (kind > 1) {
        Spoil(&bytes, dice);
    }
    return bytes;
}

} // namespace

Bytes ControlDatagram(Dice& dice) {
    using enum gige::EGvcpCommand;
    constexpr gige::EGvcpCommand kCommands[] = {Discovery, ForceIp,  PacketResend, ReadReg,  WriteReg,
                                                ReadMem,   WriteMem, Event,        EventData};
    constexpr uint32_t kPlaces[] = {0,
                                    reg::kFirstUrl,
                                    reg::kHeartbeatTimeout,
                                    reg::kControlPrivilege,
                                    reg::kMessagePort,
                                    reg::kStreamPort,
                                    reg::kStreamPacketSize,
                                    reg::kStreamAddress,
                                    0x00010000,  // features
                                    0x00020000,  // the buffer of file access
                                    0x00100000,  // the description
                                    0xFFFFFFF0}; // next to the end
    const gige::EGvcpCommand command = kCommands[dice() % std::size(kCommands)];
    Bytes payload(command == Discovery ? 0
                  : command == ForceIp ? gige::force_ip::kBytes
                                       : 4 * (1 + dice() % 8));
    Fill(&payload, dice);
    if (payload.size() >= 4) {
        Put32(payload.data(), kPlaces[dice() % std::size(kPlaces)] + 4 * (dice() % 32));
    }
    const uint32_t flags = dice() % 4 == 0 ? dice() % 256 : uint32_t{gige::kAckRequired};
    return Finish(gige::GvcpDatagram(uint32_t{gige::kCommandKey} << 8 | flags, static_cast<uint32_t>(command),
                                     static_cast<uint16_t>(dice()), payload),
                  dice);
}

Bytes StreamDatagram(Dice& dice) {
    gige::GvspFrame frame;
    frame.m_blockId = static_cast<uint16_t>(dice() % 4 == 0 ? dice() : dice() % 256);
    frame.m_payloadType = dice() % 2 == 0 ? gige::kPayloadImage : gige::kPayloadImageWithChunks;
    frame.m_pixelFormat = dice() % 4 == 0 ? dice() : uint32_t{kPixelDepth};
    frame.m_width = dice() % 4 == 0 ? dice() : 640;
    frame.m_height = dice() % 4 == 0 ? dice() : 480;
    frame.m_dataBytes = 1 + dice() % 1400;
    frame.m_payload.resize(dice() % 5000);
    Fill(&frame.m_payload, dice);
    gige::GvspPacket packet;
    gige::MakeGvspPacket(frame, dice() % frame.Packets(), &packet);
    Bytes bytes(packet.m_head.begin(), packet.m_head.begin() + packet.m_headBytes);
    bytes.insert(bytes.end(), packet.m_data.begin(), packet.m_data.end());
    return Finish(std::move(bytes), dice);
}

} // namespace ox3d::attack
