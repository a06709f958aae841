// What a grab counts.
#include "FrameStats.h"

#include <algorithm>
#include <cstdio>

namespace ox3dtool {

void CFrameStats::Add(uint32_t frameNum, double seconds, const DepthImage& depth) {
    if (m_nFrames == 0) {
        m_fFirstSeconds = seconds;
    } else if (frameNum > m_nLastFrameNum) {
        m_nLost += frameNum - m_nLastFrameNum - 1;
    }
    m_fLastSeconds = seconds;
    m_nLastFrameNum = frameNum;
    ++m_nFrames;
    m_nSamples += depth.m_samples.size();
    m_nValidSamples += static_cast<uint64_t>(std::count_if(depth.m_samples.begin(), depth.m_samples.end(),
                                                           [](uint16_t sample) { return sample != 0; }));
}

double CFrameStats::FrameRate() const {
    const double seconds = m_fLastSeconds - m_fFirstSeconds;
    return m_nFrames < 2 || seconds <= 0.0 ? 0.0 : static_cast<double>(m_nFrames - 1) / seconds;
}

double CFrameStats::ValidDepthPercent() const {
    return m_nSamples == 0 ? 0.0
                           : 100.0 * static_cast<double>(m_nValidSamples) / static_cast<double>(m_nSamples);
}

std::string CFrameStats::Summary() const {
    char text[160];
    std::snprintf(text, sizeof(text), "%llu frame%s, %.1f frames/s, %llu lost, %.1f %% of depth valid",
                  static_cast<unsigned long long>(m_nFrames), m_nFrames == 1 ? "" : "s", FrameRate(),
                  static_cast<unsigned long long>(m_nLost), ValidDepthPercent());
    std::string summary = text;
    if (m_nBad != 0) {
        summary += ", " + std::to_string(m_nBad) + " that could not be assembled";
    }
    return summary;
}

} // namespace ox3dtool
