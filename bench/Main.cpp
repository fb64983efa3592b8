// steadylux_bench [--threads N] [--quick] [--memory GIB] [any option of Google Benchmark]

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include "bench/Machine.h"
#include "bench/Options.h"
#include "bench/Subjects.h"
#include "ip/kernels/KernelTable.h"

namespace TQ::Bench {

namespace {

Options& MutableOptions() {
    static Options options;
    return options;
}

/// Takes our own options out of the command line. Returns false for a value that makes no sense.
bool ReadOptions(std::vector<char*>& arguments) {
    Options& options = MutableOptions();
    const char* quick = std::getenv("STEADYLUX_BENCH_QUICK");
    options.quick = quick != nullptr && *quick != '\0' && std::string(quick) != "0";
    std::vector<char*> others;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string argument = arguments[i];
        const bool hasValue = i + 1 < arguments.size();
        if (argument == "--quick") {
            options.quick = true;
        } else if (argument == "--threads" && hasValue) {
            options.threads = std::atoi(arguments[++i]);
        } else if (argument == "--memory" && hasValue) {
            options.memoryLimitGiB = std::atof(arguments[++i]);
        } else {
            others.push_back(arguments[i]);
        }
    }
    arguments = others;
    return options.threads >= 1 && options.memoryLimitGiB > 0;
}

void PrintMachine(int threads) {
    const MachineBounds& machine = MeasureMachine(threads);
    std::printf("%d thread%s: read %.1f GB/s, copy %.1f GB/s, write %.1f GB/s, multiply-add %.0f GFLOP/s\n",
                threads, threads == 1 ? "" : "s", machine.memory.read * 1e-9, machine.memory.copy * 1e-9,
                machine.memory.write * 1e-9, machine.multiplyAddsFlops * 1e-9);
}

void RegisterAll() {
    RegisterFilters();
    RegisterFrames();
#ifdef STEADYLUX_BENCH_OPENCV
    RegisterOpenCv();
#endif
    RegisterMean();
    RegisterFrameSizes();
}

int Main(int argc, char** argv) {
    std::vector<char*> arguments(argv, argv + argc);
    if (!ReadOptions(arguments)) {
        std::fprintf(stderr, "--threads takes a count from 1 up, --memory a size in GiB.\n");
        return 2;
    }
    std::string onePass = "--benchmark_min_time=0.000001";
    // Ours and the peers in turn, three times: of a machine that is now faster and now slower, all see the
    // same.
    std::string repetitions = "--benchmark_repetitions=3";
    std::string inTurn = "--benchmark_enable_random_interleaving=true";
    if (GetOptions().quick) {
        arguments.insert(arguments.begin() + 1, onePass.data());
    } else {
        arguments.insert(arguments.begin() + 1, {repetitions.data(), inTurn.data()});
    }
    int count = static_cast<int>(arguments.size());
    arguments.push_back(nullptr);
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) {
        return 2;
    }
    std::printf("Level %s\n", IP::LevelName(IP::BestLevel()));
    PrintMachine(1);
    if (GetOptions().threads != 1) {
        PrintMachine(GetOptions().threads);
    }
    std::fflush(stdout);
    RegisterAll();
    TableReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    if (GetOptions().quick) {
        std::cout << "\nA quick run over small pictures: it shows that everything works, not how fast.\n";
    }
    reporter.PrintTables(std::cout);
    return 0;
}

}  // namespace

const Options& GetOptions() {
    return MutableOptions();
}

std::string NameOf(const std::string& group, const std::string& what, int bits, int threads) {
    return group + "/" + what + (bits == 8 ? "/8-bit/" : "/float/") + std::to_string(threads) + "t";
}

benchmark::internal::Benchmark* RegisterTimed(const std::string& name,
                                              const std::function<void(benchmark::State&)>& body) {
    return benchmark::RegisterBenchmark(name.c_str(), body)->Unit(benchmark::kMillisecond)->UseRealTime();
}

void RepeatOften(benchmark::internal::Benchmark* benchmark) {
    constexpr int repetitions = 9;
    if (!GetOptions().quick) {
        benchmark->Repetitions(repetitions);
    }
}

}  // namespace TQ::Bench

int main(int argc, char** argv) {
    return TQ::Bench::Main(argc, argv);
}
