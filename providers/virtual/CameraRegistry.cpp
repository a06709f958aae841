// CameraRegistry.cpp - reads the camera list, holds the cameras, and decides whether one may be opened.
#include "providers/virtual/CameraRegistry.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/LocalFile.h"
#include "base/PerProcess.h"
#include "providers/common/DeviceText.h"
#include "providers/virtual/DeviceRecord.h"
#include "providers/virtual/ModelStatus.h"
#include "providers/virtual/VirtualStream.h"

namespace ox3d {
namespace {

constexpr const char* kListVariable = "OX3D_VIRTUAL_CAMERAS";
constexpr uint64_t kMaxListBytes = 1 << 20;

std::vector<CameraConfig> LoadCameraList(std::vector<std::string>* errors) {
    const char* path = std::getenv(kListVariable);
    if (path == nullptr || *path == '\0') {
        return DefaultCameraList();
    }
    const std::string name = path;
    std::vector<uint8_t> bytes;
    if (!ReadLocalFile(name, kMaxListBytes, &bytes)) {
        errors->push_back(name + ":0: the camera list cannot be read");
        return {};
    }
    const size_t slash = name.rfind('/');
    const std::string folder = slash == name.npos ? "." : name.substr(0, slash);
    const std::string text(bytes.begin(), bytes.end());
    return ParseCameraList(text, name, folder, errors);
}

} // namespace

// ---- One camera ----

CCameraSlot::CCameraSlot(const CameraConfig& config)
    : m_config(config), m_model(std::make_shared<CCameraModel>(config)) {}

void CCameraSlot::Configure(const CameraConfig& config) {
    const CLock lock(m_mutex);
    m_config = config;
    m_isListed = true;
    Renew();
}

void CCameraSlot::Renew() {
    std::erase_if(m_holders, [](const auto& holder) { return !holder->IsAlive(); });
    if (m_holders.empty() && !IsSameCamera(m_config, m_model->Config())) {
        auto renewed = std::make_shared<CCameraModel>(m_config);
        renewed->AdoptState(*m_model);
        m_model = std::move(renewed);
    }
}

void CCameraSlot::SetListed(bool isListed) {
    const CLock lock(m_mutex);
    m_isListed = isListed;
}

bool CCameraSlot::IsPresent() const {
    const CLock lock(m_mutex);
    return m_isListed && m_model->IsPlugged();
}

std::shared_ptr<CCameraModel> CCameraSlot::Model() const {
    const CLock lock(m_mutex);
    return m_model;
}

// Exclusive access allows no other connection, control allows connections that only monitor.
bool CCameraSlot::IsFree(uint32_t accessMode) const {
    return std::all_of(m_holders.begin(), m_holders.end(), [&](const auto& holder) {
        const uint32_t other = holder->AccessMode();
        const bool canShare = (accessMode == OX_CC_ACCESS_MONITOR && other != OX_CC_ACCESS_EXCLUSIVE) ||
                              (accessMode == OX_CC_ACCESS_CONTROL && other == OX_CC_ACCESS_MONITOR);
        return canShare || !holder->IsAlive();
    });
}

bool CCameraSlot::IsAccessible(uint32_t accessMode) const {
    if (!IsAccessMode(accessMode) || !IsPresent()) {
        return false;
    }
    const CLock lock(m_mutex);
    return m_config.m_faults.m_isOpenDenied == 0 && IsFree(accessMode);
}

int CCameraSlot::CheckForOpening(uint32_t accessMode) const {
    const bool isDenied = m_config.m_faults.m_isOpenDenied != 0 || !IsFree(accessMode);
    return isDenied ? Code(OX_CC_E_ACCESS_DENIED) : kOk;
}

// Making the source of its images may take seconds: threads that list cameras or open another do not wait for it.
int CCameraSlot::PrepareModel(uint32_t accessMode, std::shared_ptr<CCameraModel>* model) {
    {
        const CLock lock(m_mutex);
        Renew();
        if (const int code = CheckForOpening(accessMode); code != kOk) {
            return code;
        }
        *model = m_model;
    }
    std::string error;
    const EModelStatus status = (*model)->Prepare(&error);
    if (status != EModelStatus::Ok) {
        std::fprintf(stderr, "virtual camera %s: %s\n", (*model)->Config().m_serial.c_str(), error.c_str());
    }
    return ToCode(status);
}

int CCameraSlot::Open(uint32_t accessMode, const std::shared_ptr<CHandleCallbacks>& callbacks,
                      std::shared_ptr<CConnection>* connection) {
    if (!IsAccessMode(accessMode)) {
        return Code(OX_CC_E_PARAMETER);
    }
    if (!IsPresent()) {
        return kDeviceGone;
    }
    for (std::shared_ptr<CCameraModel> model;;) {
        if (const int code = PrepareModel(accessMode, &model); code != kOk) {
            return code;
        }
        const CLock lock(m_mutex);
        if (model == m_model) { // else the list has changed the camera meanwhile
            return Connect(accessMode, callbacks, connection);
        }
    }
}

int CCameraSlot::Connect(uint32_t accessMode, const std::shared_ptr<CHandleCallbacks>& callbacks,
                         std::shared_ptr<CConnection>* connection) {
    if (const int code = CheckForOpening(accessMode); code != kOk) {
        return code; // another handle was faster
    }
    auto opened = std::make_shared<CVirtualConnection>(m_model, callbacks, accessMode);
    m_holders.push_back(opened);
    if (!opened->Start()) {
        m_holders.pop_back();
        return Code(OX_CC_E_RESOURCE);
    }
    if (opened->MayWrite()) {
        m_model->PowerUp();
    }
    *connection = std::move(opened);
    return kOk;
}

void CCameraSlot::Close(const std::shared_ptr<CConnection>& connection) {
    const CLock lock(m_mutex);
    std::erase(m_holders, connection);
    Renew();
}

OX_CC_DEVICE_INFO CCameraSlot::Record(const OX_CC_DEVICE_INFO& listed) const {
    const bool isUsb = listed.nTLayerType == OX_CC_USB_DEVICE;
    return ToDeviceRecord(Model()->Identity(), isUsb ? listed.stUsb3Info.nDeviceNumber : 0);
}

int CCameraSlot::CheckForNetwork() const {
    if (!IsPresent()) {
        return kDeviceGone;
    }
    return IsAccessible(OX_CC_ACCESS_CONTROL) ? kOk : Code(OX_CC_E_ACCESS_DENIED);
}

NodeMaker CCameraSlot::Nodes() const {
    return [] { return std::make_unique<VirtualNode>(); };
}

int CCameraSlot::ForceIp(const std::shared_ptr<CConnection>& /*connection*/, uint32_t ip,
                         const uint32_t* maskAndGateway) {
    const std::shared_ptr<CCameraModel> model = Model();
    if (maskAndGateway != nullptr) {
        return ToCode(model->ForceIp(ip, maskAndGateway[0], maskAndGateway[1]));
    }
    const CameraIdentity now = model->Identity();
    return ToCode(model->ForceIp(ip, now.m_mask, now.m_gateway));
}

int CCameraSlot::SetIpMode(const std::shared_ptr<CConnection>& /*connection*/, uint32_t mode) {
    return ToCode(Model()->SetIpMode(mode));
}

bool CCameraSlot::HasEvent(const char* name) const {
    return std::strcmp(name, CVirtualConnection::kExposureEnd) == 0;
}

// ---- All cameras ----

IProvider& Provider() {
    static CPerProcess<CCameraRegistry> s_registry; // a child's cameras are others than its parent's
    return s_registry.Get();
}

void CCameraRegistry::ReadCameraList() {
    std::vector<std::string> errors;
    const std::vector<CameraConfig> configs = LoadCameraList(&errors);
    if (errors != m_reported) {
        for (const std::string& error : errors) {
            std::fprintf(stderr, "virtual cameras: %s\n", error.c_str());
        }
        m_reported = std::move(errors);
    }
    for (const auto& [serial, slot] : m_slots) {
        slot->SetListed(false);
    }
    m_order.clear();
    for (const CameraConfig& config : configs) {
        std::shared_ptr<CCameraSlot>& slot = m_slots[config.m_serial];
        if (slot == nullptr) {
            slot = std::make_shared<CCameraSlot>(config);
        } else {
            slot->Configure(config);
        }
        m_order.push_back(config.m_serial);
    }
    m_isListRead = true;
}

int CCameraRegistry::Enumerate(uint32_t layers, OX_CC_DEVICE_INFO_LIST* list) {
    const CLock lock(m_mutex);
    ReadCameraList();
    std::memset(list, 0, sizeof(*list));
    for (size_t i = 0; i < m_order.size() && list->nDeviceNum < OX_CC_MAX_DEVICES; ++i) {
        const CCameraSlot& slot = *m_slots[m_order[i]];
        const OX_CC_DEVICE_INFO record =
            ToDeviceRecord(slot.Model()->Identity(), static_cast<uint32_t>(i) + 1);
        if (slot.IsPresent() && (record.nTLayerType & layers) != 0) {
            m_records[list->nDeviceNum] = record;
            list->pDeviceInfo[list->nDeviceNum] = &m_records[list->nDeviceNum];
            ++list->nDeviceNum;
        }
    }
    return kOk;
}

std::shared_ptr<CCamera> CCameraRegistry::Find(const OX_CC_DEVICE_INFO& record) {
    const CLock lock(m_mutex);
    // A record may be older than this process's first enumeration.
    if (!m_isListRead) {
        ReadCameraList();
    }
    const auto found = m_slots.find(SerialOf(record));
    if (found == m_slots.end()) {
        return nullptr;
    }
    const uint32_t transport = found->second->Model()->Config().m_transport == ETransport::Usb
                                   ? OX_CC_USB_DEVICE
                                   : OX_CC_GIGE_DEVICE;
    return transport == record.nTLayerType ? found->second : nullptr;
}

} // namespace ox3d
