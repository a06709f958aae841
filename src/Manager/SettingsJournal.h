// SettingsJournal.h - what the application has set on a device, to be set again on the same device when it was lost
// and is back. Any thread.
#ifndef OX3D_SETTINGS_JOURNAL_H
#define OX3D_SETTINGS_JOURNAL_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/Mutex.h"
#include "src/CameraModule/CameraModule.h"
#include <ox3drgbd/Ox3dRgbdDefine.h>

class CSettingsJournal {
public:
    // A setting that cannot be noted is left out, which is logged when all are set again. The last of a key counts, and of a key that
    // was set under several values of a selector the last under each.
    void NoteFeature(const char* key, const OX3D_RGBD_PARAM& value) noexcept;
    // An enumeration by the name of its entry, where its number is not known.
    void NoteEntry(const char* key, const char* entry) noexcept;
    void NoteFile(const char* file) noexcept; // what it holds at the time of the call
    void NoteNodeNum(uint32_t count) noexcept { NoteNumber(EKind::NodeNum, count); }
    void NoteGvcpTimeout(uint32_t ms) noexcept { NoteNumber(EKind::GvcpTimeout, ms); }
    void Clear() noexcept;

    // Sets everything in the order in which it was last set, until it is no longer wanted. What the device refuses is
    // tried once more after all others, since a setting may lock another one, then logged and left out.
    void Replay(CCameraModule& camera, const std::function<bool()>& isWanted) const;

    // In a forked child: free again.
    void Renew() noexcept;

private:
    enum class EKind { Feature, File, NodeNum, GvcpTimeout };
    struct Setting {
        EKind m_kind = EKind::Feature;
        std::string m_key;            // of a feature
        OX3D_RGBD_PARAM m_value = {}; // of a feature; else its integer
        std::string m_entry;          // of a feature: instead of the value, where it is not empty
        std::shared_ptr<const std::string> m_file; // what a file held
        // What the application had selected at the time, in the order in which it did.
        std::shared_ptr<const std::vector<Setting>> m_selection;
    };
    using Selection = std::vector<Setting>;

    void NoteNumber(EKind kind, uint32_t number) noexcept;
    void Note(Setting setting) OX_REQUIRES(m_mutex);
    template <class Make>
    void TryNote(Make&& make) noexcept;
    void BoundFiles() OX_REQUIRES(m_mutex);
    static bool IsSameSelection(const Setting& former, const Setting& next, bool isNoneSame);
    static bool IsReplaced(const Setting& former, const Setting& next);
    static uint32_t Apply(const Setting& setting, CCameraModule& camera);
    static uint32_t ApplyWithSelection(const Setting& setting, Selection* selected, CCameraModule& camera);
    static void Select(const Selection& wanted, Selection* selected, CCameraModule& camera);

    mutable ox3d::CMutex m_mutex;
    std::vector<Setting> m_settings OX_GUARDED_BY(m_mutex);
    std::shared_ptr<const Selection> m_selection OX_GUARDED_BY(m_mutex) = nullptr;
    std::atomic<uint32_t> m_notNoted{0};
};

#endif
