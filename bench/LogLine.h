// LogLine.h - the line that the loggers are compared with, and how one is measured.
#ifndef OX3D_BENCH_LOG_LINE_H
#define OX3D_BENCH_LOG_LINE_H

#include "bench/Rows.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <string>
#include <thread>
#include <utility>

namespace ox3dbench {

// The numbers in the line.
constexpr uint32_t kLineType = 0x01100007;
constexpr int kLineHeight = 720;
constexpr int kLineWidth = 1280;
constexpr int kLineBytes = 1843200;

// No more than the library's queue holds, so that no line is lost.
constexpr uint32_t kBurstLines = 8;
constexpr uint32_t kLoopLines = 100000;

template <typename TLine>
double SecondsOf(const TLine& line, uint32_t lines) {
    const auto begin = std::chrono::steady_clock::now();
    for (uint32_t i = 0; i < lines; ++i) {
        line(i);
        benchmark::ClobberMemory();
    }
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

// A burst of lines, and a pause in which the thread that writes them to the file catches up.
template <typename TMakeLine>
void AddBurstRow(const std::string& table, const std::string& row, TMakeLine makeLine) {
    AddTimedRow(table, row, kBurstLines, 30, [makeLine]() -> TimedWork {
        return [line = makeLine()] {
            const double seconds = SecondsOf(line, kBurstLines);
            std::this_thread::sleep_for(std::chrono::milliseconds(15));
            return seconds;
        };
    });
}

// Line upon line, for lines that are not written.
template <typename TMakeLine>
void AddLoopRow(const std::string& table, const std::string& row, TMakeLine makeLine) {
    AddTimedRow(table, row, kLoopLines, 30, [makeLine]() -> TimedWork {
        return [line = makeLine()] { return SecondsOf(line, kLoopLines); };
    });
}

} // namespace ox3dbench

#endif
