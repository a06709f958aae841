// RatioTable.cpp - see RatioTable.h.
#include "bench/RatioTable.h"

#include "bench/Tiers.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <utility>

namespace ox3dbench {
namespace {

constexpr int kNameColumns = 46;

// The three parts of "table/row/size"; what the benchmark library adds stands behind a further slash.
struct Name {
    std::string m_table;
    std::string m_row;
    std::string m_size;

    explicit Name(const std::string& whole) {
        const size_t first = whole.find('/');
        const size_t second = whole.find('/', first + 1);
        if (second != std::string::npos) {
            m_table = whole.substr(0, first);
            m_row = whole.substr(first + 1, second - first - 1);
            m_size = whole.substr(second + 1, whole.find('/', second + 1) - second - 1);
        }
    }
};

double Value(const std::map<std::string, double>& values, const std::string& key) {
    const auto found = values.find(key);
    return found != values.end() ? found->second : 0.0;
}

void PrintNumber(double value) {
    if (value <= 0.0) {
        std::printf("%11s", "-");
    } else {
        std::printf("%11.*f", value < 0.095 ? 3 : 2, value);
    }
}

// As the kernel tells it.
std::string ProcessorModel() {
    std::ifstream file("/proc/cpuinfo");
    for (std::string line; std::getline(file, line);) {
        const size_t colon = line.find(": ");
        if (line.starts_with("model name") && colon != std::string::npos) {
            return line.substr(colon + 2);
        }
    }
    return "unknown processor";
}

#if defined(__clang__)
constexpr const char* kCompiler = "clang";
#else
constexpr const char* kCompiler = "g++";
#endif

} // namespace

bool CRatioTable::ReportContext(const Context& context) {
    std::printf("%s, %d processors", ProcessorModel().c_str(), context.cpu_info.num_cpus);
    if (!context.cpu_info.caches.empty()) {
        std::printf(", last-level cache %d MiB", context.cpu_info.caches.back().size >> 20);
    }
    std::printf("; %s %s; tier %s\n", kCompiler, __VERSION__, TiersHere().back().m_name);
    std::fflush(stdout);
    return true;
}

void CRatioTable::ReportRuns(const std::vector<Run>& runs) {
    for (const Run& run : runs) {
        if (run.error_occurred) {
            std::printf("%s: %s\n", run.benchmark_name().c_str(), run.error_message.c_str());
            continue;
        }
        const bool isMedian = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
        const bool isOnly = run.run_type == Run::RT_Iteration && run.repetitions <= 1;
        if (!isMedian && !isOnly) {
            continue;
        }
        const Name name(run.run_name.function_name);
        const bool isByTheClock =
            run.run_name.time_type == "manual_time" || run.run_name.time_type == "real_time";
        FindOrAdd(name.m_table, name.m_row).m_nanoseconds[name.m_size] =
            isByTheClock ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime();
        const auto pixels = run.counters.find("pixels");
        m_pixels[name.m_size] = pixels != run.counters.end() ? pixels->second.value : 0.0;
    }
}

const CRatioTable::Row* CRatioTable::Find(const std::string& table, const std::string& row) const {
    const auto rows = m_rows.find(table);
    if (rows == m_rows.end()) {
        return nullptr;
    }
    const auto found = std::find_if(rows->second.begin(), rows->second.end(),
                                    [&](const Row& candidate) { return candidate.m_name == row; });
    return found != rows->second.end() ? &*found : nullptr;
}

CRatioTable::Row& CRatioTable::FindOrAdd(const std::string& table, const std::string& row) {
    if (const Row* found = Find(table, row)) {
        return const_cast<Row&>(*found);
    }
    return m_rows[table].emplace_back(Row{row, {}});
}

// What the parts take together at one size; 0 when one of them was not measured.
double CRatioTable::Total(const Sum& sum, const std::string& size) const {
    double total = 0;
    for (const std::string& part : sum.m_parts) {
        const Row* row = Find(sum.m_table, part);
        const double nanoseconds = row != nullptr ? Value(row->m_nanoseconds, size) : 0.0;
        if (nanoseconds <= 0.0) {
            return 0.0;
        }
        total += nanoseconds;
    }
    return total;
}

void CRatioTable::AddSums() {
    for (const Sum& sum : Sums()) {
        for (const auto& [size, pixels] : m_pixels) {
            const double total = Total(sum, size);
            if (total > 0.0) {
                FindOrAdd(sum.m_table, sum.m_row).m_nanoseconds[size] = total;
            }
        }
    }
}

void CRatioTable::Finalize() {
    AddSums();
    for (auto& [table, rows] : m_rows) { // they came in the order of the shuffled run
        std::sort(rows.begin(), rows.end(), [&name = table](const Row& a, const Row& b) {
            return OrderOf(name, a.m_name) < OrderOf(name, b.m_name);
        });
    }
    for (const Table& table : Tables()) {
        if (m_rows.count(table.m_name) != 0) {
            Print(table);
        }
    }
    std::printf("\n");
    for (const std::string& line : Skipped()) {
        std::printf("skipped: %s\n", line.c_str());
    }
    WritePlot();
}

void CRatioTable::Print(const Table& table) const {
    std::printf("\n%s\n", table.m_title.c_str());
    std::vector<std::string> columns;
    for (const Row& row : m_rows.at(table.m_name)) {
        for (const auto& [size, nanoseconds] : row.m_nanoseconds) {
            if (std::find(columns.begin(), columns.end(), size) == columns.end()) {
                columns.push_back(size);
            }
        }
    }
    std::sort(columns.begin(), columns.end(), [this](const std::string& a, const std::string& b) {
        return Value(m_pixels, a) < Value(m_pixels, b);
    });
    std::printf("%-*s", kNameColumns, "");
    for (const std::string& column : columns) {
        std::printf("%11s", column.c_str());
    }
    std::printf("%11s%s\n", Value(m_pixels, columns.front()) > 0 ? "ns/pixel" : "ns",
                table.m_limit.empty() ? "" : "   / limit");
    for (const Row& row : m_rows.at(table.m_name)) {
        PrintRow(table, row, columns);
    }
}

// Absolute times and the ratio to the limit are those of the usual size.
void CRatioTable::PrintRow(const Table& table, const Row& row,
                           const std::vector<std::string>& columns) const {
    const Row* base = Find(table.m_name, table.m_base);
    const Row* limit = Find(table.m_name, table.m_limit);
    std::printf("  %-*s", kNameColumns - 2, row.m_name.c_str());
    for (const std::string& column : columns) {
        const double own = Value(row.m_nanoseconds, column);
        const double other = base != nullptr ? Value(base->m_nanoseconds, column) : 0.0;
        if (own <= 0.0 || other <= 0.0) {
            PrintNumber(0.0);
        } else {
            PrintNumber(table.m_ratio == ERatio::TimesAsFast ? other / own : own / other);
        }
    }
    const std::string usual = columns.size() == 1 || row.m_nanoseconds.count(kUsualSize.Text()) == 0
                                  ? columns.front()
                                  : kUsualSize.Text();
    const double nanoseconds = Value(row.m_nanoseconds, usual);
    PrintNumber(Value(m_pixels, usual) > 0 ? nanoseconds / Value(m_pixels, usual) : nanoseconds);
    if (limit != nullptr) {
        const double least = Value(limit->m_nanoseconds, usual);
        PrintNumber(least > 0.0 ? nanoseconds / least : 0.0);
    }
    std::printf("\n");
}

void CRatioTable::WriteBlock(FILE* file, const std::string& title, const Row& row) const {
    std::fprintf(file, "\"%s\"\n", title.c_str());
    std::vector<std::pair<double, double>> points;
    for (const auto& [size, nanoseconds] : row.m_nanoseconds) {
        points.emplace_back(Value(m_pixels, size), nanoseconds / 1e6);
    }
    std::sort(points.begin(), points.end());
    for (const auto& [pixels, milliseconds] : points) {
        std::fprintf(file, "%.0f %.6f\n", pixels, milliseconds);
    }
    std::fprintf(file, "\n\n");
}

// One block for the reference and one for the fastest tier of each plotted table: "title" on a line of its own,
// then pixels and milliseconds.
void CRatioTable::WritePlot() const {
    if (m_plotFile.empty()) {
        return;
    }
    FILE* file = std::fopen(m_plotFile.c_str(), "w");
    if (file == nullptr) {
        std::printf("cannot write %s\n", m_plotFile.c_str());
        return;
    }
    for (const Table& table : Tables()) {
        const auto rows = m_rows.find(table.m_name);
        if (!table.m_isPlotted || rows == m_rows.end()) {
            continue;
        }
        for (const char* name : {TiersHere().front().m_name, TiersHere().back().m_name}) {
            const Row* row = Find(table.m_name, name);
            if (row != nullptr) {
                WriteBlock(file, table.m_name + ", " + name, *row);
            }
        }
    }
    std::fclose(file);
}

} // namespace ox3dbench
