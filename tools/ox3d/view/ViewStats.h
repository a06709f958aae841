// How well frames come, second by second.
#ifndef OX3D_TOOL_VIEW_STATS_H
#define OX3D_TOOL_VIEW_STATS_H

#include "base/Mutex.h"
#include "recording/RecordedFrame.h"

#include <vector>

namespace ox3d::tool {

struct ViewFigures {
    uint64_t m_frames = 0; // since the beginning, as are the next two
    uint64_t m_lost = 0;
    uint64_t m_incomplete = 0;
    double m_fps = 0; // of the last interval, as are the others
    double m_latencyMs50 = 0;
    double m_latencyMs99 = 0;
    double m_megabytesPerSecond = 0; // of what was encoded
};

class CViewStats {
public:
    // One more frame, at this moment. Any thread.
    void Add(const RecordedFacts& facts) OX_EXCLUDES(m_mutex);
    // One more that has no depth image.
    void AddBad() OX_EXCLUDES(m_mutex);
    // Ends the interval; with the bytes encoded since the beginning.
    ViewFigures Close(uint64_t encodedBytes) OX_EXCLUDES(m_mutex);
    ViewFigures Last() const OX_EXCLUDES(m_mutex);

private:
    using Clock = std::chrono::steady_clock;

    mutable CMutex m_mutex;
    ViewFigures m_figures OX_GUARDED_BY(m_mutex);
    std::vector<double> m_latenciesMs OX_GUARDED_BY(m_mutex); // of the interval
    uint64_t m_intervalFrames OX_GUARDED_BY(m_mutex) = 0;
    uint64_t m_encodedBytes OX_GUARDED_BY(m_mutex) = 0; // at its beginning
    Clock::time_point m_begin OX_GUARDED_BY(m_mutex) = Clock::now();
};

} // namespace ox3d::tool

#endif
