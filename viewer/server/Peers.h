// Peers.h - connections by the address they come from, so that one address leaves places to others. The server's thread alone.
#ifndef OX3D_VIEWER_PEERS_H
#define OX3D_VIEWER_PEERS_H

#include "viewer/server/Wire.h"

namespace ox3d::viewer {

constexpr size_t kMaxConnections = 256;
constexpr size_t kMaxConnectionsOfOne = 128;

class CPeers {
public:
    explicit CPeers(double requestsPerSecond) : m_requestsPerSecond(requestsPerSecond) {} // of each address
    bool MayConnect(const std::string& address) const;
    // A connection is known by whatever address in memory it has.
    void Connected(const void* connection, const std::string& address);
    void Disconnected(const void* connection);
    // Of the connection's address; null where it is not known. Until the next connection comes or goes.
    CAllowance* AllowanceOf(const void* connection);

private:
    struct Peer {
        size_t m_connections = 0;
        CAllowance m_requests;
    };

    const double m_requestsPerSecond;
    std::map<const void*, std::string> m_addresses; // by connection
    std::map<std::string, Peer> m_peers;            // by address
};

} // namespace ox3d::viewer

#endif
