// Progress.
#include "tools/ox3d/commands/Progress.h"

#include <algorithm>
#include <cstdio>
#include <unistd.h>

namespace ox3d::tool {

namespace {

std::string Bar(uint64_t done, uint64_t all) {
    constexpr uint64_t kCells = 28;
    const uint64_t filled = std::min(done, all) * kCells / all;
    std::string bar = "[";
    return bar.append(filled, '#').append(kCells - filled, '.').append(1, ']');
}

} // namespace

std::string ProgressLine(const CFrameStats& stats, uint64_t wanted) {
    const auto frames = static_cast<unsigned long long>(stats.Frames());
    char text[128];
    if (wanted == 0) {
        std::snprintf(text, sizeof(text), "%llu frames", frames);
    } else {
        std::snprintf(text, sizeof(text), "%s %llu/%llu", Bar(frames, wanted).c_str(), frames,
                      static_cast<unsigned long long>(wanted));
    }
    std::string line = text;
    std::snprintf(text, sizeof(text), "  %.1f frames/s  %llu lost", stats.FrameRate(),
                  static_cast<unsigned long long>(stats.LostFrames()));
    return line.append(text);
}

CPercentBar::CPercentBar() : m_isTerminal(isatty(STDERR_FILENO) == 1) {}

CPercentBar::~CPercentBar() {
    if (m_isTerminal) {
        std::fputc('\n', stderr);
    }
}

void CPercentBar::Update(uint32_t percent) {
    if (m_isTerminal) {
        std::fprintf(stderr, "\r%s %u %%", Bar(percent, 100).c_str(), percent);
        std::fflush(stderr);
    }
}

CProgress::CProgress(uint64_t wanted) : m_wanted(wanted), m_isTerminal(isatty(STDERR_FILENO) == 1) {}

void CProgress::Update(const CFrameStats& stats) {
    if (m_isTerminal) {
        std::fprintf(stderr, "\r\033[K%s", ProgressLine(stats, m_wanted).c_str());
        std::fflush(stderr);
    } else if (!m_hasStarted) {
        std::fputs("frames are arriving\n", stderr);
    }
    m_hasStarted = true;
}

void CProgress::Finish() {
    if (m_isTerminal && m_hasStarted) {
        std::fputc('\n', stderr);
    }
    m_hasStarted = false;
}

} // namespace ox3d::tool
