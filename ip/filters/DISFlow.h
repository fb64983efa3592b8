#pragma once

#include <memory>

#include "ip/Host.h"
#include "ip/filters/DISLevels.h"
#include "ip/filters/Parts.h"
#include "ip/kernels/FlowKernels.h"

namespace TQ::IP {

/// What the flow reads of the two pictures: their pyramids, and the gradients of the reference.
struct DISPictures {
    const Layer& reference;
    const Layer& moved;
    const Layer& gradients;
};

/// One run of the optical flow on the processor, from the pyramids of two pictures to the flow image. Every
/// stage is spread over the host's threads and ends before the next begins.
class DISFlow {
  public:
    /// `iterations` of both scans together. `bands`: see DISFilter.
    DISFlow(Host& host, const DISLevels& levels, std::int32_t iterations, std::int32_t bands);

    /// Bytes of all buffers, for one thread.
    static std::uint64_t MemoryNeeded(const DISLevels& levels);

    /// Writes the part of `output` that lies in `frame`, the rectangle of the pictures. Throws
    /// TQ::Interrupted when the host asks to stop.
    void Run(Layer& output, const Bounds& frame, const DISPictures& pictures);

  private:
    /// The dense flow of one level.
    struct Plane {
        float* u;
        float* v;
        std::int32_t width, height;
        std::int64_t pitch;
    };

    FlowLevel View(std::int32_t index, const DISPictures& pictures) const;
    Plane PlaneOf(std::int32_t index) const;
    void Search(const FlowLevel& level);
    /// One scan of a few bands side by side.
    void SearchBands(const FlowLevel& level, const RowParts& bands, RowRange group, bool forward);
    void Densify(const FlowLevel& level);
    void Enlarge(const Plane& source, const Plane& target);
    void Store(const Plane& source, Layer& output, const Bounds& frame);
    /// Blends two rows of each component and enlarges them: values x..x + count - 1 of row y of the larger
    /// plane.
    void EnlargeRow(const Plane& source, int x, int y, int count, int factor, float* u, float* v) const;
    void EndStages(int count);

    Host& _host;
    DISLevels _levels;
    std::int32_t _iterations;
    std::int32_t _bands;
    const FlowKernels& _kernels;
    std::int64_t _pixels;  ///< of the finest level, the others need less
    std::int64_t _patches;
    std::int64_t _coarserPixels;  ///< of the level after it
    std::unique_ptr<Memory> _displacements;
    std::unique_ptr<Memory> _flow;  ///< of the finest level, and of the coarser one; they are used in turn
};

}  // namespace TQ::IP
