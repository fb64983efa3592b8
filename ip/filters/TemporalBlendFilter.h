#pragma once

#include "ip/filters/KernelFilter.h"

namespace TQ::IP {

/// Mixes an accumulator back towards the current frame where a mask asks for it: with a = accumulator alpha,
/// m = mask alpha * weight and p = frame colour * a, colour = p + (accumulator colour - p) * m and alpha = a.
/// So m = 0 gives the frame at the accumulator's weight and m = 1 the accumulator; m is not clamped.
///
/// Inputs: 0 the current frame, 1 the accumulator (four-channel float), 2 the mask in the frame's format. The
/// output is an accumulator. Pixel by pixel, so all inputs cover the output. Filters with different weights
/// compare as equal.
class TemporalBlendFilter : public KernelFilter {
  public:
    TemporalBlendFilter(std::shared_ptr<FilterBase> current, std::shared_ptr<FilterBase> accumulator,
                        std::shared_ptr<FilterBase> mask, float weight);

  protected:
    const KernelUse& Use() const override;
    void RunHostRows(const Bounds& rows, int threadIndex) override;

  private:
    float _weight;
};

}  // namespace TQ::IP
