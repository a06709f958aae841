// Who is connected.
#include "viewer/server/Peers.h"

namespace ox3d::viewer {
namespace {

constexpr size_t kMaxPeers = 4096; // that are remembered

} // namespace

bool CPeers::MayConnect(const std::string& address) const {
    const auto peer = m_peers.find(address);
    const size_t ofOne = peer == m_peers.end() ? 0 : peer->second.m_connections;
    return m_addresses.size() < kMaxConnections && ofOne < kMaxConnectionsOfOne;
}

void CPeers::Connected(const void* connection, const std::string& address) {
    Disconnected(connection);
    m_addresses.emplace(connection, address);
    ++m_peers.try_emplace(address, Peer{0, CAllowance(m_requestsPerSecond)}).first->second.m_connections;
}

void CPeers::Disconnected(const void* connection) {
    const auto known = m_addresses.find(connection);
    if (known == m_addresses.end()) {
        return;
    }
    const auto peer = m_peers.find(known->second);
    if (peer != m_peers.end()) {
        --peer->second.m_connections;
    }
    m_addresses.erase(known);
    if (m_peers.size() > kMaxPeers) { // one that comes back begins anew
        std::erase_if(m_peers, [](const auto& one) { return one.second.m_connections == 0; });
    }
}

CAllowance* CPeers::AllowanceOf(const void* connection) {
    const auto known = m_addresses.find(connection);
    const auto peer = known == m_addresses.end() ? m_peers.end() : m_peers.find(known->second);
    return peer == m_peers.end() ? nullptr : &peer->second.m_requests;
}

} // namespace ox3d::viewer
