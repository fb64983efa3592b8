#pragma once

#include "ip/Filter.h"
#include "ip/filters/DISLevels.h"
#include "ip/kernels/FlowKernels.h"

namespace TQ::IP {

/// The gradients of a reference and their sums over the patches, as the optical flow reads them. Like the
/// pyramid, which is its input, the flows of one reference to many neighbours share it.
///
/// The output is no picture: it holds, from the finest level to the coarsest, the rows of both gradients side
/// by side, then the sums, one kind below the other. It is 8-bit with four channels, 4 bytes a pixel.
class DISGradientsFilter : public FilterBase {
  public:
    /// `pyramid` has these levels, which are not none.
    DISGradientsFilter(std::shared_ptr<FilterBase> pyramid, const DISLevels& levels);

    const char* GetName() const override { return "optflowGradients"; }
    bool IsEqual(const FilterBase& other) const override;
    Bounds GetBounds() const override;
    /// The whole pyramid.
    Bounds GetInputRegion(const Bounds& wanted, int input) const override;
    PixelFormat GetInputFormat(const PixelFormat& wanted, int input) const override;
    void RunHost(Host& host, Layer& output, const std::vector<Layer*>& inputLayers) override;

  private:
    DISLevels _levels;
};

/// The rectangle of the layer.
Bounds DISGradientsBounds(const DISLevels& levels);
/// Fills `gradients`, which has the bounds and the format of DISGradientsFilter.
void BuildDISGradients(Host& host, Layer& gradients, const Layer& pyramid, const DISLevels& levels);
/// One level of the reference, its gradients and sums; without the moved picture and the flow.
FlowLevel DISGradientsLevel(const Layer& gradients, const Layer& pyramid, const DISLevels& levels,
                            std::int32_t level);

}  // namespace TQ::IP
