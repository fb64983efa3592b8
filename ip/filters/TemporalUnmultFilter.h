#pragma once

#include "ip/filters/KernelFilter.h"

namespace TQ::IP {

/// Turns an accumulator into the weighted mean that it stands for: colour is accumulator colour / accumulator
/// alpha (unchanged where the alpha is not above 0), alpha is that of input 0.
///
/// Inputs: 0 the picture that gives alpha and pixel format, 1 the accumulator (four-channel float). The
/// output has the format of input 0; integer formats clamp and round. Pixel by pixel, so both inputs cover
/// the output.
class TemporalUnmultFilter : public KernelFilter {
  public:
    static constexpr const char* name = "TemporalUnmult";

    TemporalUnmultFilter(std::shared_ptr<FilterBase> alphaSource, std::shared_ptr<FilterBase> accumulator);

  protected:
    const KernelUse& Use() const override;
    void RunHostRows(const Bounds& rows, int threadIndex) override;
};

}  // namespace TQ::IP
