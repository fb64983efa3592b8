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

/// DetectMotion and TemporalMultAddDetectMotion.
struct DetectMotionParameters {
    float inverseLimit;  ///< 1 / the difference at which one channel alone drives the similarity to 0
    float weight;        ///< weight of the frame; read by TemporalMultAddDetectMotion only
};

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
