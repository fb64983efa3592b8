#include "bench/Machine.h"

#include <emmintrin.h>

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

#include "bench/Options.h"
#include "ip/kernels/KernelTable.h"

namespace TQ::Bench {

namespace {

/// Of each thread: larger than the last-level cache, so that the next repetition finds nothing of it there. A
/// quick run asks for little memory instead.
std::size_t StreamBytes() {
    return std::size_t{GetOptions().quick ? 16U : 256U} << 20;
}

constexpr int repetitions = 7;
constexpr int repetitionsNow = 2;

using Clock = std::chrono::steady_clock;

/// Runs `work(thread)` on all threads at once and returns the best time of several repetitions.
double BestSeconds(int threads, int times, const std::function<void(int)>& work) {
    double best = 1e30;
    for (int i = 0; i < times; ++i) {
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

/// The two loops for one vector width. The multiply-adds run in twelve independent chains, which hide their
/// latency; each chain is a variable of its own, since an array of them would be kept in memory.
#define STEADYLUX_MACHINE_LOOPS(suffix, target_name, bytes)                                         \
    __attribute__((target(target_name), noinline)) float MultiplyAdds##suffix(std::int64_t steps) { \
        typedef float Vector __attribute__((vector_size(bytes)));                                   \
        const Vector factor = Vector{} + 0.999F;                                                    \
        const Vector addend = Vector{} + 0.001F;                                                    \
        Vector a = Vector{}, b = a + 1, c = a + 2, d = a + 3, e = a + 4, f = a + 5;                 \
        Vector g = a + 6, h = a + 7, i = a + 8, j = a + 9, k = a + 10, l = a + 11;                  \
        for (std::int64_t step = 0; step < steps; ++step) {                                         \
            a = a * factor + addend, b = b * factor + addend, c = c * factor + addend;              \
            d = d * factor + addend, e = e * factor + addend, f = f * factor + addend;              \
            g = g * factor + addend, h = h * factor + addend, i = i * factor + addend;              \
            j = j * factor + addend, k = k * factor + addend, l = l * factor + addend;              \
        }                                                                                           \
        const Vector total = a + b + c + d + e + f + g + h + i + j + k + l;                         \
        return total[0];                                                                            \
    }                                                                                               \
    __attribute__((target(target_name), noinline))                                                  \
    std::uint64_t Read##suffix(const void* block, std::size_t size) {                               \
        typedef std::uint64_t Vector __attribute__((vector_size(bytes)));                           \
        const auto* words = static_cast<const Vector*>(__builtin_assume_aligned(block, bytes));     \
        Vector a = Vector{}, b = a, c = a, d = a;                                                   \
        for (std::size_t i = 0; i < size / (bytes); i += 4) {                                       \
            a += words[i], b += words[i + 1], c += words[i + 2], d += words[i + 3];                 \
        }                                                                                           \
        const Vector total = a + b + c + d;                                                         \
        return total[0];                                                                            \
    }

STEADYLUX_MACHINE_LOOPS(Avx512, "avx512f,fma", 64)
STEADYLUX_MACHINE_LOOPS(Avx2, "avx2,fma", 32)
STEADYLUX_MACHINE_LOOPS(Sse, "sse2", 16)

#undef STEADYLUX_MACHINE_LOOPS

void WritePastCaches(unsigned char* block, std::size_t size) {
    const __m128i value = _mm_set1_epi8(7);
    for (std::size_t i = 0; i < size; i += sizeof value) {
        _mm_stream_si128(reinterpret_cast<__m128i*>(block + i), value);
    }
    _mm_sfence();
}

constexpr int chains = 12;
constexpr std::int64_t chainSteps = 20'000'000;

struct MachineLoops {
    float (*multiplyAdds)(std::int64_t);
    std::uint64_t (*read)(const void*, std::size_t);
    int lanes;  ///< floats in a vector
};

MachineLoops LoopsForLevel(IP::IsaLevel level) {
    switch (level) {
        case IP::IsaLevel::AVX512:
            return {MultiplyAddsAvx512, ReadAvx512, 16};
        case IP::IsaLevel::AVX2:
            return {MultiplyAddsAvx2, ReadAvx2, 8};
        default:
            return {MultiplyAddsSse, ReadSse, 4};
    }
}

/// Results go here, so that the loops are not left out.
std::atomic<float> floatSink;
std::atomic<std::uint64_t> integerSink;

/// A block of that size, its pages in place.
class StreamBlock {
  public:
    StreamBlock() : _bytes(new unsigned char[StreamBytes() + alignment]) {
        std::memset(_bytes.get(), 1, StreamBytes() + alignment);
    }
    unsigned char* Data() const {
        const auto address = reinterpret_cast<std::uintptr_t>(_bytes.get());
        return _bytes.get() + (alignment - address % alignment) % alignment;
    }

  private:
    static constexpr std::size_t alignment = 64;
    std::unique_ptr<unsigned char[]> _bytes;
};

/// What one thread reads, and where it writes.
struct Streams {
    StreamBlock source, target;
};

const Streams& StreamsOf(int thread) {
    static std::vector<std::unique_ptr<Streams>> all;
    while (all.size() <= static_cast<std::size_t>(thread)) {
        all.push_back(std::make_unique<Streams>());
    }
    return *all[static_cast<std::size_t>(thread)];
}

Bandwidth MeasureBandwidth(int threads, int times) {
    const MachineLoops loops = LoopsForLevel(IP::BestLevel());
    StreamsOf(threads - 1);  // all are there before threads look for theirs
    const std::size_t size = StreamBytes();
    const double total = static_cast<double>(size) * threads;
    const double read = BestSeconds(
        threads, times, [&](int thread) { integerSink = loops.read(StreamsOf(thread).source.Data(), size); });
    const double copy = BestSeconds(threads, times, [&](int thread) {
        std::memcpy(StreamsOf(thread).target.Data(), StreamsOf(thread).source.Data(), size);
    });
    const double write = BestSeconds(
        threads, times, [&](int thread) { WritePastCaches(StreamsOf(thread).target.Data(), size); });
    return {total / read, 2.0 * total / copy, total / write};
}

double MeasureMultiplyAdds(int threads) {
    const MachineLoops loops = LoopsForLevel(IP::BestLevel());
    const double operations = 2.0 * chains * loops.lanes * static_cast<double>(chainSteps) * threads;
    return operations /
           BestSeconds(threads, repetitions, [&](int) { floatSink = loops.multiplyAdds(chainSteps); });
}

}  // namespace

const MachineBounds& MeasureMachine(int threads) {
    static std::map<int, MachineBounds> known;
    const auto found = known.find(threads);
    if (found != known.end()) {
        return found->second;
    }
    return known
        .emplace(threads, MachineBounds{MeasureBandwidth(threads, repetitions), MeasureMultiplyAdds(threads)})
        .first->second;
}

Bandwidth BandwidthNow(int threads) {
    return MeasureBandwidth(threads, repetitionsNow);
}

double LeastSeconds(const MachineBounds& machine, double bytesMoved, bool reads, double operations) {
    const Bandwidth& memory = machine.memory;
    const double bandwidth = reads ? std::max({memory.read, memory.copy, memory.write}) : memory.write;
    const double operationsPerSecond = machine.multiplyAddsFlops / 2;
    return std::max(bytesMoved / bandwidth, operations / operationsPerSecond);
}

}  // namespace TQ::Bench
