// Viewer.h - what the tool and the server of `ox3d view` know of each other. The server is a module of its own, loaded when
// it is needed: it speaks HTTP and WebSocket, and knows nothing of cameras.
#ifndef OX3D_VIEWER_H
#define OX3D_VIEWER_H

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ox3d::viewer {

// Bytes before those that are sent, which the server frames them in.
constexpr size_t kHeadroomBytes = 64;

// One message for all clients: kHeadroomBytes, then the header of Wire.h and what belongs to it.
using Packet = std::vector<uint8_t>;
using PacketPointer = std::shared_ptr<Packet>;

enum class EStream : uint8_t { Depth = 1, Color = 2 };
constexpr size_t kStreams = 2;
inline size_t PlaceOf(EStream stream) {
    return static_cast<size_t>(stream) - 1;
}

struct Request {
    std::string m_method;
    std::string m_path; // decoded
    std::map<std::string, std::string> m_query;
    std::string m_body;
};

struct Answer {
    unsigned m_status = 200;
    std::string m_type = "application/json";
    std::string m_body;
};

// What clients want of one camera, all together.
struct Wishes {
    bool m_depth = false;
    bool m_color = false;
    uint32_t m_clients = 0;
    bool operator==(const Wishes&) const = default;
};

// Who hears a text.
enum class EAudience { All, OfCamera, OfStats };

struct Telling {
    std::string m_key; // a newer text of this key replaces one that waits
    std::string m_text;
    uint16_t m_camera = 0;
    EAudience m_audience = EAudience::All;
};

// The server, as cameras see it. Any thread; none waits.
class IAudience {
public:
    virtual ~IAudience() = default;
    virtual void Publish(uint16_t camera, EStream stream, PacketPointer packet) = 0;
    virtual void Tell(Telling telling) = 0;
};

// Cameras, as the server sees them.
class IStage {
public:
    virtual ~IStage() = default;
    // Before the first other call and, with null, to end: Serve() returns soon then, and nothing else is called any more.
    virtual void Attach(IAudience* audience) = 0;
    // May take its time: on a thread of the server's workers, several at once.
    virtual Answer Serve(const Request& request) = 0;
    // The other three do not wait: they are called by the thread that serves all clients.
    virtual std::optional<uint16_t> IndexOf(const std::string& camera) = 0;
    virtual void Want(uint16_t camera, const Wishes& wishes) = 0;
    // What a client that begins to look is told of the camera.
    virtual std::vector<Telling> Greeting(uint16_t camera) = 0;
};

struct ServerOptions {
    std::string m_address = "127.0.0.1"; // IPv4
    uint16_t m_port = 8580;              // 0: any that is free
    std::string m_token;                 // empty: none is asked for
    std::vector<std::string> m_hosts;    // names that the server may be called by, beside the address
    bool m_isReadOnly = false;
    std::string m_pageFolder;                     // empty: no page
    unsigned m_idleSeconds = 10;                  // a connection that says nothing for so long is closed
    size_t m_maxAnswerBytes = size_t{256} << 20U; // that are held until clients have read them
    // For an answer to be made, and again for it to be read, with a second more for every so many bytes of it.
    unsigned m_answerSeconds = 60;
    uint32_t m_leastBytesPerSecond = 65536;
    unsigned m_requestsPerSecond = 200; // for files of each address, and of all for what needs the token
    // A client that was silent for so long is sent a ping, and is gone when it is silent for so long.
    uint16_t m_pingSeconds = 20;
    uint16_t m_goneSeconds = 40; // whatever its socket says
};

// What the module gives. Serves until isOver() says so; onListening() is told the port. False with a reason where it could
// not begin.
using ServeFunction = bool (*)(const ServerOptions& options, IStage& stage, bool (*isOver)(),
                               void (*onListening)(uint16_t port, void* user), void* user,
                               std::string* error);
constexpr const char* kServeSymbol = "Ox3dViewerServe";

} // namespace ox3d::viewer

#endif
