// SettingChanges.cpp - see SettingChanges.h.
#include "providers/aravis/SettingChanges.h"

#include <algorithm>
#include <cstdio>
#include <optional>

#include "providers/aravis/ArvError.h"
#include "providers/aravis/Selection.h"
#include "providers/common/Status.h"

namespace ox3d {
namespace {

using Value = std::variant<bool, float, std::string>;

// Of the kind of `like`.
std::optional<Value> Read(ArvDevice* device, const char* key, const Value& like) {
    if (std::holds_alternative<bool>(like)) {
        bool isOn = false;
        return features::GetBoolean(device, key, &isOn) == kOk ? std::optional<Value>(isOn) : std::nullopt;
    }
    if (std::holds_alternative<float>(like)) {
        OX_CC_FLOAT_VALUE number{};
        return features::GetFloat(device, key, &number) == kOk ? std::optional<Value>(number.fCurValue)
                                                               : std::nullopt;
    }
    std::string name;
    return features::GetEnumName(device, key, &name) == kOk ? std::optional<Value>(name) : std::nullopt;
}

int Write(ArvDevice* device, const char* key, const Value& value) {
    if (const bool* isOn = std::get_if<bool>(&value)) {
        return features::SetBoolean(device, key, *isOn);
    }
    if (const float* number = std::get_if<float>(&value)) {
        return features::SetFloat(device, key, *number);
    }
    return features::SetEnumByName(device, key, std::get<std::string>(value).c_str());
}

std::string TextOf(const Value& value) {
    if (const bool* isOn = std::get_if<bool>(&value)) {
        return *isOn ? "on" : "off";
    }
    if (const float* number = std::get_if<float>(&value)) {
        return std::to_string(*number);
    }
    return std::get<std::string>(value);
}

std::string NameOf(const Setting& setting) {
    return setting.m_entry.empty() ? setting.m_key : setting.m_key + (" of " + setting.m_entry);
}

void TellRefused(const Setting& setting, const Value& before, const Value& wanted, int code,
                 const char* cost) {
    std::fprintf(stderr, "camera control: the camera refuses %s for %s, which stays %s (0x%08x): %s\n",
                 TextOf(wanted).c_str(), NameOf(setting).c_str(), TextOf(before).c_str(),
                 static_cast<unsigned>(code), cost);
}

} // namespace

int CSettingChanges::Set(ArvDevice* device, const Setting& setting, const Value& before,
                         const Value& wanted) {
    const int code = Write(device, setting.m_key, wanted);
    if (code == kOk) {
        m_changes.push_back({setting, before, wanted});
    }
    return code;
}

bool CSettingChanges::SetOrTell(ArvDevice* device, const Setting& setting, const Value& wanted,
                                const char* cost) {
    const CSelection selection(device, setting.m_selector, setting.m_entry);
    const auto before = selection.IsDone() ? Read(device, setting.m_key, wanted) : std::nullopt;
    if (!before || *before == wanted) {
        return true;
    }
    const int code = Set(device, setting, *before, wanted);
    if (code != kOk) {
        TellRefused(setting, *before, wanted, code, cost);
    }
    return code == kOk;
}

bool CSettingChanges::Switch(ArvDevice* device, const Setting& setting, bool isOn, const char* cost) {
    return SetOrTell(device, setting, isOn, cost);
}

bool CSettingChanges::SetToZero(ArvDevice* device, const Setting& setting, const char* cost) {
    return SetOrTell(device, setting, 0.0F, cost);
}

bool CSettingChanges::Choose(ArvDevice* device, const Setting& setting,
                             const std::vector<std::string>& wanted, const char* cost) {
    const CSelection selection(device, setting.m_selector, setting.m_entry);
    const auto before = selection.IsDone() ? Read(device, setting.m_key, std::string()) : std::nullopt;
    if (!before) {
        return true;
    }
    const std::vector<std::string> there = features::EntriesOf(device, setting.m_key);
    std::string refused;
    int refusedCode = kOk;
    for (const std::string& name : wanted) {
        if (*before == Value(name)) {
            break;
        }
        if (std::find(there.begin(), there.end(), name) == there.end()) {
            continue;
        }
        const int code = Set(device, setting, *before, name);
        if (code == kOk) {
            return true;
        }
        if (refused.empty()) {
            refused = name;
            refusedCode = code;
        }
    }
    if (!refused.empty()) {
        TellRefused(setting, *before, refused, refusedCode, cost);
    }
    return refused.empty();
}

// Which are as they were changed to is found out first: some cameras move one setting with another.
void CSettingChanges::PutBack(ArvDevice* device) {
    std::erase_if(m_changes, [&](const Change& change) {
        const Setting& setting = change.m_setting;
        const CSelection selection(device, setting.m_selector, setting.m_entry);
        return !selection.IsDone() ||
               Read(device, setting.m_key, change.m_now) != std::optional(change.m_now);
    });
    for (; !m_changes.empty(); m_changes.pop_back()) {
        const auto& [setting, before, now] = m_changes.back();
        const CSelection selection(device, setting.m_selector, setting.m_entry);
        if (const int code = Write(device, setting.m_key, before); code != kOk) {
            std::fprintf(stderr, "camera control: %s is not put back to %s (0x%08x): it stays %s\n",
                         NameOf(setting).c_str(), TextOf(before).c_str(), static_cast<unsigned>(code),
                         TextOf(now).c_str());
        }
    }
}

} // namespace ox3d
