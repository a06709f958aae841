// CycleSource.cpp - renders the kept frames, and hands out what is wanted of them.
#include "CycleSource.h"

#include <new>

namespace ox3d {
namespace {

void Copy(const FrameImages& kept, bool wantColor, bool wantGreyPair, FrameImages* images) {
    images->m_depthWidth = kept.m_depthWidth;
    images->m_depthHeight = kept.m_depthHeight;
    images->m_depth = kept.m_depth;
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
        for (uint32_t i = 0; i < frames; ++i) {
            FrameImages images;
            if (!cycle->m_source->Render(i, true, false, &images)) {
                break; // a recording that is shorter than the cycle
            }
            cycle->m_frames.push_back(std::move(images));
        }
    } catch (const std::bad_alloc&) {
        cycle->m_frames.clear();
    }
    if (cycle->m_frames.empty()) {
        *error = "cycle: no frame could be kept";
        return nullptr;
    }
    return cycle;
}

bool CCycleSource::Render(uint64_t index, bool wantColor, bool wantGreyPair, FrameImages* images) {
    try {
        const uint64_t slot = index % m_frames.size();
        FrameImages& kept = m_frames[slot];
        if (wantGreyPair && kept.m_greyPair.empty() && !m_source->Render(slot, true, true, &kept)) {
            return false;
        }
        Copy(kept, wantColor, wantGreyPair, images);
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

} // namespace ox3d
