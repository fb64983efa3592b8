#pragma once

#include <cstdint>

namespace TQ::IP {

/// TemporalAdd1, TemporalAdd2, TemporalMultAddMask, TemporalAddMask, TemporalBlend.
struct WeightParameters {
    float weight;
};

/// AddHighPassThreshold and AddHighPassThresholdN; the two kernels without threshold take none.
struct HighPassParameters {
    float exponentFactor;  ///< -0.5 / max(threshold squared, 0.001)
};

/// WeightedSum: frames times their weights, in the order of the inputs. With `startsFromSum` input 0 is a
/// sum, which is float and has no weight.
struct WeightedSumParameters {
    std::int32_t inputs;  ///< 1 to weightedMostInputs
    bool startsFromSum;
    const float* weights;  ///< one per input
};
constexpr std::int32_t weightedMostInputs = 22;

/// DetectMotion and TemporalMultAddDetectMotion.
struct DetectMotionParameters {
    float inverseLimit;  ///< 1 / the difference at which one channel alone drives the similarity to 0
    float weight;        ///< weight of the frame; read by TemporalMultAddDetectMotion only
};

class RowClaims;

/// GatedSum: two chains of steps, each of which gates the sum so far by its similarity to a frame and adds
/// the frame. Inputs are the frames of the past half, then those of the future half, farthest first. The
/// result is the sum of the future half, plus that of the past half (if there is one) gated by its similarity
/// to input `joinFrame`. Frames' weights are at least gatedLeastWeight. Inputs cover the band, and none
/// covers less than the next one of its half, nor the last one of the past half less than input `joinFrame`,
/// as far as the steps reach around the band.
struct GatedSumParameters {
    float inverseLimit;                     ///< as above
    std::int32_t pastFrames, futureFrames;  ///< together 1 to gatedMostFrames; at least one future frame
    std::int32_t joinFrame;
    bool startsFromSum[2];  ///< the first input of the past, of the future half is a sum, which is float
    const float* weights;   ///< one per input; that of a sum is not used
    float* scratch;         ///< GatedSumScratchFloats floats for this call alone, aligned to 64 bytes
    RowClaims* claims =
        nullptr;  ///< null where the band is walked to its end; looked at in bands that are not cut
};

constexpr std::int32_t gatedMostFrames = 22;
constexpr float gatedLeastWeight = 1e-12F;

/// The walk takes rows in batches, and each batch in tiles of blocks of columns. The sums of the
/// largest tile fill three quarters of a first-level cache of 48 KiB; what all steps of 17 frames keep of a
/// band of gatedMostColumns columns, most of a second-level cache of 2 MiB. Wider bands are cut.
constexpr std::int32_t gatedBlock = 16;
constexpr std::int32_t gatedBatchRows = 16;
constexpr std::int32_t gatedMostTileBlocks = 8;
constexpr std::int32_t gatedMostColumns = 2048;

/// In the scratch: two tiles of sums, of four channels, with two rows more than a batch, and the sums of the
/// columns of similarities of a tile and two blocks.
constexpr std::int64_t gatedWorkFloats =
    2 * (std::int64_t{4 * gatedBlock} * (2 + gatedBatchRows) * gatedMostTileBlocks) +
    std::int64_t{gatedBlock} * gatedBatchRows * (2 + gatedMostTileBlocks);
/// And for each step two rows of sums and four of similarities of all blocks, and a block of a batch.
constexpr std::int64_t gatedMostBlocks = gatedMostColumns / gatedBlock + 5;
constexpr std::int64_t gatedStepFloats =
    gatedBlock * (gatedMostBlocks * (2 * 4 + 4) + 4 * (2 + gatedBatchRows) + 2 * gatedBatchRows);
constexpr std::int64_t GatedSumScratchFloats(std::int32_t frames) {
    return gatedWorkFloats + (std::int64_t{frames} + 1) * gatedStepFloats;
}

/// AffineSimilarityExp and AffineSimilarityExp3.
struct SimilarityParameters {
    float exponentFactor;  ///< -1 / max(sigma, 0.001)^2
};

/// GaussRows and GaussColumns: one axis of the blur. Lines run over the bounds of input 0, from its first
/// sample to its last; indices beyond them repeat the end sample. The output may cover less; samples before
/// it are skipped.
struct GaussParameters {
    std::int32_t radius;      ///< N: the window has 2N + 1 samples
    const float* table;       ///< 2N + 2 floats, entry [j][k - 1] at 2 * j + k - 1 for j = 0..N, k = 1, 2
    float cfA[2];             ///< 2 cos(k w)
    float cfB[2];             ///< table[N][k - 1]
    float storeMaximum;       ///< integer stores clamp to 0..storeMaximum, in code values
    bool subtractFromSource;  ///< GaussColumns only: store input 1 minus the blur, as float, normalised to
                              ///< white 1
};

/// Samples after which a line of `length` samples starts afresh: few enough that a picture falls into bands
/// for several threads, an even number of about one size, and so many that a start, which visits 2N + 2
/// samples, costs little. A multiple of 64.
constexpr std::int32_t GaussRestart(std::int32_t radius, std::int32_t length) {
    constexpr std::int32_t radiusForUnit = 40;
    const std::int32_t most = 320 * ((radius + radiusForUnit - 1) / radiusForUnit);
    if (length <= most) {
        return most;
    }
    const std::int32_t parts = 2 * ((length - 1) / (2 * most) + 1);
    constexpr std::int32_t multiple = 64;
    return ((length - 1) / parts / multiple + 1) * multiple;
}

/// GaussBlur: both passes. A band costs least that begins a multiple of GaussRestart samples from the first
/// sample of the input on that axis.
struct GaussBlurParameters {
    GaussParameters alongX, alongY;
    unsigned char* scratch;  ///< GaussStreamBytes for this call alone, aligned to 64
};

/// Rows that the column pass takes on each visit of a state.
constexpr std::int32_t gaussStepRows = 16;

/// Rows of the ring between the passes: the window, and those of one group and one visit beyond.
constexpr std::int32_t GaussRingRows(std::int32_t radius) {
    return 2 * radius + 2 + 24;
}

/// From row to row where rows of `bytes` bytes are kept: an odd number of cache lines, so that what lies in
/// one column falls into different sets of the caches.
constexpr std::int64_t GaussRowPitch(std::int64_t bytes) {
    constexpr std::int64_t line = 64;
    return ((bytes + line - 1) / line | 1) * line;
}

/// For a band of `columns` columns, of samples of at most 4 bytes: the states of its samples, the rows of a
/// visit, and the ring.
constexpr std::int64_t GaussStreamBytes(std::int32_t columns, std::int32_t radius) {
    constexpr std::int64_t stateFloats = 6;
    // Of a row, in samples: to whole vectors of pixels, and the pitch.
    constexpr std::int64_t mostPadding = 96;
    const std::int64_t samples = 4 * static_cast<std::int64_t>(columns) + mostPadding;
    return samples * static_cast<std::int64_t>(sizeof(float)) *
           (stateFloats + gaussStepRows + GaussRingRows(radius));
}

/// From line to line of products of floats: what the row pass over a restart reads, and no more than the
/// line.
constexpr std::int64_t GaussProductPitch(std::int32_t radius, std::int32_t length) {
    constexpr std::int64_t mostPadding = 80;  // a chunk and a vector
    const std::int64_t samples =
        std::int64_t{GaussRestart(radius, length)} + 2 * std::int64_t{radius} + mostPadding;
    return GaussRowPitch((samples < length ? samples : length) * 4 *
                         static_cast<std::int64_t>(sizeof(float)));
}

/// For AffineSimilarityOfHighPasses, beside a stream for each blur: a group of lines of products.
constexpr std::int64_t GaussProductBytes(std::int32_t radius, std::int32_t length) {
    constexpr std::int64_t mostGroupRows = 4;
    return mostGroupRows * GaussProductPitch(radius, length);
}

/// AffineSimilarityOfHighPasses: the three blurs have the same coefficients. A band lies between two
/// multiples of GaussRestart samples from the first sample of the inputs, which have the same bounds.
struct HighPassSimilarityParameters {
    GaussBlurParameters varianceA, varianceB, covariance;
    unsigned char* products;  ///< GaussProductBytes for this call alone, aligned to 64
    SimilarityParameters similarity;
};

/// AddBlurredHighPass and AddBlurredHighPassThreshold: AddHighPassN of input 0, the blur of input 1, and the
/// blur of the sum in input 2.
struct BlurredHighPassParameters {
    GaussBlurParameters low, target;
    HighPassParameters highPass;
};

/// Solid: one RGB colour, white is 1; alpha is stored as white.
struct SolidParameters {
    float color[3];
};

/// Ramp: position t = (x - point.x) * direction.x + (y - point.y) * direction.y, four colours at 0, amount1,
/// amount2 and 1.
struct RampParameters {
    float amount1, amount2;
    float point[2];
    float direction[2];
    float colors[4][3];
};

}  // namespace TQ::IP
