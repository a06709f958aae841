// Wire.h - what passes between the page and the server: messages, the header of images, and what a request has to say to be
// served. Pure functions; all that comes in is hostile.
#ifndef OX3D_VIEWER_WIRE_H
#define OX3D_VIEWER_WIRE_H

#include "viewer/server/Viewer.h"

#include <array>
#include <span>
#include <string_view>
#include <variant>

namespace ox3d::viewer {

constexpr size_t kMaxMessageBytes = 4096;
constexpr const char* kProtocol = "ox3d.v1";
constexpr const char* kTokenProtocol = "ox3d.token.";

struct Subscribe {
    std::string m_camera;
    bool m_depth = false;
    bool m_color = false;
    bool m_stats = false;
    double m_fps = 0; // 0: all
};

struct Acknowledge {
    std::string m_camera;
    EStream m_stream = EStream::Depth;
    uint32_t m_number = 0;
};

using ClientMessage = std::variant<Subscribe, Acknowledge>;
// Nothing of a text that is neither.
std::optional<ClientMessage> ParseClientMessage(std::string_view text);

// {"type":"subscribed", ...}
std::string SubscribedText(const Subscribe& wish, uint16_t camera);

enum class ECodec : uint8_t { Raw16 = 0, DeltaZstd = 1, Jpeg = 2 };

struct ImageHeader {
    EStream m_stream = EStream::Depth;
    ECodec m_codec = ECodec::Raw16;
    uint16_t m_camera = 0;
    uint32_t m_number = 0;
    uint64_t m_ticks = 0;
    uint16_t m_width = 0;
    uint16_t m_height = 0;
    uint32_t m_payloadBytes = 0;
    uint64_t m_arrivalUs = 0; // UTC
};
constexpr size_t kHeaderBytes = 32;
std::array<uint8_t, kHeaderBytes> PackHeader(const ImageHeader& header);
// The number out of a packed header.
uint32_t NumberIn(const Packet& packet);

// What a sample is more than the one to its left, modulo 2^16; of the first of a row the sample. Returns how many samples
// are not 0.
uint64_t LeftDelta(std::span<const uint16_t> samples, uint32_t width, std::span<uint16_t> delta);

// As long as the texts are of one length it takes the same time, whatever they are.
bool IsSameText(std::string_view left, std::string_view right);
// Whether a list of WebSocket protocols has the token among it.
bool HasTokenProtocol(std::string_view protocols, std::string_view token);
// "Bearer T".
bool IsBearer(std::string_view authorization, std::string_view token);
// Whether a Host header is one of the names, as it stands there or with the port.
bool IsHostAllowed(std::string_view host, std::span<const std::string> names, uint16_t port);
// An Origin header, where there is one, has to be that of the Host header.
bool IsOriginAllowed(std::string_view origin, std::string_view host);

// What a browser says of the page that asks (Sec-Fetch-Site): this one, none, or nothing at all.
bool IsSiteAllowed(std::string_view fetchSite);

// {"error": ..., "status": ..., "name": ...}
std::string ErrorText(const std::string& sentence, uint32_t status = 0, const std::string& name = "");

// Frames not above a rate: so many a second, or all with 0.
class CPace {
public:
    explicit CPace(double fps) : m_periodUs(fps > 0 ? 1e6 / fps : 0) {}
    // Half a period early is in time, so that a camera of nearly that rate loses none by turns.
    bool IsDue(uint64_t nowUs);

private:
    double m_periodUs;
    double m_nextUs = 0;
};

// So many a second on average, and as many at once.
class CAllowance {
public:
    explicit CAllowance(double perSecond) : m_perSecond(perSecond), m_left(perSecond) {}
    bool Take(uint64_t nowUs);

private:
    double m_perSecond;
    double m_left;
    uint64_t m_lastUs = 0;
};

} // namespace ox3d::viewer

#endif
