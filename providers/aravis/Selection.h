// Selection.h - an entry of a selector, chosen for a scope. The caller holds the camera's mutex.
#ifndef OX3D_ARAVIS_SELECTION_H
#define OX3D_ARAVIS_SELECTION_H

#include <string>

#include "providers/aravis/Features.h"

namespace ox3d {

constexpr const char* kComponentSelector = "ComponentSelector";
constexpr const char* kComponentEnable = "ComponentEnable";
constexpr const char* kPixelFormat = "PixelFormat";
constexpr const char* kOutputMode = "Scan3dOutputMode";

// What was selected before is given back. An empty entry selects nothing, and is done.
class CSelection {
public:
    CSelection(ArvDevice* device, const char* selector, const std::string& entry)
        : m_device(device), m_selector(selector) {
        if (entry.empty() || features::GetEnumName(device, selector, &m_before) != 0) {
            m_isDone = entry.empty();
            return;
        }
        m_isDone = features::SetEnumByName(device, selector, entry.c_str()) == 0;
    }
    ~CSelection() {
        if (!m_before.empty()) {
            features::SetEnumByName(m_device, m_selector, m_before.c_str());
        }
    }
    CSelection(const CSelection&) = delete;
    CSelection& operator=(const CSelection&) = delete;
    bool IsDone() const { return m_isDone; }

private:
    ArvDevice* const m_device;
    const char* const m_selector;
    std::string m_before;
    bool m_isDone = false;
};

} // namespace ox3d

#endif
