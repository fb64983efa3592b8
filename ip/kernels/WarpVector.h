#pragma once

// Whole numbers out of vectors of positions. Included by the level files only; see Vector.h.

#include "ip/kernels/Vector.h"

#if TQ_LANES > 1
namespace TQ::IP::TQ_LEVEL {
namespace {

using U = std::uint32_t __attribute__((vector_size(4 * TQ_LANES)));

/// The largest whole number that is not above; far outside the range of integers one of its ends.
TQ_INLINE I Floor(F value) {
#if TQ_LANES == 16
    return reinterpret_cast<I>(_mm512_cvt_roundps_epi32(value, _MM_FROUND_TO_NEG_INF | _MM_FROUND_NO_EXC));
#elif TQ_LANES == 8
    return reinterpret_cast<I>(_mm256_cvttps_epi32(_mm256_floor_ps(value)));
#else
    const auto whole = reinterpret_cast<U>(_mm_cvttps_epi32(value));
    const F truncated = _mm_cvtepi32_ps(reinterpret_cast<__m128i>(whole));
    return reinterpret_cast<I>(whole + reinterpret_cast<U>(truncated > value));  // what holds is -1
#endif
}

TQ_INLINE bool AllBelow(U value, std::uint32_t limit) {
#if TQ_LANES == 16
    const auto limits = _mm512_set1_epi32(static_cast<std::int32_t>(limit));
    return _mm512_cmplt_epu32_mask(reinterpret_cast<__m512i>(value), limits) == 0xFFFF;
#elif TQ_LANES == 8
    return _mm256_movemask_ps(reinterpret_cast<__m256>(value < limit)) == 0xFF;
#else
    return _mm_movemask_ps(reinterpret_cast<__m128>(value < limit)) == 0xF;
#endif
}

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
#endif
