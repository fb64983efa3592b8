#include "bench/Machine.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <thread>
#include <vector>

#include "ip/kernels/KernelTable.h"

namespace TQ::Bench {

namespace {

constexpr std::size_t streamBytes = std::size_t{256}
                                    << 20;  // per thread, several times the last-level cache's share
constexpr int repetitions = 5;

using Clock = std::chrono::steady_clock;

/// Runs `work(thread)` on all threads at once and returns the best time of several repetitions.
double BestSeconds(int threads, const std::function<void(int)>& work) {
    double best = 1e30;
    for (int repetition = 0; repetition < repetitions; ++repetition) {
        std::atomic<int> waiting{threads};
        std::vector<Clock::time_point> begin(static_cast<std::size_t>(threads));
        std::vector<Clock::time_point> end(static_cast<std::size_t>(threads));
        const auto body = [&](int thread) {
            --waiting;
            while (waiting.load() > 0) {
            }
            begin[static_cast<std::size_t>(thread)] = Clock::now();
            work(thread);
            end[static_cast<std::size_t>(thread)] = Clock::now();
        };
        std::vector<std::thread> pool;
        for (int thread = 1; thread < threads; ++thread) {
            pool.emplace_back(body, thread);
        }
        body(0);
        for (std::thread& thread : pool) {
            thread.join();
        }
        const auto first = *std::min_element(begin.begin(), begin.end());
        const auto last = *std::max_element(end.begin(), end.end());
        best = std::min(best, std::chrono::duration<double>(last - first).count());
    }
    return best;
}

// Vectors as wide as the level has them; eight independent chains hide the latency of the multiply-add.
constexpr int chains = 12;
constexpr std::int64_t chainSteps = 20'000'000;

#define STEADYLUX_MULTIPLY_ADD_LOOP(name, target_name, bytes)                       \
    __attribute__((target(target_name), noinline)) float name(std::int64_t steps) { \
        typedef float Vector __attribute__((vector_size(bytes)));                   \
        Vector sums[chains];                                                        \
        for (int i = 0; i < chains; ++i) {                                          \
            sums[i] = Vector{} + static_cast<float>(i);                             \
        }                                                                           \
        const Vector factor = Vector{} + 0.999F;                                    \
        const Vector addend = Vector{} + 0.001F;                                    \
        for (std::int64_t step = 0; step < steps; ++step) {                         \
            _Pragma("GCC unroll 12") for (int i = 0; i < chains; ++i) {             \
                sums[i] = sums[i] * factor + addend;                                \
            }                                                                       \
            __asm__ volatile("" ::: "memory");                                      \
        }                                                                           \
        float total = 0;                                                            \
        for (int i = 0; i < chains; ++i) {                                          \
            total += sums[i][0];                                                    \
        }                                                                           \
        return total;                                                               \
    }

STEADYLUX_MULTIPLY_ADD_LOOP(LoopAvx512, "avx512f,fma", 64)
STEADYLUX_MULTIPLY_ADD_LOOP(LoopAvx2, "avx2,fma", 32)
STEADYLUX_MULTIPLY_ADD_LOOP(LoopSse, "sse2", 16)

#undef STEADYLUX_MULTIPLY_ADD_LOOP

volatile float sink;
volatile std::uint64_t integerSink;

double MeasureFlops(int threads) {
    const IP::IsaLevel level = IP::BestLevel();
    const bool wide = level == IP::IsaLevel::AVX512;
    const bool medium = level == IP::IsaLevel::AVX2;
    const int lanes = wide ? 16 : (medium ? 8 : 4);
    const double seconds = BestSeconds(threads, [&](int) {
        sink = wide ? LoopAvx512(chainSteps) : (medium ? LoopAvx2(chainSteps) : LoopSse(chainSteps));
    });
    return 2.0 * chains * lanes * static_cast<double>(chainSteps) * threads / seconds;
}

std::uint64_t SumOf(const std::uint64_t* words, std::size_t count) {
    std::uint64_t sums[8] = {};
    for (std::size_t i = 0; i + 8 <= count; i += 8) {
        for (std::size_t k = 0; k < 8; ++k) {
            sums[k] += words[i + k];
        }
    }
    std::uint64_t total = 0;
    for (const std::uint64_t sum : sums) {
        total += sum;
    }
    return total;
}

}  // namespace

const MachineBounds& MeasureMachine(int threads) {
    static std::map<int, MachineBounds> known;
    const auto found = known.find(threads);
    if (found != known.end()) {
        return found->second;
    }
    constexpr std::size_t words = streamBytes / sizeof(std::uint64_t);
    std::vector<std::vector<std::uint64_t>> sources(static_cast<std::size_t>(threads));
    std::vector<std::vector<std::uint64_t>> targets(static_cast<std::size_t>(threads));
    for (std::size_t thread = 0; thread < sources.size(); ++thread) {
        sources[thread].assign(words, thread + 1);
        targets[thread].assign(words, 0);
    }
    MachineBounds bounds{};
    bounds.threads = threads;
    const double total = static_cast<double>(streamBytes) * threads;
    bounds.readBytesPerSecond = total / BestSeconds(threads, [&](int thread) {
                                    integerSink =
                                        SumOf(sources[static_cast<std::size_t>(thread)].data(), words);
                                });
    bounds.copyBytesPerSecond = 2.0 * total / BestSeconds(threads, [&](int thread) {
                                    const auto index = static_cast<std::size_t>(thread);
                                    std::memcpy(targets[index].data(), sources[index].data(), streamBytes);
                                });
    bounds.multiplyAddsFlops = MeasureFlops(threads);
    return known.emplace(threads, bounds).first->second;
}

double LeastSeconds(const MachineBounds& machine, double bytesMoved, double operations) {
    const double bandwidth = std::max(machine.readBytesPerSecond, machine.copyBytesPerSecond);
    return std::max(bytesMoved / bandwidth, operations / machine.multiplyAddsFlops);
}

}  // namespace TQ::Bench
