// Rows that threads work on side by side, each row close behind the one before it: a thread takes the next row that
// nobody has, and goes along it as far as the row before allows. Relies on rows being taken in their order, so that
// the row that another waits for is at work already, whatever the number of threads.
#pragma once

#include <atomic>
#include <cstdint>

namespace ox3d::stereo {

constexpr int32_t kMaxMatchThreads = 4;

class CWavefront {
public:
    // A thread begins. False where it would only be in the way.
    bool Enter() noexcept {
        if (m_isCrowded.load(std::memory_order_relaxed)) {
            return false;
        }
        m_threads.fetch_add(1, std::memory_order_relaxed);
        return true;
    }

    // Whether a thread that had to sleep so often until it did this row may go, since others remain. Where processors are busy with other
    // work, threads that wait for each other are slower than one: each waits until the other has its turn again.
    bool Leaves(uint64_t row, uint32_t sleeps) noexcept {
        if (sleeps * kRowsOfASleep <= row + kRowsBefore) {
            return false;
        }
        m_isCrowded.store(true, std::memory_order_relaxed);
        uint32_t threads = m_threads.load(std::memory_order_relaxed);
        while (threads > 1) {
            if (m_threads.compare_exchange_weak(threads, threads - 1, std::memory_order_relaxed)) {
                return true;
            }
        }
        return false;
    }

    // A row that none has taken yet; the first is 1.
    uint64_t Take() noexcept { return m_next.fetch_add(1, std::memory_order_relaxed); }

    // `columns` of the row are done, counted from where the walk along it began.
    void Publish(uint64_t row, int32_t columns) noexcept {
        std::atomic<uint64_t>& progress = m_progress[row % kRows].m_value;
        progress.store(ValueOf(row, columns), std::memory_order_release);
        progress.notify_all();
    }

    // Returns when so many columns of the row are done: how often it slept for that. There is no row before the first.
    uint32_t Await(uint64_t row, int32_t columns) noexcept {
        std::atomic<uint64_t>& progress = m_progress[row % kRows].m_value;
        const uint64_t wanted = row == 0 ? 0 : ValueOf(row, columns);
        uint64_t value = progress.load(std::memory_order_acquire);
        // The other thread is about as fast: to wait for it in the kernel would take longer than it takes.
        for (int32_t i = 0; value < wanted && i < kLooks; ++i) {
            Pause();
            value = progress.load(std::memory_order_acquire);
        }
        uint32_t sleeps = 0;
        for (; value < wanted; ++sleeps) {
            progress.wait(value, std::memory_order_acquire);
            value = progress.load(std::memory_order_acquire);
        }
        return sleeps;
    }

private:
    // More than there are rows at work at a time: a later row in the place of an earlier one has to be behind a row
    // that waits for that one.
    static constexpr uint64_t kRows = uint64_t{2} * kMaxMatchThreads;
    static constexpr int32_t kLooks = 1000;
    static constexpr uint64_t kRowsOfASleep = 32; // a sleep takes as long as many rows
    static constexpr uint64_t kRowsBefore = 256;  // of patience to begin with

    struct alignas(64) Progress { // a cache line to each
        std::atomic<uint64_t> m_value{0};
    };

    static uint64_t ValueOf(uint64_t row, int32_t columns) {
        return row << 32 | static_cast<uint32_t>(columns);
    }

    static void Pause() noexcept {
#if defined(__x86_64__)
        __builtin_ia32_pause();
#endif
    }

    std::atomic<uint32_t> m_threads{0};
    std::atomic<bool> m_isCrowded{false};
    std::atomic<uint64_t> m_next{1};
    Progress m_progress[kRows];
};

} // namespace ox3d::stereo
