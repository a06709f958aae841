// Upgrade.h - a firmware upgrade in the background, from 0 to 100 percent.
#ifndef OX3D_PROVIDER_UPGRADE_H
#define OX3D_PROVIDER_UPGRADE_H

#include <atomic>
#include <memory>
#include <string>

#include "providers/common/Connection.h"
#include "providers/common/Worker.h"

namespace ox3d {

class CUpgrade : public std::enable_shared_from_this<CUpgrade> {
public:
    CUpgrade(std::shared_ptr<CConnection> connection, std::string path)
        : m_connection(std::move(connection)), m_path(std::move(path)) {}

    bool Start();
    // Gives the upgrade up; the camera keeps its firmware.
    void Stop();
    bool IsRunning() const { return m_worker.IsRunning(); }
    bool HasFailed() const { return m_hasFailed.load(); }
    uint32_t Percent() const { return m_percent.load(); }

private:
    void Run();

    const std::shared_ptr<CConnection> m_connection;
    const std::string m_path;
    std::atomic<uint32_t> m_percent{0};
    std::atomic<bool> m_hasFailed{false};
    std::atomic<bool> m_isStopping{false};
    CWorker m_worker;
};

} // namespace ox3d

#endif
