#include "ip/filters/GaussianHiPassFilter.h"

#include <utility>

namespace TQ::IP {

GaussianHiPassFilter::GaussianHiPassFilter(std::shared_ptr<FilterBase> input, const BlurSigma& sigma)
    : GaussianBlurFilter(std::move(input), sigma, 0, 0, true) {
}

PixelFormat GaussianHiPassFilter::AdjustFormat(const PixelFormat& inputFormat) const {
    return AsFloatRGBA(FilterBase::AdjustFormat(inputFormat));
}

}  // namespace TQ::IP
