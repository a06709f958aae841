// SettingsJournal.cpp - see SettingsJournal.h.
#include "src/Manager/SettingsJournal.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "base/ExceptionBarrier.h"
#include "base/LocalFile.h"
#include "base/TempFolder.h"
#include "src/Common/AsyncLog.h"

namespace {

constexpr const char* kLogSource = "../../src/Manager/SettingsJournal";
constexpr size_t kMaxSettings = 1024;
constexpr uint64_t kMaxFileBytes = 1U << 20;
constexpr ptrdiff_t kMaxFiles = 4;

// The standard's naming: ChunkSelector, TriggerSelector, ...
bool IsSelector(const std::string& key) {
    constexpr std::string_view kEnding = "Selector";
    return key.size() >= kEnding.size() && key.ends_with(kEnding);
}

// Selectors are integers or enumerations.
bool IsSameValue(const OX3D_RGBD_PARAM& a, const OX3D_RGBD_PARAM& b) {
    return a.enParamType == b.enParamType &&
           (a.enParamType == OX3D_RGBD_PARAM_ENUM ? a.stEnumParam.nCurValue == b.stEnumParam.nCurValue
                                                  : a.stIntParam.nCurValue == b.stIntParam.nCurValue);
}

} // namespace

template <class Make>
void CSettingsJournal::TryNote(Make&& make) noexcept {
    try {
        Setting setting = make();
        const ox3d::CLock lock(m_mutex);
        Note(std::move(setting));
    } catch (const std::exception&) {
        ++m_notNoted;
    }
}

bool CSettingsJournal::IsReplaced(const Setting& former, const Setting& next) {
    if (former.m_kind != next.m_kind || former.m_key != next.m_key) {
        return false;
    }
    if (next.m_kind == EKind::File) {
        return *former.m_file == *next.m_file;
    }
    return IsSameSelection(former, next, former.m_selection == next.m_selection);
}

bool CSettingsJournal::IsSameSelection(const Setting& former, const Setting& next, bool isNoneSame) {
    if (former.m_selection == nullptr || next.m_selection == nullptr) {
        return isNoneSame;
    }
    return std::equal(former.m_selection->begin(), former.m_selection->end(), next.m_selection->begin(),
                      next.m_selection->end(), [](const Setting& a, const Setting& b) {
                          return a.m_key == b.m_key && a.m_entry == b.m_entry &&
                                 IsSameValue(a.m_value, b.m_value);
                      });
}

void CSettingsJournal::Note(Setting setting) {
    if (setting.m_kind == EKind::Feature && IsSelector(setting.m_key)) {
        Selection next = m_selection != nullptr ? *m_selection : Selection();
        std::erase_if(next, [&](const Setting& other) { return other.m_key == setting.m_key; });
        next.push_back(std::move(setting));
        m_selection = std::make_shared<const Selection>(std::move(next));
        return;
    }
    setting.m_selection = m_selection;
    std::erase_if(m_settings, [&](const Setting& former) { return IsReplaced(former, setting); });
    if (m_settings.size() >= kMaxSettings) {
        m_settings.erase(m_settings.begin());
        ++m_notNoted;
    }
    m_settings.push_back(std::move(setting));
    BoundFiles();
}

// The oldest go first: what they set has mostly been set again by those that came later.
void CSettingsJournal::BoundFiles() {
    const auto isFile = [](const Setting& setting) { return setting.m_kind == EKind::File; };
    if (std::count_if(m_settings.begin(), m_settings.end(), isFile) > kMaxFiles) {
        m_settings.erase(std::find_if(m_settings.begin(), m_settings.end(), isFile));
        ++m_notNoted;
    }
}

void CSettingsJournal::NoteFeature(const char* key, const OX3D_RGBD_PARAM& value) noexcept {
    TryNote([&] {
        Setting setting;
        setting.m_key = key;
        setting.m_value = value;
        return setting;
    });
}

void CSettingsJournal::NoteEntry(const char* key, const char* entry) noexcept {
    TryNote([&] {
        Setting setting;
        setting.m_key = key;
        setting.m_entry = entry;
        return setting;
    });
}

void CSettingsJournal::NoteFile(const char* file) noexcept {
    TryNote([&] {
        std::string text;
        if (!ox3d::ReadLocalFile(file, kMaxFileBytes, &text)) {
            throw std::runtime_error("the file cannot be read");
        }
        Setting setting;
        setting.m_kind = EKind::File;
        setting.m_file = std::make_shared<const std::string>(std::move(text));
        return setting;
    });
}

