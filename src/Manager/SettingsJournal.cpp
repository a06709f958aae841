// SettingsJournal.cpp - see SettingsJournal.h.
#include "src/Manager/SettingsJournal.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <string_view>
#include <utility>

#include "base/LocalFile.h"
#include "base/TempFolder.h"
#include "src/Common/AsyncLog.h"

namespace {

constexpr const char* kLogSource = "../../src/Manager/SettingsJournal";
constexpr size_t kMaxSettings = 1024;
constexpr uint64_t kMaxFileBytes = 1U << 20;

// The standard's naming: ChunkSelector, TriggerSelector, ...
bool IsSelector(const std::string& key) {
    constexpr std::string_view kEnding = "Selector";
    return key.size() >= kEnding.size() && key.ends_with(kEnding);
}

// Selectors are integers or enumerations: the first number of both.
bool IsSameValue(const OX3D_RGBD_PARAM& a, const OX3D_RGBD_PARAM& b) {
    return a.enParamType == b.enParamType && a.stIntParam.nCurValue == b.stIntParam.nCurValue;
}

} // namespace

template <class Make>
void CSettingsJournal::TryNote(const char* what, Make&& make) noexcept {
    try {
        Setting setting = make();
        const ox3d::CLock lock(m_mutex);
        Note(std::move(setting));
    } catch (const std::exception& error) {
        OX_LOG_WARNING("[AutoReconnect] %s would not be set again: %s.\r\n", what, error.what());
    }
}

void CSettingsJournal::Note(Setting setting) {
    if (setting.m_kind == EKind::Feature && IsSelector(setting.m_key)) {
        Selection next = m_selection != nullptr ? *m_selection : Selection();
        std::erase_if(next, [&](const Setting& other) { return other.m_key == setting.m_key; });
        next.push_back(std::move(setting));
        m_selection = std::make_shared<const Selection>(std::move(next));
        return;
    }
    const std::shared_ptr<const Selection> selection = m_selection;
    setting.m_selection = selection;
    const auto isReplaced = [&](const Setting& other) {
        return other.m_kind == setting.m_kind && setting.m_kind != EKind::File &&
               other.m_key == setting.m_key &&
               (other.m_selection == selection || other.m_selection == nullptr || selection == nullptr ||
                std::equal(other.m_selection->begin(), other.m_selection->end(), selection->begin(),
                           selection->end(), [](const Setting& a, const Setting& b) {
                               return a.m_key == b.m_key && IsSameValue(a.m_value, b.m_value);
                           }));
    };
    std::erase_if(m_settings, isReplaced);
    if (m_settings.size() >= kMaxSettings) {
        m_settings.erase(m_settings.begin());
    }
    m_settings.push_back(std::move(setting));
}

void CSettingsJournal::NoteFeature(const char* key, const OX3D_RGBD_PARAM& value) noexcept {
    TryNote(key, [&] {
        Setting setting;
        setting.m_key = key;
        setting.m_value = value;
        return setting;
    });
}

void CSettingsJournal::NoteFile(const char* file) noexcept {
    TryNote(file, [&] {
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

void CSettingsJournal::NoteNodeNum(uint32_t count) noexcept {
    TryNote("the number of image nodes", [&] {
        Setting setting;
        setting.m_kind = EKind::NodeNum;
        setting.m_value.stIntParam.nCurValue = count;
        return setting;
    });
}

void CSettingsJournal::NoteGvcpTimeout(uint32_t ms) noexcept {
    TryNote("the time-out of the control channel", [&] {
        Setting setting;
        setting.m_kind = EKind::GvcpTimeout;
        setting.m_value.stIntParam.nCurValue = ms;
        return setting;
    });
}

void CSettingsJournal::Clear() noexcept {
    const ox3d::CLock lock(m_mutex);
    m_settings.clear();
    m_selection = nullptr;
}

void CSettingsJournal::Renew() noexcept OX_NO_THREAD_SAFETY_ANALYSIS {
    ::new (&m_mutex) ox3d::CMutex;
}

uint32_t CSettingsJournal::Apply(const Setting& setting, CCameraModule& camera) {
    const auto number = static_cast<uint32_t>(setting.m_value.stIntParam.nCurValue);
    uint32_t status = OX3D_RGBD_OK;
    switch (setting.m_kind) {
    case EKind::Feature:
        status = camera.SetValue(setting.m_key.c_str(), &setting.m_value);
        break;
    case EKind::NodeNum:
        status = camera.SetImageNodeNum(number);
        break;
    case EKind::GvcpTimeout:
        status = camera.SetGvcpTimeout(number);
        break;
    case EKind::File: {
        const ox3d::CTempFolder folder;
        const std::string file = (folder.Path() / "features").string();
        if (ox3d::WriteLocalFile(file, setting.m_file->data(), setting.m_file->size())) {
            status = camera.PropertyImport(file.c_str());
        }
        break;
    }
    }
    if (status != OX3D_RGBD_OK && status != OX3D_RGBD_E_CAMERA_07) {
        OX_LOG_WARNING("[AutoReconnect] the device refuses %s, nRet:[%#x].\r\n",
                       setting.m_key.empty() ? "a setting" : setting.m_key.c_str(), status);
        return OX3D_RGBD_OK;
    }
    return status;
}

uint32_t CSettingsJournal::Select(const Selection& wanted, Selection* selected, CCameraModule& camera) {
    for (const Setting& selector : wanted) {
        const auto former = std::find_if(selected->begin(), selected->end(),
                                         [&](const Setting& other) { return other.m_key == selector.m_key; });
        if (former != selected->end() && IsSameValue(former->m_value, selector.m_value)) {
            continue;
        }
        if (const uint32_t status = Apply(selector, camera); status != OX3D_RGBD_OK) {
            return status;
        }
        if (former != selected->end()) {
            *former = selector;
        } else {
            selected->push_back(selector);
        }
    }
    return OX3D_RGBD_OK;
}

uint32_t CSettingsJournal::Replay(CCameraModule& camera) const {
    std::vector<Setting> settings;
    std::shared_ptr<const Selection> atLast;
    {
        const ox3d::CLock lock(m_mutex);
        settings = m_settings;
        atLast = m_selection;
    }
    Selection selected;
    const auto select = [&](const std::shared_ptr<const Selection>& wanted) {
        return wanted != nullptr ? Select(*wanted, &selected, camera) : OX3D_RGBD_OK;
    };
    for (const Setting& setting : settings) {
        uint32_t status = select(setting.m_selection);
        if (status == OX3D_RGBD_OK) {
            status = Apply(setting, camera);
        }
        if (status != OX3D_RGBD_OK) {
            return status;
        }
        if (setting.m_kind == EKind::File) {
            selected.clear(); // a file selects, too
        }
    }
    return select(atLast);
}
