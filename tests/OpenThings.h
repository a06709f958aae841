// OpenThings.h - what this process holds open, for tests that nothing is left behind.
#ifndef OX3D_TEST_OPEN_THINGS_H
#define OX3D_TEST_OPEN_THINGS_H

#include <chrono>
#include <filesystem>
#include <thread>

namespace ox3d::test {

inline size_t OpenFiles() {
    const std::filesystem::directory_iterator files("/proc/self/fd");
    return static_cast<size_t>(std::distance(begin(files), end(files)));
}

// Needs no file descriptor.
inline size_t Threads() {
    return std::filesystem::hard_link_count("/proc/self/task") - 2;
}

// The number of threads once it is at most the expected one: the kernel lists a joined thread a moment longer.
inline size_t ThreadsSettled(size_t expected) {
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (Threads() > expected && std::chrono::steady_clock::now() < until) {
        std::this_thread::yield();
    }
    return Threads();
}

} // namespace ox3d::test

#endif
