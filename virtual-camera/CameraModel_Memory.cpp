// CameraModel_Memory.cpp - register memory by address, checked by the same rules as access by name.
#include <algorithm>
#include <bit>

#include "virtual-camera/CameraModel.h"

namespace ox3d {

// One register, or one part of a text, that a write to memory comes down to.
struct CCameraModel::MemoryWrite {
    const MappedFeature* m_feature;
    uint32_t m_slot;
    uint64_t m_raw;               // numbers
    uint64_t m_address;           // texts and the file buffer
    std::vector<uint8_t> m_bytes; // texts and the file buffer
};

EModelStatus CCameraModel::ReadMemory(uint64_t address, void* out, uint64_t lengthBytes) {
    Delay();
    const CLock lock(m_mutex);
    if (!m_registers.Contains(address, lengthBytes)) {
        return EModelStatus::Argument;
    }
    Refresh();
    m_registers.Read(address, out, lengthBytes);
    return EModelStatus::Ok;
}

bool CCameraModel::HasMemory(uint64_t address, uint64_t lengthBytes) const {
    const CLock lock(m_mutex);
    return m_registers.Contains(address, lengthBytes);
}

int64_t CCameraModel::TransportValue(EFeature id) const {
    const CLock lock(m_mutex);
    return Value(id);
}

void CCameraModel::SetTransportValue(EFeature id, int64_t value) {
    const CLock lock(m_mutex);
    SetValue(id, value);
}

EModelStatus CCameraModel::PlanWrite(const MappedFeature& feature, uint32_t slot, uint64_t address,
                                     const uint8_t* in, uint64_t lengthBytes,
                                     std::vector<MemoryWrite>* plan) const {
    const FeatureRow& row = *feature.m_row;
    const uint64_t begin = feature.AddressOf(slot);
    const uint64_t end = begin + row.m_lengthBytes;
    const uint64_t from = std::max(begin, address);
    const uint64_t to = std::min(end, address + lengthBytes);
    if (row.m_type == EFeatureType::String || row.m_type == EFeatureType::Register) {
        if (row.m_access == EAccess::ReadOnly) {
            return EModelStatus::Access;
        }
        plan->push_back({&feature, slot, 0, from, {in + (from - address), in + (to - address)}});
        return EModelStatus::Ok;
    }
    if (from != begin || to != end) {
        return EModelStatus::Argument; // half a number
    }
    uint64_t raw = m_registers.Decode(in + (begin - address), row.m_lengthBytes);
    if (row.m_bits != 0) {
        raw = (raw >> row.m_shift) & ((uint64_t{1} << row.m_bits) - 1);
        // Fields share a register: one that stays as it is may be read-only or locked.
        if (row.m_type != EFeatureType::Command && raw == Raw(feature, slot)) {
            return EModelStatus::Ok;
        }
    }
    if (row.m_access == EAccess::ReadOnly || IsLocked(row)) {
        return EModelStatus::Access;
    }
    plan->push_back({&feature, slot, raw, begin, {}});
    return CheckValue(row, raw);
}

EModelStatus CCameraModel::PlanWrites(uint64_t address, const uint8_t* in, uint64_t lengthBytes,
                                      std::vector<MemoryWrite>* plan) const {
    std::vector<bool> isCovered(lengthBytes);
    for (const MappedFeature& feature : m_features.Features()) {
        for (uint32_t slot = 0; slot < feature.m_slots; ++slot) {
            const uint64_t begin = feature.AddressOf(slot);
            const uint64_t end = begin + feature.m_row->m_lengthBytes;
            if (end <= address || begin >= address + lengthBytes) {
                continue;
            }
            const EModelStatus status = PlanWrite(feature, slot, address, in, lengthBytes, plan);
            if (status != EModelStatus::Ok) {
                return status;
            }
            std::fill(isCovered.begin() + static_cast<std::ptrdiff_t>(std::max(begin, address) - address),
                      isCovered.begin() +
                          static_cast<std::ptrdiff_t>(std::min(end, address + lengthBytes) - address),
                      true);
        }
    }
    // Bytes between registers, identification and the description cannot be written.
    const bool isWhole =
        std::all_of(isCovered.begin(), isCovered.end(), [](bool covered) { return covered; });
    return isWhole ? EModelStatus::Ok : EModelStatus::Access;
}

EModelStatus CCameraModel::WriteMemory(uint64_t address, const void* in, uint64_t lengthBytes) {
    Delay();
    const CLock lock(m_mutex);
    if (!m_registers.Contains(address, lengthBytes)) {
        return EModelStatus::Argument;
    }
    std::vector<MemoryWrite> plan;
    EModelStatus status = PlanWrites(address, static_cast<const uint8_t*>(in), lengthBytes, &plan);
    for (const MemoryWrite& write : plan) {
        if (status != EModelStatus::Ok) {
            break;
        }
        if (!write.m_bytes.empty()) {
            m_registers.Write(write.m_address, write.m_bytes.data(), write.m_bytes.size());
        } else {
            status = Write(*write.m_feature, write.m_slot, write.m_raw);
        }
    }
    return status;
}

} // namespace ox3d
