// FeatureCatalog.cpp - see FeatureCatalog.h.
#include "src/Manager/FeatureCatalog.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <tinyxml2.h>
#include <unordered_map>
#include <unordered_set>

#include <ox3drgbd/Ox3dRgbdExtension.h>

namespace {

using tinyxml2::XMLElement;

constexpr size_t kMaxFeatures = 4096;
constexpr size_t kMaxEntries = 1024;
constexpr size_t kMaxDepth = 16; // of categories
constexpr size_t kMaxCategoryBytes = 255;

constexpr uint32_t kCategory = 0; // no type of a feature

struct NodeRow {
    std::string_view m_element;
    uint32_t m_type;
};

constexpr NodeRow kNodes[] = {
    {"Category", kCategory},
    {"Integer", OX3D_RGBD_PARAM_INT},
    {"IntReg", OX3D_RGBD_PARAM_INT},
    {"MaskedIntReg", OX3D_RGBD_PARAM_INT},
    {"StructEntry", OX3D_RGBD_PARAM_INT},
    {"IntConverter", OX3D_RGBD_PARAM_INT},
    {"IntSwissKnife", OX3D_RGBD_PARAM_INT},
    {"Float", OX3D_RGBD_PARAM_FLOAT},
    {"FloatReg", OX3D_RGBD_PARAM_FLOAT},
    {"Converter", OX3D_RGBD_PARAM_FLOAT},
    {"SwissKnife", OX3D_RGBD_PARAM_FLOAT},
    {"Boolean", OX3D_RGBD_PARAM_BOOL},
    {"Enumeration", OX3D_RGBD_PARAM_ENUM},
    {"String", OX3D_RGBD_PARAM_STRING},
    {"StringReg", OX3D_RGBD_PARAM_STRING},
    {"Command", OX3D_RGBD_FEATURE_COMMAND},
    {"Register", OX3D_RGBD_FEATURE_REGISTER},
};

constexpr std::string_view kVisibilities[] = {"Beginner", "Expert", "Guru", "Invisible"};

std::string_view Trimmed(const char* text) {
    constexpr const char* kBlanks = " \t\r\n";
    const std::string_view whole = text == nullptr ? "" : text;
    const size_t first = whole.find_first_not_of(kBlanks);
    return first == whole.npos ? "" : whole.substr(first, whole.find_last_not_of(kBlanks) - first + 1);
}

std::string_view ChildText(const XMLElement& node, const char* name) {
    const XMLElement* const child = node.FirstChildElement(name);
    return child == nullptr ? "" : Trimmed(child->GetText());
}

std::string_view NameOf(const XMLElement& node) {
    return Trimmed(node.Attribute("Name"));
}

const XMLElement* Sibling(const XMLElement* node) {
    return node->NextSiblingElement(node->Name());
}

// A whole number, also "0x1F".
std::optional<int64_t> NumberOf(std::string_view text) {
    const bool isHex = text.starts_with("0x") || text.starts_with("0X");
    text.remove_prefix(isHex ? 2 : 0);
    int64_t number = 0;
    const auto [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), number, isHex ? 16 : 10);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

std::vector<CatalogEntry> EntriesOf(const XMLElement& node) {
    std::vector<CatalogEntry> entries;
    for (const XMLElement* entry = node.FirstChildElement("EnumEntry");
         entry != nullptr && entries.size() < kMaxEntries; entry = Sibling(entry)) {
        const std::string name(NameOf(*entry));
        const std::optional<int64_t> value = NumberOf(ChildText(*entry, "Value"));
        if (!name.empty() && value) {
            const std::string_view displayName = ChildText(*entry, "DisplayName");
            entries.push_back({name, displayName.empty() ? name : std::string(displayName), *value});
        }
    }
    return entries;
}

uint32_t VisibilityOf(const XMLElement& node) {
    const auto* const found =
        std::find(std::begin(kVisibilities), std::end(kVisibilities), ChildText(node, "Visibility"));
    return found == std::end(kVisibilities) ? OX3D_RGBD_VISIBILITY_BEGINNER
                                            : static_cast<uint32_t>(found - std::begin(kVisibilities));
}

class CCatalogReader {
public:
    explicit CCatalogReader(const XMLElement& root) { Collect(root); }

    std::vector<CatalogFeature> Read() {
        if (const auto root = m_nodes.find("Root"); root != m_nodes.end()) {
            Walk(root->first, *root->second.m_element, "", 0);
        }
        return std::move(m_features);
    }

private:
    struct Node {
        const XMLElement* m_element;
        uint32_t m_type;
    };

    // Nodes lie in the root, in groups and in structured registers. The parser has bounded the depth.
    void Collect(const XMLElement& parent) {
        for (const XMLElement* node = parent.FirstChildElement(); node != nullptr;
             node = node->NextSiblingElement()) {
            const std::string_view element = node->Name();
            if (element == "Group" || element == "StructReg") {
                Collect(*node);
                continue;
            }
            const auto* const row = std::find_if(std::begin(kNodes), std::end(kNodes),
                                                 [&](const NodeRow& r) { return r.m_element == element; });
            if (row != std::end(kNodes) && !NameOf(*node).empty()) {
                m_nodes.emplace(NameOf(*node), Node{node, row->m_type});
            }
        }
    }

    void Walk(std::string_view name, const XMLElement& category, const std::string& path, size_t depth) {
        if (depth >= kMaxDepth || path.size() > kMaxCategoryBytes || !m_visited.insert(name).second) {
            return;
        }
        for (const XMLElement* child = category.FirstChildElement("pFeature");
             child != nullptr && m_features.size() < kMaxFeatures; child = Sibling(child)) {
            const auto found = m_nodes.find(Trimmed(child->GetText()));
            if (found == m_nodes.end()) {
                continue;
            }
            const auto& [childName, node] = *found;
            if (node.m_type == kCategory) {
                std::string below = path + (path.empty() ? "" : "/");
                Walk(childName, *node.m_element, below.append(childName), depth + 1);
            } else if (m_visited.insert(childName).second) {
                Add(childName, node, path);
            }
        }
    }

    void Add(std::string_view name, const Node& node, const std::string& path) {
        const XMLElement& element = *node.m_element;
        CatalogFeature& feature = m_features.emplace_back();
        const std::string_view displayName = ChildText(element, "DisplayName");
        feature.m_name = name;
        feature.m_displayName = displayName.empty() ? name : displayName;
        feature.m_category = path;
        feature.m_unit = ChildText(element, "Unit");
        feature.m_toolTip = ChildText(element, "ToolTip");
        feature.m_description = ChildText(element, "Description");
        feature.m_type = node.m_type;
        feature.m_visibility = VisibilityOf(element);
        if (node.m_type == OX3D_RGBD_PARAM_ENUM) {
            feature.m_entries = EntriesOf(element);
        }
    }

    std::unordered_map<std::string_view, Node> m_nodes; // the first of each name
    std::unordered_set<std::string_view> m_visited;
    std::vector<CatalogFeature> m_features;
};

} // namespace

std::vector<CatalogFeature> ReadFeatureCatalog(std::string_view xml) {
    tinyxml2::XMLDocument document;
    if (xml.size() > kMaxDescriptionBytes ||
        document.Parse(xml.data(), xml.size()) != tinyxml2::XML_SUCCESS ||
        document.RootElement() == nullptr) {
        return {};
    }
    return CCatalogReader(*document.RootElement()).Read();
}
