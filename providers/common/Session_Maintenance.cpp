// Session_Maintenance.cpp - files, firmware and network configuration of a handle's camera.
#include "base/LocalFile.h"
#include "providers/common/Session.h"
#include "providers/common/Status.h"

namespace ox3d {
namespace {

constexpr uint64_t kMaxFileBytes = 256u << 20;

} // namespace

bool CSession::SetProgress(int64_t completed, int64_t total) {
    const CLock lock(m_progressMutex);
    m_progress.nCompleted = completed;
    m_progress.nTotal = total;
    return true;
}

OX_CC_FILE_ACCESS_PROGRESS CSession::FileProgress() const {
    const CLock lock(m_progressMutex);
    return m_progress;
}

int CSession::ReadDeviceFile(const std::string& deviceFile, const std::string& localFile) {
    std::shared_ptr<CConnection> connection;
    if (const int code = Connected(false, &connection); code != kOk) {
        return code;
    }
    SetProgress(0, 0);
    std::vector<uint8_t> bytes;
    const auto progress = [this](int64_t done, int64_t total) { return SetProgress(done, total); };
    if (const int code = connection->ReadFile(deviceFile, progress, &bytes); code != kOk) {
        return code;
    }
    const auto total = static_cast<int64_t>(bytes.size());
    SetProgress(total, total);
    return WriteLocalFile(localFile, bytes.data(), bytes.size()) ? kOk : Code(OX_CC_E_PARAMETER);
}

int CSession::WriteDeviceFile(const std::string& deviceFile, const std::string& localFile) {
    std::shared_ptr<CConnection> connection;
    if (const int code = Connected(true, &connection); code != kOk) {
        return code;
    }
    SetProgress(0, 0);
    std::vector<uint8_t> bytes;
    if (!ReadLocalFile(localFile, kMaxFileBytes, &bytes)) {
        return Code(OX_CC_E_PARAMETER);
    }
    const auto total = static_cast<int64_t>(bytes.size());
    SetProgress(0, total);
    const auto progress = [this](int64_t done, int64_t all) { return SetProgress(done, all); };
    const int code = connection->WriteFile(deviceFile, std::move(bytes), progress);
    if (code == kOk) {
        SetProgress(total, total);
    }
    return code;
}

int CSession::StartUpgrade(const std::string& path) {
    std::shared_ptr<CConnection> connection;
    if (const int code = Connected(true, &connection); code != kOk) {
        return code;
    }
    if (LocalFileBytes(path) == 0) {
        return Code(OX_CC_E_PARAMETER);
    }
    const CLock lock(m_mutex);
    const bool isBusy = m_stream != nullptr || (m_upgrade != nullptr && m_upgrade->IsRunning());
    if (isBusy || m_connection != connection) {
        return Code(OX_CC_E_CALL_ORDER);
    }
    auto upgrade = std::make_shared<CUpgrade>(connection, path);
    if (!upgrade->Start()) {
        return Code(OX_CC_E_RESOURCE);
    }
    m_upgrade = std::move(upgrade);
    return kOk;
}

int CSession::UpgradePercent(uint32_t* percent) {
    std::shared_ptr<CConnection> connection;
    if (const int code = Connected(false, &connection); code != kOk) {
        return code;
    }
    const CLock lock(m_mutex);
    if (m_upgrade != nullptr && m_upgrade->HasFailed()) {
        return Code(OX_CC_E_UNKNOWN);
    }
    *percent = m_upgrade == nullptr ? 0 : m_upgrade->Percent();
    return kOk;
}

// The network configuration is set with the camera bound, open or not: what matters is that no other
// application has control, and that no frames are under way.
int CSession::CheckNetwork(std::shared_ptr<CConnection>* connection) const {
    if (!IsEthernet()) {
        return Code(OX_CC_E_SUPPORT);
    }
    {
        const CLock lock(m_mutex);
        if (m_stream != nullptr) {
            return Code(OX_CC_E_CALL_ORDER);
        }
        if (m_connection != nullptr && m_connection->MayWrite()) {
            *connection = m_connection;
        }
    }
    if (*connection != nullptr) {
        return (*connection)->IsAlive() ? kOk : kDeviceGone;
    }
    return m_camera->CheckForNetwork();
}

int CSession::ForceIp(uint32_t ip, const uint32_t* maskAndGateway) {
    std::shared_ptr<CConnection> connection;
    const int code = CheckNetwork(&connection);
    return code == kOk ? m_camera->ForceIp(connection, ip, maskAndGateway) : code;
}

int CSession::SetIpMode(uint32_t mode) {
    std::shared_ptr<CConnection> connection;
    const int code = CheckNetwork(&connection);
    return code == kOk ? m_camera->SetIpMode(connection, mode) : code;
}

} // namespace ox3d
