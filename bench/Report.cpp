#include "bench/Report.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <set>
#include <utility>

#include "bench/Machine.h"

namespace TQ::Bench {

namespace {

constexpr const char* boundCounter = "bound_ms";
constexpr const char* shareCounter = "share_%";

std::map<std::string, std::vector<std::string>>& Pairs() {
    static std::map<std::string, std::vector<std::string>> pairs;
    return pairs;
}

struct ThreadPair {
    std::string one, more;
};

std::vector<ThreadPair>& ThreadPairs() {
    static std::vector<ThreadPair> pairs;
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

/// Of an even number of values the lower one of the two in the middle.
double Median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>((values.size() - 1) / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// In percent.
double Share(double bound, double time) {
    return 100.0 * bound / time;
}

}  // namespace

void CountWork(benchmark::State& state, const Work& work, int threads) {
    const MachineBounds now{BandwidthNow(threads), MeasureMachine(threads).multiplyAddsFlops};
    const double bound = LeastSeconds(now, work.bytes, work.reads, work.operations);
    state.counters["MB"] = work.bytes * 1e-6;
    state.counters["Mop"] = work.operations * 1e-6;
    state.counters[boundCounter] = bound * 1e3;
}

void ComparePair(const std::string& ours, const std::string& peer) {
    Pairs()[ours].push_back(peer);
}

void CompareThreads(const std::string& one, const std::string& more) {
    ThreadPairs().push_back({one, more});
}

void CompareSeries(const std::string& title, std::vector<SeriesEntry> entries) {
    AllSeries().push_back({title, std::move(entries)});
}

void TableReporter::ReportRuns(const std::vector<Run>& runs) {
    std::vector<Run> shown = runs;
    for (Run& run : shown) {
        if (run.run_type != Run::RT_Iteration || run.error_occurred) {
            continue;
        }
        const double scale = 1e3 / benchmark::GetTimeUnitMultiplier(run.time_unit);
        const std::string& name = run.run_name.function_name;
        Repetitions& repetitions = _repetitions[name];
        repetitions.milliseconds.push_back(run.GetAdjustedRealTime() * scale);
        const auto bound = run.counters.find(boundCounter);
        if (bound != run.counters.end()) {
            repetitions.boundMilliseconds.push_back(bound->second.value);
            run.counters[shareCounter] = Share(bound->second.value, repetitions.milliseconds.back());
        }
        _order.emplace(run.family_index, name);
    }
    ConsoleReporter::ReportRuns(shown);
}

std::optional<TableReporter::Result> TableReporter::Find(const std::string& name) const {
    const auto found = _repetitions.find(name);
    if (found == _repetitions.end()) {
        return std::nullopt;
    }
    const auto& [times, bounds] = found->second;
    return Result{Median(times), *std::min_element(times.begin(), times.end()),
                  bounds.empty() ? 0.0 : Median(bounds)};
}

void TableReporter::PrintResults(std::ostream& out) const {
    std::set<std::string> peers;
    for (const auto& [ours, names] : Pairs()) {
        peers.insert(names.begin(), names.end());
    }
    out << "\n| what | ours ms | peer | peer ms | ratio | of the fastest | bound ms | share of bound |\n"
           "|---|--:|---|--:|--:|--:|--:|--:|\n";
    for (const auto& entry : _order) {
        const std::string& name = entry.second;
        const Result result = *Find(name);
        if (peers.contains(name)) {
            continue;
        }
        const auto line = [&](const std::string& peer, const std::string& peerTime, const std::string& ratio,
                              const std::string& ofFastest) {
            const bool bounded = result.boundMilliseconds > 0;
            out << "| " << name << " | " << Milliseconds(result.milliseconds) << " | " << peer << " | "
                << peerTime << " | " << ratio << " | " << ofFastest << " | "
                << (bounded ? Milliseconds(result.boundMilliseconds) : "") << " | "
                << (bounded ? Number("%.0f %%", Share(result.boundMilliseconds, result.milliseconds)) : "")
                << " |\n";
        };
        bool hasPeer = false;
        const auto pair = Pairs().find(name);
        for (const std::string& peerName :
             pair != Pairs().end() ? pair->second : std::vector<std::string>{}) {
            if (const std::optional<Result> peer = Find(peerName)) {
                line(peerName, Milliseconds(peer->milliseconds),
                     Number("%.2f", peer->milliseconds / result.milliseconds),
                     Number("%.2f", peer->fastest / result.fastest));
                hasPeer = true;
            }
        }
        if (!hasPeer) {
            line("", "", "", "");
        }
    }
}

void TableReporter::PrintThreads(std::ostream& out) const {
    bool isFirst = true;
    for (const ThreadPair& pair : ThreadPairs()) {
        const std::optional<Result> one = Find(pair.one);
        const std::optional<Result> more = Find(pair.more);
        if (!one || !more) {
            continue;
        }
        if (std::exchange(isFirst, false)) {
            out << "\n| threads | one thread ms | more ms | times faster | bounds |\n|---|--:|--:|--:|--:|\n";
        }
        const bool bounded = one->boundMilliseconds > 0 && more->boundMilliseconds > 0;
        out << "| " << pair.more << " | " << Milliseconds(one->milliseconds) << " | "
            << Milliseconds(more->milliseconds) << " | "
            << Number("%.2f", one->milliseconds / more->milliseconds) << " | "
            << (bounded ? Number("%.2f", one->boundMilliseconds / more->boundMilliseconds) : "") << " |\n";
    }
}

void TableReporter::PrintSeries(std::ostream& out) const {
    for (const Series& series : AllSeries()) {
        double first = 0;
        for (const SeriesEntry& entry : series.entries) {
            const std::optional<Result> result = Find(entry.benchmark);
            if (!result) {
                continue;
            }
            const double each = result->milliseconds / entry.pixels;
            if (first == 0) {
                first = each;
                out << "\n| " << series.title
                    << " | ms | ns per pixel | times the first |\n|---|--:|--:|--:|\n";
            }
            out << "| " << entry.label << " | " << Milliseconds(result->milliseconds) << " | "
                << Number("%.2f", 1e6 * each) << " | " << Number("%.2f", each / first) << " |\n";
        }
    }
}

void TableReporter::PrintTables(std::ostream& out) const {
    PrintResults(out);
    PrintThreads(out);
    PrintSeries(out);
    out.flush();
}

}  // namespace TQ::Bench
