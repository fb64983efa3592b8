#pragma once

#include <cstdint>

#include "ip/records/Bounds.h"

namespace TQ::IP {

/// What a kernel sees of an image: pixel (x, y) lies at data + (y - bounds.y1) * rowBytes + (x - bounds.x1) *
/// pixel bytes. `rowBytes` may be negative. A plain record, shared by all instruction-set levels.
struct ImageView {
    Bounds bounds;
    unsigned char* data;
    std::int64_t rowBytes;
};

}  // namespace TQ::IP
