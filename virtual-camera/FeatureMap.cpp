// FeatureMap.cpp - picks a transport's rows and gives addresses to those that have none.
#include "virtual-camera/FeatureMap.h"

#include <algorithm>

namespace ox3d {
namespace {

constexpr uint32_t kAlignment = 8;

uint32_t SlotCount(const FeatureRow* selector) {
    uint32_t highest = 0;
    for (const EnumEntry& entry : selector->m_entries) {
        highest = std::max(highest, entry.m_value);
    }
    return highest + 1;
}

} // namespace

CFeatureMap::CFeatureMap(ETransport transport, uint16_t traits) : m_transport(transport), m_traits(traits) {
    uint32_t next = kFeatureArea;
    Add(AllFeatures(), &next);
    if ((traits & kScan3dTrait) != 0) {
        Add(Scan3dFeatures(), &next);
    }
    m_featureAreaBytes = next - kFeatureArea;
}

void CFeatureMap::Add(std::span<const FeatureRow> rows, uint32_t* next) {
    for (const FeatureRow& row : rows) {
        if (!IsOn(row.m_transports, m_transport) || (row.m_traits & m_traits) == 0) {
            continue;
        }
        MappedFeature feature{&row, row.m_address, 1};
        if (row.m_selector != EFeature::None) {
            feature.m_slots = SlotCount(Find(row.m_selector)->m_row);
        }
        if (row.m_address == 0) {
            feature.m_address = *next;
            *next += (feature.SpanBytes() + kAlignment - 1) / kAlignment * kAlignment;
        }
        m_features.push_back(feature);
    }
}

const MappedFeature* CFeatureMap::Find(std::string_view name) const {
    const auto found = std::find_if(m_features.begin(), m_features.end(),
                                    [&](const MappedFeature& f) { return name == f.m_row->m_name; });
    return found == m_features.end() ? nullptr : &*found;
}

const MappedFeature* CFeatureMap::Find(EFeature id) const {
    const auto found = std::find_if(m_features.begin(), m_features.end(),
                                    [&](const MappedFeature& f) { return id == f.m_row->m_id; });
    return found == m_features.end() ? nullptr : &*found;
}

std::vector<EnumEntry> CFeatureMap::EntriesOf(const FeatureRow& row) const {
    std::vector<EnumEntry> entries;
    std::copy_if(row.m_entries.begin(), row.m_entries.end(), std::back_inserter(entries),
                 [&](const EnumEntry& entry) { return Has(entry); });
    return entries;
}

const EnumEntry* CFeatureMap::EntryByValue(const FeatureRow& row, int64_t value) const {
    for (const EnumEntry& entry : row.m_entries) {
        if (entry.m_value == value && Has(entry)) {
            return &entry;
        }
    }
    return nullptr;
}

const EnumEntry* CFeatureMap::EntryByName(const FeatureRow& row, std::string_view name) const {
    for (const EnumEntry& entry : row.m_entries) {
        if (name == entry.m_name && Has(entry)) {
            return &entry;
        }
    }
    return nullptr;
}

} // namespace ox3d
