// OwnTime.cpp - see OwnTime.h.
#include "fuzz/session/OwnTime.h"

#include <atomic>
#include <thread>

namespace ox3d::session {
namespace {

constexpr std::chrono::milliseconds kBeat{5};

std::atomic<int64_t> g_beats{0};

} // namespace

std::chrono::milliseconds OwnTime() {
    static const bool s_isCounting = [] {
        std::thread([] {
            for (;; ++g_beats) {
                std::this_thread::sleep_for(kBeat);
            }
        }).detach();
        return true;
    }();
    return s_isCounting ? kBeat * g_beats.load() : kBeat;
}

} // namespace ox3d::session
