// ViewerWire.cpp - what a client of the viewer sends: messages, and the headers that decide whether it is served. What is
// read is within its bounds, and a client never has more to send than one image of each stream that it looks at.
#include "fuzz/Input.h"
#include "viewer/server/Client.h"
#include "viewer/server/DepthPacker.h"

namespace {

using namespace ox3d::viewer;
using ox3d::fuzz::CInput;

void CheckMessage(const ClientMessage& message, CClient* client) {
    if (const auto* const wish = std::get_if<Subscribe>(&message); wish != nullptr) {
        OX3D_FUZZ_EXPECT(!wish->m_camera.empty() && wish->m_fps >= 0 && wish->m_fps <= 1000);
        const uint16_t camera = static_cast<uint8_t>(wish->m_camera[0]);
        client->Look(camera, *wish);
        client->Hear({"subscribed", SubscribedText(*wish, camera), camera, EAudience::All});
        Wishes wishes;
        client->AddWishes(camera, &wishes);
        OX3D_FUZZ_EXPECT(wishes.m_depth == wish->m_depth && wishes.m_color == wish->m_color);
        return;
    }
    const auto& seen = std::get<Acknowledge>(message);
    client->Acknowledged(static_cast<uint8_t>(seen.m_camera[0]), seen.m_stream, seen.m_number);
}

// All images that the client can be sent now; one of each stream of each camera at most.
void Drain(CClient* client) {
    size_t images = 0;
    while (const auto next = client->TakeNext()) {
        images += next->m_packet == nullptr ? 0 : 1;
    }
    OX3D_FUZZ_EXPECT(images <= kStreams * client->Cameras().size());
    OX3D_FUZZ_EXPECT(!client->TakeNext());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t lengthBytes) {
    CInput input(data, lengthBytes);
    CClient client;
    uint32_t number = 0;
    while (input.Left() > 0) {
        const std::string line = input.TextUntil('\n');
        if (const auto message = ParseClientMessage(line)) {
            CheckMessage(*message, &client);
        }
        for (const uint16_t camera : client.Cameras()) {
            ImageHeader header;
            header.m_number = ++number;
            client.Offer(camera, EStream::Depth, MakePacket(header, {}), uint64_t{number} * 10000);
            client.Offer(camera, EStream::Color, MakePacket(header, {}), uint64_t{number} * 10000);
        }
        Drain(&client);
        const std::string names[] = {"localhost", line};
        OX3D_FUZZ_EXPECT(IsHostAllowed(line, names, 1));
        OX3D_FUZZ_EXPECT(!IsBearer(line, "0123456789abcdef") || line.substr(7) == "0123456789abcdef");
        OX3D_FUZZ_EXPECT(!HasTokenProtocol(line, "0123456789abcdef") ||
                         line.find("ox3d.token.0123456789abcdef") != line.npos);
        IsOriginAllowed(line, line);
    }
    return 0;
}
