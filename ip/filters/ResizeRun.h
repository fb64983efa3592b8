#pragma once

#include <vector>

#include "ip/Host.h"
#include "ip/filters/ResizeTable.h"

namespace TQ::IP {

/// One run of ResizeFilter on the processor. Each band of rows filters the input rows along x as it comes to
/// need them, into a ring of as many rows as an output row has taps.
class ResizeRun {
  public:
    /// `target` covers a part of the rectangle `outBounds`, `source` what that needs of `inBounds`. Both have
    /// four channels of the same format, not half float.
    ResizeRun(Host& host, Layer& target, const Bounds& outBounds, const Layer& source, const Bounds& inBounds,
              const ResizeAxis& alongX, const ResizeAxis& alongY);
    void Run();

  private:
    /// What a band works in: rows of four floats a pixel, and which input row each ring row holds.
    struct Scratch {
        float* samples;  ///< one input row, its ends repeated
        float* ring;
        std::int32_t* ringRows;
        const float** tapRows;
    };

    void RunBand(std::int32_t y1, std::int32_t y2, const Scratch& scratch) const;
    /// The input row, filtered along x; told from the input's first row, may lie beyond its ends.
    const float* FilteredRow(std::int32_t row, const Scratch& scratch) const;
    void LoadRow(std::int32_t row, float* samples) const;
    Scratch ScratchOf(int index) const;
    std::size_t ScratchBytes() const;

    Host& _host;
    Layer& _target;
    const Layer& _source;
    Bounds _outBounds;
    Bounds _sourceBounds;  ///< of the source layer, told from the input's first pixel
    ResizeTable _alongX;
    ResizeTable _alongY;
    const FlowKernels& _kernels;
    int _storage;
    float _maximum;
    std::vector<ResizePosition> _columns;  ///< `first` told from `_firstSample`
    std::int32_t _firstSample = 0;         ///< of the loaded row, from the input's first pixel
    std::int32_t _sampleCount = 0;
    std::vector<std::unique_ptr<Memory>> _scratch;
};

}  // namespace TQ::IP
