#pragma once

#include <array>

#include "ip/Filter.h"

namespace TQ::IP {

/// What kind of image a kernel reads or writes at one place.
enum class LayerKind {
    Picture,  ///< in the pixel format that the kernel is chosen by
    Float,    ///< four 32-bit float channels: accumulators and signed pictures
};

/// One kernel as a filter uses it: the row of a filter's table.
struct KernelUse {
    static constexpr int formatOfOutput = -1;

    const char* name;  ///< of the filter when it runs this kernel
    KernelId kernel;
    int formatInput;  ///< the input whose format chooses the kernel's instance, or formatOfOutput
    LayerKind output;
    std::array<LayerKind, 3> inputs;  ///< as many as the filter has
    bool readsNeighbours = false;     ///< the kernel repeats an input's edge, so inputs may cover less
};

/// A filter that runs one kernel over bands of rows. Everything that follows from the kinds of image in its
/// table row is answered here: names, formats, access, and the check of the layers before the bands start.
class KernelFilter : public Filter {
  public:
    const char* GetName() const override { return Use().name; }
    /// Four-channel 32-bit float where the kernel writes that, else that of input 0.
    PixelFormat AdjustFormat(const PixelFormat& inputFormat) const override;
    /// Float inputs are asked for four-channel 32-bit float, pictures for the format that the kernel is
    /// chosen by.
    PixelFormat GetInputFormat(const PixelFormat& wanted, int input) const override;
    PixelAccess InputAccess(int input) const override;
    /// Throws TQ::Exception when the format of a layer does not fit the kernel, or when an input does not
    /// cover what the kernel reads of it.
    void RunHost(Host& host, Layer& output, const std::vector<Layer*>& inputLayers) override;

  protected:
    /// The table row that holds at present.
    virtual const KernelUse& Use() const = 0;
    /// Appends an input that the filter cannot do without; throws TQ::Exception for null.
    void AddRequiredInput(std::shared_ptr<FilterBase> input);
    /// Runs the kernel of Use() over `rows`.
    void RunKernelRows(const Bounds& rows, const void* parameters, int threadIndex);

  private:
    LayerKind KindOf(int input) const;
    const Layer& FormatLayer(const Layer& target, const std::vector<Layer*>& layers) const;
};

/// Throws TQ::Exception, with `filterName` as its title, unless kernels exist for the format of `layer` (not
/// for half floats, other than four channels, no pixels) and it is of `kind` beside `formatLayer`, by whose
/// format the kernel is chosen.
void CheckLayer(const Layer& layer, LayerKind kind, const Layer& formatLayer, const char* filterName);

}  // namespace TQ::IP
