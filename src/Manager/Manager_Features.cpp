// Manager_Features.cpp - the list of a camera's features: its description, and what the camera says of each at present.
#include <algorithm>
#include <cstring>
#include <string>

#include "src/Common/AsyncLog.h"
#include "src/Manager/FeatureCatalog.h"
#include "src/Manager/Manager.h"

namespace {

constexpr const char* kLogSource = "../../src/Manager/Manager";
constexpr uint32_t kUsualDescriptionBytes = 256u << 10;

static_assert(sizeof(OX3D_RGBD_FEATURE) == 2432);
static_assert(sizeof(OX3D_RGBD_FEATURE_ENTRY) == 272);

bool IsLaterByteOfCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0u) == 0x80u;
}

// Into a field of zeros, with a terminator.
template <size_t N>
void CopyForPeople(char (&field)[N], const std::string& text) {
    size_t length = std::min(text.size(), N - 1);
    while (length < text.size() && length > 0 && IsLaterByteOfCharacter(text[length])) {
        --length;
    }
    std::transform(text.begin(), text.begin() + static_cast<ptrdiff_t>(length), field,
                   [](char c) { return static_cast<unsigned char>(c) < 0x20 ? ' ' : c; });
}

void AddLibraryKeys(std::vector<CatalogFeature>* features) {
    std::erase_if(*features,
                  [](const CatalogFeature& f) { return FindLibraryKey(f.m_name.c_str()) != nullptr; });
    for (const LibraryKeyRow& key : kLibraryKeys) {
        CatalogFeature& feature = features->emplace_back();
        feature.m_name = feature.m_displayName = key.m_name;
        feature.m_category = "Ox3d";
        feature.m_toolTip = key.m_tip;
        feature.m_type = OX3D_RGBD_PARAM_INT;
    }
}

bool HasValue(uint32_t type) {
    return type != OX3D_RGBD_FEATURE_COMMAND && type != OX3D_RGBD_FEATURE_REGISTER;
}

bool IsReadable(uint32_t access) {
    return access == OX3D_RGBD_ACCESS_READ_ONLY || access == OX3D_RGBD_ACCESS_READ_WRITE;
}

bool IsPossible(const OX3D_RGBD_ENUMPARAM& value, int64_t entry) {
    const uint32_t count = std::min<uint32_t>(value.nSupportedNum, OX3D_RGBD_MAX_ENUM_ENTRIES);
    const uint32_t* const end = value.nSupportValue + count;
    return count == OX3D_RGBD_MAX_ENUM_ENTRIES || std::find(value.nSupportValue, end, entry) != end;
}

} // namespace

// A camera-control library that is given too little room may answer with the whole length or with a failure.
uint32_t CManager::ReadCatalog(CCatalogCache::Catalog* catalog) {
    std::string xml(kUsualDescriptionBytes, '\0');
    uint32_t length = 0;
    auto* data = reinterpret_cast<uint8_t*>(xml.data());
    uint32_t status = GetCameraXML(data, static_cast<uint32_t>(xml.size()), &length);
    if (status != OX3D_RGBD_OK || length > xml.size()) {
        xml.resize(kMaxDescriptionBytes);
        data = reinterpret_cast<uint8_t*>(xml.data());
        status = GetCameraXML(data, kMaxDescriptionBytes, &length);
    }
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    std::vector<CatalogFeature> features;
    if (length <= xml.size()) {
        features = ReadFeatureCatalog({xml.data(), strnlen(xml.data(), length)});
    }
    if (features.empty()) {
        OX_LOG_ERROR("[GetFeatures] the camera's description of %u bytes cannot be read.\r\n", length);
        return OX3D_RGBD_E_NO_DATA;
    }
    AddLibraryKeys(&features);
    *catalog = std::make_shared<const std::vector<CatalogFeature>>(std::move(features));
    return OX3D_RGBD_OK;
}

// Those of *catalog, of that name where there is one.
uint32_t CManager::FindFeatures(const char* name, CCatalogCache::Catalog* catalog,
                                std::vector<const CatalogFeature*>* found) {
    if (const uint32_t status = CheckOpened(); status != OX3D_RGBD_OK) {
        return status;
    }
    uint64_t ticket = 0;
    *catalog = m_catalog.Get(&ticket);
    if (*catalog == nullptr) {
        if (const uint32_t status = ReadCatalog(catalog); status != OX3D_RGBD_OK) {
            return status;
        }
        m_catalog.Keep(*catalog, ticket);
    }
    for (const CatalogFeature& feature : **catalog) {
        if (name == nullptr || feature.m_name == name) {
            found->push_back(&feature);
        }
    }
    return found->empty() ? OX3D_RGBD_E_PARAMETER : OX3D_RGBD_OK;
}

