// TestDomain.h - a participant of the built module.
#ifndef OX3D_TESTS_ROS2_TEST_DOMAIN_H
#define OX3D_TESTS_ROS2_TEST_DOMAIN_H

#include "ros2/Dds.h"

#include <cstdlib>
#include <dlfcn.h>
#include <gtest/gtest.h>

namespace ox3d::ros2 {

// Participants on the loopback interface alone, in domains that no other test uses.
inline std::unique_ptr<IDomain> OpenDomain(uint32_t number, std::string* error) {
    setenv("CYCLONEDDS_URI",
           "<General><Interfaces><NetworkInterface name=\"lo\" multicast=\"false\"/></Interfaces>"
           "<AllowMulticast>false</AllowMulticast></General>"
           "<Discovery><Peers><Peer address=\"127.0.0.1\"/></Peers></Discovery>",
           1);
    void* const module = dlopen(OX3D_ROS2_MODULE, RTLD_NOW | RTLD_LOCAL);
    EXPECT_NE(module, nullptr) << dlerror();
    const auto open = reinterpret_cast<OpenFunction>(dlsym(module, kOpenSymbol));
    DomainOptions options;
    options.m_number = number;
    return std::unique_ptr<IDomain>(open(options, error));
}

} // namespace ox3d::ros2

#endif
