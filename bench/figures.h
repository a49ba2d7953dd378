#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

/// A line of the table: what was measured, beside what it is held against.
struct Figure
{
    const char* name;
    const char* benchmark;
    const char* beside;     ///< what the other column is
    const char* reference;  ///< its benchmark, or null where `referenceNs` is computed
    double referenceNs = 0;
    const char* target = "";
};

/// Collects the median of every benchmark and prints the figures as one table. The processor time
/// of the thread that a benchmark ran in counts as a benchmark of its own, NAME/cpu.
class FigureReporter : public benchmark::BenchmarkReporter
{
  public:
    bool ReportContext(const Context& context) override;
    void ReportRuns(const std::vector<Run>& runs) override;
    /// Leaves out figures of benchmarks that did not run or failed.
    void printTable(const std::vector<Figure>& figures) const;
    bool hasFailed() const { return m_hasFailed; }

  private:
    bool m_hasFailed = false;
    std::map<std::string, double> m_nanoseconds;
};
