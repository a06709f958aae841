// What a grab counts: frames, lost frames, frame rate, share of valid depth.
#ifndef OX3D_TOOL_FRAME_STATS_H
#define OX3D_TOOL_FRAME_STATS_H

#include "tools/ox3d/pictures/Images.h"

#include <cstdint>
#include <string>

namespace ox3d::tool {

class CFrameStats {
public:
    // One more good frame that arrived at `seconds` on any steady clock.
    void Add(uint32_t frameNum, double seconds, const DepthImage& depth);
    // One more frame that the library could not assemble.
    void AddBad() { ++m_bad; }

    uint64_t Frames() const { return m_frames; }
    uint64_t BadFrames() const { return m_bad; }
    // Frames missing between those that came, by their numbers. A camera that starts again at 1 lost none.
    uint64_t LostFrames() const { return m_lost; }
    uint32_t LastFrameNum() const { return m_lastFrameNum; } // 0 before the first one
    // Frames a second over the time from the first to the last frame; 0 with fewer than two.
    double FrameRate() const;
    // Percent of all depth samples.
    double ValidDepthPercent() const;

    // "30 frames, 29.9 frames/s, 0 lost, 93.1 % of depth valid"
    std::string Summary() const;

private:
    uint64_t m_frames = 0;
    uint64_t m_bad = 0;
    uint64_t m_lost = 0;
    uint64_t m_sampleCount = 0;
    uint64_t m_validSamples = 0;
    uint32_t m_lastFrameNum = 0;
    double m_firstSeconds = 0.0;
    double m_lastSeconds = 0.0;
};

} // namespace ox3d::tool

#endif
