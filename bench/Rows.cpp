// Rows.cpp - see Rows.h.
#include "bench/Rows.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <utility>

namespace ox3dbench {
namespace {

struct Registry {
    std::vector<std::string> m_rows; // "table/row", once
    std::vector<Table> m_tables;
    std::vector<Sum> m_sums;
    std::vector<std::string> m_skipped;
};

Registry& TheRegistry() {
    static Registry registry;
    return registry;
}

void NoteRow(const std::string& name) {
    std::vector<std::string>& rows = TheRegistry().m_rows;
    if (std::find(rows.begin(), rows.end(), name) == rows.end()) {
        rows.push_back(name);
    }
}

} // namespace

void AddTable(Table table) {
    TheRegistry().m_tables.push_back(std::move(table));
}

void AddSum(Sum sum) {
    NoteRow(sum.m_table + "/" + sum.m_row);
    TheRegistry().m_sums.push_back(std::move(sum));
}

const std::vector<Table>& Tables() {
    return TheRegistry().m_tables;
}

size_t OrderOf(const std::string& table, const std::string& row) {
    const std::vector<std::string>& rows = TheRegistry().m_rows;
    return static_cast<size_t>(std::find(rows.begin(), rows.end(), table + "/" + row) - rows.begin());
}

const std::vector<Sum>& Sums() {
    return TheRegistry().m_sums;
}

void AddSkipped(std::string line) {
    TheRegistry().m_skipped.push_back(std::move(line));
}

const std::vector<std::string>& Skipped() {
    return TheRegistry().m_skipped;
}

namespace {

benchmark::internal::Benchmark* Register(const std::string& table, const std::string& row, Size size,
                                         Prepare prepare) {
    NoteRow(table + "/" + row);
    const std::string name = table + "/" + row + "/" + size.Text();
    const auto body = [size, prepare = std::move(prepare)](benchmark::State& state) {
        const Work work = prepare();
        work(); // pages are touched and tables are built
        for ([[maybe_unused]] auto iteration : state) {
            work();
            benchmark::ClobberMemory();
        }
        state.counters["pixels"] = static_cast<double>(size.Pixels());
    };
    return benchmark::RegisterBenchmark(name.c_str(), body)->Unit(benchmark::kNanosecond);
}

} // namespace

void AddRow(const std::string& table, const std::string& row, Size size, Prepare prepare) {
    Register(table, row, size, std::move(prepare))->MeasureProcessCPUTime();
}

void AddWallRow(const std::string& table, const std::string& row, Size size, Prepare prepare) {
    Register(table, row, size, std::move(prepare))->UseRealTime();
}

void AddTimedRow(const std::string& table, const std::string& row, int64_t calls, int64_t iterations,
                 std::function<TimedWork()> prepare) {
    NoteRow(table + "/" + row);
    const auto body = [calls, prepare = std::move(prepare)](benchmark::State& state) {
        const TimedWork work = prepare();
        for ([[maybe_unused]] auto iteration : state) {
            state.SetIterationTime(work() / static_cast<double>(calls));
        }
        state.counters["pixels"] = 0;
    };
    benchmark::RegisterBenchmark((table + "/" + row + "/call").c_str(), body)
        ->Unit(benchmark::kNanosecond)
        ->Iterations(iterations)
        ->UseManualTime();
}

} // namespace ox3dbench
