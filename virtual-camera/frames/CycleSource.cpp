// CycleSource.cpp - renders the frames of the cycle once, and hands out the images that are wanted of them.
#include "virtual-camera/frames/CycleSource.h"

#include <new>

namespace ox3d {
namespace {

void Copy(const FrameImages& kept, bool wantColor, bool wantGreyPair, FrameImages* images) {
    images->m_depthWidth = kept.m_depthWidth;
    images->m_depthHeight = kept.m_depthHeight;
    images->m_depth = kept.m_depth;
    images->m_ticks.reset(); // frames come round again at the camera's own times
    images->m_colorWidth = wantColor ? kept.m_colorWidth : 0;
    images->m_colorHeight = wantColor ? kept.m_colorHeight : 0;
    if (wantColor) {
        images->m_color = kept.m_color;
    }
    if (wantGreyPair) {
        images->m_greyPair = kept.m_greyPair;
    }
}

} // namespace

std::unique_ptr<CFrameSource> CCycleSource::Create(std::unique_ptr<CFrameSource> source, uint32_t frames,
                                                   std::string* error) {
    std::unique_ptr<CCycleSource> cycle(new CCycleSource(std::move(source)));
    try {
        // An image that cannot be had stays empty, and a recording may be shorter than the cycle.
        for (uint32_t i = 0; i < frames && !cycle->m_source->HasEnded(i); ++i) {
            FrameImages images;
            const bool isGood = cycle->m_source->Render(i, true, false, &images);
            cycle->m_frames.push_back(isGood ? std::move(images) : FrameImages());
            cycle->m_isUsable = cycle->m_isUsable || isGood;
        }
    } catch (const std::bad_alloc&) {
        cycle->m_isUsable = false;
    }
    if (!cycle->m_isUsable) {
        *error = "cycle: no frame could be kept";
        return nullptr;
    }
    return cycle;
}

bool CCycleSource::Render(uint64_t index, bool wantColor, bool wantGreyPair, FrameImages* images) {
    try {
        const uint64_t slot = index % m_frames.size();
        FrameImages& kept = m_frames[slot];
        if (kept.m_depth.empty() ||
            (wantGreyPair && kept.m_greyPair.empty() && !m_source->Render(slot, true, true, &kept))) {
            return false;
        }
        Copy(kept, wantColor, wantGreyPair, images);
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

} // namespace ox3d
