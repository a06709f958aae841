// FeatureFile.cpp - walks the categories from Root for saving; for loading, lines as they come.
#include "providers/aravis/FeatureFile.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <map>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "providers/aravis/ArvError.h"
#include "providers/aravis/Features.h"
#include "providers/common/Status.h"

namespace ox3d {
namespace {

constexpr const char* kHeader = "# Features of a camera\n";
constexpr size_t kMaxNodes = 10000;
constexpr size_t kMaxSelections = 256; // of one feature

bool HasPrefix(std::string_view text, std::string_view prefix) {
    return text.substr(0, prefix.size()) == prefix;
}

// Files are no settings; the transport's belong to the place where the camera is, its name to one camera, and
// choosing a user set is not using it.
bool IsSetting(std::string_view name) {
    constexpr std::string_view kPrefixes[] = {"Gev", "File", "TLParams", "UserSet", "DeviceUserID"};
    return std::none_of(std::begin(kPrefixes), std::end(kPrefixes),
                        [&](std::string_view prefix) { return HasPrefix(name, prefix); });
}

bool IsSettingType(uint32_t type) {
    return type == OX_IFT_IInteger || type == OX_IFT_IFloat || type == OX_IFT_IBoolean ||
           type == OX_IFT_IEnumeration || type == OX_IFT_IString;
}

// A description may say that a feature is not for files.
bool IsStreamable(ArvGcFeatureNode* node) {
    for (ArvDomNode* child = arv_dom_node_get_first_child(ARV_DOM_NODE(node)); child != nullptr;
         child = arv_dom_node_get_next_sibling(child)) {
        if (std::strcmp(arv_dom_node_get_node_name(child), "Streamable") == 0) {
            ArvDomNode* text = arv_dom_node_get_first_child(child);
            const char* value = text == nullptr ? nullptr : arv_dom_node_get_node_value(text);
            return value == nullptr || std::strcmp(value, "No") != 0;
        }
    }
    return true;
}

int ValueText(ArvDevice* device, const char* name, uint32_t type, std::string* text) {
    switch (type) {
    case OX_IFT_IInteger: {
        OX_CC_INT_VALUE_EX value{};
        const int code = features::GetInteger(device, name, &value);
        *text = std::to_string(value.nCurValue);
        return code;
    }
    case OX_IFT_IFloat: {
        OX_CC_FLOAT_VALUE value{};
        const int code = features::GetFloat(device, name, &value);
        std::array<char, 32> digits{};
        *text = {digits.data(),
                 std::to_chars(digits.data(), digits.data() + digits.size(), value.fCurValue).ptr};
        return code;
    }
    case OX_IFT_IBoolean: {
        bool value = false;
        const int code = features::GetBoolean(device, name, &value);
        text->assign(1, value ? '1' : '0');
        return code;
    }
    case OX_IFT_IEnumeration:
        return features::GetEnumName(device, name, text);
    default: {
        int64_t maxBytes = 0;
        return features::GetString(device, name, text, &maxBytes);
    }
    }
}

template <typename T>
bool Parse(const std::string& text, T* value) {
    const auto result = std::from_chars(text.data(), text.data() + text.size(), *value);
    return result.ec == std::errc{} && result.ptr == text.data() + text.size();
}

int SetFromText(ArvDevice* device, const char* name, uint32_t type, const std::string& text) {
    switch (type) {
    case OX_IFT_IInteger: {
        int64_t value = 0;
        return Parse(text, &value) ? features::SetInteger(device, name, value) : Code(OX_CC_E_PARAMETER);
    }
    case OX_IFT_IFloat: {
        float value = 0;
        return Parse(text, &value) ? features::SetFloat(device, name, value) : Code(OX_CC_E_PARAMETER);
    }
    case OX_IFT_IBoolean: {
        const bool isOn = text == "1" || text == "true" || text == "True";
        const bool isOff = text == "0" || text == "false" || text == "False";
        return isOn || isOff ? features::SetBoolean(device, name, isOn) : Code(OX_CC_E_PARAMETER);
    }
    case OX_IFT_IEnumeration:
        return features::SetEnumByName(device, name, text.c_str());
    case OX_IFT_IString:
        return features::SetString(device, name, text.c_str());
    default:
        return Code(OX_CC_E_GC_DYNAMIC_CAST);
    }
}

// ---- Saving ----

class CFeatureSaver {
public:
    CFeatureSaver(ArvDevice* device, bool mayWrite) : m_device(device), m_mayWrite(mayWrite) {}

