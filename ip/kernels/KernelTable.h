#pragma once

#include "ip/records/Bounds.h"
#include "ip/records/ImageView.h"

namespace TQ::Image {
class Progress;
}

namespace TQ::IP {

/// The pixel formats that every kernel is built for. The name gives the bits (or the white level) and the
/// order of the channels in memory. ShortOther is 16 bits with any other white level, which takes 65535 as
/// white.
enum class KernelFormat : int {
    Byte_RGBA,
    Byte_ARGB,
    Byte_BGRA,
    Byte_ABGR,
    Short32768_ARGB,
    Short32768_BGRA,
    Short16384_RGBA,
    Short16384_ARGB,
    Short16384_BGRA,
    Short16384_ABGR,
    ShortOther_RGBA,
    Float_RGBA,
    Float_ARGB,
    Float_BGRA,
    Float_ABGR,
};
constexpr int kernelFormatCount = 15;

/// One entry per kernel. "F" in the remarks is the kernel's pixel format, "float" four 32-bit float channels
/// in the same channel order; output first. Formulas stand with the kernels and with the filters that run
/// them.
enum class KernelId : int {
    TemporalAdd1,                 ///< float <- F
    TemporalAdd2,                 ///< float <- F, float
    TemporalMultAddMask,          ///< float <- F, float, F mask
    TemporalAddMask,              ///< float <- float, float, F mask
    TemporalBlend,                ///< float <- F, float, F mask
    TemporalUnmult,               ///< F <- F, float
    AddHighPass,                  ///< F <- F, F, float
    AddHighPassN,                 ///< F <- F, F, float
    AddHighPassThreshold,         ///< F <- F, F, float
    AddHighPassThresholdN,        ///< F <- F, F, float
    DetectMotion,                 ///< F <- F, F
    TemporalMultAddDetectMotion,  ///< float <- F, float
    WeightedSum,                  ///< float <- up to weightedMostInputs times F, the first may be float
    GatedSum,                     ///< float <- up to gatedMostFrames times F, or float where a half starts
    GaussRows,                    ///< F <- F (band of rows)
    GaussColumns,        ///< F <- F, or float <- F, F with the high-pass subtraction (band of columns)
    GaussBlur,           ///< F <- F, or float <- F with the high-pass subtraction
    AddBlurredHighPass,  ///< F <- F, F, float
    AddBlurredHighPassThreshold,   ///< F <- F, F, float
    Solid,                         ///< F <-
    Ramp,                          ///< F <-
    CopyAlpha,                     ///< F <- F, F
    GuidedCorrelation2,            ///< F <- F, F
    AffineSimilarity,              ///< float <- float, float, float
    AffineSimilarityExp,           ///< F <- float
    AffineSimilarityExp3,          ///< F <- float, float, float
    AffineSimilarityOfHighPasses,  ///< F <- float, float
    Warp,                          ///< F <- F, float flow (u, v, 0, 0) in pixels
};
constexpr int kernelCount = 28;

/// One kernel for one pixel format and instruction-set level. Writes the pixels of `band` (a part of the
/// output's bounds); every input has bounds of its own, so a kernel can read outside the band. `parameters`
/// is the kernel's record of KernelParameters.h, or null. Calls `progress` every 32 rows of the band, the
/// first row included. Returns false when this level declines, so that the next lower one is tried.
using Kernel = bool (*)(const ImageView& output, const ImageView* inputs, const Bounds& band,
                        const void* parameters, Image::Progress& progress);

/// All kernels of one level; a null entry declines.
struct LevelKernels {
    Kernel entries[kernelCount][kernelFormatCount];
};

/// The instruction-set levels, lowest first. Baseline is the plain scalar form that all others are compared
/// with.
enum class IsaLevel : int { Baseline, SSE2, SSE41, AVX2, AVX512 };
constexpr int isaLevelCount = 5;

/// True when this processor and operating system admit the level.
bool IsLevelUsable(IsaLevel level);
/// The highest usable level.
IsaLevel BestLevel();
/// "AVX-512", "AVX2", "SSE4.1", "SSE2", "baseline".
const char* LevelName(IsaLevel level);
/// The kernel of exactly that level, null where that level declines. For tests and benchmarks.
Kernel FindKernel(IsaLevel level, KernelId kernel, KernelFormat format);
/// Runs the kernel at the highest usable level that does not decline.
void RunKernel(KernelId kernel, KernelFormat format, const ImageView& output, const ImageView* inputs,
               const Bounds& band, const void* parameters, Image::Progress& progress);

/// Chooses the instance for a layer. `channelBits` 8, 16 or 32; `redPosition` 0 RGBA, 1 ARGB, 2 BGRA, 3 ABGR.
/// 16-bit white 32768 knows ARGB and BGRA only (all others fall to ARGB), any 16-bit white but 32768 and
/// 16384 knows RGBA only. Returns false for other bit counts, where nothing is to run.
bool ChooseKernelFormat(int channelBits, int whiteLevel, int redPosition, KernelFormat& format);

}  // namespace TQ::IP
