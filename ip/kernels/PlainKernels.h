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
            Prefetch<16>(color + done + inputs[0].rowBytes);
            Prefetch<16>(alpha + done + inputs[1].rowBytes);
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

/// The four channels of a pixel, white at 1.
template <class Storage>
TQ_INLINE __m128 LoadUnits(const unsigned char* source) {
    const __m128i zero = _mm_setzero_si128();
    const __m128 scale = _mm_set1_ps(1.0F / Storage::white);
    if constexpr (sizeof(typename Storage::Channel) == 1) {
        const __m128i bytes = _mm_cvtsi32_si128(Read<std::int32_t>(source));
        return _mm_cvtepi32_ps(_mm_unpacklo_epi16(_mm_unpacklo_epi8(bytes, zero), zero)) * scale;
    } else if constexpr (sizeof(typename Storage::Channel) == 2) {
        return _mm_cvtepi32_ps(_mm_unpacklo_epi16(_mm_cvtsi64_si128(Read<std::int64_t>(source)), zero)) *
               scale;
    } else {
        return Read<__m128>(source);
    }
}

/// The frame, scaled to the sum's weight, moved towards the sum by the mask.
template <class Frame>
bool RunTemporalBlend(const ImageView& output, const ImageView* inputs, const Bounds& band,
                      const void* parameters, Image::Progress& progress) {
    using Storage = typename Frame::Storage;
    using Channel = typename Storage::Channel;
    using Sum = Pixels<FloatStorage, Frame::alpha>;
    constexpr int alpha = Frame::alpha;
    const __m128 keptChannel = _mm_castsi128_ps(AlphaBits<Sum>());
    const float weight = static_cast<const WeightParameters*>(parameters)->weight / Storage::white;
    const bool stream = IsStreamed(output, Sum::pixelBytes);
    for (int y = band.y1; y < band.y2; ++y) {
        unsigned char* target = PixelAt(output, band.x1, y, Sum::pixelBytes);
        const unsigned char* frame = PixelAt(inputs[0], band.x1, y, Frame::pixelBytes);
        const unsigned char* sums = PixelAt(inputs[1], band.x1, y, Sum::pixelBytes);
        const unsigned char* mask = PixelAt(inputs[2], band.x1, y, Frame::pixelBytes);
        for (int x = band.x1; x < band.x2; ++x) {
            Prefetch<Sum::pixelBytes>(sums + inputs[1].rowBytes);
            const auto sum = Read<__m128>(sums);
            const __m128 share =
                _mm_set1_ps(static_cast<float>(Read<Channel>(mask + alpha * sizeof(Channel))) * weight);
            const __m128 scaled = LoadUnits<Storage>(frame) * _mm_shuffle_ps(sum, sum, alpha * 0x55);
            const __m128 blended = (sum - scaled) * share + scaled;
            const __m128i result =
                Select(_mm_castps_si128(blended), _mm_castps_si128(sum), _mm_castps_si128(keptChannel));
            StoreOrStream(target, result, stream);
            target += Sum::pixelBytes;
            frame += Frame::pixelBytes;
            sums += Sum::pixelBytes;
            mask += Frame::pixelBytes;
        }
        ReportRow(progress, band, y);
    }
    EndStream();
    return true;
}

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
