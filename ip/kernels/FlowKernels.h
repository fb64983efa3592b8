#pragma once

#include <cstdint>

#include "ip/kernels/KernelTable.h"

namespace TQ::IP {

/// Side of a patch, in pixels.
constexpr int flowPatchSize = 8;
/// Patch rows that are searched in turn on one thread, so that they hide each other's waiting.
constexpr int flowRowsTogether = 2;
/// Pixels that repeat the edge around every grey plane of the flow.
constexpr int flowBorder = 16;
/// Grey planes hold grey values 0..255 times this, so that interpolated values keep a fraction in 16 bits.
constexpr int flowGreyScale = 128;

/// Grey pictures that are still to be reduced hold grey values times 2^fineGreyBits, so that values are
/// rounded to whole grey levels once, not at every reduction.
constexpr int fineGreyBits = 6;
/// Grey of white is a little above 255; see GreyParameters.
constexpr int fineGreyWhite = 258 << fineGreyBits;

/// A pixel of a picture of half the size is a sum over this many pixels along each axis.
constexpr int halvingTaps = 8;
/// The first of them, told from pixel 2 x: that many pixels before it.
constexpr int halvingReach = 3;
/// Times 2^15, with a sum of 2^15.
struct HalvingWeights {
    std::int16_t tap[halvingTaps];
};

/// How one row of pixels is stored: the index of a kernel in its table.
enum class SampleStorage : int { Byte, Short, Float };
constexpr int sampleStorageCount = 3;

/// Grey of a pixel: the sum over red, green and blue of weight * min(max(value, 0), white), clamped to 0..255
/// and rounded to nearest.
struct GreyParameters {
    int position[3];  ///< of red, green and blue in a pixel
    float weight[3];  ///< grey levels per code value
    float white;      ///< code value of white
};

/// One pyramid level of the flow. Pointers look at planes of the caller; pitches count elements. Grey planes
/// have flowBorder pixels around them, so that `grey[-flowBorder * pitch - flowBorder]` is their first
/// element. The displacements of patches are `columns` wide; the origin of patch (row, column) is the pixel
/// (row * stride, column * stride).
struct FlowLevel {
    std::int32_t width, height;  ///< in pixels, at least flowPatchSize each
    std::int32_t columns, rows;  ///< patches
    std::int32_t stride;         ///< distance of patch origins, 1..flowPatchSize
    const std::int16_t* reference;
    std::int64_t referencePitch;
    const std::int16_t* moved;
    std::int64_t movedPitch;
    std::int16_t* gradientX;  ///< Sobel gradients of the reference, in grey levels
    std::int16_t* gradientY;
    std::int64_t gradientPitch;
    /// Sums over each patch: of gx * gx, gy * gy, gx * gy, gx and gy.
    std::int32_t* sumXX;
    std::int32_t* sumYY;
    std::int32_t* sumXY;
    std::int32_t* sumX;
    std::int32_t* sumY;
    std::int64_t sumPitch;
    float* patchU;  ///< the displacement of each patch, in pixels of the level
    float* patchV;
    float* flowU;  ///< the displacement of each pixel
    float* flowV;
    std::int64_t flowPitch;
};

/// Where a resized sample takes its inputs from, on one axis.
struct ResizePosition {
    std::int32_t first;  ///< the input sample of tap 0
    std::int32_t phase;  ///< row of the weight table
};
/// The taps of a table are padded with zeros to a multiple of this.
constexpr int resizeTapGroup = 4;

/// The kernels of the optical flow and of resizing, for one instruction-set level. All sums that could depend
/// on their order are sums of integers or taken in one stated order: every level gives the same bytes.
struct FlowKernels {
    /// One row of grey values, times flowGreyScale.
    void (*greyRow[sampleStorageCount])(std::int16_t* target, const unsigned char* source, int width,
                                        const GreyParameters& parameters);
    /// One row of fine grey values, not clamped to 255. Returns whether no channel was outside 0..white.
    bool (*fineGreyRow[sampleStorageCount])(std::int16_t* target, const unsigned char* source, int width,
                                            const GreyParameters& parameters);
    /// Two rows of fine grey reduced to `width` columns: the upper one in the low halves of the target, the
    /// lower one in the high halves. The rows are read from -halvingReach to 2 * width + halvingReach - 1.
    void (*halveColumns)(std::int32_t* target, const std::int16_t* above, const std::int16_t* below,
                         int width, const HalvingWeights& weights);
    /// One row of a picture of half the size, from four row pairs of halveColumns: its fine grey, and its
    /// grey as greyRow gives it.
    void (*halveRows)(std::int16_t* fine, std::int16_t* grey, const std::int32_t* const* pairs, int width,
                      const HalvingWeights& weights);
    /// Row `y` of both gradients.
    void (*sobelRow)(const FlowLevel& level, int y);
    /// The five sums of the patches of one patch row.
    void (*structureRow)(const FlowLevel& level, int row);
    /// Patch rows of a scan that do not depend on each other: the displacements of their patches. The first
    /// scan starts from the dense flow; the second goes backward. `fromNeighbourRow`: also tries what the
    /// patch row walked before has found. flowRowsTogether rows at once are fastest.
    void (*searchRows)(const FlowLevel& level, const int* rows, int count, bool forward,
                       bool fromNeighbourRow, int iterations);
    /// The dense flow of rows y1..y2 - 1 out of the displacements of the patches; scratch of DensifyScratch
    /// floats.
    void (*densifyRows)(const FlowLevel& level, int y1, int y2, float* scratch);
    /// One row of `count` values enlarged by `factor`, a power of two: target[i] is the value at column x +
    /// i. `source` are the two rows of `width` values around it, blended as above + (below - above) * blend.
    void (*enlargeRow)(float* target, int x, int count, const float* above, const float* below, float blend,
                       int width, int factor);
    /// One row of flow pixels (u, v, 0, 0).
    void (*storeFlow)(unsigned char* target, const float* u, const float* v, int count);

    /// `count` samples as floats, in code values.
    void (*loadSamples[sampleStorageCount])(float* target, const unsigned char* source, int count);
    /// Pixels of four floats: target[i] = sum over k of weights[phase][k] * source[first + k], in four
    /// partial sums by k modulo 4, (s0 + s1) + (s2 + s3). `weights` hold each weight four times; `taps` is a
    /// multiple of resizeTapGroup.
    void (*filterRow)(float* target, const float* source, const ResizePosition* positions, int width,
                      const float* weights, int taps);
    /// Samples: the sum over k of weights[k] * rows[k], in order; integers are rounded to nearest and clamped
    /// to 0..maximum.
    void (*sumRows[sampleStorageCount])(unsigned char* target, const float* const* rows, const float* weights,
                                        int taps, int count, float maximum);
};

/// Floats that densifyRows needs for a level of that width and patch stride.
constexpr std::int64_t DensifyScratch(std::int64_t width, std::int64_t stride) {
    const std::int64_t patchRows = (flowPatchSize + stride - 1) / stride;
    return patchRows * 3 * flowPatchSize * width;
}

/// The kernels of exactly that level. For tests and benchmarks.
const FlowKernels& FlowKernelsOf(IsaLevel level);
/// The kernels of the highest level that this processor admits.
const FlowKernels& BestFlowKernels();

}  // namespace TQ::IP
