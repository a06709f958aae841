// FeatureMap.h - the features of one transport with the addresses of their registers.
//
// The address map of a camera:
//   0x00000000  bootstrap registers or identification block of the transport's standard
//   0x00010000  feature area, in the table's order
//   0x00020000  FileAccessBuffer
//   0x00100000  the GenICam description
#ifndef OX3D_VIRTUAL_CAMERA_FEATURE_MAP_H
#define OX3D_VIRTUAL_CAMERA_FEATURE_MAP_H

#include <string_view>
#include <vector>

#include "virtual-camera/Feature.h"

namespace ox3d {

constexpr uint32_t kBootstrapBytes = 0x1000;
constexpr uint32_t kFeatureArea = 0x00010000;
constexpr uint32_t kFileBuffer = 0x00020000;
constexpr uint32_t kFileBufferBytes = 4096;
constexpr uint32_t kXmlArea = 0x00100000;

struct MappedFeature {
    const FeatureRow* m_row = nullptr;
    uint32_t m_address = 0;
    uint32_t m_slots = 1; // registers side by side, one for every value of the selector

    uint32_t SpanBytes() const { return m_row->m_lengthBytes * m_slots; }
    uint32_t AddressOf(uint32_t slot) const { return m_address + m_row->m_lengthBytes * slot; }
};

class CFeatureMap {
public:
    explicit CFeatureMap(ETransport transport, uint16_t traits = kNativeTrait);

    ETransport Transport() const { return m_transport; }
    const std::vector<MappedFeature>& Features() const { return m_features; }
    uint32_t FeatureAreaBytes() const { return m_featureAreaBytes; }

    // Null when this transport has no such feature.
    const MappedFeature* Find(std::string_view name) const;
    const MappedFeature* Find(EFeature id) const;

    // The entries that exist on this camera, whatever is selected.
    std::vector<EnumEntry> EntriesOf(const FeatureRow& row) const;
    const EnumEntry* EntryByValue(const FeatureRow& row, int64_t value) const;
    const EnumEntry* EntryByName(const FeatureRow& row, std::string_view name) const;

private:
    void Add(std::span<const FeatureRow> rows, uint32_t* next);
    bool Has(const EnumEntry& entry) const {
        return IsOn(entry.m_transports, m_transport) && (entry.m_traits & m_traits) != 0;
    }

    ETransport m_transport;
    uint16_t m_traits;
    std::vector<MappedFeature> m_features;
    uint32_t m_featureAreaBytes = 0;
};

} // namespace ox3d

#endif
