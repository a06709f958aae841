// How well frames come.
#include "tools/ox3d/view/ViewStats.h"

#include <algorithm>

namespace ox3d::tool {
namespace {

constexpr size_t kMaxLatencies = 10000;

// Reorders the numbers.
double Percentile(std::vector<double>& numbers, double share) {
    if (numbers.empty()) {
        return 0;
    }
    const auto nth = static_cast<std::ptrdiff_t>(share * static_cast<double>(numbers.size() - 1));
    std::nth_element(numbers.begin(), numbers.begin() + nth, numbers.end());
    return numbers[static_cast<size_t>(nth)];
}

} // namespace

void CViewStats::Add(const RecordedFacts& facts) {
    const auto utc = std::chrono::system_clock::now().time_since_epoch();
    const auto nowNs =
        static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(utc).count());
    const uint64_t takenNs = facts.m_cameraNs == 0 ? facts.m_hostNs : facts.m_cameraNs;
    const CLock lock(m_mutex);
    ++m_figures.m_frames;
    ++m_intervalFrames;
    m_figures.m_lost += facts.m_lostBefore;
    m_figures.m_incomplete += facts.m_isIncomplete ? 1 : 0;
    if (m_latenciesMs.size() < kMaxLatencies) {
        m_latenciesMs.push_back(static_cast<double>(static_cast<int64_t>(nowNs - takenNs)) / 1e6);
    }
}

void CViewStats::AddBad() {
    const CLock lock(m_mutex);
    ++m_figures.m_incomplete;
}

ViewFigures CViewStats::Close(uint64_t encodedBytes) {
    const CLock lock(m_mutex);
    const Clock::time_point now = Clock::now();
    const double seconds = std::max(1e-3, std::chrono::duration<double>(now - m_begin).count());
    m_figures.m_fps = static_cast<double>(m_intervalFrames) / seconds;
    m_figures.m_latencyMs50 = Percentile(m_latenciesMs, 0.5);
    m_figures.m_latencyMs99 = Percentile(m_latenciesMs, 0.99);
    m_figures.m_megabytesPerSecond = static_cast<double>(encodedBytes - m_encodedBytes) / 1e6 / seconds;
    m_latenciesMs.clear();
    m_intervalFrames = 0;
    m_encodedBytes = encodedBytes;
    m_begin = now;
    return m_figures;
}

ViewFigures CViewStats::Last() const {
    const CLock lock(m_mutex);
    return m_figures;
}

} // namespace ox3d::tool
