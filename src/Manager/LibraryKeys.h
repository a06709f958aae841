// LibraryKeys.h - the library's own integer parameters of one device. They never reach the camera.
#ifndef OX3D_LIBRARY_KEYS_H
#define OX3D_LIBRARY_KEYS_H

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>

#include "base/WorkerPool.h"
#include <ox3drgbd/Ox3dRgbdExtension.h>

// In the order of kLibraryKeys.
enum class ELibraryKey : uint8_t {
    ImageAlign,
    ResolutionAlign,
    OutputRgbd,
    AutoReconnect,
    Threads,
    AlignMode,
    AlignStep,
    AlignTarget,
    OcclusionMask
};

struct LibraryKeyRow {
    ELibraryKey m_id;
    const char* m_name;
    uint32_t m_default;
    uint32_t m_min;
    uint32_t m_max;
    const char* m_tip; // one line
};

inline constexpr LibraryKeyRow kLibraryKeys[] = {
    {ELibraryKey::ImageAlign, OX3D_RGBD_KEY_IMAGE_ALIGN, 1, 0, 1,
     "Depth is registered to color, of Ethernet cameras only"},
    {ELibraryKey::ResolutionAlign, OX3D_RGBD_KEY_RESOLUTION_ALIGN, 1, 0, 1,
     "Color is scaled to the size of the depth, of Ethernet cameras only"},
    {ELibraryKey::OutputRgbd, OX3D_RGBD_KEY_OUTPUT_RGBD, 0, 0, 1,
     "A frame also has an interleaved RGB-D image, of Ethernet cameras only"},
    {ELibraryKey::AutoReconnect, OX3D_RGBD_KEY_AUTO_RECONNECT, 0, 0, 1,
     "A lost device is looked for and opened again"},
    {ELibraryKey::Threads, OX3D_RGBD_KEY_THREADS, 1, 1, ox3d::kMaxThreads,
     "Threads that may work on one image"},
    {ELibraryKey::AlignMode, OX3D_RGBD_KEY_ALIGN_MODE, 0, 0, 1,
     "0: each depth goes to one pixel of color, 1: filled; of Ethernet cameras only"},
    {ELibraryKey::AlignStep, OX3D_RGBD_KEY_ALIGN_STEP_PERMILLE, 30, 0, 1000,
     "Thousandths between neighbours of one surface, of Ethernet cameras only"},
    {ELibraryKey::AlignTarget, OX3D_RGBD_KEY_ALIGN_TARGET, 0, 0, 1,
     "0: depth as the color camera sees it, 1: color as the depth camera does; of Ethernet cameras only"},
    {ELibraryKey::OcclusionMask, OX3D_RGBD_KEY_OCCLUSION_MASK, 0, 0, 1,
     "A frame also has a mask of what the other camera does not see, of Ethernet cameras only"},
};

// The key of that name, or null.
inline const LibraryKeyRow* FindLibraryKey(const char* name) {
    for (const LibraryKeyRow& row : kLibraryKeys) {
        if (strcmp(name, row.m_name) == 0) {
            return &row;
        }
    }
    return nullptr;
}

// Any thread.
class CLibraryKeys {
public:
    CLibraryKeys() { Reset(); }

    void Reset() {
        for (const LibraryKeyRow& row : kLibraryKeys) {
            Set(row.m_id, row.m_default);
        }
    }
    void Set(ELibraryKey id, uint32_t value) {
        m_values[static_cast<size_t>(id)].store(value, std::memory_order_relaxed);
    }
    uint32_t Get(ELibraryKey id) const {
        return m_values[static_cast<size_t>(id)].load(std::memory_order_relaxed);
    }
    bool IsOn(ELibraryKey id) const { return Get(id) == 1; }

private:
    std::array<std::atomic<uint32_t>, std::size(kLibraryKeys)> m_values;
};

#endif
