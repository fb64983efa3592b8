#include "ip/kernels/CpuFeatures.h"

#include <cpuid.h>

#include <atomic>

namespace TQ::IP {
namespace {

/// Which register a feature bit is read from. AvxLeaf7 registers count only on a processor with usable AVX.
enum class Source { Always, Leaf1Ecx, Avx, AvxLeaf7Ebx, AvxLeaf7Ecx, ExtendedEcx, ExtendedEdx };

struct FeatureRow {
    const char* name;
    Source source;
    std::uint32_t bits;  ///< all of them must be set
};

constexpr std::uint32_t Bit(int index) {
    return 1U << index;
}

constexpr FeatureRow featureRows[cpuFeatureCount] = {
    {"MMX", Source::Always, 0},
    {"Enhanced MMX", Source::Always, 0},
    {"CMOV", Source::Always, 0},
    {"3DNow!", Source::ExtendedEdx, Bit(31)},
    {"Enhanced 3DNow!", Source::ExtendedEdx, Bit(30)},
    {"SSE", Source::Always, 0},
    {"SSE2", Source::Always, 0},
    {"SSE3", Source::Leaf1Ecx, Bit(0)},
    {"SSSE3", Source::Leaf1Ecx, Bit(9)},
    {"SSE4a", Source::ExtendedEcx, Bit(6)},
    {"SSE4_1", Source::Leaf1Ecx, Bit(19)},
    {"SSE4_2", Source::Leaf1Ecx, Bit(20)},
    {"POPCNT", Source::Leaf1Ecx, Bit(23)},
    {"LZCNT", Source::ExtendedEcx, Bit(5)},
    {"AES", Source::Leaf1Ecx, Bit(25)},
    {"FMA", Source::Leaf1Ecx, Bit(12)},
    {"FMA4", Source::ExtendedEcx, Bit(16)},
    {"F16C", Source::Leaf1Ecx, Bit(29)},
    {"CLMUL", Source::Leaf1Ecx, Bit(1)},
    {"XOP", Source::ExtendedEcx, Bit(11)},
    {"AVX", Source::Avx, 0},
    {"AVX2", Source::AvxLeaf7Ebx, Bit(5)},
    {"AVX512F", Source::AvxLeaf7Ebx, Bit(16)},
    {"AVX512CD", Source::AvxLeaf7Ebx, Bit(28)},
    {"AVX512DQ", Source::AvxLeaf7Ebx, Bit(17)},
    {"AVX512BW", Source::AvxLeaf7Ebx, Bit(30)},
    {"AVX512VL", Source::AvxLeaf7Ebx, Bit(31)},
    {"AVX512IFMA", Source::AvxLeaf7Ebx, Bit(21)},
    {"AVX512VBMI", Source::AvxLeaf7Ecx, Bit(1)},
};
constexpr std::uint32_t lowestAvx512Feature = cpuAVX512F;

constexpr std::uint64_t xcr0Avx = 0x6;      ///< SSE and upper halves of the 256-bit registers
constexpr std::uint64_t xcr0Avx512 = 0xE0;  ///< mask registers and both parts of the 512-bit registers

bool IsSet(const FeatureRow& row, const CpuRegisters& registers, bool avx) {
    const auto all = [&row](std::uint32_t value) { return (value & row.bits) == row.bits; };
    switch (row.source) {
        case Source::Always:
            return true;
        case Source::Leaf1Ecx:
            return all(registers.leaf1Ecx);
        case Source::Avx:
            return avx;
        case Source::AvxLeaf7Ebx:
            return avx && all(registers.leaf7Ebx);
        case Source::AvxLeaf7Ecx:
            return avx && all(registers.leaf7Ecx);
        case Source::ExtendedEcx:
            return all(registers.extendedEcx);
        case Source::ExtendedEdx:
            return all(registers.extendedEdx);
    }
    return false;
}

std::uint64_t ReadXcr0() {
    std::uint32_t low = 0;
    std::uint32_t high = 0;
    __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    return (static_cast<std::uint64_t>(high) << 32) | low;
}

CpuRegisters ReadRegisters() {
    CpuRegisters registers{};
    std::uint32_t eax = 0;
    std::uint32_t ebx = 0;
    std::uint32_t ecx = 0;
    std::uint32_t edx = 0;
    // __get_cpuid_count answers 0 and leaves the values alone for a leaf that the processor does not have.
    registers.highestLeaf = __get_cpuid_max(0, nullptr);
    if (__get_cpuid_count(1, 0, &eax, &ebx, &ecx, &edx) != 0) {
        registers.leaf1Ecx = ecx;
    }
    if (__get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx) != 0) {
        registers.leaf7Ebx = ebx;
        registers.leaf7Ecx = ecx;
    }
    if (__get_cpuid_count(0x80000001, 0, &eax, &ebx, &ecx, &edx) != 0) {
        registers.extendedEcx = ecx;
        registers.extendedEdx = edx;
    }
    if (HasReadableXcr0(registers.leaf1Ecx)) {
        registers.xcr0 = ReadXcr0();
    }
    return registers;
}

}  // namespace

bool HasReadableXcr0(std::uint32_t leaf1Ecx) {
    constexpr std::uint32_t needed = Bit(27) | Bit(28);
    return (leaf1Ecx & needed) == needed;
}

std::uint32_t DecideCpuFeatures(const CpuRegisters& registers) {
    if (registers.highestLeaf == 0) {
        return 0;
    }
    const bool avx = HasReadableXcr0(registers.leaf1Ecx) && (registers.xcr0 & xcr0Avx) == xcr0Avx;
    std::uint32_t mask = 0;
    for (int bit = 0; bit < cpuFeatureCount; ++bit) {
        if (IsSet(featureRows[bit], registers, avx)) {
            mask |= Bit(bit);
        }
    }
    if ((registers.xcr0 & xcr0Avx512) != xcr0Avx512) {
        mask &= lowestAvx512Feature - 1;
    }
    return mask;
}

bool AdmitsLevel(std::uint32_t features, IsaLevel level) {
    constexpr std::uint32_t needed[isaLevelCount] = {
        0,
        cpuSSE2,
        cpuSSE41,
        cpuAVX2 | cpuFMA,
        cpuAVX512F | cpuAVX512CD | cpuAVX512DQ | cpuAVX512BW | cpuAVX512VL,
    };
    const std::uint32_t bits = needed[static_cast<int>(level)];
    return (features & bits) == bits;
}

std::uint32_t GetCpuFeatures() {
    static std::atomic<int> busy{0};
    static bool known = false;
    static std::uint32_t features = 0;
    while (busy.exchange(1, std::memory_order_acquire) != 0) {
    }
    if (!known) {
        features = DecideCpuFeatures(ReadRegisters());
        known = true;
    }
    const std::uint32_t result = features;
    busy.store(0, std::memory_order_release);
    return result;
}

const char* CpuFeatureName(int bit) {
    return featureRows[bit].name;
}

}  // namespace TQ::IP
