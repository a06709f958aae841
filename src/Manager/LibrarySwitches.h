// LibrarySwitches.h - the library's own parameters, each 0 or 1. They never reach the camera.
#ifndef OX3D_LIBRARY_SWITCHES_H
#define OX3D_LIBRARY_SWITCHES_H

#include <atomic>
#include <cstdint>
#include <cstring>

#include <ox3drgbd/Ox3dRgbdExtension.h>

class CLibrarySwitches {
public:
    CLibrarySwitches() { Reset(); }

    void Reset() {
        m_imageAlign = 1;
        m_resolutionAlign = 1;
        m_outputRgbd = 0;
        m_autoReconnect = 0;
    }

    // The switch of that name, or null.
    std::atomic<uint32_t>* Find(const char* key) {
        if (strcmp(key, OX3D_RGBD_KEY_IMAGE_ALIGN) == 0) {
            return &m_imageAlign;
        }
        if (strcmp(key, OX3D_RGBD_KEY_RESOLUTION_ALIGN) == 0) {
            return &m_resolutionAlign;
        }
        if (strcmp(key, OX3D_RGBD_KEY_AUTO_RECONNECT) == 0) {
            return &m_autoReconnect;
        }
        return strcmp(key, OX3D_RGBD_KEY_OUTPUT_RGBD) == 0 ? &m_outputRgbd : nullptr;
    }
    bool IsAutoReconnect(const std::atomic<uint32_t>* found) const { return found == &m_autoReconnect; }

    bool IsImageAlignOn() const { return m_imageAlign.load(std::memory_order_relaxed) == 1; }
    bool IsResolutionAlignOn() const { return m_resolutionAlign.load(std::memory_order_relaxed) == 1; }
    bool IsOutputRgbdOn() const { return m_outputRgbd.load(std::memory_order_relaxed) == 1; }

private:
    std::atomic<uint32_t> m_imageAlign;
    std::atomic<uint32_t> m_resolutionAlign;
    std::atomic<uint32_t> m_outputRgbd;
    std::atomic<uint32_t> m_autoReconnect;
};

#endif
