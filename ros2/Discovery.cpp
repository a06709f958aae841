// Discovery.cpp - which hosts take part, as variables of ROS 2 say.
#include "ros2/Discovery.h"

#include <cstdlib>
#include <sstream>

namespace ox3d::ros2 {
namespace {

std::string Variable(const char* name) {
    const char* const set = std::getenv(name);
    return set == nullptr ? std::string() : std::string(set);
}

void AddPeers(const std::string& list, std::vector<std::string>* peers) {
    std::istringstream entries(list);
    for (std::string peer; std::getline(entries, peer, ';');) {
        if (!peer.empty()) {
            peers->push_back(peer);
        }
    }
}

} // namespace

bool ReadDiscovery(DomainOptions* options, std::string* note, std::string* error) {
    // The older variable goes before the two that came after it.
    if (Variable("ROS_LOCALHOST_ONLY") == "1") {
        options->m_isLocal = true;
        if (options->m_interfaces.empty()) {
            options->m_interfaces = {"lo"}; // nodes of Humble have no other then
        }
        return true;
    }
    const std::string range = Variable("ROS_AUTOMATIC_DISCOVERY_RANGE");
    if (range == "OFF") {
        *error = "ROS_AUTOMATIC_DISCOVERY_RANGE is OFF: nobody could find what is published";
        return false;
    }
    if (range == "SYSTEM_DEFAULT") {
        return true; // static peers are for the other ranges
    }
    options->m_isLocal = !range.empty() && range != "SUBNET";
    if (options->m_isLocal && range != "LOCALHOST") {
        *note = "ROS_AUTOMATIC_DISCOVERY_RANGE is not known, so LOCALHOST is taken: " + range;
    }
    AddPeers(Variable("ROS_STATIC_PEERS"), &options->m_peers);
    return true;
}

} // namespace ox3d::ros2
