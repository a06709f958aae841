// CameraModel_Files.cpp - the file store, firmware, and the camera's place in the network.
#include <charconv>

#include "base/Ipv4.h"
#include "virtual-camera/CameraModel.h"

namespace ox3d {

EModelStatus CCameraModel::ReadFile(std::string_view name, std::vector<uint8_t>* out) {
    Delay();
    const CLock lock(m_mutex);
    const std::vector<uint8_t>* bytes = m_files.Find(name);
    if (bytes == nullptr) {
        const bool isExpected = name == kCalibrationFile || name == kSystemCalibrationFile;
        return isExpected ? EModelStatus::NoData : EModelStatus::Argument;
    }
    *out = *bytes;
    return EModelStatus::Ok;
}

EModelStatus CCameraModel::WriteFile(std::string_view name, std::vector<uint8_t> bytes) {
    Delay();
    const CLock lock(m_mutex);
    const EModelStatus status = m_files.Write(name, std::move(bytes));
    if (status == EModelStatus::Ok && name == kFirmwareFile) {
        BumpVersion();
    }
    return status;
}

void CCameraModel::InstallFirmware() {
    const CLock lock(m_mutex);
    BumpVersion();
}

// "1.0.0" becomes "1.0.1"; a version without a number at its end gets ".1".
void CCameraModel::BumpVersion() {
    const MappedFeature& feature = *m_features.Find(EFeature::DeviceVersion);
    std::string version = m_registers.Text(feature.m_address, feature.m_row->m_lengthBytes);
    const size_t lastText = version.find_last_not_of("0123456789");
    const size_t digits = lastText == version.npos ? 0 : lastText + 1;
    uint32_t number = 0;
    const auto parsed = std::from_chars(version.data() + digits, version.data() + version.size(), number);
    if (digits == version.size() || parsed.ec != std::errc{}) {
        version += ".1";
    } else {
        version.replace(digits, version.npos, std::to_string(number + 1));
    }
    m_registers.SetText(feature.m_address, feature.m_row->m_lengthBytes, version);
}

EModelStatus CCameraModel::RunFileOperation() {
    const FeatureRow& files = *m_features.Find(EFeature::FileSelector)->m_row;
    std::vector<uint8_t> buffer(kFileBufferBytes);
    m_registers.Read(kFileBuffer, buffer.data(), buffer.size());
    CFileAccess::Request request{};
    request.m_operation = static_cast<EFileOperation>(Value(EFeature::FileOperationSelector));
    request.m_file = m_features.EntryByValue(files, Value(EFeature::FileSelector))->m_name;
    request.m_openMode = static_cast<uint32_t>(Value(EFeature::FileOpenMode));
    request.m_offset = static_cast<uint64_t>(Value(EFeature::FileAccessOffset));
    request.m_lengthBytes = static_cast<uint64_t>(Value(EFeature::FileAccessLength));
    request.m_buffer = &buffer;
    const bool isFirmwareWritten = request.m_operation == EFileOperation::Close &&
                                   m_fileAccess.OpenFile() == kFirmwareFile &&
                                   m_fileAccess.IsOpenForWriting();
    uint64_t moved = 0;
    const EFileStatus status = m_fileAccess.Execute(&m_files, request, &moved);
    if (status == EFileStatus::Success && request.m_operation == EFileOperation::Read) {
        m_registers.Write(kFileBuffer, buffer.data(), moved);
    }
    SetValue(EFeature::FileOperationStatus, static_cast<int64_t>(status));
    SetValue(EFeature::FileOperationResult, static_cast<int64_t>(moved));
    if (status == EFileStatus::Success && isFirmwareWritten) {
        BumpVersion();
        if (m_config.m_faults.m_rebootsOnFirmware != 0) {
            Unplug();
        }
    }
    return EModelStatus::Ok; // how it went is in the status feature, as with every camera
}

EModelStatus CCameraModel::ForceIp(uint32_t ip, uint32_t mask, uint32_t gateway) {
    const CLock lock(m_mutex);
    if (m_config.m_transport != ETransport::GigE || !IsHostAddress(ip) || !IsSubnetMask(mask)) {
        return EModelStatus::Argument;
    }
    SetValue(EFeature::GevCurrentIPAddress, ip);
    SetValue(EFeature::GevCurrentSubnetMask, mask);
    SetValue(EFeature::GevCurrentDefaultGateway, gateway);
    // A static configuration is set by its mode and then its address: the address has to last.
    if (Value(EFeature::GevCurrentIPConfigurationPersistentIP) != 0) {
        SetValue(EFeature::GevPersistentIPAddress, ip);
        SetValue(EFeature::GevPersistentSubnetMask, mask);
        SetValue(EFeature::GevPersistentDefaultGateway, gateway);
    }
    return EModelStatus::Ok;
}

EModelStatus CCameraModel::SetIpMode(uint32_t mode) {
    const CLock lock(m_mutex);
    const bool isKnown = mode == kIpModePersistent || mode == kIpModeDhcp || mode == kIpModeLinkLocal;
    if (m_config.m_transport != ETransport::GigE || !isKnown) {
        return EModelStatus::Argument;
    }
    SetValue(EFeature::GevCurrentIPConfigurationPersistentIP, mode == kIpModePersistent);
    SetValue(EFeature::GevCurrentIPConfigurationDHCP, mode == kIpModeDhcp);
    return EModelStatus::Ok;
}

void CCameraModel::RenewIp() {
    const CLock lock(m_mutex);
    RestartNetwork();
}

// The address after a restart. The address of the camera list stands for what a DHCP server would give.
void CCameraModel::RestartNetwork() {
    if (m_config.m_transport != ETransport::GigE) {
        return;
    }
    constexpr uint32_t kLinkLocalNet = 0xA9FE0000;
    constexpr uint32_t kLinkLocalMask = 0xFFFF0000;
    uint32_t ip = kLinkLocalNet | 0x0100 | static_cast<uint32_t>(m_config.m_mac & 0xFF);
    uint32_t mask = kLinkLocalMask;
    uint32_t gateway = 0;
    if (Value(EFeature::GevCurrentIPConfigurationPersistentIP) != 0) {
        ip = static_cast<uint32_t>(Value(EFeature::GevPersistentIPAddress));
        mask = static_cast<uint32_t>(Value(EFeature::GevPersistentSubnetMask));
        gateway = static_cast<uint32_t>(Value(EFeature::GevPersistentDefaultGateway));
    } else if (Value(EFeature::GevCurrentIPConfigurationDHCP) != 0) {
        ip = m_config.m_ip;
        mask = m_config.m_mask;
        gateway = m_config.m_gateway;
    }
    SetValue(EFeature::GevCurrentIPAddress, ip);
    SetValue(EFeature::GevCurrentSubnetMask, mask);
    SetValue(EFeature::GevCurrentDefaultGateway, gateway);
}

} // namespace ox3d
