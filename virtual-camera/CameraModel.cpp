// CameraModel.cpp - a camera's life: its registers at power-up, its plug, and what outlives a power cycle.
#include "virtual-camera/CameraModel.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <thread>

#include "gigevision/Registers.h"
#include "virtual-camera/GenicamXml.h"
#include "virtual-camera/frames/GroundTruth.h"

namespace ox3d {
namespace {

constexpr uint32_t kGevUrlBytes = 512;
constexpr uint32_t kU3vManifestAddress = 0x01D0;
constexpr uint32_t kU3vManifest = 0x0800;

struct FixedWord {
    uint32_t m_address;
    uint32_t m_value;
};

// Bootstrap registers that no feature stands for: version 1.2, big-endian UTF-8 transmitter, one interface,
// one message and one stream channel. The control channel knows user name, serial number, events with data,
// resend, memory writes and several registers a command.
constexpr FixedWord kGevWords[] = {
    {gige::reg::kVersion, 0x00010002},    {gige::reg::kDeviceMode, 0x80000001},
    {gige::reg::kSupportedIpConfig, 7},   {gige::reg::kInterfaceCount, 1},
    {gige::reg::kMessageChannelCount, 1}, {gige::reg::kStreamChannelCount, 1},
    {gige::reg::kCapability, 0xC000001F},
};

bool IsSameSource(const FrameSourceConfig& a, const FrameSourceConfig& b) {
    return a.m_isRecording == b.m_isRecording && a.m_folder == b.m_folder &&
           a.m_depthWidth == b.m_depthWidth && a.m_depthHeight == b.m_depthHeight &&
           a.m_colorWidth == b.m_colorWidth && a.m_colorHeight == b.m_colorHeight;
}

uint16_t TraitsOf(const CameraConfig& config) {
    return config.m_kind == ECameraKind::Native ? kNativeTrait : TraitsOf(config.m_scan3d);
}

std::vector<uint8_t> BytesOf(const std::string& text) {
    return {text.begin(), text.end()};
}

// Network clients read whole words, also at the end of the description.
std::vector<uint8_t> WholeWords(std::vector<uint8_t> bytes) {
    bytes.resize((bytes.size() + 3) / 4 * 4);
    return bytes;
}

} // namespace

CCameraModel::CCameraModel(const CameraConfig& config, SourceFactory makeSource)
    : m_config(config), m_makeSource(std::move(makeSource)), m_features(config.m_transport, TraitsOf(config)),
      m_xml(GenicamXml(m_features, config.m_manufacturer, config.m_model)),
      m_sensor(CGroundTruth(config.m_source).Calibration().m_depth),
      m_registers(config.m_transport == ETransport::GigE), m_clockStart(std::chrono::steady_clock::now()),
      m_poweredAt(m_clockStart), m_pluggedAt(m_clockStart) {
    m_registers.AddArea(0, std::vector<uint8_t>(kBootstrapBytes));
    m_registers.AddArea(kFeatureArea, std::vector<uint8_t>(m_features.FeatureAreaBytes()));
    m_registers.AddArea(kFileBuffer, std::vector<uint8_t>(kFileBufferBytes));
    m_registers.AddArea(kXmlArea, WholeWords(BytesOf(m_xml)));
    FillDefaults();
    if (IsScan3d()) {
        FillScan3dDefaults();
    }
    FillIdentityRegisters();
    m_defaultSet = TakeSettings();
}

void CCameraModel::FillDefaults() {
    for (const MappedFeature& feature : m_features.Features()) {
        for (uint32_t slot = 0; slot < feature.m_slots; ++slot) {
            const FeatureRow& row = *feature.m_row;
            if (row.m_type == EFeatureType::Float) {
                m_registers.SetFloat(feature.AddressOf(slot), static_cast<float>(row.m_floatDefault));
            } else if (row.m_type != EFeatureType::String && row.m_type != EFeatureType::Register) {
                StoreRaw(feature, slot, static_cast<uint64_t>(row.m_default));
            }
        }
    }
    m_registers.SetFloat(m_features.Find(EFeature::AcquisitionFrameRate)->m_address,
                         static_cast<float>(m_config.m_fps));
}

std::string CCameraModel::Text(EFeature id) const {
    const MappedFeature* feature = m_features.Find(id);
    return m_registers.Text(feature->m_address, feature->m_row->m_lengthBytes);
}

void CCameraModel::SetText(EFeature id, std::string_view text) {
    const MappedFeature* feature = m_features.Find(id);
    m_registers.SetText(feature->m_address, feature->m_row->m_lengthBytes, text);
}

void CCameraModel::FillIdentityRegisters() {
    SetText(EFeature::DeviceVendorName, m_config.m_manufacturer);
    SetText(EFeature::DeviceModelName, m_config.m_model);
    SetText(EFeature::DeviceVersion, m_config.m_deviceVersion);
    SetText(EFeature::DeviceManufacturerInfo, "Virtual RGB-D camera");
    SetText(EFeature::DeviceSerialNumber, m_config.m_serial);
    SetText(EFeature::DeviceUserID, m_config.m_userName);
    if (m_config.m_transport == ETransport::Usb) {
        FillManifest();
    } else {
        FillBootstrapRegisters();
    }
}

// One entry: the description, uncompressed, GenICam 1.1.
void CCameraModel::FillManifest() {
    m_registers.SetNumber(kU3vManifestAddress, 8, kU3vManifest);
    m_registers.SetNumber(kU3vManifest, 8, 1);
    m_registers.SetNumber(kU3vManifest + 8, 4, 0x01000000);
    m_registers.SetNumber(kU3vManifest + 12, 4, 0x01010000);
    m_registers.SetNumber(kU3vManifest + 16, 8, kXmlArea);
    m_registers.SetNumber(kU3vManifest + 24, 8, m_xml.size());
}

void CCameraModel::FillBootstrapRegisters() {
    for (const FixedWord& word : kGevWords) {
        m_registers.SetNumber(word.m_address, 4, word.m_value);
    }
    std::array<char, 64> url{};
    std::snprintf(url.data(), url.size(), "Local:ox3d_virtual.xml;%X;%zX", kXmlArea, m_xml.size());
    m_registers.SetText(gige::reg::kFirstUrl, kGevUrlBytes, url.data());
    SetValue(EFeature::GevMACAddress, static_cast<int64_t>(m_config.m_mac));
    SetValue(EFeature::GevCurrentIPConfigurationPersistentIP, 1);
    SetValue(EFeature::GevCurrentIPAddress, m_config.m_ip);
    SetValue(EFeature::GevCurrentSubnetMask, m_config.m_mask);
    SetValue(EFeature::GevCurrentDefaultGateway, m_config.m_gateway);
    SetValue(EFeature::GevPersistentIPAddress, m_config.m_ip);
    SetValue(EFeature::GevPersistentSubnetMask, m_config.m_mask);
    SetValue(EFeature::GevPersistentDefaultGateway, m_config.m_gateway);
}

CameraIdentity CCameraModel::Identity() const {
    const CLock lock(m_mutex);
    CameraIdentity identity;
    identity.m_transport = m_config.m_transport;
    identity.m_vendor = Text(EFeature::DeviceVendorName);
    identity.m_model = Text(EFeature::DeviceModelName);
    identity.m_version = Text(EFeature::DeviceVersion);
    identity.m_info = Text(EFeature::DeviceManufacturerInfo);
    identity.m_serial = Text(EFeature::DeviceSerialNumber);
    identity.m_userName = Text(EFeature::DeviceUserID);
    identity.m_hostIp = m_config.m_hostIp;
    if (m_config.m_transport == ETransport::GigE) {
        identity.m_mac = static_cast<uint64_t>(Value(EFeature::GevMACAddress));
        identity.m_ip = static_cast<uint32_t>(Value(EFeature::GevCurrentIPAddress));
        identity.m_mask = static_cast<uint32_t>(Value(EFeature::GevCurrentSubnetMask));
        identity.m_gateway = static_cast<uint32_t>(Value(EFeature::GevCurrentDefaultGateway));
        identity.m_ipModes = static_cast<uint32_t>(m_registers.Number(gige::reg::kSupportedIpConfig, 4));
        identity.m_ipMode = static_cast<uint32_t>(
            m_registers.Number(m_features.Find(EFeature::GevCurrentIPConfigurationDHCP)->m_address, 4));
    }
    return identity;
}

EModelStatus CCameraModel::Prepare(std::string* error) {
    const CLock renderLock(m_renderMutex);
    if (m_source != nullptr) {
        return EModelStatus::Ok;
    }
    std::unique_ptr<CFrameSource> source;
    try {
        source = m_makeSource(m_config.m_source, error);
    } catch (const std::bad_alloc&) {
        error->assign("no memory"); // within the string's own room
        return EModelStatus::Resource;
    }
    if (source == nullptr) {
        return EModelStatus::NoData;
    }
    const CLock lock(m_mutex);
    m_source = std::move(source);
    m_sizes = m_source.get();
    if (const RecordedCamera* const recorded = m_sizes->Recorded(); recorded != nullptr) {
        TakeRecordedFeatures(recorded->m_features);
    }
    if (m_config.m_faults.m_isCalibrationMissing != 0 || IsScan3d()) { // whose features say it
        return EModelStatus::Ok;
    }
    for (const char* name : {kCalibrationFile, kSystemCalibrationFile}) {
        if (m_files.Find(name) == nullptr && !m_source->CalibrationXml().empty()) {
            m_files.Write(name, BytesOf(m_source->CalibrationXml()));
        }
    }
    return EModelStatus::Ok;
}

void CCameraModel::Adopt(EFeature id, const CCameraModel& before) {
    const MappedFeature* to = m_features.Find(id);
    const MappedFeature* from = before.m_features.Find(id);
    if (to != nullptr && from != nullptr && to->SpanBytes() == from->SpanBytes()) {
        std::vector<uint8_t> bytes(to->SpanBytes());
        before.m_registers.Read(from->m_address, bytes.data(), bytes.size());
        m_registers.Write(to->m_address, bytes.data(), bytes.size());
    }
}

void CCameraModel::AdoptState(const CCameraModel& before) {
    const CLock lock(m_mutex);
    const CLock lockBefore(before.m_mutex); // this one is new: no thread takes the two the other way round
    if (m_config.m_userName == before.m_config.m_userName) {
        Adopt(EFeature::DeviceUserID, before);
    }
    if (m_config.m_deviceVersion == before.m_config.m_deviceVersion) {
        Adopt(EFeature::DeviceVersion, before);
    }
    if (m_config.m_ip == before.m_config.m_ip && m_config.m_mask == before.m_config.m_mask &&
        m_config.m_gateway == before.m_config.m_gateway) {
        for (const EFeature id : {EFeature::GevCurrentIPConfigurationDHCP, EFeature::GevCurrentIPAddress,
                                  EFeature::GevCurrentSubnetMask, EFeature::GevCurrentDefaultGateway,
                                  EFeature::GevPersistentIPAddress, EFeature::GevPersistentSubnetMask,
                                  EFeature::GevPersistentDefaultGateway}) {
            Adopt(id, before);
        }
    }
    if (m_config.m_transport == before.m_config.m_transport) { // else settings are laid out otherwise
        std::copy(std::begin(before.m_storedSets), std::end(before.m_storedSets), std::begin(m_storedSets));
        Adopt(EFeature::UserSetDefault, before);
    }
    m_files = before.m_files;
    // Calibration belongs to the images; with other images, or with none wanted, it is made anew.
    if (!IsSameSource(m_config.m_source, before.m_config.m_source) ||
        m_config.m_faults.m_isCalibrationMissing != 0) {
        m_files.Erase(kCalibrationFile);
        m_files.Erase(kSystemCalibrationFile);
    }
}

void CCameraModel::PowerUp() {
    const CLock lock(m_mutex);
    EndAcquisition();
    m_fileAccess = {};
    ApplySettings(UserSet(Value(EFeature::UserSetDefault)));
    m_changed.NotifyAll();
}

bool CCameraModel::IsPlugged() const {
    const CLock lock(m_mutex);
    return std::chrono::steady_clock::now() >= m_pluggedAt;
}

uint32_t CCameraModel::PlugCount() const {
    const CLock lock(m_mutex);
    return m_plugCount;
}

void CCameraModel::Unplug() {
    ++m_plugCount;
    EndAcquisition();
    m_pluggedAt =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(m_config.m_faults.m_replugAfterMs);
    m_poweredAt = m_pluggedAt;
    RestartNetwork();
    m_changed.NotifyAll();
}

void CCameraModel::Delay() const {
    if (m_config.m_faults.m_slowCommandsMs > 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(m_config.m_faults.m_slowCommandsMs));
    }
}

