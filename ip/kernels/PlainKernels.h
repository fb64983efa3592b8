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

/// Four pixels, a vector of four channels each, white at 1.
template <class Storage>
TQ_INLINE void LoadUnits(const unsigned char* source, __m128 (&pixels)[4]) {
    const __m128i zero = _mm_setzero_si128();
    __m128i codes[4];
    if constexpr (sizeof(typename Storage::Channel) == 1) {
        const auto bytes = Read<__m128i>(source);
        const __m128i low = _mm_unpacklo_epi8(bytes, zero);
        const __m128i high = _mm_unpackhi_epi8(bytes, zero);
        codes[0] = _mm_unpacklo_epi16(low, zero);
        codes[1] = _mm_unpackhi_epi16(low, zero);
        codes[2] = _mm_unpacklo_epi16(high, zero);
        codes[3] = _mm_unpackhi_epi16(high, zero);
    } else if constexpr (sizeof(typename Storage::Channel) == 2) {
        for (int i = 0; i < 4; i += 2) {
            const auto shorts = Read<__m128i>(source + 8 * i);
            codes[i] = _mm_unpacklo_epi16(shorts, zero);
            codes[i + 1] = _mm_unpackhi_epi16(shorts, zero);
        }
    } else {
        for (int i = 0; i < 4; ++i) {
            pixels[i] = Read<__m128>(source + 16 * i);
        }
        return;
    }
    for (int i = 0; i < 4; ++i) {
        pixels[i] = _mm_cvtepi32_ps(codes[i]) * _mm_set1_ps(1.0F / Storage::white);
    }
}

/// The frame, scaled to the sum's weight, moved towards the sum by the mask.
template <class Frame>
class Blend {
  public:
    using Sum = Pixels<FloatStorage, Frame::alpha>;
    static constexpr int step = 4;  ///< pixels that are taken at once

    explicit Blend(float weight) : _weight(_mm_set1_ps(weight / Frame::Storage::white)) {}

    TQ_INLINE void Step(unsigned char* target, const unsigned char* frame, const unsigned char* sums,
                        const unsigned char* mask, bool stream) const {
        __m128 pixels[step];
        LoadUnits<typename Frame::Storage>(frame, pixels);
        const __m128 shares = Alphas(mask) * _weight;
        const __m128 share[step] = {
            _mm_shuffle_ps(shares, shares, 0x00), _mm_shuffle_ps(shares, shares, 0x55),
            _mm_shuffle_ps(shares, shares, 0xAA), _mm_shuffle_ps(shares, shares, 0xFF)};
        for (int i = 0; i < step; ++i) {
            const auto sum = Read<__m128>(sums + i * Sum::pixelBytes);
            const __m128 scaled = pixels[i] * _mm_shuffle_ps(sum, sum, Frame::alpha * 0x55);
            const __m128 blended = (sum - scaled) * share[i] + scaled;
            StoreOrStream(target + i * Sum::pixelBytes,
                          Select(_mm_castps_si128(blended), _mm_castps_si128(sum), _kept), stream);
        }
    }

  private:
    using Channel = typename Frame::Storage::Channel;

    /// As they are stored.
    TQ_INLINE static __m128 Alphas(const unsigned char* pixels) {
        const unsigned char* const first = pixels + Frame::alpha * sizeof(Channel);
        if constexpr (sizeof(Channel) == 1) {
            const __m128i shifted = _mm_srli_epi32(Read<__m128i>(pixels), 8 * Frame::alpha);
            return _mm_cvtepi32_ps(_mm_and_si128(shifted, _mm_set1_epi32(0xFF)));
        }
        const auto at = [first](int i) {
            return static_cast<float>(Read<Channel>(first + i * Frame::pixelBytes));
        };
        return _mm_setr_ps(at(0), at(1), at(2), at(3));
    }

    const __m128 _weight;
    const __m128i _kept = AlphaBits<Sum>();
};

template <class Frame>
bool RunTemporalBlend(const ImageView& output, const ImageView* inputs, const Bounds& band,
                      const void* parameters, Image::Progress& progress) {
    using Sum = typename Blend<Frame>::Sum;
    constexpr int step = Blend<Frame>::step;
    const Blend<Frame> blend(static_cast<const WeightParameters*>(parameters)->weight);
    const bool stream = IsStreamed(output, Sum::pixelBytes);
    const int width = band.x2 - band.x1;
    for (int y = band.y1; y < band.y2; ++y) {
        unsigned char* target = PixelAt(output, band.x1, y, Sum::pixelBytes);
        const unsigned char* frame = PixelAt(inputs[0], band.x1, y, Frame::pixelBytes);
        const unsigned char* sums = PixelAt(inputs[1], band.x1, y, Sum::pixelBytes);
        const unsigned char* mask = PixelAt(inputs[2], band.x1, y, Frame::pixelBytes);
        int x = 0;
        for (; x + step <= width; x += step) {
            Prefetch<step * Frame::pixelBytes>(frame + inputs[0].rowBytes);
            Prefetch<step * Sum::pixelBytes>(sums + inputs[1].rowBytes);
            Prefetch<step * Frame::pixelBytes>(mask + inputs[2].rowBytes);
            blend.Step(target, frame, sums, mask, stream);
            target += step * Sum::pixelBytes;
            frame += step * Frame::pixelBytes;
            sums += step * Sum::pixelBytes;
            mask += step * Frame::pixelBytes;
        }
        if (const auto rest = static_cast<std::uint32_t>(width - x)) {
            unsigned char frames[step * Frame::pixelBytes] = {};
            unsigned char masks[step * Frame::pixelBytes] = {};
            unsigned char last[step * Sum::pixelBytes] = {};
            __builtin_memcpy(frames, frame, rest * Frame::pixelBytes);
            __builtin_memcpy(masks, mask, rest * Frame::pixelBytes);
            __builtin_memcpy(last, sums, rest * Sum::pixelBytes);
            blend.Step(last, frames, last, masks, false);
            __builtin_memcpy(target, last, rest * Sum::pixelBytes);
        }
        ReportRow(progress, band, y);
    }
    EndStream();
    return true;
}

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
