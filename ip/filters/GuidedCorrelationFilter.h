#pragma once

#include "ip/filters/KernelFilter.h"

namespace TQ::IP {

/// The product of two pictures, channel by channel: of mean-free pictures, the local second moments of a
/// guided filter (K. He, J. Sun and X. Tang, "Guided image filtering", ECCV 2010).
///
/// Inputs: both in the output's format. Pixel by pixel, so both cover the output.
class GuidedCorrelationFilter : public KernelFilter {
  public:
    GuidedCorrelationFilter(std::shared_ptr<FilterBase> x, std::shared_ptr<FilterBase> y);

  protected:
    const KernelUse& Use() const override;
    void RunHostRows(const Bounds& rows, int threadIndex) override;
};

}  // namespace TQ::IP
