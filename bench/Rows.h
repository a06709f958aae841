// Rows.h - how the parts of the benchmark put their rows into its tables. A row is measured at one or several
// image sizes; the tables compare the rows of one size, since only ratios of one run mean anything.
// Relies on Google Benchmark, which measures, repeats and shuffles.
#ifndef OX3D_BENCH_ROWS_H
#define OX3D_BENCH_ROWS_H

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <map>
#include <string>
#include <vector>

namespace ox3dbench {

struct Size {
    int32_t m_width;
    int32_t m_height;

    constexpr size_t Pixels() const { return static_cast<size_t>(m_width) * static_cast<size_t>(m_height); }
    std::string Text() const { return std::to_string(m_width) + "x" + std::to_string(m_height); }
    bool operator<(const Size& other) const { return Pixels() < other.Pixels(); }
};

constexpr Size kSizes[] = {{640, 480}, {1280, 720}, {1920, 1080}, {2592, 1944}, {4000, 3000}};
constexpr Size kUsualSize = {1280, 720};

// What a table prints for a row: how many times as fast as its base it is, or how many times as much it costs.
enum class ERatio { TimesAsFast, TimesTheCost };

struct Table {
    std::string m_name; // the first part of the names that a filter sees
    std::string m_title;
    ERatio m_ratio;
    std::string m_base;  // the row that the others are compared with
    std::string m_limit; // the row that no kernel can beat, or ""
    bool m_isPlotted;
};

// A row that is not measured: the sum of rows that are.
struct Sum {
    std::string m_table;
    std::string m_row;
    std::vector<std::string> m_parts;
};

void AddTable(Table table);
void AddSum(Sum sum);
const std::vector<Table>& Tables();
// The place of a row in the order in which rows were added; sums come last.
size_t OrderOf(const std::string& table, const std::string& row);
const std::vector<Sum>& Sums();
// What this machine or build has not got, said below the tables.
void AddSkipped(std::string line);
const std::vector<std::string>& Skipped();

// The work of one iteration; Prepare has set it up.
using Work = std::function<void()>;
// Makes the work, before the clock runs. Inputs are made there, so that rows that are filtered out cost nothing.
using Prepare = std::function<Work()>;

// By processor time of the whole process: neither a busy neighbour nor a second thread makes a row look better.
void AddRow(const std::string& table, const std::string& row, Size size, Prepare prepare);
// By the wall clock, for work that is shared among threads: on a busy machine these rows tell nothing.
void AddWallRow(const std::string& table, const std::string& row, Size size, Prepare prepare);

// Work that times itself: returns the seconds of `calls` calls.
using TimedWork = std::function<double()>;
void AddTimedRow(const std::string& table, const std::string& row, int64_t calls, int64_t iterations,
                 std::function<TimedWork()> prepare);

// One object for each size, made at the first use: rows of one table work on the same memory.
template <typename T>
T& Shared(Size size) {
    static std::map<Size, T> objects;
    return objects.try_emplace(size, size).first->second;
}

// The parts of the benchmark; each adds its tables and rows.
void AddKernelRows();
void AddAlignRows();
void AddStereoRows();
void AddLogRows();
void AddFrameRows();
void AddCppRows();
void AddThreadRows();
void AddYuvRows();
void AddOpenCvRows();
void AddOpen3dRows();
void AddPclRows();
// Rows of libraries that may be missing; the caller falls back to AddSkipped.
void AddSpdlogRows();

} // namespace ox3dbench

#endif
