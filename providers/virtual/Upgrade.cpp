// Upgrade.cpp - sends a file to the camera in a hundred steps. A virtual camera keeps nothing of it but the
// fact: its version goes up.
#include "Upgrade.h"

#include <chrono>
#include <new>
#include <vector>

#include "LocalFile.h"

namespace ox3d {
namespace {

constexpr uint32_t kDone = 100;
constexpr std::chrono::milliseconds kStep{5};
constexpr uint64_t kMostFirmwareBytes = 256u << 20;

} // namespace

bool CUpgrade::Start() {
    return m_worker.Start([self = shared_from_this()] { self->Run(); });
}

void CUpgrade::Stop() {
    {
        const std::lock_guard lock(m_mutex);
        m_isStopping = true;
        m_changed.notify_all();
    }
    m_worker.Join();
}

bool CUpgrade::Pause() {
    std::unique_lock lock(m_mutex);
    return !m_changed.wait_for(lock, kStep, [this] { return m_isStopping; });
}

void CUpgrade::Run() {
    try {
        std::vector<uint8_t> firmware;
        if (!ReadLocalFile(m_path, kMostFirmwareBytes, &firmware) || firmware.empty()) {
            m_hasFailed = true;
            return;
        }
    } catch (const std::bad_alloc&) {
        m_hasFailed = true;
        return;
    }
    for (uint32_t percent = 1; percent < kDone; ++percent) {
        if (!Pause() || !m_connection->IsAlive()) {
            m_hasFailed = true;
            return;
        }
        m_percent = percent;
    }
    m_connection->Model().InstallFirmware();
    m_percent = kDone; // only now: whoever sees it also sees the new version
}

} // namespace ox3d
