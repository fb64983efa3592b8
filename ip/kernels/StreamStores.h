#pragma once

// Stores past the caches. A common store first fetches the line that it overwrites, which for kernels that do
// nothing but move pixels is up to half of the traffic; for large outputs that fetch costs more than the
// output's absence from the caches does later. Included by the level files only; see Vector.h.

#include "ip/kernels/RawVector.h"
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

TQ_INLINE bool IsAligned(const unsigned char* address, int bytes = 16) {
    return reinterpret_cast<std::uintptr_t>(address) % static_cast<std::uintptr_t>(bytes) == 0;
}

/// Whether rows from `first` on begin at multiples of `bytes`.
TQ_INLINE bool AreRowsAligned(const ImageView& view, const unsigned char* first, int bytes) {
    return IsAligned(first, bytes) && view.rowBytes % bytes == 0;
}

TQ_INLINE void Stream(unsigned char* target, __m128i value) {
    _mm_stream_si128(reinterpret_cast<__m128i*>(target), value);
}

#if TQ_LANES >= 8
TQ_INLINE void Stream(unsigned char* target, __m256i value) {
    _mm256_stream_si256(reinterpret_cast<__m256i*>(target), value);
}
#endif

#if TQ_LANES >= 16
TQ_INLINE void Stream(unsigned char* target, __m512i value) {
    _mm512_stream_si512(reinterpret_cast<__m512i*>(target), value);
}
#endif

/// A vector; a stream only where its place is aligned.
template <class Vector>
TQ_INLINE void StoreOrStream(unsigned char* target, Vector value, bool stream) {
    if (stream) {
        Stream(target, value);
    } else {
        Write(target, value);
    }
}

/// What a kernel has left in the first-level cache, to its place; in whole lines where vectors are that long.
TQ_INLINE void CopyOrStream(unsigned char* target, const unsigned char* source, int bytes, bool stream) {
    constexpr int step = sizeof(Raw);
    int done = 0;
    if (stream) {
        done = static_cast<int>(-reinterpret_cast<std::uintptr_t>(target) % step);
        done = done < bytes ? done : bytes;
        if (done > 0) {
            __builtin_memcpy(target, source, static_cast<std::uint32_t>(done));
        }
        for (; done + step <= bytes; done += step) {
            Stream(target + done, Read<Raw>(source + done));
        }
    }
    if (done < bytes) {
        __builtin_memcpy(target + done, source + done, static_cast<std::uint32_t>(bytes - done));
    }
}

/// Makes what was streamed visible to other threads. Once, when a band is done.
TQ_INLINE void EndStream() {
    _mm_sfence();
}

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
