// What a grab counts.
#include "tools/ox3d/commands/FrameStats.h"

#include <algorithm>
#include <cstdio>

namespace ox3d::tool {

void CFrameStats::Add(uint32_t frameNum, double seconds, const DepthImage& depth) {
    if (m_frames == 0) {
        m_firstSeconds = seconds;
    } else if (frameNum > m_lastFrameNum) {
        m_lost += frameNum - m_lastFrameNum - 1;
    }
    m_lastSeconds = seconds;
    m_lastFrameNum = frameNum;
    ++m_frames;
    m_sampleCount += depth.m_samples.size();
    m_validSamples += static_cast<uint64_t>(std::count_if(depth.m_samples.begin(), depth.m_samples.end(),
                                                          [](uint16_t sample) { return sample != 0; }));
}

double CFrameStats::FrameRate() const {
    const double seconds = m_lastSeconds - m_firstSeconds;
    return m_frames < 2 || seconds <= 0.0 ? 0.0 : static_cast<double>(m_frames - 1) / seconds;
}

double CFrameStats::ValidDepthPercent() const {
    return m_sampleCount == 0
               ? 0.0
               : 100.0 * static_cast<double>(m_validSamples) / static_cast<double>(m_sampleCount);
}

std::string CFrameStats::Summary() const {
    char text[160];
    std::snprintf(text, sizeof(text), "%llu frame%s, %.1f frames/s, %llu lost, %.1f %% of depth valid",
                  static_cast<unsigned long long>(m_frames), m_frames == 1 ? "" : "s", FrameRate(),
                  static_cast<unsigned long long>(m_lost), ValidDepthPercent());
    std::string summary = text;
    if (m_bad != 0) {
        summary += ", " + std::to_string(m_bad) + " that could not be assembled";
    }
    return summary;
}

} // namespace ox3d::tool
