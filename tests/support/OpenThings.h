// OpenThings.h - what this process holds: files, threads and memory, for tests that nothing is left behind.
#ifndef OX3D_TESTS_SUPPORT_OPEN_THINGS_H
#define OX3D_TESTS_SUPPORT_OPEN_THINGS_H

#include <gtest/gtest.h>
#include <malloc.h>

#include <filesystem>

#include "tests/support/Waiting.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#elif defined(__has_feature)
constexpr bool kSanitized = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
constexpr bool kSanitized = false;
#endif

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
    Eventually([&] { return Threads() <= expected; });
    return Threads();
}

// The heap's blocks and mappings. Nothing under the sanitizers, which bring their own heap and find leaks.
inline size_t HeapBytes() {
    return kSanitized ? 0 : mallinfo2().uordblks + mallinfo2().hblkhd;
}

// Rounds after some to warm up leave no thread, no file and less than so much memory. A fatal failure ends them.
template <typename TRound>
void ExpectRoundsLeaveNothing(int warmUps, int rounds, size_t slackBytes, TRound round) {
    for (int i = 0; i < warmUps; ++i) {
        ASSERT_NO_FATAL_FAILURE(round());
    }
    const size_t threads = Threads();
    const size_t files = OpenFiles();
    const size_t bytes = HeapBytes();
    for (int i = 0; i < rounds; ++i) {
        ASSERT_NO_FATAL_FAILURE(round());
    }
    EXPECT_LE(ThreadsSettled(threads), threads);
    EXPECT_EQ(OpenFiles(), files);
    EXPECT_LE(HeapBytes(), bytes + slackBytes);
}

} // namespace ox3d::test

#endif
