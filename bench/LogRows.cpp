// LogRows.cpp - what a line of the log costs the thread that writes it, and what a line costs that is switched
// off. Relies on the working folder being one to write into.
#include "bench/LogLine.h"
#include "bench/Rows.h"
#include "src/Common/AsyncLog.h"

#include <benchmark/benchmark.h>

#include <cinttypes>
#include <ctime>
#include <memory>

namespace ox3dbench {
namespace {

constexpr const char* kLogSource = "../../bench/LogRows";

// The first use creates the log; it stays until the process ends.
void EnsureLog() {
    static const uint32_t status = [] {
        const uint32_t created = CreateAsyncLog(nullptr, 100);
        OxLog_SetLevel(TRACE_LEVEL_INFO);
        OxLog_SetDebugMode(0);
        return created;
    }();
    benchmark::DoNotOptimize(status);
}

// The plain way: time stamp, line, flush, all on the calling thread.
void PrintLine(FILE* file, uint32_t number) {
    const time_t now = time(nullptr);
    tm local{};
    localtime_r(&now, &local);
    fprintf(file, "[%04d-%02d-%02d %02d:%02d:%02d] | %20s-L%04d: ", local.tm_year + 1900, local.tm_mon + 1,
            local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec, kLogSource, __LINE__);
    fprintf(file, "frame (%" PRIu32 ") type (%#x) height (%d) width (%d) len (%d)\r\n", number, kLineType,
            kLineHeight, kLineWidth, kLineBytes);
    fflush(file);
}

void AddEnabledRows() {
    AddTable({"log",
              "One line of the log, in bursts of " + std::to_string(kBurstLines) +
                  ": times the cost of fprintf and fflush, for the calling thread",
              ERatio::TimesTheCost, "fprintf and fflush", "", false});
    AddBurstRow("log", "this library's log", [] {
        EnsureLog();
        return [](uint32_t number) {
            OX_LOG_INFO("frame (%" PRIu32 ") type (%#x) height (%d) width (%d) len (%d)\r\n", number,
                        kLineType, kLineHeight, kLineWidth, kLineBytes);
        };
    });
    AddBurstRow("log", "fprintf and fflush", [] {
        const std::shared_ptr<FILE> file(fopen("fprintf.log", "a"), fclose);
        return [file](uint32_t number) { PrintLine(file.get(), number); };
    });
}

void AddDisabledRows() {
    AddTable({"debug line", "One debug line that is switched off: times the cost of an empty loop",
              ERatio::TimesTheCost, "empty loop", "", false});
    AddLoopRow("debug line", "empty loop", [] { return [](uint32_t /*number*/) {}; });
    AddLoopRow("debug line", "this library's log", [] {
        EnsureLog();
        return [](uint32_t number) {
            OX_LOG_DEBUG("frame (%" PRIu32 ") type (%#x) height (%d) width (%d) len (%d)\r\n", number,
                         kLineType, kLineHeight, kLineWidth, kLineBytes);
        };
    });
}

} // namespace

void AddLogRows() {
    AddEnabledRows();
    AddDisabledRows();
}

} // namespace ox3dbench
