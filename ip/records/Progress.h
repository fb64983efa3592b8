#pragma once

#include <cstdint>

namespace TQ::Image {

/// Where a kernel reports how far it is, every 32 rows of its band.
class Progress {
  public:
    virtual ~Progress();
    /// `done` of `total` rows are finished. Throws TQ::Interrupted when the render is to stop.
    virtual void Update(std::uint64_t done, std::uint64_t total) = 0;
};

}  // namespace TQ::Image
