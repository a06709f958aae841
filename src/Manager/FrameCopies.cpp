// FrameCopies.cpp - see FrameCopies.h.
#include "src/Manager/FrameCopies.h"

#include <pthread.h>

#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "base/ImageMemory.h"
#include "base/NeverDestroyed.h"
#include "src/Manager/SpareBlocks.h"

namespace {

// At load and not at the first use: a fork during the construction would leave the child waiting for its end for ever.
ox3d::CNeverDestroyed<CFrameCopies> g_copies;

[[maybe_unused]] const int g_forkWatch = pthread_atfork(nullptr, nullptr, [] { g_copies.Get().Renew(); });

uint64_t AlignedBytes(uint64_t bytes) {
    return (bytes + ox3d::kImageAlignmentBytes - 1) / ox3d::kImageAlignmentBytes * ox3d::kImageAlignmentBytes;
}

} // namespace

// In front of the images, which begin on the next line of the cache.
struct alignas(ox3d::kImageAlignmentBytes) CFrameCopies::Copy {
    OX3D_RGBD_FRAME_DATA m_record; // first: its address is the block's
    KnownFrame m_known;
    std::array<ox3d::ImageBlock, OX3D_RGBD_MAX_IMAGES> m_taken;
    Copy* m_next = nullptr;
};

CFrameCopies& CFrameCopies::Shared() {
    return g_copies.Get();
}

// What leads to the copy, or the end of the list where it would be.
CFrameCopies::Copy** CFrameCopies::PlaceOf(const OX3D_RGBD_FRAME_DATA* copy) {
    const auto address = reinterpret_cast<uintptr_t>(copy);
    Copy** place = &m_buckets[(address / ox3d::kImageAlignmentBytes * 0x9E3779B97F4A7C15u) >> 56];
    while (*place != nullptr && &(*place)->m_record != copy) {
        place = &(*place)->m_next;
    }
    return place;
}

OX3D_RGBD_FRAME_DATA* CFrameCopies::Make(const OX3D_RGBD_FRAME_DATA& frame, const KnownFrame& known,
                                         const TakenBuffers& taken) {
    uint64_t bytes = sizeof(Copy); // ten images of 32-bit lengths: no overflow
    for (uint32_t i = 0; i < known.m_note.m_imageCount; ++i) {
        bytes += taken[i] == nullptr ? AlignedBytes(known.m_note.m_images[i].m_lengthBytes) : 0;
    }
    uint8_t* const block = CSpareBlocks::Shared().Take(bytes).release();
    if (block == nullptr) {
        return nullptr;
    }
    auto* const copy = new (block) Copy{.m_record = frame, .m_known = known, .m_taken = {}};
    FrameNote& note = copy->m_known.m_note;
    uint8_t* next = block + sizeof(Copy);
    for (uint32_t i = 0; i < note.m_imageCount; ++i) {
        NotedImage& image = note.m_images[i];
        if (taken[i] != nullptr) {
            copy->m_taken[i] = taken[i]->HandOver();
        } else if (image.m_data != nullptr) {
            memcpy(next, image.m_data, image.m_lengthBytes);
            image.m_data = next;
            copy->m_record.stImageData[i].pData = next;
            next += AlignedBytes(image.m_lengthBytes);
        }
    }
    const COXLock lock(&m_mutex);
    *PlaceOf(&copy->m_record) = copy;
    return &copy->m_record;
}

bool CFrameCopies::Free(OX3D_RGBD_FRAME_DATA* copy) {
    Copy* found = nullptr;
    {
        const COXLock lock(&m_mutex);
        Copy** const place = PlaceOf(copy);
        found = *place;
        if (found == nullptr) {
            return false;
        }
        *place = found->m_next;
    }
    CSpareBlocks& spare = CSpareBlocks::Shared();
    for (ox3d::ImageBlock& taken : found->m_taken) {
        spare.Keep(std::move(taken));
    }
    found->~Copy();
    spare.Keep(ox3d::ImageBlock(reinterpret_cast<uint8_t*>(found)));
    return true;
}

bool CFrameCopies::Find(const OX3D_RGBD_FRAME_DATA* copy, KnownFrame* known) {
    const COXLock lock(&m_mutex);
    const Copy* const found = *PlaceOf(copy);
    if (found != nullptr) {
        *known = found->m_known;
    }
    return found != nullptr;
}
