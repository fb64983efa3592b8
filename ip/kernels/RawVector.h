#pragma once

// The bytes and integers of a vector, in groups of 16 bytes that most operations on them do not leave, and
// TQ_RAW(name), the level's form of an operation. With one lane 16 bytes, which every processor of this
// architecture has. Included by the level files only; see Vector.h.

#include <emmintrin.h>

#include "ip/kernels/Vector.h"

namespace TQ::IP::TQ_LEVEL {
namespace {

#if TQ_LANES == 16
using Raw = __m512i;
#define TQ_RAW(operation) _mm512_##operation
#elif TQ_LANES == 8
using Raw = __m256i;
#define TQ_RAW(operation) _mm256_##operation
#else
using Raw = __m128i;
#define TQ_RAW(operation) _mm_##operation
#endif

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