void CCameraModel::SetFloat(EFeature id, double value) {
    m_registers.SetFloat(m_features.Find(id)->m_address, static_cast<float>(value));
}

// Registers that follow from others are brought up to date before they are read.
void CCameraModel::Refresh() {
    if (IsScan3d()) {
        RefreshScan3d();
    } else {
        RefreshImages();
    }
    SetValue(EFeature::AcquisitionActive, m_isAcquiring);
    const std::chrono::duration<double> poweredFor = std::chrono::steady_clock::now() - m_poweredAt;
    constexpr double kColdC = 34;
    constexpr double kWarmC = 46;
    constexpr double kWarmUpSeconds = 300;
    SetFloat(EFeature::DeviceTemperature,
             kWarmC - (kWarmC - kColdC) * std::exp(-poweredFor.count() / kWarmUpSeconds));
    SetFloat(EFeature::ResultingFrameRate, 1e9 / static_cast<double>(Period().count()));
    const EnumEntry* file = m_features.EntryByValue(*m_features.Find(EFeature::FileSelector)->m_row,
                                                    Value(EFeature::FileSelector));
    const std::vector<uint8_t>* bytes = m_files.Find(file->m_name);
    SetValue(EFeature::FileSize, bytes == nullptr ? 0 : static_cast<int64_t>(bytes->size()));
}

