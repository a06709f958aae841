// CameraModel_Settings.cpp - settings as a whole: user sets inside the camera, and the feature file outside.
//
// The feature file is lines "Name=Value". What a selector chooses between is written entry by entry, the
// selector's line first; reading the lines in order therefore brings everything back.
#include <array>
#include <bit>
#include <charconv>

#include "virtual-camera/CameraModel.h"
#include "virtual-camera/TextParse.h"

namespace ox3d {
namespace {

constexpr const char* kHeader = "# Features of a camera\n";

} // namespace

CCameraModel::Settings CCameraModel::TakeSettings() const {
    Settings settings;
    for (const MappedFeature& feature : m_features.Features()) {
        if (feature.m_row->m_isSaved) {
            std::vector<uint8_t>& bytes = settings.emplace_back(feature.SpanBytes());
            m_registers.Read(feature.m_address, bytes.data(), bytes.size());
        }
    }
    return settings;
}

void CCameraModel::ApplySettings(const Settings& settings) {
    auto next = settings.begin();
    for (const MappedFeature& feature : m_features.Features()) {
        if (feature.m_row->m_isSaved && next != settings.end()) {
            m_registers.Write(feature.m_address, next->data(), next->size());
            ++next;
        }
    }
    m_clock.DropTriggers();
    m_changed.NotifyAll();
}

const CCameraModel::Settings& CCameraModel::UserSet(int64_t number) const {
    const bool isStored = (number == 1 || number == 2) && m_storedSets[number - 1].has_value();
    return isStored ? *m_storedSets[number - 1] : m_defaultSet;
}

EModelStatus CCameraModel::UserSetCommand(EFeature command) {
    const int64_t number = Value(EFeature::UserSetSelector);
    if (command == EFeature::UserSetLoad) {
        ApplySettings(UserSet(number));
        return EModelStatus::Ok;
    }
    if (number == 0) {
        return EModelStatus::Access; // the maker's settings stay
    }
    m_storedSets[number - 1] = TakeSettings();
    return EModelStatus::Ok;
}

std::string CCameraModel::ValueText(const MappedFeature& feature, uint32_t slot) const {
    const FeatureRow& row = *feature.m_row;
    if (row.m_type == EFeatureType::Float) {
        std::array<char, 32> text{};
        const auto end =
            std::to_chars(text.data(), text.data() + text.size(), m_registers.Float(feature.m_address));
        return {text.data(), end.ptr};
    }
    const uint64_t raw = Raw(feature, slot);
    if (row.m_type == EFeatureType::Enumeration) {
        return m_features.EntryByValue(row, static_cast<int64_t>(raw))->m_name;
    }
    return std::to_string(raw);
}

std::string CCameraModel::SaveFeatures() {
    Delay();
    const CLock lock(m_mutex);
    std::string text = kHeader;
    const auto line = [&text](const MappedFeature& feature, const std::string& value) {
        text += feature.m_row->m_name + ("=" + value) + "\n";
    };
    for (const MappedFeature& feature : m_features.Features()) {
        const FeatureRow& row = *feature.m_row;
        // What the camera chooses itself at the moment could not be written back.
        if (!row.m_isSaved || (row.m_lock == ELock::WhileAutoExposure && IsLocked(row))) {
            continue;
        }
        if (row.m_selector == EFeature::None) {
            line(feature, ValueText(feature, 0));
            continue;
        }
        const MappedFeature& selector = *m_features.Find(row.m_selector);
        for (const EnumEntry& entry : m_features.EntriesOf(*selector.m_row)) {
            line(selector, entry.m_name);
            line(feature, ValueText(feature, entry.m_value));
        }
        line(selector, ValueText(selector, 0));
    }
    return text;
}

EModelStatus CCameraModel::SetFromText(const MappedFeature& feature, std::string_view text) {
    const FeatureRow& row = *feature.m_row;
    const uint32_t slot = SlotOf(feature);
    uint64_t raw = 0;
    if (row.m_type == EFeatureType::Float) {
        float value = 0;
        if (!ParseWhole(text, &value)) {
            return EModelStatus::Argument;
        }
        raw = std::bit_cast<uint32_t>(value);
    } else if (row.m_type == EFeatureType::Enumeration) {
        const EnumEntry* entry = m_features.EntryByName(row, text);
        if (entry == nullptr) {
            return EModelStatus::Range;
        }
        raw = entry->m_value;
    } else if (!ParseWhole(text, &raw)) {
        return EModelStatus::Argument;
    }
    // A locked feature that has its value already does no harm.
    return raw == Raw(feature, slot) ? EModelStatus::Ok : Write(feature, slot, raw);
}

namespace {

// Takes the next line that says something from the text: "Name=Value" in two parts, or a name alone. False at the end.
struct FeatureLine {
    size_t m_number = 0;
    std::string_view m_line;
    std::string_view m_name;
    std::string_view m_value;
    bool m_hasValue = false;
};

bool TakeLine(std::string_view* text, FeatureLine* out) {
    while (!text->empty()) {
        const size_t end = std::min(text->find('\n'), text->size());
        out->m_line = Trim(text->substr(0, end));
        text->remove_prefix(std::min(end + 1, text->size()));
        ++out->m_number;
        if (out->m_line.empty() || out->m_line.front() == '#') {
            continue;
        }
        const size_t equals = std::min(out->m_line.find('='), out->m_line.size());
        out->m_hasValue = equals < out->m_line.size();
        out->m_name = Trim(out->m_line.substr(0, equals));
        out->m_value = out->m_hasValue ? Trim(out->m_line.substr(equals + 1)) : std::string_view();
        return true;
    }
    return false;
}

} // namespace

EModelStatus CCameraModel::LoadFeatures(std::string_view text, std::string* where) {
    Delay();
    const CLock lock(m_mutex);
    const Settings before = TakeSettings();
    FeatureLine line;
    while (TakeLine(&text, &line)) {
        const MappedFeature* feature = m_features.Find(line.m_name);
        EModelStatus status = EModelStatus::UnknownFeature;
        if (feature != nullptr && feature->m_row->m_isSaved && line.m_hasValue) {
            status = SetFromText(*feature, line.m_value);
        }
        if (status != EModelStatus::Ok) {
            ApplySettings(before);
            *where = "line " + std::to_string(line.m_number) + ": " + std::string(line.m_line);
            return status;
        }
    }
    return EModelStatus::Ok;
}

// The settings of the camera that was recorded are those that this one starts from, as far as it has them. It plays
// without being triggered, and without end, whatever that one waited for.
void CCameraModel::TakeRecordedFeatures(std::string_view text) {
    FeatureLine line;
    while (TakeLine(&text, &line)) {
        const MappedFeature* feature = m_features.Find(line.m_name);
        const bool isTaken = feature != nullptr && feature->m_row->m_isSaved &&
                             feature->m_row->m_id != EFeature::TriggerMode &&
                             feature->m_row->m_id != EFeature::AcquisitionMode;
        if (isTaken && line.m_hasValue) {
            SetFromText(*feature, line.m_value); // what this camera cannot do stays as it is
        }
    }
    m_defaultSet = TakeSettings();
}

} // namespace ox3d
