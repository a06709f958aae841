// VirtualConnection.cpp - the interface's operations on a camera model.
#include "providers/virtual/VirtualConnection.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <string_view>
#include <thread>

#include "providers/common/DeviceText.h"
#include "providers/virtual/ModelStatus.h"
#include "providers/virtual/VirtualStream.h"

namespace ox3d {
namespace {

constexpr int kPathPacketBytes = 9000; // there is no wire; jumbo frames are what a good one carries
constexpr int kUpgradeSteps = 100;
constexpr std::chrono::milliseconds kUpgradeStep{5};

uint32_t InterfaceTypeOf(EFeatureType type) {
    switch (type) {
    case EFeatureType::Integer:
        return OX_IFT_IInteger;
    case EFeatureType::Float:
        return OX_IFT_IFloat;
    case EFeatureType::Boolean:
        return OX_IFT_IBoolean;
    case EFeatureType::Enumeration:
        return OX_IFT_IEnumeration;
    case EFeatureType::String:
        return OX_IFT_IString;
    case EFeatureType::Command:
        return OX_IFT_ICommand;
    case EFeatureType::Register:
        return OX_IFT_IRegister;
    }
    return OX_IFT_IValue;
}

uint32_t AccessModeOf(EAccess access) {
    switch (access) {
    case EAccess::ReadOnly:
        return OX_AM_RO;
    case EAccess::ReadWrite:
        return OX_AM_RW;
    case EAccess::WriteOnly:
        return OX_AM_WO;
    }
    return OX_AM_NI;
}

} // namespace

CVirtualConnection::CVirtualConnection(std::shared_ptr<CCameraModel> model,
                                       std::shared_ptr<CHandleCallbacks> callbacks, uint32_t accessMode)
    : CConnection(std::move(callbacks), accessMode), m_model(std::move(model)),
      m_plugCount(m_model->PlugCount()) {}

bool CVirtualConnection::IsAlive() {
    if (m_model->PlugCount() != m_plugCount) {
        MarkGone();
    }
    return CConnection::IsAlive();
}

void CVirtualConnection::RaiseExposureEnd(const CameraFrame& frame) {
    OX_EVENT_OUT_INFO event{};
    CopyText(event.chEventName, kExposureEnd);
    event.nEventID = kEventExposureEnd;
    event.nBlockIdLow = frame.m_number;
    event.nTimestampHigh = static_cast<uint32_t>(frame.m_timestampNs >> 32);
    event.nTimestampLow = static_cast<uint32_t>(frame.m_timestampNs);
    RaiseEvent(event);
}

// ---- Streaming ----

std::shared_ptr<CStream> CVirtualConnection::MakeStream(std::shared_ptr<CFrameBuffer> frames) {
    return std::make_shared<CVirtualStream>(std::static_pointer_cast<CVirtualConnection>(shared_from_this()),
                                            std::move(frames));
}

int CVirtualConnection::StartAcquisition() {
    return ToCode(m_model->Execute("AcquisitionStart"));
}

void CVirtualConnection::StopAcquisition() {
    m_model->Execute("AcquisitionStop");
}

int CVirtualConnection::OptimalPacketSize() {
    const bool isGigE = m_model->Config().m_transport == ETransport::GigE;
    return isGigE ? kPathPacketBytes : Code(OX_CC_E_SUPPORT);
}

// ---- Features ----

int CVirtualConnection::GetInteger(const char* key, OX_CC_INT_VALUE_EX* value) {
    IntegerValue own;
    const EModelStatus status = m_model->GetInteger(key, &own);
    if (status == EModelStatus::Ok) {
        *value = {own.m_value, own.m_max, own.m_min, own.m_inc};
    }
    return ToCode(status);
}

int CVirtualConnection::SetInteger(const char* key, int64_t value) {
    return ToCode(m_model->SetInteger(key, value));
}

int CVirtualConnection::GetFloat(const char* key, OX_CC_FLOAT_VALUE* value) {
    FloatValue own;
    const EModelStatus status = m_model->GetFloat(key, &own);
    if (status == EModelStatus::Ok) {
        *value = {own.m_value, own.m_max, own.m_min, {}};
    }
    return ToCode(status);
}

int CVirtualConnection::SetFloat(const char* key, float value) {
    return ToCode(m_model->SetFloat(key, value));
}

int CVirtualConnection::GetEnum(const char* key, OX_CC_ENUM_VALUE* value) {
    EnumValue own;
    const EModelStatus status = m_model->GetEnum(key, &own);
    if (status != EModelStatus::Ok) {
        return ToCode(status);
    }
    std::memset(value, 0, sizeof(*value));
    value->nCurValue = own.m_value;
    const size_t count = std::min<size_t>(own.m_entries.size(), OX_CC_MAX_ENUM_ENTRIES);
    value->nSupportedNum = static_cast<uint32_t>(count);
    std::transform(own.m_entries.begin(), own.m_entries.begin() + static_cast<std::ptrdiff_t>(count),
                   value->nSupportValue, [](const EnumEntry& entry) { return entry.m_value; });
    return kOk;
}

int CVirtualConnection::SetEnum(const char* key, uint32_t value) {
    return ToCode(m_model->SetEnum(key, value));
}

int CVirtualConnection::SetEnumByName(const char* key, const char* entry) {
    return ToCode(m_model->SetEnumByName(key, entry));
}

int CVirtualConnection::GetString(const char* key, OX_CC_STRING_VALUE* value) {
    StringValue own;
    const EModelStatus status = m_model->GetString(key, &own);
    if (status != EModelStatus::Ok) {
        return ToCode(status);
    }
    std::memset(value, 0, sizeof(*value));
    std::copy_n(own.m_value.begin(), std::min(own.m_value.size(), sizeof(value->chCurValue) - 1),
                value->chCurValue);
    value->nMaxLength = own.m_maxLengthBytes;
    return kOk;
}

int CVirtualConnection::SetString(const char* key, const char* value) {
    return ToCode(m_model->SetString(key, value));
}

int CVirtualConnection::GetBoolean(const char* key, bool* value) {
    return ToCode(m_model->GetBoolean(key, value));
}

int CVirtualConnection::SetBoolean(const char* key, bool value) {
    return ToCode(m_model->SetBoolean(key, value));
}

int CVirtualConnection::Execute(const char* key) {
    return ToCode(m_model->Execute(key));
}

int CVirtualConnection::AccessOf(const char* key, uint32_t* accessMode) {
    EAccess access = EAccess::ReadOnly;
    const EModelStatus status = m_model->IsCategory(key) ? EModelStatus::Ok : m_model->AccessOf(key, &access);
    if (status == EModelStatus::Ok) {
        *accessMode = AccessModeOf(access);
    }
    return ToCode(status);
}

int CVirtualConnection::TypeOf(const char* key, uint32_t* interfaceType) {
    EFeatureType type = EFeatureType::Integer;
    const bool isCategory = m_model->IsCategory(key);
    const EModelStatus status = isCategory ? EModelStatus::Ok : m_model->TypeOf(key, &type);
    if (status == EModelStatus::Ok) {
        *interfaceType = isCategory ? OX_IFT_ICategory : InterfaceTypeOf(type);
    }
    return ToCode(status);
}

int CVirtualConnection::Xml(std::string* xml) {
    *xml = m_model->Xml();
    return kOk;
}

int CVirtualConnection::SaveFeatures(std::string* text) {
    *text = m_model->SaveFeatures();
    return kOk;
}

int CVirtualConnection::LoadFeatures(const std::string& text, std::string* where) {
    return ToCode(m_model->LoadFeatures(text, where));
}

// ---- Memory and files ----

int CVirtualConnection::ReadMemory(uint64_t address, void* bytes, uint64_t lengthBytes) {
    return ToCode(m_model->ReadMemory(address, bytes, lengthBytes));
}

int CVirtualConnection::WriteMemory(uint64_t address, const void* bytes, uint64_t lengthBytes) {
    return ToCode(m_model->WriteMemory(address, bytes, lengthBytes));
}

int CVirtualConnection::ReadFile(const std::string& name, const TransferProgress& /*progress*/,
                                 std::vector<uint8_t>* bytes) {
    return ToCode(m_model->ReadFile(name, bytes));
}

int CVirtualConnection::WriteFile(const std::string& name, std::vector<uint8_t> bytes,
                                  const TransferProgress& /*progress*/) {
    return ToCode(m_model->WriteFile(name, std::move(bytes)));
}

// A virtual camera keeps nothing of a firmware but the fact: its version goes up.
int CVirtualConnection::InstallFirmware(std::vector<uint8_t> /*bytes*/, const TransferProgress& progress) {
    for (int step = 1; step < kUpgradeSteps; ++step) {
        std::this_thread::sleep_for(kUpgradeStep);
        if (!progress(step, kUpgradeSteps)) {
            return kDeviceGone;
        }
    }
    m_model->InstallFirmware();
    return kOk;
}

} // namespace ox3d
