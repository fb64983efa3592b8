#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <ostream>
#include <string>
#include <vector>

namespace TQ::Bench {

/// What one iteration moves and computes at least.
struct Work {
    double bytes;       ///< inputs read once, outputs written once
    double operations;  ///< additions and multiplications; 0 where they do not matter
};

/// Adds the work, the least time for it on this machine with `threads` threads and the share of that bound
/// which was reached. Call once, when the iterations are over.
void CountWork(benchmark::State& state, const Work& work, int threads);

/// Marks a benchmark as the peer of one of ours. `peer` is a benchmark's name.
void ComparePair(const std::string& ours, const std::string& peer);

/// One line of a table that sets benchmarks beside the first of them.
struct SeriesEntry {
    std::string label;
    std::string benchmark;
    double pixels;  ///< of one iteration
};
void CompareSeries(const std::string& title, std::vector<SeriesEntry> entries);

/// Prints every result as it comes, and keeps it for the tables. Of several repetitions the fastest counts.
class TableReporter : public benchmark::ConsoleReporter {
  public:
    TableReporter() : ConsoleReporter(OO_Tabular) {}
    void ReportRuns(const std::vector<Run>& runs) override;
    /// Prints the tables as Markdown.
    void PrintTables(std::ostream& out) const;

  private:
    struct Result {
        double milliseconds;
        double boundMilliseconds;  ///< 0: has none
    };
    const Result* Find(const std::string& name) const;
    void PrintResults(std::ostream& out) const;
    void PrintSeries(std::ostream& out) const;

    std::vector<std::string> _order;
    std::map<std::string, Result> _results;
};

}  // namespace TQ::Bench
