#pragma once

// Kernels with a single form, which the baseline holds: what they do is bound by the memory at any level.
// They use the vectors of 16 bytes that every processor of this architecture has. Included by the level files
// only; see Vector.h.

#include "ip/kernels/KernelParameters.h"
#include "ip/kernels/PixelAccess.h"
#include "ip/kernels/StreamStores.h"

namespace TQ::IP::TQ_LEVEL {
namespace {

/// All bits of the channels of 16 bytes of pixels that are alpha.
template <class Frame>
TQ_INLINE __m128i AlphaBits() {
    using Channel = typename Frame::Storage::Channel;
    unsigned char bits[16] = {};
    for (int i = Frame::alpha * static_cast<int>(sizeof(Channel)); i < 16; i += Frame::pixelBytes) {
        __builtin_memset(bits + i, 0xFF, sizeof(Channel));
    }
    return Read<__m128i>(bits);
}

/// Bits of `b` where `mask` is set, of `a` elsewhere.
TQ_INLINE __m128i Select(__m128i a, __m128i b, __m128i mask) {
    return _mm_or_si128(_mm_andnot_si128(mask, a), _mm_and_si128(mask, b));
}

/// The colours of input 0 with the alpha of input 1, as they are stored.
template <class Frame>
bool RunCopyAlpha(const ImageView& output, const ImageView* inputs, const Bounds& band, const void*,
                  Image::Progress& progress) {
    constexpr int pixelBytes = Frame::pixelBytes;
    const __m128i mask = AlphaBits<Frame>();
    const bool isLarge = IsStreamed(output, pixelBytes);
    const int bytes = (band.x2 - band.x1) * pixelBytes;
    for (int y = band.y1; y < band.y2; ++y) {
        unsigned char* target = PixelAt(output, band.x1, y, pixelBytes);
        const unsigned char* color = PixelAt(inputs[0], band.x1, y, pixelBytes);
        const unsigned char* alpha = PixelAt(inputs[1], band.x1, y, pixelBytes);
        const bool stream = isLarge && IsAligned(target);
        int done = 0;
        for (; done + 16 <= bytes; done += 16) {
            StoreOrStream(target + done,
                          Select(Read<__m128i>(color + done), Read<__m128i>(alpha + done), mask), stream);
        }
        __m128i colors{};
        __m128i alphas{};
        __builtin_memcpy(&colors, color + done, static_cast<std::uint32_t>(bytes - done));
        __builtin_memcpy(&alphas, alpha + done, static_cast<std::uint32_t>(bytes - done));
        const __m128i rest = Select(colors, alphas, mask);
        __builtin_memcpy(target + done, &rest, static_cast<std::uint32_t>(bytes - done));
        ReportRow(progress, band, y);
    }
    EndStream();
    return true;
}

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
