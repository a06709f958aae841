// Waiting.h - conditions and values that a test waits for. The bound only keeps a failure from hanging.
#ifndef OX3D_TESTS_SUPPORT_WAITING_H
#define OX3D_TESTS_SUPPORT_WAITING_H

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>
#include <utility>

namespace ox3d::test {

constexpr std::chrono::seconds kPatience{60};

// True as soon as the condition holds.
template <typename TCondition>
bool Eventually(TCondition condition) {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

// A value that threads change and a test waits for. It may go as soon as it has its last value: it lets threads
// that wait for that one leave first.
template <typename TValue>
class CWatched {
public:
    CWatched() = default;
    ~CWatched() {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return m_waiting == 0; });
    }
    CWatched(const CWatched&) = delete;
    CWatched& operator=(const CWatched&) = delete;

    template <typename TChange>
    void Change(TChange change) {
        const std::lock_guard lock(m_mutex);
        change(m_value);
        m_changed.notify_all();
    }
    void Set(TValue value) {
        Change([&](TValue& own) { own = std::move(value); });
    }
    // Whether the value satisfied the condition in time.
    template <typename TCondition>
    bool WaitFor(TCondition condition) {
        std::unique_lock lock(m_mutex);
        ++m_waiting;
        const bool isSatisfied =
            m_changed.wait_for(lock, kPatience, [&] { return condition(std::as_const(m_value)); });
        --m_waiting;
        m_changed.notify_all();
        return isSatisfied;
    }
    TValue Get() const {
        const std::lock_guard lock(m_mutex);
        return m_value;
    }

private:
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    uint32_t m_waiting = 0;
    TValue m_value{};
};

// Raised once, by any thread.
class CFlag : public CWatched<bool> {
public:
    void Raise() { Set(true); }
    bool IsRaised() const { return Get(); }
    bool Wait() {
        return WaitFor([](bool isRaised) { return isRaised; });
    }
};

} // namespace ox3d::test

#endif
