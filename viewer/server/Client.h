// Client.h - one WebSocket client: what it looks at and what it is sent next. Newest wins: a slot holds one message that
// waits and knows of one that was not acknowledged yet, so that a client that stalls costs two images of memory.
// The server's thread alone.
#ifndef OX3D_VIEWER_CLIENT_H
#define OX3D_VIEWER_CLIENT_H

#include "viewer/server/Wire.h"

namespace ox3d::viewer {

class CClient {
public:
    // Replaces what it looked at of that camera.
    void Look(uint16_t camera, const Subscribe& wish);
    // Whether something can be sent that could not before.
    bool Offer(uint16_t camera, EStream stream, const PacketPointer& packet, uint64_t nowUs);
    bool Acknowledged(uint16_t camera, EStream stream, uint32_t number);
    // Whether it is for this client.
    bool Hear(const Telling& telling);

    // Of a client that has let many pass there are none until it acknowledges: nothing is encoded for who does not look.
    void AddWishes(uint16_t camera, Wishes* wishes) const;
    std::vector<uint16_t> Cameras() const;

    // One of the two, or nothing.
    struct Next {
        std::string m_text;
        PacketPointer m_packet;
    };
    std::optional<Next> TakeNext();

private:
    struct Slot {
        bool m_isWanted = false;
        PacketPointer m_waiting;
        bool m_isUnderWay = false; // sent and not acknowledged
        uint32_t m_overtaken = 0;  // images that came meanwhile
        uint32_t m_number = 0;     // of that one
        CPace m_pace{0};
    };
    struct View {
        std::array<Slot, kStreams> m_slots;
        bool m_hasStats = false;
    };

    std::map<uint16_t, View> m_views;
    std::vector<std::pair<std::string, std::string>> m_texts; // by key, in the order in which keys came
    uint16_t m_lastCamera = 0;                                // that was sent an image of: others come first
};

} // namespace ox3d::viewer

#endif