    int Save(std::string* text) {
        Walk("Root");
        for (const std::string& name : m_names) {
            NoteSelected(name);
        }
        m_text = kHeader;
        for (const std::string& name : m_names) {
            SaveFeature(name);
        }
        if (m_code == kOk) {
            *text = std::move(m_text);
        }
        return m_code;
    }

private:
    ArvGcFeatureNode* Node(const std::string& name) const {
        ArvGcFeatureNode* node = nullptr;
        return features::Find(m_device, name.c_str(), features::kNoType, &node) == kOk ? node : nullptr;
    }

    void Walk(const std::string& name) {
        ArvGcFeatureNode* node = Node(name);
        if (node == nullptr || m_seen.size() >= kMaxNodes || !m_seen.insert(name).second) {
            return;
        }
        if (!ARV_IS_GC_CATEGORY(node)) {
            m_names.push_back(name);
            return;
        }
        for (const GSList* item = arv_gc_category_get_features(ARV_GC_CATEGORY(node)); item != nullptr;
             item = item->next) {
            if (item->data != nullptr) {
                Walk(static_cast<const char*>(item->data));
            }
        }
    }

    void NoteSelected(const std::string& name) {
        ArvGcFeatureNode* node = Node(name);
        if (node == nullptr || !ARV_IS_GC_SELECTOR(node) ||
            features::TypeOfNode(node) != OX_IFT_IEnumeration) {
            return;
        }
        for (const GSList* item = arv_gc_selector_get_selected_features(ARV_GC_SELECTOR(node));
             item != nullptr; item = item->next) {
            const char* selected = arv_gc_feature_node_get_name(ARV_GC_FEATURE_NODE(item->data));
            if (selected != nullptr) {
                m_selectors[selected].push_back(name);
            }
        }
    }

    bool IsSaved(const std::string& name, uint32_t* type) const {
        ArvGcFeatureNode* node = Node(name);
        if (node == nullptr || !IsSetting(name)) {
            return false;
        }
        *type = features::TypeOfNode(node);
        return IsSettingType(*type) && IsStreamable(node) && features::MayRead(node) &&
               features::MayWrite(node);
    }

    // False when the value cannot be had or could not be read back from a line.
    bool Line(const std::string& name, uint32_t type) {
        std::string value;
        const int code = ValueText(m_device, name.c_str(), type, &value);
        if (code == kDeviceGone) {
            m_code = code;
        }
        if (code != kOk || value.find_first_of("\r\n") != value.npos) {
            return false;
        }
        m_text += name;
        m_text += '=';
        m_text += value;
        m_text += '\n';
        return true;
    }

    void SaveFeature(const std::string& name) {
        uint32_t type = 0;
        if (m_code != kOk) {
            return;
        }
        const auto selectors = m_selectors.find(name);
        if (selectors == m_selectors.end()) {
            if (IsSaved(name, &type)) {
                Line(name, type);
            }
        } else if (m_mayWrite && IsSetting(name)) {
            m_selections = 0;
            Select(name, selectors->second, 0);
        }
    }

    // Goes through all entries of the selectors from `depth` on, and puts them back as they were.
    void Select(const std::string& name, const std::vector<std::string>& selectors, size_t depth) {
        uint32_t type = 0;
        if (depth == selectors.size()) {
            if (IsSaved(name, &type)) {
                Line(name, type);
            }
            return;
        }
        const std::string& selector = selectors[depth];
        std::string before;
        if (features::GetEnumName(m_device, selector.c_str(), &before) != kOk) {
            return;
        }
        CArvError error;
        guint count = 0;
        const CGMemory<const char*> entries(arv_device_dup_available_enumeration_feature_values_as_strings(
            m_device, selector.c_str(), &count, error.Out()));
        for (guint i = 0; entries != nullptr && i < count && m_selections < kMaxSelections; ++i) {
            ++m_selections;
            if (features::SetEnumByName(m_device, selector.c_str(), entries.get()[i]) == kOk) {
                Line(selector, OX_IFT_IEnumeration);
                Select(name, selectors, depth + 1);
            }
        }
        if (features::SetEnumByName(m_device, selector.c_str(), before.c_str()) == kOk) {
            Line(selector, OX_IFT_IEnumeration);
        }
    }

