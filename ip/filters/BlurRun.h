#pragma once

#include <memory>

#include "ip/filters/GaussBands.h"
#include "ip/filters/GaussCoefficients.h"
#include "ip/filters/GaussianBlurFilter.h"

namespace TQ::IP {

/// `filter` as a blur of both axes that nothing but its one consumer reads, or null.
std::shared_ptr<GaussianBlurFilter> AsOwnBlur(const std::shared_ptr<FilterBase>& filter);

/// A blur while another filter runs it as a part of its own walk.
struct BlurRun {
    /// `reached` is what the blur reads of `source`.
    BlurRun(Host& host, const GaussianBlurFilter& blur, const Layer& source, const Bounds& reached);

    GaussBlurParameters Parameters(unsigned char* scratch) const;

    GaussCoefficients alongX, alongY;
    Layer view;  ///< what is read
};

}  // namespace TQ::IP
