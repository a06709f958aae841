// StreamFilter.cpp - see StreamFilter.h. Relies on /proc and on a filter of the kernel (BPF) for one socket.
#include "providers/aravis/StreamFilter.h"

#include <arpa/inet.h>
#include <linux/filter.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <charconv>
#include <chrono>
#include <filesystem>
#include <string>
#include <thread>

namespace ox3d {
namespace {

constexpr std::chrono::seconds kMaxDrain{1};
constexpr std::chrono::milliseconds kDrainPoll{1};
constexpr uint32_t kSourceAddress = 12; // in the header of IPv4

bool IsUdpAt(int descriptor, const Endpoint& local) {
    int type = 0;
    socklen_t typeBytes = sizeof(type);
    sockaddr_in address{};
    socklen_t addressBytes = sizeof(address);
    return getsockopt(descriptor, SOL_SOCKET, SO_TYPE, &type, &typeBytes) == 0 && type == SOCK_DGRAM &&
           getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &addressBytes) == 0 &&
           address.sin_family == AF_INET && ntohs(address.sin_port) == local.m_port &&
           ntohl(address.sin_addr.s_addr) == local.m_ip;
}

int FindUdp(const Endpoint& local) {
    std::error_code error;
    for (std::filesystem::directory_iterator file("/proc/self/fd", error), end; !error && file != end;
         file.increment(error)) {
        const std::string name = file->path().filename().string();
        int descriptor = -1;
        std::from_chars(name.data(), name.data() + name.size(), descriptor);
        if (IsUdpAt(descriptor, local)) {
            return descriptor;
        }
    }
    return -1;
}

} // namespace

bool AcceptOnlyFrom(uint32_t cameraIp, const Endpoint& local) {
    const int descriptor = FindUdp(local);
    constexpr uint32_t kFromNetworkHeader = static_cast<uint32_t>(SKF_NET_OFF);
    sock_filter steps[] = {
        {BPF_LD | BPF_W | BPF_ABS, 0, 0, kFromNetworkHeader + kSourceAddress},
        {BPF_JMP | BPF_JEQ | BPF_K, 0, 1, cameraIp},
        {BPF_RET | BPF_K, 0, 0, UINT32_MAX},
        {BPF_RET | BPF_K, 0, 0, 0},
    };
    const sock_fprog program{static_cast<uint16_t>(std::size(steps)), steps};
    if (descriptor < 0 ||
        setsockopt(descriptor, SOL_SOCKET, SO_ATTACH_FILTER, &program, sizeof(program)) != 0) {
        return false;
    }
    const auto until = std::chrono::steady_clock::now() + kMaxDrain;
    int waitingBytes = 1;
    while (waitingBytes > 0 && std::chrono::steady_clock::now() < until) {
        if (ioctl(descriptor, FIONREAD, &waitingBytes) != 0) {
            break;
        }
        std::this_thread::sleep_for(kDrainPoll); // the last one has been taken, and is being looked at
    }
    return true;
}

} // namespace ox3d
