#pragma once

// Stores past the caches. A common store first fetches the line that it overwrites, which for kernels that do
// nothing but move pixels is up to half of the traffic; for large outputs that fetch costs more than the
// output's absence from the caches does later. Included by the level files only; see Vector.h.

#include "ip/kernels/PixelAccess.h"
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

/// How whole vectors of pixels are stored in a row: past the caches in whole vectors or, where the row allows
/// no better, in pieces of 16 bytes. Each as soon as it is formed: many at once make the processor wait.
enum class RowStores { Common, Pieces, Vectors };

/// For the row from `first` on, past the caches if `stream`.
template <class Format>
TQ_INLINE RowStores StoresOf(const unsigned char* first, bool stream) {
    const auto fits = [&](std::size_t bytes) {
        return stream && Format::vectorBytes % bytes == 0 && IsAligned(first, static_cast<int>(bytes));
    };
    if (fits(sizeof(Raw))) {
        return RowStores::Vectors;
    }
    return fits(sizeof(__m128i)) ? RowStores::Pieces : RowStores::Common;
}

template <class Format>
TQ_INLINE void StorePixels(unsigned char* target, const Pixel& pixels, RowStores stores) {
    if (stores == RowStores::Common) {
        Format::Store(target, pixels);
        return;
    }
    alignas(64) unsigned char bytes[Format::vectorBytes];
    Format::Store(bytes, pixels);
    if (stores == RowStores::Vectors) {
        for (std::size_t i = 0; i + sizeof(Raw) <= sizeof(bytes); i += sizeof(Raw)) {
            Stream(target + i, Read<Raw>(bytes + i));
        }
    } else {
        for (std::size_t i = 0; i + sizeof(__m128i) <= sizeof(bytes); i += sizeof(__m128i)) {
            Stream(target + i, Read<__m128i>(bytes + i));
        }
    }
}

/// Makes what was streamed visible to other threads. Once, when a band is done.
TQ_INLINE void EndStream() {
    _mm_sfence();
}

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
