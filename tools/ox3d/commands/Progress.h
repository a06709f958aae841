// Progress on standard error: bars on a terminal. Of frames, one plain line at the start otherwise.
#ifndef OX3D_TOOL_PROGRESS_H
#define OX3D_TOOL_PROGRESS_H

#include "tools/ox3d/commands/FrameStats.h"

#include <string>

namespace ox3d::tool {

// The bar's line without line feed; wanted 0 means without end.
std::string ProgressLine(const CFrameStats& stats, uint64_t wanted);

// A bar with a share done, on a terminal alone.
class CPercentBar {
public:
    CPercentBar();
    ~CPercentBar();
    CPercentBar(const CPercentBar&) = delete;
    CPercentBar& operator=(const CPercentBar&) = delete;

    void Update(uint32_t percent);

private:
    bool m_isTerminal;
};

class CProgress {
public:
    explicit CProgress(uint64_t wanted);
    ~CProgress() { Finish(); }
    CProgress(const CProgress&) = delete;
    CProgress& operator=(const CProgress&) = delete;

    void Update(const CFrameStats& stats);
    // Ends the bar's line, so that what follows starts on one of its own.
    void Finish();

private:
    uint64_t m_wanted;
    bool m_isTerminal;
    bool m_hasStarted = false;
};

} // namespace ox3d::tool

#endif
