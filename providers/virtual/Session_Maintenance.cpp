// Session_Maintenance.cpp - files, firmware and network configuration of a handle's camera.
#include "LocalFile.h"
#include "Session.h"
#include "Status.h"

namespace ox3d {

void CSession::SetProgress(int64_t completed, int64_t total) {
    const std::lock_guard lock(m_progressMutex);
    m_progress.nCompleted = completed;
    m_progress.nTotal = total;
}

OX_CC_FILE_ACCESS_PROGRESS CSession::FileProgress() const {
    const std::lock_guard lock(m_progressMutex);
    return m_progress;
}

int CSession::ReadDeviceFile(const std::string& deviceFile, const std::string& localFile) {
    std::shared_ptr<CConnection> connection;
    if (const int code = Connected(false, &connection); code != kOk) {
        return code;
    }
    SetProgress(0, 0);
    std::vector<uint8_t> bytes;
    const EModelStatus status = connection->Model().ReadFile(deviceFile, &bytes);
    if (status != EModelStatus::Ok) {
        return ToCode(status);
    }
    const auto total = static_cast<int64_t>(bytes.size());
    SetProgress(0, total);
    if (!WriteLocalFile(localFile, bytes.data(), bytes.size())) {
        return Code(OX_CC_E_PARAMETER);
    }
    SetProgress(total, total);
    return kOk;
}

int CSession::WriteDeviceFile(const std::string& deviceFile, const std::string& localFile) {
    std::shared_ptr<CConnection> connection;
    if (const int code = Connected(true, &connection); code != kOk) {
        return code;
    }
    SetProgress(0, 0);
    std::vector<uint8_t> bytes;
    if (!ReadLocalFile(localFile, CFileStore::kMostBytes, &bytes)) {
        return Code(OX_CC_E_PARAMETER);
    }
    const auto total = static_cast<int64_t>(bytes.size());
    SetProgress(0, total);
    const EModelStatus status = connection->Model().WriteFile(deviceFile, std::move(bytes));
    if (status == EModelStatus::Ok) {
        SetProgress(total, total);
    }
    return ToCode(status);
}

int CSession::StartUpgrade(const std::string& path) {
    std::shared_ptr<CConnection> connection;
    if (const int code = Connected(true, &connection); code != kOk) {
        return code;
    }
    if (LocalFileBytes(path) == 0) {
        return Code(OX_CC_E_PARAMETER);
    }
    const std::lock_guard lock(m_mutex);
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
    const std::lock_guard lock(m_mutex);
    if (m_upgrade != nullptr && m_upgrade->HasFailed()) {
        return Code(OX_CC_E_UNKNOWN);
    }
    *percent = m_upgrade == nullptr ? 0 : m_upgrade->Percent();
    return kOk;
}

// The network configuration is set with the camera bound, open or not: what matters is that nobody else
// holds it, and that no frames are under way.
int CSession::CheckNetwork() const {
    if (m_slot->Model()->Config().m_transport != ETransport::GigE) {
        return Code(OX_CC_E_SUPPORT);
    }
    if (!m_slot->IsPresent()) {
        return kDeviceGone;
    }
    const std::lock_guard lock(m_mutex);
    if (m_stream != nullptr) {
        return Code(OX_CC_E_CALL_ORDER);
    }
    const bool isMine = m_connection != nullptr && m_connection->MayWrite();
    return isMine || m_slot->IsAccessible(OX_CC_ACCESS_CONTROL) ? kOk : Code(OX_CC_E_ACCESS_DENIED);
}

int CSession::ForceIp(uint32_t ip, const uint32_t* maskAndGateway) {
    if (const int code = CheckNetwork(); code != kOk) {
        return code;
    }
    const std::shared_ptr<CCameraModel> model = m_slot->Model();
    if (maskAndGateway != nullptr) {
        return ToCode(model->ForceIp(ip, maskAndGateway[0], maskAndGateway[1]));
    }
    const CameraIdentity now = model->Identity();
    return ToCode(model->ForceIp(ip, now.m_mask, now.m_gateway));
}

int CSession::SetIpMode(uint32_t mode) {
    if (const int code = CheckNetwork(); code != kOk) {
        return code;
    }
    return ToCode(m_slot->Model()->SetIpMode(mode));
}

} // namespace ox3d