    ArvDevice* const m_device;
    const bool m_mayWrite;
    std::set<std::string> m_seen;
    std::vector<std::string> m_names;                            // in the order of the categories
    std::map<std::string, std::vector<std::string>> m_selectors; // of a feature
    size_t m_selections = 0;
    std::string m_text;
    int m_code = kOk;
};

// ---- Loading ----

std::string Trim(std::string_view text) {
    constexpr std::string_view kBlank = " \t\r";
    const size_t first = text.find_first_not_of(kBlank);
    const size_t last = text.find_last_not_of(kBlank);
    return first == text.npos ? "" : std::string(text.substr(first, last - first + 1));
}

class CFeatureLoader {
public:
    CFeatureLoader(ArvDevice* device, const std::string& text) : m_device(device), m_text(text) {}

    // A feature may be locked, or its range narrower, because of another one that comes further down: what the
    // first round cannot set, the second one must.
    int Load(std::string* where) {
        bool isComplete = true;
        int code = Round(false, &isComplete, where);
        if (code == kOk && !isComplete) {
            code = Round(true, &isComplete, where);
        }
        if (code != kOk) {
            Undo();
        }
        return code;
    }

private:
    int Round(bool isStrict, bool* isComplete, std::string* where) {
        std::string_view rest = m_text;
        for (size_t number = 1; !rest.empty(); ++number) {
            const size_t end = std::min(rest.find('\n'), rest.size());
            const std::string line = Trim(rest.substr(0, end));
            rest.remove_prefix(std::min(end + 1, rest.size()));
            if (line.empty() || line.front() == '#') {
                continue;
            }
            const int code = Line(line);
            const bool mayComeLater = code == Code(OX_CC_E_GC_ACCESS) || code == Code(OX_CC_E_GC_RANGE);
            if (code != kOk && mayComeLater && !isStrict) {
                *isComplete = false;
            } else if (code != kOk) {
                *where = "line " + std::to_string(number) + ": " + line;
                return code;
            }
        }
        return kOk;
    }

    int Line(const std::string& line) {
        const size_t equals = line.find('=');
        if (equals == line.npos) {
            return Code(OX_CC_E_GC_ARGUMENT);
        }
        const std::string name = Trim(line.substr(0, equals));
        const std::string value = Trim(line.substr(equals + 1));
        ArvGcFeatureNode* node = nullptr;
        const int code = features::Find(m_device, name.c_str(), features::kNoType, &node);
        if (code != kOk) {
            return code;
        }
        const uint32_t type = features::TypeOfNode(node);
        if (!IsSettingType(type) || !IsSetting(name)) {
            return Code(OX_CC_E_GC_ARGUMENT);
        }
        std::string before;
        const bool isKnown = ValueText(m_device, name.c_str(), type, &before) == kOk;
        if (isKnown && before == value) {
            return kOk; // a locked feature that has its value already does no harm
        }
        const int set = SetFromText(m_device, name.c_str(), type, value);
        if (set == kOk && isKnown) {
            m_before.emplace_back(name, before);
        }
        return set;
    }

    // Backwards, so that every selector stands where it stood when its feature was written.
    void Undo() {
        for (auto step = m_before.rbegin(); step != m_before.rend(); ++step) {
            ArvGcFeatureNode* node = nullptr;
            if (features::Find(m_device, step->first.c_str(), features::kNoType, &node) == kOk) {
                SetFromText(m_device, step->first.c_str(), features::TypeOfNode(node), step->second);
            }
        }
    }

    ArvDevice* const m_device;
    const std::string& m_text;
    std::vector<std::pair<std::string, std::string>> m_before;
};

} // namespace

int SaveFeatureText(ArvDevice* device, bool mayWrite, std::string* text) {
    return CFeatureSaver(device, mayWrite).Save(text);
}

int LoadFeatureText(ArvDevice* device, const std::string& text, std::string* where) {
    return CFeatureLoader(device, text).Load(where);
}

} // namespace ox3d
