#pragma once

// Stores past the caches. A common store first fetches the line that it overwrites, which for kernels that do
// nothing but move pixels is up to half of the traffic; for large outputs that fetch costs more than the
// output's absence from the caches does later. Included by the level files only; see Vector.h.

#include <emmintrin.h>  // belongs to every processor of this architecture

#include "ip/kernels/Vector.h"
#include "ip/records/ImageView.h"

namespace TQ::IP::TQ_LEVEL {
namespace {

/// From about here on it costs no more even if the output is read again at once: measured on caches of 2 MiB
/// for each core.
constexpr std::int64_t largeBytes = std::int64_t{6} << 20;

/// Whether the whole image, not the band alone, is that large. Pixels lie at multiples of their size, so that
/// 16 bytes at a multiple of 16 are whole pixels.
TQ_INLINE bool IsStreamed(const ImageView& output, int pixelBytes) {
    const std::int64_t rows = static_cast<std::int64_t>(output.bounds.y2) - output.bounds.y1;
    const std::int64_t bytes = rows * (output.rowBytes < 0 ? -output.rowBytes : output.rowBytes);
    const auto places =
        reinterpret_cast<std::uintptr_t>(output.data) | static_cast<std::uintptr_t>(output.rowBytes);
    return bytes >= largeBytes && places % static_cast<std::uintptr_t>(pixelBytes) == 0;
}

TQ_INLINE bool IsAligned(const unsigned char* address) {
    return reinterpret_cast<std::uintptr_t>(address) % 16 == 0;
}

/// Sixteen bytes; a stream only where they are aligned.
TQ_INLINE void StoreOrStream(unsigned char* target, __m128i value, bool stream) {
    if (stream) {
        _mm_stream_si128(reinterpret_cast<__m128i*>(target), value);
    } else {
        Write(target, value);
    }
}

/// What a kernel has left in the first-level cache, to its place.
TQ_INLINE void CopyOrStream(unsigned char* target, const unsigned char* source, int bytes, bool stream) {
    int done = 0;
    if (stream) {
        done = static_cast<int>(-reinterpret_cast<std::uintptr_t>(target) % 16);
        done = done < bytes ? done : bytes;
        __builtin_memcpy(target, source, static_cast<std::uint32_t>(done));
#if TQ_LANES == 16
        for (; done + 16 <= bytes && reinterpret_cast<std::uintptr_t>(target + done) % 64 != 0; done += 16) {
            _mm_stream_si128(reinterpret_cast<__m128i*>(target + done), Read<__m128i>(source + done));
        }
        for (; done + 64 <= bytes; done += 64) {
            _mm512_stream_si512(reinterpret_cast<__m512i*>(target + done), Read<__m512i>(source + done));
        }
#endif
        for (; done + 16 <= bytes; done += 16) {
            _mm_stream_si128(reinterpret_cast<__m128i*>(target + done), Read<__m128i>(source + done));
        }
    }
    __builtin_memcpy(target + done, source + done, static_cast<std::uint32_t>(bytes - done));
}

/// Makes what was streamed visible to other threads. Once, when a band is done.
TQ_INLINE void EndStream() {
    _mm_sfence();
}

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