// What the camera says at present; only that it is gone makes it fail.
uint32_t CManager::ReadPresent(const CatalogFeature& feature, OX3D_RGBD_FEATURE* out) {
    const char* const name = feature.m_name.c_str();
    out->stValue.enParamType = HasValue(out->nType) ? out->nType : 0;
    if (FindLibraryKey(name) != nullptr) {
        out->nAccess = OX3D_RGBD_ACCESS_READ_WRITE;
    } else if (const uint32_t status = XML_GetNodeAccessMode(name, &out->nAccess); status != OX3D_RGBD_OK) {
        out->nAccess = OX3D_RGBD_ACCESS_NOT_AVAILABLE;
        return status == OX3D_RGBD_E_CAMERA_07 || status == OX3D_RGBD_E_STATE ? status : OX3D_RGBD_OK;
    }
    if (!HasValue(out->nType) || !IsReadable(out->nAccess)) {
        return OX3D_RGBD_OK;
    }
    OX3D_RGBD_PARAM value = {};
    const uint32_t status = CamGetValue(name, &value);
    if (status == OX3D_RGBD_OK) {
        out->nHasValue = 1;
        out->stValue = value;
        out->nType = value.enParamType; // of the camera-control library, which reads and writes it
    }
    return status == OX3D_RGBD_E_CAMERA_07 || status == OX3D_RGBD_E_STATE ? status : OX3D_RGBD_OK;
}

uint32_t CManager::GetFeatures(const char* name, OX3D_RGBD_FEATURE* out, uint32_t capacity, uint32_t* count) {
    CCatalogCache::Catalog catalog;
    std::vector<const CatalogFeature*> features;
    if (const uint32_t status = FindFeatures(name, &catalog, &features); status != OX3D_RGBD_OK) {
        return status;
    }
    std::vector<OX3D_RGBD_FEATURE> records(std::min<size_t>(capacity, features.size()));
    for (size_t i = 0; i < records.size(); ++i) {
        const CatalogFeature& feature = *features[i];
        OX3D_RGBD_FEATURE& record = records[i];
        CopyForPeople(record.chName, feature.m_name);
        CopyForPeople(record.chDisplayName, feature.m_displayName);
        CopyForPeople(record.chCategory, feature.m_category);
        CopyForPeople(record.chUnit, feature.m_unit);
        CopyForPeople(record.chToolTip, feature.m_toolTip);
        CopyForPeople(record.chDescription, feature.m_description);
        record.nType = feature.m_type;
        record.nVisibility = feature.m_visibility;
        record.nEntryCount = static_cast<uint32_t>(feature.m_entries.size());
        if (const uint32_t status = ReadPresent(feature, &record); status != OX3D_RGBD_OK) {
            return status;
        }
    }
    std::copy(records.begin(), records.end(), out);
    *count = static_cast<uint32_t>(features.size());
    return OX3D_RGBD_OK;
}

uint32_t CManager::GetFeatureEntries(const char* name, OX3D_RGBD_FEATURE_ENTRY* out, uint32_t capacity,
                                     uint32_t* count) {
    CCatalogCache::Catalog catalog;
    std::vector<const CatalogFeature*> features;
    if (const uint32_t status = FindFeatures(name, &catalog, &features); status != OX3D_RGBD_OK) {
        return status;
    }
    const CatalogFeature& feature = *features.front();
    if (feature.m_type != OX3D_RGBD_PARAM_ENUM) {
        return OX3D_RGBD_E_PARAMETER;
    }
    OX3D_RGBD_FEATURE present = {};
    present.nType = feature.m_type;
    if (const uint32_t status = ReadPresent(feature, &present); status != OX3D_RGBD_OK) {
        return status;
    }
    const bool isKnown = present.nHasValue == 1 && present.nType == OX3D_RGBD_PARAM_ENUM;
    const size_t written = std::min<size_t>(capacity, feature.m_entries.size());
    for (size_t i = 0; i < written; ++i) {
        const CatalogEntry& entry = feature.m_entries[i];
        out[i] = {};
        CopyForPeople(out[i].chName, entry.m_name);
        CopyForPeople(out[i].chDisplayName, entry.m_displayName);
        out[i].nValue = entry.m_value;
        out[i].nIsAvailable = isKnown && IsPossible(present.stValue.stEnumParam, entry.m_value) ? 1 : 0;
    }
    *count = static_cast<uint32_t>(feature.m_entries.size());
    return OX3D_RGBD_OK;
}

uint32_t CManager::SetEnumByName(const char* name, const char* entry) {
    if (const uint32_t status = CheckOpened(); status != OX3D_RGBD_OK) {
        return status;
    }
    CCameraModule* const camera = m_pcCamera;
    if (const uint32_t status = camera->SetEnumValueByString(name, entry); status != OX3D_RGBD_OK) {
        OX_LOG_ERROR("[SetEnumByName] strName(%s) strEntry(%s) failed, nRet:[%#x].\r\n", name, entry, status);
        return status;
    }
    OX3D_RGBD_PARAM value = {};
    value.enParamType = OX3D_RGBD_PARAM_ENUM;
    if (camera->GetEnumValue(name, &value.stEnumParam) == OX3D_RGBD_OK) {
        m_journal.NoteFeature(name, value); // by its number, as what is set by number, which it replaces
    } else {
        m_journal.NoteEntry(name, entry);
    }
    return OX3D_RGBD_OK;
}
