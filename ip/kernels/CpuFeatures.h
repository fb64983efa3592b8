#pragma once

#include <cstdint>

#include "ip/kernels/KernelTable.h"

namespace TQ::IP {

/// Bits of the mask that decide on a level; CpuFeatureName names all of them.
enum CpuFeature : std::uint32_t {
    cpuSSE2 = 1U << 6,
    cpuSSE41 = 1U << 10,
    cpuFMA = 1U << 15,
    cpuAVX = 1U << 20,
    cpuAVX2 = 1U << 21,
    cpuAVX512F = 1U << 22,
    cpuAVX512CD = 1U << 23,
    cpuAVX512DQ = 1U << 24,
    cpuAVX512BW = 1U << 25,
    cpuAVX512VL = 1U << 26,
};
constexpr int cpuFeatureCount = 29;

/// What the processor says of itself, as raw register values. Leaves that it does not have are all zero.
struct CpuRegisters {
    std::uint32_t highestLeaf;  ///< leaf 0 EAX; 0 means that nothing is known
    std::uint32_t leaf1Ecx;
    std::uint32_t leaf7Ebx, leaf7Ecx;
    std::uint32_t extendedEcx, extendedEdx;  ///< leaf 0x80000001
    std::uint64_t xcr0;                      ///< the register state that the operating system saves
};

/// True when AVX is there and XCR0 can be read; without it reading XCR0 is an illegal instruction.
bool HasReadableXcr0(std::uint32_t leaf1Ecx);
/// The feature mask of a processor. AVX and all above it are off unless the operating system saves their
/// registers.
std::uint32_t DecideCpuFeatures(const CpuRegisters& registers);
/// Whether a processor with these features runs the level.
bool AdmitsLevel(std::uint32_t features, IsaLevel level);

/// The feature mask of this processor, found out once per process. Callable from any thread.
std::uint32_t GetCpuFeatures();
/// The name of bit `bit` of the mask, 0 to cpuFeatureCount - 1.
const char* CpuFeatureName(int bit);

}  // namespace TQ::IP