void CCameraModel::RefreshImages() {
    const FrameContent content = Content();
    const FrameSourceConfig& wanted = m_config.m_source;
    const bool hasSource = m_sizes != nullptr;
    const uint32_t width = hasSource ? m_sizes->DepthWidth() : wanted.m_depthWidth;
    const uint32_t height = hasSource ? m_sizes->DepthHeight() : wanted.m_depthHeight;
    SetValue(EFeature::Width, width);
    SetValue(EFeature::WidthMax, width);
    SetValue(EFeature::Height, height);
    SetValue(EFeature::HeightMax, height);
    SetValue(EFeature::ColorWidth, hasSource ? m_sizes->ColorWidth() : wanted.m_colorWidth);
    SetValue(EFeature::ColorHeight, hasSource ? m_sizes->ColorHeight() : wanted.m_colorHeight);
    SetValue(EFeature::PixelFormat, content.m_isGrey ? kPixelMono8 : kPixelDepth);
    if (hasSource) {
        const bool isChunked = Value(EFeature::ChunkModeActive) != 0;
        SetValue(EFeature::PayloadSize, static_cast<int64_t>(PayloadBytes(*m_sizes, content, isChunked)));
    }
}

FrameContent CCameraModel::Content() const {
    constexpr int64_t kGreyMode = 1;
    constexpr int64_t kRgbdMode = 4;
    constexpr uint32_t kColorSlot = 24;
    constexpr uint32_t kPairSlot = 19;
    const MappedFeature& enable = *m_features.Find(EFeature::ChunkEnable);
    FrameContent content;
    content.m_isChunked = Value(EFeature::ChunkModeActive) != 0;
    content.m_isGrey = Value(EFeature::ImageMode) == kGreyMode;
    const bool areChunksOn = content.m_isChunked && Value(EFeature::CameraWorkingMode) == kRgbdMode;
    content.m_hasColor =
        areChunksOn && Raw(enable, kColorSlot) != 0 && (m_sizes == nullptr || m_sizes->ColorWidth() > 0);
    content.m_hasGreyPair = areChunksOn && m_config.m_transport == ETransport::Usb &&
                            Raw(enable, kPairSlot) != 0 && (m_sizes == nullptr || m_sizes->HasRightView());
    return content;
}

} // namespace ox3d
