#pragma once

#include "ip/filters/KernelFilter.h"

namespace TQ::IP {

/// Sigmas in pixels, except `sigma`, which is in units of white.
struct AffineSimilarityParams {
    float windowSigmaX = 0.0F;  ///< the Gaussian that defines "local"
    float windowSigmaY = 0.0F;
    float smoothSigmaX = 0.0F;  ///< blur of the dissimilarity; 0 for none
    float smoothSigmaY = 0.0F;
    float sigma = 0.0F;  ///< falloff of the weight; below 0.001 it acts as 0.001

    /// Without smoothing.
    static AffineSimilarityParams Make(float windowSigmaX, float windowSigmaY, float sigma) {
        return {windowSigmaX, windowSigmaY, 0.0F, 0.0F, sigma};
    }
};

/// The variance that no gain and offset explains, summed over the four channels and written to all of them.
///
/// Inputs: the local variances of two pictures and their covariance, four-channel float, as is the output.
class AffineSimilarityFinalFilter : public KernelFilter {
  public:
    AffineSimilarityFinalFilter(std::shared_ptr<FilterBase> varianceA, std::shared_ptr<FilterBase> varianceB,
                                std::shared_ptr<FilterBase> covariance);

  protected:
    const KernelUse& Use() const override;
    void RunHostRows(const Bounds& rows, int threadIndex) override;
};

/// The weight exp(-D / max(sigma, 0.001)^2) in all four channels. With one input D is its first channel, with
/// three (variances and covariance) that of AffineSimilarityFinalFilter. Inputs are four-channel float.
class AffineSimilarityExpFilter : public KernelFilter {
  public:
    bool IsEqual(const FilterBase& other) const override;
    std::shared_ptr<FilterBase> Fuse(std::uint64_t mostBytes) override;
    float ExponentFactor() const;

  protected:
    explicit AffineSimilarityExpFilter(float sigma) : _sigma(sigma) {}
    const KernelUse& Use() const override;
    void RunHostRows(const Bounds& rows, int threadIndex) override;

  private:
    float _sigma;
};

/// How alike two pictures are around each pixel once any local gain and offset between them is forgiven: 1
/// where one is an affine map of the other with positive gain, falling to 0. Flicker is such a map, a change
/// of content is not. Local means, variances and covariance are Gaussian-weighted, as in a guided filter; the
/// squared correlation tells which part of the variance a map explains. Even areas count as alike.
///
/// Two inputs in one format. Before evaluation the filter replaces its inputs by high-passes, products and
/// blurs and stays as their last step. The output has the format of input 0, or is four-channel float with
/// `keepFormat`.
class AffineSimilarityFilter : public AffineSimilarityExpFilter {
  public:
    AffineSimilarityFilter(std::shared_ptr<FilterBase> a, std::shared_ptr<FilterBase> b,
                           const AffineSimilarityParams& params, bool keepFormat);

    bool IsEqual(const FilterBase& other) const override;
    void ExpandGraph(Host& host, GPGPUContext* context, const PixelFormat& outputFormat) override;

  private:
    AffineSimilarityParams _params;
    bool _keepFormat;
    bool _expanded = false;
};

}  // namespace TQ::IP
