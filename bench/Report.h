#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace TQ::Bench {

/// What one iteration moves and computes at least.
struct Work {
    double bytes;       ///< inputs read once, outputs written once
    double operations;  ///< as Operations.h counts them; 0 where they do not matter
    bool reads = true;  ///< there are inputs
};

/// Adds the work and the least time for it on this machine with `threads` threads, whose bandwidth it
/// measures anew; the report adds the share of that bound which was reached. Call once, when the iterations
/// are over.
void CountWork(benchmark::State& state, const Work& work, int threads);

/// Marks a benchmark as the peer of one of ours. `peer` is a benchmark's name.
void ComparePair(const std::string& ours, const std::string& peer);

/// A benchmark with one thread and the same with more of them.
void CompareThreads(const std::string& one, const std::string& more);

/// One line of a table that sets the cost of each pixel beside that of the first line.
struct SeriesEntry {
    std::string label;
    std::string benchmark;
    double pixels;  ///< of one iteration
};
void CompareSeries(const std::string& title, std::vector<SeriesEntry> entries);

/// Prints every result as it comes, and keeps it for the tables. Of several repetitions the median counts.
class TableReporter : public benchmark::ConsoleReporter {
  public:
    TableReporter() : ConsoleReporter(OO_Tabular) {}
    void ReportRuns(const std::vector<Run>& runs) override;
    /// Prints the tables as Markdown.
    void PrintTables(std::ostream& out) const;

  private:
    struct Repetitions {
        std::vector<double> milliseconds;
        std::vector<double> boundMilliseconds;  ///< empty: has none
    };
    /// Of all repetitions.
    struct Result {
        double milliseconds;       ///< median
        double fastest;            ///< in milliseconds
        double boundMilliseconds;  ///< median; 0: has none
    };
    /// Of a benchmark that may have run.
    std::optional<Result> Find(const std::string& name) const;
    void PrintResults(std::ostream& out) const;
    void PrintThreads(std::ostream& out) const;
    void PrintSeries(std::ostream& out) const;

    std::map<std::int64_t, std::string> _order;  ///< names by when they were registered
    std::map<std::string, Repetitions> _repetitions;
};

}  // namespace TQ::Bench
