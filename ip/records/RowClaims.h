#pragma once

#include <cstdint>

namespace TQ::IP {

/// How a kernel that walks down a band tells which rows it does, so that others can take what is left of
/// them.
class RowClaims {
  public:
    virtual ~RowClaims();
    /// The walk does its rows above `end` now, which is where one of its batches ends. Returns the end of its
    /// band: that at first, or where another batch ends that lies not above `end`.
    virtual std::int32_t Claim(std::int32_t end) = 0;
};

}  // namespace TQ::IP
