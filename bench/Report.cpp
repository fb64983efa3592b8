#include "bench/Report.h"

#include <algorithm>
#include <cstdio>
#include <set>
#include <utility>

#include "bench/Machine.h"

namespace TQ::Bench {

namespace {

constexpr const char* boundCounter = "bound_ms";

std::map<std::string, std::vector<std::string>>& Pairs() {
    static std::map<std::string, std::vector<std::string>> pairs;
    return pairs;
}

struct Series {
    std::string title;
    std::vector<SeriesEntry> entries;
};

std::vector<Series>& AllSeries() {
    static std::vector<Series> series;
    return series;
}

std::string Number(const char* format, double value) {
    char text[64];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

/// Three significant digits, however small.
std::string Milliseconds(double value) {
    return Number(value < 1 ? "%.3f" : (value < 100 ? "%.2f" : "%.0f"), value);
}

}  // namespace

void CountWork(benchmark::State& state, const Work& work, int threads) {
    using benchmark::Counter;
    const double bound = LeastSeconds(MeasureMachine(threads), work.bytes, work.operations);
    state.counters["MB"] = work.bytes * 1e-6;
    state.counters["Mop"] = work.operations * 1e-6;
    state.counters[boundCounter] = bound * 1e3;
    state.counters["of_bound"] = Counter(bound, Counter::kIsIterationInvariantRate);
}

void ComparePair(const std::string& ours, const std::string& peer) {
    Pairs()[ours].push_back(peer);
}

void CompareSeries(const std::string& title, std::vector<SeriesEntry> entries) {
    AllSeries().push_back({title, std::move(entries)});
}

void TableReporter::ReportRuns(const std::vector<Run>& runs) {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
        if (run.run_type != Run::RT_Iteration || run.error_occurred) {
            continue;
        }
        const double scale = 1e3 / benchmark::GetTimeUnitMultiplier(run.time_unit);
        const auto bound = run.counters.find(boundCounter);
        const Result result{run.GetAdjustedRealTime() * scale,
                            bound != run.counters.end() ? bound->second.value : 0.0};
        const std::string& name = run.run_name.function_name;
        const auto [known, isNew] = _results.emplace(name, result);
        if (isNew) {
            _order.push_back(name);
        } else if (result.milliseconds < known->second.milliseconds) {
            known->second = result;
        }
    }
}

const TableReporter::Result* TableReporter::Find(const std::string& name) const {
    const auto found = _results.find(name);
    return found != _results.end() ? &found->second : nullptr;
}

void TableReporter::PrintResults(std::ostream& out) const {
    std::set<std::string> peers;
    for (const auto& [ours, names] : Pairs()) {
        peers.insert(names.begin(), names.end());
    }
    out << "\n| what | ours ms | peer | peer ms | ratio | bound ms | share of bound |\n"
           "|---|--:|---|--:|--:|--:|--:|\n";
    for (const std::string& name : _order) {
        const Result& result = _results.at(name);
        if (peers.contains(name)) {
            continue;
        }
        const auto line = [&](const std::string& peer, const std::string& peerTime,
                              const std::string& ratio) {
            const bool bounded = result.boundMilliseconds > 0;
            out << "| " << name << " | " << Milliseconds(result.milliseconds) << " | " << peer << " | "
                << peerTime << " | " << ratio << " | "
                << (bounded ? Milliseconds(result.boundMilliseconds) : "") << " | "
                << (bounded ? Number("%.0f %%", 100 * result.boundMilliseconds / result.milliseconds) : "")
                << " |\n";
        };
        bool hasPeer = false;
        const auto pair = Pairs().find(name);
        for (const std::string& peerName :
             pair != Pairs().end() ? pair->second : std::vector<std::string>{}) {
            if (const Result* peer = Find(peerName)) {
                line(peerName, Milliseconds(peer->milliseconds),
                     Number("%.2f", peer->milliseconds / result.milliseconds));
                hasPeer = true;
            }
        }
        if (!hasPeer) {
            line("", "", "");
        }
    }
}

void TableReporter::PrintSeries(std::ostream& out) const {
    for (const Series& series : AllSeries()) {
        const Result* first = nullptr;
        double firstPixels = 0;
        for (const SeriesEntry& entry : series.entries) {
            const Result* result = Find(entry.benchmark);
            if (result == nullptr) {
                continue;
            }
            if (first == nullptr) {
                first = result;
                firstPixels = entry.pixels;
                out << "\n| " << series.title
                    << " | ms | ns per pixel | first over this, per pixel |\n|---|--:|--:|--:|\n";
            }
            const double each = result->milliseconds / entry.pixels;
            out << "| " << entry.label << " | " << Milliseconds(result->milliseconds) << " | "
                << Number("%.2f", 1e6 * each) << " | "
                << Number("%.2f", first->milliseconds / firstPixels / each) << " |\n";
        }
    }
}

void TableReporter::PrintTables(std::ostream& out) const {
    PrintResults(out);
    PrintSeries(out);
    out.flush();
}

}  // namespace TQ::Bench
