// Upgrade.cpp - reads the firmware and hands it to the camera, noting what the camera says about progress.
#include "providers/common/Upgrade.h"

#include <algorithm>
#include <vector>

#include "base/ExceptionBarrier.h"
#include "base/LocalFile.h"
#include "providers/common/Status.h"

namespace ox3d {
namespace {

constexpr uint32_t kDone = 100;
constexpr uint64_t kMaxFirmwareBytes = 256u << 20;

} // namespace

bool CUpgrade::Start() {
    return m_worker.Start([self = shared_from_this()] {
        ExceptionBarrier([&] { self->Run(); },
                         [&](const std::exception*) { self->m_hasFailed = true; }); // no memory
    });
}

void CUpgrade::Stop() {
    m_isStopping = true;
    m_worker.Join();
}

void CUpgrade::Run() {
    std::vector<uint8_t> firmware;
    if (!ReadLocalFile(m_path, kMaxFirmwareBytes, &firmware) || firmware.empty()) {
        m_hasFailed = true;
        return;
    }
    const auto progress = [this](int64_t doneBytes, int64_t totalBytes) {
        const int64_t percent = totalBytes > 0 ? doneBytes * kDone / totalBytes : 0;
        m_percent = static_cast<uint32_t>(std::clamp<int64_t>(percent, 0, kDone - 1));
        return !m_isStopping.load() && m_connection->IsAlive();
    };
    if (m_connection->InstallFirmware(std::move(firmware), progress) != kOk) {
        m_hasFailed = true;
        return;
    }
    m_percent = kDone; // only now: a caller that sees it also sees the new version
}

} // namespace ox3d
