#pragma once

#include <atomic>
#include <memory>
#include <vector>

#include "ip/Host.h"
#include "ip/filters/DISLevels.h"
#include "ip/filters/DISPyramidFilter.h"
#include "ip/filters/Parts.h"

namespace TQ::IP {

/// Builds the reduced levels of a grey pyramid by reducing grey alone. Grey is a weighted sum of the
/// channels, a reduced pixel one of the larger pixels, so it does not matter which is taken first, and one
/// channel is less work than four. Only where a channel outside black..white has to be clamped it would
/// matter; such pictures are left to the caller.
class DISHalving {
  public:
    /// `picture` is the level 0; its samples are stored as `storage`.
    DISHalving(Host& host, const Layer& picture, const DISLevels& levels, SampleStorage storage,
               const GreyParameters& parameters);

    /// Fills the levels from 1 on of `pyramid` that it has. Returns false, with the levels in any state, when
    /// a channel of the picture is outside black..white.
    bool Run(Layer& pyramid);

  private:
    /// Fine grey of one level, with repeated pixels right and left.
    struct Plane {
        std::unique_ptr<Memory> memory;
        std::int16_t* pixels = nullptr;
        std::int64_t pitch = 0;
        DISLevel size{};
    };
    /// What a thread works in.
    struct Scratch {
        std::int32_t* pairs;  ///< a ring of row pairs, halved along x
        std::int16_t* rows;   ///< two rows of the level 0
        std::int16_t* grey;   ///< a row of a level that the pyramid does not have
    };

    Plane NewPlane(std::int32_t level) const;
    void HalveLevel(Layer& pyramid, std::int32_t level);
    void HalveBand(const RowRange& rows, const DISGreyPlane& grey, const Scratch& scratch);
    void HalvePair(std::int32_t pair, const Scratch& scratch);
    /// Row `y` of the larger picture, limited to its rows. The first level computes it into `scratch`.
    const std::int16_t* LargerRow(std::int32_t y, std::int16_t* scratch);

    Host& _host;
    const Layer& _picture;
    DISLevels _levels;
    GreyParameters _parameters;
    const FlowKernels& _kernels;
    int _storage;
    HalvingWeights _weights;
    Plane _larger;  ///< without pixels: the picture itself
    Plane _half;
    std::atomic<bool> _isInside{true};
};

}  // namespace TQ::IP
