#pragma once

// The linear ramp of four colours. Included by the level files only; see Vector.h.

#include "ip/kernels/SolidKernel.h"

namespace TQ::IP::TQ_LEVEL {
namespace {

/// The value that belongs to the stretch of the ramp in which t lies.
TQ_INLINE F ChooseStretch(const RampParameters& p, F t, const float (&values)[3]) {
    return t < p.amount1 ? Splat(values[0]) : (t < p.amount2 ? Splat(values[1]) : Splat(values[2]));
}

/// Four colours at t = 0, amount1, amount2 and 1, linear between them. Where two stops coincide no t lies.
TQ_INLINE Color RampColor(const RampParameters& p, F t) {
    const float starts[3] = {0, p.amount1, p.amount2};
    const float lengths[3] = {p.amount1, p.amount2 - p.amount1, 1.0F - p.amount2};
    const F position = (t - ChooseStretch(p, t, starts)) / ChooseStretch(p, t, lengths);
    F c[3];
    for (int i = 0; i < 3; ++i) {
        const float from[3] = {p.colors[0][i], p.colors[1][i], p.colors[2][i]};
        const float change[3] = {p.colors[1][i] - from[0], p.colors[2][i] - from[1],
                                 p.colors[3][i] - from[2]};
        c[i] = MultiplyAdd(ChooseStretch(p, t, change), position, ChooseStretch(p, t, from));
        c[i] = t >= 1.0F ? Splat(p.colors[3][i]) : c[i];
        c[i] = t <= 0.0F ? Splat(p.colors[0][i]) : c[i];
    }
    return {c[0], c[1], c[2]};
}

TQ_INLINE float PositionAt(const RampParameters& p, int x, float along) {
    return (static_cast<float>(x) - p.point[0]) * p.direction[0] + along;
}

/// One vector of pixels by the formula. Of those before `end` only.
template <class Format, bool BlueFirst>
TQ_INLINE void DrawVector(const RampParameters& p, unsigned char* target, int x, int end, float along) {
    static constexpr float laneNumbers[16] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
    const F offsets = Read<F>(laneNumbers) + static_cast<float>(x) - p.point[0];
    const F t = MultiplyAdd(offsets, Splat(p.direction[0]), Splat(along));
    const Pixel pixel = {InMemoryOrder<BlueFirst>(RampColor(p, t)), Splat(1)};
    StoreSome<Format>(target, pixel, Smaller(lanes, end - x));
}

#if TQ_LANES == 4
constexpr int blockPixels = 16;

/// A stretch of the ramp, begin <= t < end, in which the colour is linear. A vector is one pixel, in the
/// order of memory and in code values.
struct RampPiece {
    float begin, end;
    float start;  ///< where the colour is `color`
    F color;
    F slope;                             ///< for a t of 1
    F steps[blockPixels];                ///< from the first pixel of a block to each of its pixels
    __m128i byteSteps[blockPixels / 2];  ///< the same for 8 bits: two pixels each, in 1 / byteUnit of a code
};

constexpr int byteBits = 7;
constexpr float byteUnit = 1 << byteBits;

/// Two pixels as 16-bit integers in 1 / byteUnit.
TQ_INLINE __m128i WordsOf(F first, F second) {
    return _mm_packs_epi32(_mm_cvtps_epi32(first * byteUnit), _mm_cvtps_epi32(second * byteUnit));
}

/// Before the first stop, between the four, and after the last.
constexpr int pieceCount = 5;

template <class Format, bool BlueFirst>
TQ_INLINE F PixelOf(const float (&rgb)[3], float alpha) {
    float c[4];
    c[Format::alpha] = alpha;
    for (int i = 0; i < 3; ++i) {
        c[Format::firstColor + i] = rgb[BlueFirst ? 2 - i : i];
    }
    return Read<F>(c) * Format::Storage::white;
}

/// All are empty where the colours are not moderate.
template <class Format, bool BlueFirst>
void MakePieces(const RampParameters& p, bool areModerate, RampPiece (&pieces)[pieceCount]) {
    constexpr float first = __FLT_MIN__;  // 0 itself belongs to the piece before
    const float inner[2] = {p.amount1 < 1.0F ? p.amount1 : 1.0F, p.amount2 < 1.0F ? p.amount2 : 1.0F};
    const float second = p.amount1 > first ? p.amount1 : first;
    const float begins[pieceCount] = {-__builtin_inff(), first, second,
                                      p.amount2 > second ? p.amount2 : second, 1};
    const float ends[pieceCount] = {first, inner[0], inner[1], 1, __builtin_inff()};
    const float stops[4] = {0, p.amount1, p.amount2, 1};
    for (int i = 0; i < pieceCount; ++i) {
        RampPiece& piece = pieces[i];
        const int stop = i == 0 ? 0 : i - 1;
        piece.begin = begins[i];
        piece.end = areModerate ? ends[i] : begins[i];
        piece.start = stops[stop];
        piece.color = PixelOf<Format, BlueFirst>(p.colors[stop], 1);
        piece.slope = F{};
        if (i > 0 && i < pieceCount - 1) {
            const F next = PixelOf<Format, BlueFirst>(p.colors[i], 1);
            piece.slope = (next - piece.color) / (stops[i] - stops[stop]);
        }
        if (i == 0 || i == pieceCount - 1) {
            piece.start = 0;
        }
        for (int k = 0; k < blockPixels; ++k) {
            piece.steps[k] = piece.slope * (p.direction[0] * static_cast<float>(k));
        }
        for (int k = 0; k < blockPixels; k += 2) {
            piece.byteSteps[k / 2] = WordsOf(piece.steps[k], piece.steps[k + 1]);
        }
    }
}

TQ_INLINE bool Holds(const RampPiece& piece, float t, float u) {
    return t >= piece.begin && t < piece.end && u >= piece.begin && u < piece.end;
}

/// The piece in which both lie, null if there is none. Looks at `last` first.
TQ_INLINE const RampPiece* FindPiece(const RampPiece (&pieces)[pieceCount], const RampPiece* last, float t,
                                     float u) {
    if (last != nullptr && Holds(*last, t, u)) {
        return last;
    }
    for (const RampPiece& piece : pieces) {
        if (Holds(piece, t, u)) {
            return &piece;
        }
    }
    return nullptr;
}

/// Sixteen bytes of neighbouring pixels. Integers are rounded to nearest and limited by the packing.
template <class Storage>
TQ_INLINE __m128i PackPixels(F base, const F* steps) {
    if constexpr (sizeof(typename Storage::Channel) == 2) {
        const __m128i white =
            _mm_set1_epi16(static_cast<std::int16_t>(static_cast<std::uint16_t>(Storage::white)));
        const __m128i first = _mm_cvtps_epi32(base + steps[0]);
        return _mm_min_epu16(_mm_packus_epi32(first, _mm_cvtps_epi32(base + steps[1])), white);
    } else {
        return reinterpret_cast<__m128i>(base + steps[0]);
    }
}

template <class Format>
TQ_INLINE void DrawBlock(const RampPiece& piece, float t, unsigned char* target, bool stream) {
    constexpr int pixels = 16 / Format::pixelBytes;
    const F base = piece.color + piece.slope * (t - piece.start);
    if constexpr (Format::pixelBytes == 4) {
        const __m128i words = WordsOf(base + 0.5F, base + 0.5F);
        const auto codes = [&](int i) {
            return _mm_srai_epi16(_mm_adds_epi16(words, piece.byteSteps[i]), byteBits);
        };
        for (int k = 0; k < blockPixels; k += pixels) {
            StoreOrStream(target + k * 4, _mm_packus_epi16(codes(k / 2), codes(k / 2 + 1)), stream);
        }
    } else {
        for (int k = 0; k < blockPixels; k += pixels) {
            StoreOrStream(target + k * Format::pixelBytes,
                          PackPixels<typename Format::Storage>(base, piece.steps + k), stream);
        }
    }
}

/// Whether all colours lie where integers need no limit on the way.
template <class Storage>
TQ_INLINE bool AreModerate(const RampParameters& p) {
    bool moderate = true;
    for (const auto& color : p.colors) {
        for (const float value : color) {
            moderate =
                moderate && (sizeof(typename Storage::Channel) == 4 || (value >= 0.0F && value <= 1.0F));
        }
    }
    return moderate;
}

/// Blocks begin at multiples of their length whatever the band, as a pixel's last bit depends on its block.
template <class Format, bool BlueFirst>
TQ_INLINE void DrawRow(const RampParameters& p, const RampPiece (&pieces)[pieceCount], unsigned char* target,
                       int x, int end, float along, bool stream) {
    constexpr int pixelBytes = Format::pixelBytes;
    unsigned char buffer[blockPixels * pixelBytes];
    const RampPiece* piece = nullptr;
    while (x < end) {
        const int block = x & -blockPixels;
        const int count = Smaller(block + blockPixels, end) - x;
        const bool isWhole = count == blockPixels;
        unsigned char* place = isWhole ? target : buffer;
        const float t = PositionAt(p, block, along);
        piece = FindPiece(pieces, piece, t, PositionAt(p, block + blockPixels - 1, along));
        if (piece != nullptr) {
            DrawBlock<Format>(*piece, t, place, stream && isWhole && IsAligned(place));
        } else {
            for (int k = 0; k < blockPixels; k += lanes) {
                DrawVector<Format, BlueFirst>(p, place + k * pixelBytes, block + k, block + blockPixels,
                                              along);
            }
        }
        if (!isWhole) {
            Copy(target, buffer + (x - block) * pixelBytes, count * pixelBytes);
        }
        x += count;
        target += count * pixelBytes;
    }
}
#endif

template <class Format, bool BlueFirst>
bool RunRamp(const ImageView& output, const ImageView*, const Bounds& band, const void* parameters,
             Image::Progress& progress) {
    const auto& p = *static_cast<const RampParameters*>(parameters);
#if TQ_LANES == 4
    RampPiece pieces[pieceCount];
    MakePieces<Format, BlueFirst>(p, AreModerate<typename Format::Storage>(p), pieces);
    const bool stream = IsStreamed(output, Format::pixelBytes);
#endif
    for (int y = band.y1; y < band.y2; ++y) {
        const float along = (static_cast<float>(y) - p.point[1]) * p.direction[1];
        unsigned char* target = PixelAt(output, band.x1, y, Format::pixelBytes);
#if TQ_LANES == 4
        DrawRow<Format, BlueFirst>(p, pieces, target, band.x1, band.x2, along, stream);
#else
        for (int x = band.x1; x < band.x2; x += lanes, target += Format::vectorBytes) {
            DrawVector<Format, BlueFirst>(p, target, x, band.x2, along);
        }
#endif
        ReportRow(progress, band, y);
    }
    EndStream();
    return true;
}

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
