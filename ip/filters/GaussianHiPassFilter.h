#pragma once

#include "ip/filters/GaussianBlurFilter.h"

namespace TQ::IP {

/// The picture minus its Gaussian blur, in all four channels. One input; the output is signed: four-channel
/// 32-bit float with white at 1, whatever the input has. Reads beyond the output and treats edges as
/// GaussianBlurFilter does, and throws as that does.
///
/// The subtraction belongs to the column pass. When that pass is left out (a window radius of 1 along y and
/// more along x), the output is the row-blurred picture itself.
class GaussianHiPassFilter : public GaussianBlurFilter {
  public:
    GaussianHiPassFilter(std::shared_ptr<FilterBase> input, const BlurSigma& sigma);

    const char* GetName() const override { return "hiPass"; }
    PixelFormat AdjustFormat(const PixelFormat& inputFormat) const override;
};

}  // namespace TQ::IP
