#pragma once

#include "ip/Filter.h"
#include "ip/filters/DISLevels.h"

namespace TQ::IP {

/// Settings of the optical flow.
struct DISSettings {
    std::int32_t finestScale = 0;  ///< the finest pyramid level that is computed, 0 is full size; 0 to 30
    std::int32_t patchStride = 0;  ///< distance between patch origins in pixels of a level, 1 to 8
    std::int32_t gradientDescentIterations = 0;  ///< of both scans together, at least 0
    std::int32_t variationalIterations = 0;      ///< carried, not used: there is no refinement
    float variationalWeight0 = 0;
    float variationalWeight1 = 0;
    float variationalWeight2 = 0;

    bool operator==(const DISSettings&) const = default;
};

/// Presets 0 (fine) to 2 (coarse and fast); others leave the four integers 0. `extraLevel` from 2 up is added
/// to the finest level, less than that has no effect.
DISSettings MakeDISSettings(int preset, int extraLevel);

/// Dense optical flow by inverse search of patches on a pyramid of grey pictures (Kroeger et al., "Fast
/// Optical Flow using Dense Inverse Search", ECCV 2016), without variational refinement.
///
/// Input 0 is the reference, input 1 the moved picture; any format of four channels. The output is 32-bit
/// float with four channels, (u, v, 0, 0) in memory: pixel (x, y) of the reference corresponds to (x + u, y +
/// v) of the moved picture. Both pictures are always read whole, as far as their bounds overlap. A difference
/// of brightness is forgiven. A picture whose finest computed level is narrower or lower than a patch of 8 by
/// 8 pixels has flow 0; coarser levels as small as that are left out.
class DISFilter : public Filter {
  public:
    /// Throws TQ::Exception for settings out of range and without inputs.
    DISFilter(std::shared_ptr<FilterBase> reference, std::shared_ptr<FilterBase> moved,
              const DISSettings& settings);

    /// The patch rows of each level are cut into this many bands, fewer where a band would have less than two
    /// rows: what threads work on. Patches inherit displacements from the patch above only inside a band.
    /// Never depends on the thread count, so the result does not.
    ///
    /// It also serves what leaves the picture: with bands of two rows at the coarse levels, the wrong
    /// displacements of the rim spread less than in one band.
    static constexpr std::int32_t defaultBands = 16;
    std::int32_t bands = defaultBands;

    const DISSettings& Settings() const { return _settings; }

    const char* GetName() const override { return "optflow"; }
    bool IsEqual(const FilterBase& other) const override;
    int ProgressSteps() const override;
    /// On the processor the inputs become pyramids, which several flows share.
    void ExpandGraph(Host& host, GPGPUContext* context, const PixelFormat& outputFormat) override;
    Bounds GetBounds() const override;
    std::string GetBoundsExpression() const override { return "intersect(bounds1,bounds2)"; }
    Bounds GetInputRegion(const Bounds& wanted, int input) const override;
    PixelFormat AdjustFormat(const PixelFormat& inputFormat) const override;
    PixelFormat GetInputFormat(const PixelFormat& wanted, int input) const override;
    std::uint64_t ExtraMemoryNeeded(const GPGPUContext* context, const Bounds& outputRegion,
                                    const PixelFormat& outputFormat) const override;
    /// Takes pictures and pyramids. Throws TQ::Exception for pictures that have no kernels.
    void RunHost(Host& host, Layer& output, const std::vector<Layer*>& inputLayers) override;

  protected:
    void RunHostRows(const Bounds& rows, int threadIndex) override;

  private:
    DISLevels LevelsOf(const Bounds& frame) const;

    DISSettings _settings;
};

}  // namespace TQ::IP
