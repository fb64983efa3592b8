#pragma once

#include "ip/filters/KernelFilter.h"

namespace TQ::IP {

/// The colour of input 0 with the alpha of input 1, copied as stored. Both inputs and the output have one
/// format. Delivers the overlap of its inputs' bounds; no parameters. With the same filter at both inputs it
/// is an identity.
class CopyAlphaFilter : public KernelFilter {
  public:
    CopyAlphaFilter(std::shared_ptr<FilterBase> color, std::shared_ptr<FilterBase> alpha);

    Bounds GetBounds() const override;
    std::string GetBoundsExpression() const override;
    int IdentityInput() const override;
    /// Reads past a copy-alpha at either input, whose other half is not used.
    MergeAnswer MergeInput(const std::shared_ptr<FilterBase>& input) override;

  protected:
    const KernelUse& Use() const override;
    void RunHostRows(const Bounds& rows, int threadIndex) override;
};

}  // namespace TQ::IP
