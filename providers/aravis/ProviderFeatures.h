// ProviderFeatures.h - features that no camera has: which kind of camera it is, and how the provider treats cameras
// that are not the library's own kind.
#ifndef OX3D_ARAVIS_PROVIDER_FEATURES_H
#define OX3D_ARAVIS_PROVIDER_FEATURES_H

#include <atomic>
#include <optional>
#include <string>

#include "base/Mutex.h"
#include "providers/aravis/CameraKind.h"
#include "providers/aravis/Scan3dSetup.h"
#include <ox3drgbd/OxCameraControl.h>

namespace ox3d {

// Every thread may call. A function answers with nothing where the key is none of these.
class CProviderFeatures {
public:
    ECameraKind Kind() const { return m_kind; }
    void SetKind(ECameraKind kind) { m_kind = kind; }
    Scan3dOptions Options() const;
    // How long a frame whose packets are missing stays open; 0: as fits the kind.
    uint32_t RetentionMs() const { return m_retentionMs; }

    std::optional<int> GetString(const char* key, OX_CC_STRING_VALUE* value) const;
    std::optional<int> SetString(const char* key, const char* value);
    std::optional<int> GetFloat(const char* key, OX_CC_FLOAT_VALUE* value) const;
    std::optional<int> SetFloat(const char* key, float value);
    std::optional<int> GetInteger(const char* key, OX_CC_INT_VALUE_EX* value) const;
    std::optional<int> SetInteger(const char* key, int64_t value);
    std::optional<uint32_t> AccessOf(const char* key) const;
    std::optional<uint32_t> TypeOf(const char* key) const;

    // Whether a write is the next of the switches that the library turns at opening. Its own kind of camera is turned
    // to depth with color by them; another one lacks the first, and would be turned to something else by the others.
    bool IsWorkModeSwitch(const char* key, int64_t value);

private:
    std::atomic<ECameraKind> m_kind{ECameraKind::Native};
    std::atomic<uint32_t> m_retentionMs{0};
    mutable CMutex m_mutex;
    Scan3dOptions m_options OX_GUARDED_BY(m_mutex);
    size_t m_nextSwitch OX_GUARDED_BY(m_mutex) = 0;
};

} // namespace ox3d

#endif