void CSettingsJournal::NoteNumber(EKind kind, uint32_t number) noexcept {
    TryNote([&] {
        Setting setting;
        setting.m_kind = kind;
        setting.m_value.stIntParam.nCurValue = number;
        return setting;
    });
}

void CSettingsJournal::Clear() noexcept {
    const ox3d::CLock lock(m_mutex);
    m_settings.clear();
    m_selection = nullptr;
    m_notNoted = 0;
}

void CSettingsJournal::Renew() noexcept OX_NO_THREAD_SAFETY_ANALYSIS {
    ::new (&m_mutex) ox3d::CMutex;
}

uint32_t CSettingsJournal::Apply(const Setting& setting, CCameraModule& camera) {
    const auto number = static_cast<uint32_t>(setting.m_value.stIntParam.nCurValue);
    switch (setting.m_kind) {
    case EKind::Feature:
        return setting.m_entry.empty()
                   ? camera.SetValue(setting.m_key.c_str(), &setting.m_value)
                   : camera.SetEnumValueByString(setting.m_key.c_str(), setting.m_entry.c_str());
    case EKind::NodeNum:
        return camera.SetImageNodeNum(number);
    case EKind::GvcpTimeout:
        return camera.SetGvcpTimeout(number);
    case EKind::File:
        break;
    }
    return ox3d::StatusBarrier<uint32_t>(OX3D_RGBD_E_MEMORY, OX3D_RGBD_E_NO_DATA, [&] {
        const ox3d::CTempFolder folder;
        const std::string file = (folder.Path() / "features").string();
        const bool isWritten = ox3d::WriteLocalFile(file, setting.m_file->data(), setting.m_file->size());
        return isWritten ? camera.PropertyImport(file.c_str()) : OX3D_RGBD_E_NO_DATA;
    });
}

// What refuses to be selected shows at what it selects.
void CSettingsJournal::Select(const Selection& wanted, Selection* selected, CCameraModule& camera) {
    for (const Setting& selector : wanted) {
        const auto former = std::find_if(selected->begin(), selected->end(),
                                         [&](const Setting& other) { return other.m_key == selector.m_key; });
        if (former == selected->end()) {
            selected->push_back(selector);
        } else if (former->m_entry == selector.m_entry && IsSameValue(former->m_value, selector.m_value)) {
            continue;
        } else {
            *former = selector;
        }
        Apply(selector, camera);
    }
}

uint32_t CSettingsJournal::ApplyWithSelection(const Setting& setting, Selection* selected,
                                              CCameraModule& camera) {
    if (setting.m_selection != nullptr) {
        Select(*setting.m_selection, selected, camera);
    }
    const uint32_t status = Apply(setting, camera);
    if (setting.m_kind == EKind::File) {
        selected->clear(); // a file selects, too
    }
    return status;
}

void CSettingsJournal::Replay(CCameraModule& camera, const std::function<bool()>& isWanted) const {
    std::vector<Setting> settings;
    std::shared_ptr<const Selection> atLast;
    {
        const ox3d::CLock lock(m_mutex);
        settings = m_settings;
        atLast = m_selection;
    }
    Selection selected;
    std::vector<const Setting*> refused;
    for (const Setting& setting : settings) {
        std::erase_if(refused, [&](const Setting* former) { // what was set since holds
            return former->m_kind == setting.m_kind && former->m_key == setting.m_key &&
                   IsSameSelection(*former, setting, true);
        });
        if (isWanted() && ApplyWithSelection(setting, &selected, camera) != OX3D_RGBD_OK) {
            refused.push_back(&setting);
        }
    }
    for (const Setting* setting : refused) {
        const uint32_t status = isWanted() ? ApplyWithSelection(*setting, &selected, camera) : OX3D_RGBD_OK;
        if (status != OX3D_RGBD_OK) {
            OX_LOG_WARNING("[AutoReconnect] the device refuses [%s], nRet:[%#x].\r\n", setting->m_key.c_str(),
                           status);
        }
    }
    if (atLast != nullptr && isWanted()) {
        Select(*atLast, &selected, camera);
    }
    if (const uint32_t count = m_notNoted; count != 0) {
        OX_LOG_WARNING("[AutoReconnect] [%u] settings could not be noted and are not set again.\r\n", count);
    }
}
