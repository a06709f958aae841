// CameraModel_Features.cpp - features by name, on top of the same registers that the addresses reach.
#include <algorithm>
#include <bit>
#include <cmath>

#include "virtual-camera/CameraModel.h"

namespace ox3d {

// ---- Registers behind features ----

uint32_t CCameraModel::SlotOf(const MappedFeature& feature) const {
    return feature.m_slots == 1 ? 0 : static_cast<uint32_t>(Value(feature.m_row->m_selector));
}

uint64_t CCameraModel::Raw(const MappedFeature& feature, uint32_t slot) const {
    const FeatureRow& row = *feature.m_row;
    const uint64_t whole = m_registers.Number(feature.AddressOf(slot), row.m_lengthBytes);
    return row.m_bits == 0 ? whole : (whole >> row.m_shift) & ((uint64_t{1} << row.m_bits) - 1);
}

void CCameraModel::StoreRaw(const MappedFeature& feature, uint32_t slot, uint64_t value) {
    const FeatureRow& row = *feature.m_row;
    const uint32_t address = feature.AddressOf(slot);
    if (row.m_bits != 0) {
        const uint64_t mask = ((uint64_t{1} << row.m_bits) - 1) << row.m_shift;
        value = (m_registers.Number(address, row.m_lengthBytes) & ~mask) | ((value << row.m_shift) & mask);
    }
    m_registers.SetNumber(address, row.m_lengthBytes, value);
}

int64_t CCameraModel::Value(EFeature id) const {
    const MappedFeature* feature = m_features.Find(id);
    return feature == nullptr ? 0 : static_cast<int64_t>(Raw(*feature, SlotOf(*feature)));
}

void CCameraModel::SetValue(EFeature id, int64_t value) {
    if (const MappedFeature* feature = m_features.Find(id)) {
        StoreRaw(*feature, SlotOf(*feature), static_cast<uint64_t>(value));
    }
}

float CCameraModel::Float(EFeature id) const {
    return m_registers.Float(m_features.Find(id)->m_address);
}

// ---- Checks ----

bool CCameraModel::IsLocked(const FeatureRow& row) const {
    switch (row.m_lock) {
    case ELock::WhileAcquiring:
        return m_isAcquiring;
    case ELock::WhileAutoExposure:
        return Value(EFeature::ExposureAuto) != 0;
    case ELock::Never:
        break;
    }
    return false;
}

EModelStatus CCameraModel::Lookup(std::string_view name, EFeatureType type, const MappedFeature** out) const {
    const MappedFeature* feature = m_features.Find(name);
    if (feature == nullptr) {
        return IsCategory(name) ? EModelStatus::WrongType : EModelStatus::UnknownFeature;
    }
    if (feature->m_row->m_type != type) {
        return EModelStatus::WrongType;
    }
    *out = feature;
    return EModelStatus::Ok;
}

EModelStatus CCameraModel::CheckValue(const FeatureRow& row, uint64_t raw) const {
    switch (row.m_type) {
    case EFeatureType::Integer: {
        const auto value = static_cast<int64_t>(raw);
        const bool isInside =
            value >= row.m_min && value <= row.m_max && (value - row.m_min) % row.m_inc == 0;
        return isInside ? EModelStatus::Ok : EModelStatus::Range;
    }
    case EFeatureType::Float: {
        const auto value = std::bit_cast<float>(static_cast<uint32_t>(raw));
        const bool isInside = std::isfinite(value) && value >= static_cast<float>(row.m_floatMin) &&
                              value <= static_cast<float>(row.m_floatMax);
        return isInside ? EModelStatus::Ok : EModelStatus::Range;
    }
    case EFeatureType::Enumeration:
        return m_features.EntryByValue(row, static_cast<int64_t>(raw)) != nullptr ? EModelStatus::Ok
                                                                                  : EModelStatus::Range;
    case EFeatureType::Boolean:
    case EFeatureType::Command:
        return raw <= 1 ? EModelStatus::Ok : EModelStatus::Range;
    case EFeatureType::String:
    case EFeatureType::Register:
        break;
    }
    return EModelStatus::WrongType;
}

EModelStatus CCameraModel::Write(const MappedFeature& feature, uint32_t slot, uint64_t raw) {
    const FeatureRow& row = *feature.m_row;
    if (row.m_access == EAccess::ReadOnly || IsLocked(row)) {
        return EModelStatus::Access;
    }
    EModelStatus status = CheckValue(row, raw);
    if (status == EModelStatus::Ok && IsScan3d()) {
        status = CheckScan3d(row, slot, raw);
    }
    if (status != EModelStatus::Ok) {
        return status;
    }
    if (row.m_type == EFeatureType::Command) {
        return raw == 0 ? EModelStatus::Ok : OnWritten(row.m_id);
    }
    StoreRaw(feature, slot, raw);
    if (IsScan3d()) {
        OnScan3dWritten(row.m_id, slot);
    }
    return OnWritten(row.m_id);
}

EModelStatus CCameraModel::SetNumber(std::string_view name, EFeatureType type, uint64_t raw) {
    Delay();
    const CLock lock(m_mutex);
    const MappedFeature* feature = nullptr;
    const EModelStatus status = Lookup(name, type, &feature);
    return status == EModelStatus::Ok ? Write(*feature, SlotOf(*feature), raw) : status;
}

// The consequences of writing a feature.
EModelStatus CCameraModel::OnWritten(EFeature id) {
    switch (id) {
    case EFeature::DeviceReset:
        Unplug();
        return EModelStatus::Ok;
    case EFeature::TimestampLatch:
        SetValue(EFeature::TimestampLatchValue, (std::chrono::steady_clock::now() - m_clockStart).count());
        return EModelStatus::Ok;
    case EFeature::TimestampReset:
        m_clockStart = std::chrono::steady_clock::now();
        return EModelStatus::Ok;
    case EFeature::AcquisitionStart:
        return StartAcquisition();
    case EFeature::AcquisitionStop:
        EndAcquisition();
        return EModelStatus::Ok;
    case EFeature::TriggerSoftware:
        return Trigger();
    case EFeature::TriggerMode:
    case EFeature::TriggerSource:
        m_clock.DropTriggers();
        m_changed.NotifyAll();
        return EModelStatus::Ok;
    case EFeature::AcquisitionFrameRate:
    case EFeature::AcquisitionFrameRateEnable:
    case EFeature::ExposureTime:
        m_changed.NotifyAll();
        return EModelStatus::Ok;
    case EFeature::UserSetLoad:
    case EFeature::UserSetSave:
        return UserSetCommand(id);
    case EFeature::FileOperationExecute:
        return RunFileOperation();
    default:
        return EModelStatus::Ok;
    }
}

// ---- Typed access ----

EModelStatus CCameraModel::GetInteger(std::string_view name, IntegerValue* out) {
    Delay();
    const CLock lock(m_mutex);
    const MappedFeature* feature = nullptr;
    const EModelStatus status = Lookup(name, EFeatureType::Integer, &feature);
    if (status == EModelStatus::Ok) {
        Refresh();
        const FeatureRow& row = *feature->m_row;
        *out = {static_cast<int64_t>(Raw(*feature, SlotOf(*feature))), row.m_min, row.m_max, row.m_inc};
    }
    return status;
}

EModelStatus CCameraModel::SetInteger(std::string_view name, int64_t value) {
    return SetNumber(name, EFeatureType::Integer, static_cast<uint64_t>(value));
}

EModelStatus CCameraModel::GetFloat(std::string_view name, FloatValue* out) {
    Delay();
    const CLock lock(m_mutex);
    const MappedFeature* feature = nullptr;
    const EModelStatus status = Lookup(name, EFeatureType::Float, &feature);
    if (status == EModelStatus::Ok) {
        Refresh();
        const FeatureRow& row = *feature->m_row;
        *out = {m_registers.Float(feature->AddressOf(SlotOf(*feature))), static_cast<float>(row.m_floatMin),
                static_cast<float>(row.m_floatMax)};
    }
    return status;
}

EModelStatus CCameraModel::SetFloat(std::string_view name, float value) {
    return SetNumber(name, EFeatureType::Float, std::bit_cast<uint32_t>(value));
}

EModelStatus CCameraModel::GetEnum(std::string_view name, EnumValue* out) {
    Delay();
    const CLock lock(m_mutex);
    const MappedFeature* feature = nullptr;
    const EModelStatus status = Lookup(name, EFeatureType::Enumeration, &feature);
    if (status == EModelStatus::Ok) {
        Refresh();
        *out = {static_cast<uint32_t>(Raw(*feature, SlotOf(*feature))),
                m_features.EntriesOf(*feature->m_row)};
    }
    return status;
}

EModelStatus CCameraModel::SetEnum(std::string_view name, int64_t value) {
    return SetNumber(name, EFeatureType::Enumeration, static_cast<uint64_t>(value));
}

EModelStatus CCameraModel::SetEnumByName(std::string_view name, std::string_view entry) {
    const MappedFeature* feature = nullptr;
    const EModelStatus status = Lookup(name, EFeatureType::Enumeration, &feature); // the table never changes
    if (status != EModelStatus::Ok) {
        return status;
    }
    const EnumEntry* found = m_features.EntryByName(*feature->m_row, entry);
    return found == nullptr ? EModelStatus::Range : SetEnum(name, found->m_value);
}

EModelStatus CCameraModel::GetString(std::string_view name, StringValue* out) {
    Delay();
    const CLock lock(m_mutex);
    const MappedFeature* feature = nullptr;
    const EModelStatus status = Lookup(name, EFeatureType::String, &feature);
    if (status == EModelStatus::Ok) {
        *out = {m_registers.Text(feature->m_address, feature->m_row->m_lengthBytes),
                feature->m_row->m_lengthBytes};
    }
    return status;
}

EModelStatus CCameraModel::SetString(std::string_view name, std::string_view value) {
    Delay();
    const CLock lock(m_mutex);
    const MappedFeature* feature = nullptr;
    const EModelStatus status = Lookup(name, EFeatureType::String, &feature);
    if (status != EModelStatus::Ok) {
        return status;
    }
    if (feature->m_row->m_access == EAccess::ReadOnly) {
        return EModelStatus::Access;
    }
    if (value.size() > feature->m_row->m_lengthBytes) {
        return EModelStatus::Range;
    }
    m_registers.SetText(feature->m_address, feature->m_row->m_lengthBytes, value);
    return EModelStatus::Ok;
}

EModelStatus CCameraModel::GetBoolean(std::string_view name, bool* out) {
    Delay();
    const CLock lock(m_mutex);
    const MappedFeature* feature = nullptr;
    const EModelStatus status = Lookup(name, EFeatureType::Boolean, &feature);
    if (status == EModelStatus::Ok) {
        Refresh();
        *out = Raw(*feature, SlotOf(*feature)) != 0;
    }
    return status;
}

EModelStatus CCameraModel::SetBoolean(std::string_view name, bool value) {
    return SetNumber(name, EFeatureType::Boolean, value ? 1 : 0);
}

EModelStatus CCameraModel::Execute(std::string_view name) {
    return SetNumber(name, EFeatureType::Command, 1);
}

EModelStatus CCameraModel::TypeOf(std::string_view name, EFeatureType* out) const {
    const MappedFeature* feature = m_features.Find(name);
    if (feature == nullptr) {
        return EModelStatus::UnknownFeature;
    }
    *out = feature->m_row->m_type;
    return EModelStatus::Ok;
}

EModelStatus CCameraModel::AccessOf(std::string_view name, EAccess* out) {
    Delay();
    const CLock lock(m_mutex);
    const MappedFeature* feature = m_features.Find(name);
    if (feature == nullptr) {
        return EModelStatus::UnknownFeature;
    }
    const FeatureRow& row = *feature->m_row;
    *out = row.m_access == EAccess::ReadWrite && IsLocked(row) ? EAccess::ReadOnly : row.m_access;
    return EModelStatus::Ok;
}

bool CCameraModel::IsCategory(std::string_view name) const {
    const auto& all = m_features.Features();
    return name == "Root" || std::any_of(all.begin(), all.end(),
                                         [&](const MappedFeature& f) { return name == f.m_row->m_category; });
}

} // namespace ox3d
