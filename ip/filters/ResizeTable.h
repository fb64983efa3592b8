#pragma once

#include <cstdint>
#include <vector>

#include "ip/Layer.h"
#include "ip/kernels/FlowKernels.h"

namespace TQ::IP {

class Host;

/// How the samples of one axis lie over those of the input: the first and the last sample of both fall on
/// each other. An axis of one sample, on either side, is walked at the input's own pace.
struct ResizeAxis {
    float step;           ///< input samples per output sample
    float width;          ///< the cubic is stretched by this, so that it also filters when reducing
    float start;          ///< offset of the first tap from the sample's position
    std::int32_t maxLen;  ///< taps of a sample
    float offset = 0;     ///< moves every position, in output samples

    ResizeAxis(std::int32_t inputSize, std::int32_t outputSize);
    /// An axis that is left as it is.
    ResizeAxis();

    /// The position of tap 0 of output sample `index`, in input samples, between two of them.
    double Begin(std::int32_t index) const { return (static_cast<double>(index) + offset) * step + start; }
};

/// The weights of a Mitchell-Netravali cubic ("Reconstruction Filters in Computer Graphics", 1988, B = C =
/// 1/3) at 256 positions between two input samples.
class ResizeTable {
  public:
    ResizeTable(Host& host, const ResizeAxis& axis);

    /// Taps in a row of the table: maxLen, padded with zeros to whole groups.
    std::int32_t Taps() const { return _taps; }
    /// The first input sample of an output sample, and its row of weights.
    ResizePosition Position(std::int32_t index) const;
    /// Taps that are not zero at the end of a phase's row, at least 1.
    std::int32_t Count(std::int32_t phase) const { return _counts[static_cast<std::size_t>(phase)]; }
    /// Taps() weights with a sum of 1, each `repeats` times in a row.
    const float* Weights(std::int32_t phase) const { return _data + std::int64_t{phase} * _taps; }
    /// All weights, each four times in a row: one for each channel of a pixel.
    const float* ChannelWeights() const { return _data + std::int64_t{phases} * _taps; }

    static constexpr std::int32_t phases = 257;

  private:
    void FillPhase(std::int32_t phase);

    ResizeAxis _axis;
    std::int32_t _taps;
    std::vector<std::int32_t> _counts;
    Memory _memory;
    float* _data;
};

/// The cubic itself: 0 from |u| = 2 on.
double MitchellCubic(double u);

}  // namespace TQ::IP
