#include "ip/filters/BlurRun.h"

#include <cstring>

namespace TQ::IP {

std::shared_ptr<GaussianBlurFilter> AsOwnBlur(const std::shared_ptr<FilterBase>& filter) {
    auto blur = std::dynamic_pointer_cast<GaussianBlurFilter>(filter);
    const bool fits = blur != nullptr && std::strcmp(blur->GetName(), "gaussianBlur") == 0 &&
                      blur->HasBothPasses() && blur->consumers.size() == 1;
    return fits ? blur : nullptr;
}

BlurRun::BlurRun(Host& host, const GaussianBlurFilter& blur, const Layer& source, const Bounds& reached)
    : alongX(MakeGaussCoefficients(blur.Sigma()[0], 0)),
      alongY(MakeGaussCoefficients(blur.Sigma()[1], 0)),
      view(host) {
    view.ShareRegion(source, Intersect(reached, source.Bounds()));
}

GaussBlurParameters BlurRun::Parameters(unsigned char* scratch) const {
    return {GaussParametersOf(alongX, view, false), GaussParametersOf(alongY, view, false), scratch};
}

}  // namespace TQ::IP
