#pragma once

#include "ip/filters/KernelFilter.h"

namespace TQ::IP {

/// Resamples a picture through a flow field: output (x, y) takes the picture's bilinear value at (x + u, y +
/// v). With the flow from a reference to a moved frame, the moved frame comes out laid over the reference.
///
/// Inputs: 0 the picture, read as a whole; 1 the flow, four-channel float, (u, v) in pixels in its first two
/// channels. Beyond the picture its edge pixel repeats; alpha is resampled like a colour. Integer formats are
/// computed in code values and truncated, so a resampled value may lie up to one code below the exact one.
/// The output has the picture's format and covers what both inputs cover.
class WarpFilter : public KernelFilter {
  public:
    WarpFilter(std::shared_ptr<FilterBase> image, std::shared_ptr<FilterBase> flow);

    Bounds GetBounds() const override;
    std::string GetBoundsExpression() const override { return "intersect(bounds1,bounds2)"; }
    Bounds GetInputRegion(const Bounds& wanted, int input) const override;

  protected:
    const KernelUse& Use() const override;
    void RunHostRows(const Bounds& rows, int threadIndex) override;
};

}  // namespace TQ::IP
