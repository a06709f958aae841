// FeatureCatalog.h - what a camera's GenICam description says of its features. The description comes from the camera and
// is believed in nothing: its length, its depth, categories that contain each other, names that lead nowhere.
#ifndef OX3D_FEATURE_CATALOG_H
#define OX3D_FEATURE_CATALOG_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

struct CatalogEntry {
    std::string m_name;
    std::string m_displayName;
    int64_t m_value = 0;
};

struct CatalogFeature {
    std::string m_name;
    std::string m_displayName;
    std::string m_category; // names of categories, with '/' between
    std::string m_unit;
    std::string m_toolTip;
    std::string m_description;
    uint32_t m_type = 0;       // OX3D_RGBD_PARAM_* or OX3D_RGBD_FEATURE_*
    uint32_t m_visibility = 0; // OX3D_RGBD_VISIBILITY_*
    std::vector<CatalogEntry> m_entries;
};

// A longer description is not read.
inline constexpr uint32_t kMaxDescriptionBytes = 8u << 20;

// The features below the category "Root", each once, in the order of the description; empty where it cannot be read.
std::vector<CatalogFeature> ReadFeatureCatalog(std::string_view xml);

#endif
