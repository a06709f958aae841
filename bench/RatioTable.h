// RatioTable.h - collects the medians of a run and prints them as tables of ratios; writes the points of the
// plot. Relies on Google Benchmark's names: table/row/size.
#ifndef OX3D_BENCH_RATIO_TABLE_H
#define OX3D_BENCH_RATIO_TABLE_H

#include "bench/Rows.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace ox3dbench {

class CRatioTable : public benchmark::BenchmarkReporter {
public:
    explicit CRatioTable(std::string plotFile) : m_plotFile(std::move(plotFile)) {}

    bool ReportContext(const Context& context) override;
    void ReportRuns(const std::vector<Run>& runs) override;
    void Finalize() override;

private:
    struct Row {
        std::string m_name;
        std::map<std::string, double> m_nanoseconds; // by size
    };

    std::vector<Row>& RowsOf(const std::string& table) { return m_rows[table]; }
    const Row* Find(const std::string& table, const std::string& row) const;
    Row& FindOrAdd(const std::string& table, const std::string& row);
    double Total(const Sum& sum, const std::string& size) const;
    void AddSums();
    void Print(const Table& table) const;
    void PrintRow(const Table& table, const Row& row, const std::vector<std::string>& columns) const;
    void WriteBlock(FILE* file, const std::string& title, const Row& row) const;
    void WritePlot() const;

    std::string m_plotFile;
    std::map<std::string, std::vector<Row>> m_rows; // by table, in the order in which they were added
    std::map<std::string, double> m_pixels;         // by size
};

} // namespace ox3dbench

#endif
