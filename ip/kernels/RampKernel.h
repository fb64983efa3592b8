#pragma once

// The linear ramp of four colours. Included by the level files only; see Vector.h.

#include "ip/kernels/RawVector.h"
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

#if TQ_LANES > 1
constexpr int blockPixels = 16;
constexpr int blocksAtOnce = lanes / 4;  ///< whose first pixels fill a vector
constexpr int runBlocks = 32;            ///< as many go through a buffer at once

/// Four channels of one pixel, in the order of memory and in code values.
struct RampPixel {
    float c[4];
};

/// The same pixel in all of a vector.
TQ_INLINE F Spread(const RampPixel& pixel) {
    float c[lanes];
    for (int i = 0; i < lanes; ++i) {
        c[i] = pixel.c[i % 4];
    }
    return Read<F>(c);
}

constexpr int byteBits = 7;
constexpr float byteUnit = 1 << byteBits;

/// Two vectors of channels as 16-bit integers in 1 / byteUnit: four of the first, then four of the second for
/// every 16 bytes.
TQ_INLINE Raw WordsOf(F first, F second) {
    return TQ_RAW(packs_epi32)(reinterpret_cast<Raw>(RoundToNearest(first * byteUnit)),
                               reinterpret_cast<Raw>(RoundToNearest(second * byteUnit)));
}

/// A stretch of the ramp, begin <= t < end, in which the colour is linear.
struct RampPiece {
    float begin, end;
    float start;  ///< where the colour is `color`
    F color;
    F slope;  ///< for a t of 1
    /// From the first pixel of a block to its others, in the order in which they are packed.
    F steps[blockPixels / blocksAtOnce];
    Raw byteSteps[blockPixels / blocksAtOnce / 2];  ///< the same for 8 bits: in 1 / byteUnit of a code
};

/// Before the first stop, between the four, and after the last.
constexpr int pieceCount = 5;

template <class Format, bool BlueFirst>
TQ_INLINE RampPixel PixelOf(const float (&rgb)[3]) {
    RampPixel pixel;
    pixel.c[Format::alpha] = Format::Storage::white;
    for (int i = 0; i < 3; ++i) {
        pixel.c[Format::firstColor + i] = rgb[BlueFirst ? 2 - i : i] * Format::Storage::white;
    }
    return pixel;
}

/// A vector takes one pixel for every 16 bytes, and as many vectors as a stored pixel has bytes to spare are
/// packed into one: so neighbours lie in the same 16 bytes of different vectors.
template <class Format>
void MakeSteps(RampPiece& piece, float stepOfPixel) {
    constexpr int packed = 16 / Format::pixelBytes;
    for (int i = 0; i < blockPixels / blocksAtOnce; ++i) {
        float pixels[lanes];
        for (int k = 0; k < lanes; ++k) {
            pixels[k] = static_cast<float>(i / packed * packed * blocksAtOnce + k / 4 * packed + i % packed);
        }
        piece.steps[i] = piece.slope * (Read<F>(pixels) * stepOfPixel);
    }
    for (int i = 0; i < blockPixels / blocksAtOnce; i += 2) {
        piece.byteSteps[i / 2] = WordsOf(piece.steps[i], piece.steps[i + 1]);
    }
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
        piece.color = Spread(PixelOf<Format, BlueFirst>(p.colors[stop]));
        piece.slope = F{};
        if (i > 0 && i < pieceCount - 1) {
            const F next = Spread(PixelOf<Format, BlueFirst>(p.colors[i]));
            piece.slope = (next - piece.color) / (stops[i] - stops[stop]);
        }
        if (i == 0 || i == pieceCount - 1) {
            piece.start = 0;
        }
        MakeSteps<Format>(piece, p.direction[0]);
    }
}

TQ_INLINE bool Holds(const RampPiece& piece, float t, float u) {
    return t >= piece.begin && t < piece.end && u >= piece.begin && u < piece.end;
}

/// The piece in which both lie, null if there is none. Looks at `last` first.
inline const RampPiece* FindPiece(const RampPiece (&pieces)[pieceCount], const RampPiece* last, float t,
                                  float u) {
    if (Holds(*last, t, u)) {
        return last;
    }
    for (const RampPiece& piece : pieces) {
        if (Holds(piece, t, u)) {
            return &piece;
        }
    }
    return nullptr;
}

/// How many blocks lie inside, from t on: at least 1 and at most `most`, give or take one.
TQ_INLINE int BlocksUntilEnd(const RampPiece& piece, float t, float blockLength, int most) {
    const float room = ((blockLength >= 0.0F ? piece.end : piece.begin) - t) / blockLength;
    return room < static_cast<float>(most) ? (room > 1.0F ? static_cast<int>(room) : 1) : most;
}

/// The 16 bytes number `Index` in all of a vector.
template <int Index>
TQ_INLINE Raw SpreadBlock(Raw value) {
#if TQ_LANES == 16
    return _mm512_shuffle_i32x4(value, value, Index * 0x55);
#elif TQ_LANES == 8
    return _mm256_permute2x128_si256(value, value, Index * 0x11);
#else
    return value;
#endif
}

/// A block whose first pixel is number `Index` of those in `base`, which for 8 bits are `words`. Integers are
/// rounded to nearest and limited by the packing.
template <class Format, int Index>
TQ_INLINE void DrawBlock(const RampPiece& piece, F base, Raw words, unsigned char* target, bool stream) {
    constexpr int vectorBytes = static_cast<int>(sizeof(F));
    constexpr int vectors = blockPixels * Format::pixelBytes / vectorBytes;
    const F first = reinterpret_cast<F>(SpreadBlock<Index>(reinterpret_cast<Raw>(base)));
    const Raw firstWords = SpreadBlock<Index>(words);
    const auto codes = [&](int i) {
        return TQ_RAW(srai_epi16)(TQ_RAW(adds_epi16)(firstWords, piece.byteSteps[i]), byteBits);
    };
    const auto integers = [&](int i) {
        return reinterpret_cast<Raw>(RoundToNearest(first + piece.steps[i]));
    };
    for (int i = 0; i < vectors; ++i) {
        Raw result;
        if constexpr (Format::pixelBytes == 4) {
            result = TQ_RAW(packus_epi16)(codes(2 * i), codes(2 * i + 1));
        } else if constexpr (Format::pixelBytes == 8) {
            const auto white = static_cast<std::int16_t>(static_cast<std::uint16_t>(Format::Storage::white));
            result = TQ_RAW(min_epu16)(TQ_RAW(packus_epi32)(integers(2 * i), integers(2 * i + 1)),
                                       TQ_RAW(set1_epi16)(white));
        } else {
            result = reinterpret_cast<Raw>(first + piece.steps[i]);
        }
        StoreOrStream(target + i * vectorBytes, result, stream);
    }
}

/// Blocks of one piece, from that of column x on, blocksAtOnce at a time.
template <class Format>
TQ_INLINE void DrawBlocks(const RampParameters& p, const RampPiece& piece, unsigned char* target, int x,
                          float along, int blocks, bool stream) {
    static constexpr float firstColumns[16] = {0, 0, 0, 0, 16, 16, 16, 16, 32, 32, 32, 32, 48, 48, 48, 48};
    constexpr int blockBytes = blockPixels * Format::pixelBytes;
    for (int i = 0; i < blocks; i += blocksAtOnce, target += blocksAtOnce * blockBytes) {
        const F columns = Read<F>(firstColumns) + static_cast<float>(x + i * blockPixels);
        const F t = (columns - p.point[0]) * p.direction[0] + along;
        const F base = piece.color + piece.slope * (t - piece.start);
        const Raw words = WordsOf(base + 0.5F, base + 0.5F);
        DrawBlock<Format, 0>(piece, base, words, target, stream);
        if constexpr (blocksAtOnce > 1) {
            DrawBlock<Format, 1>(piece, base, words, target + blockBytes, stream);
        }
        if constexpr (blocksAtOnce > 2) {
            DrawBlock<Format, 2>(piece, base, words, target + 2 * blockBytes, stream);
            DrawBlock<Format, 3>(piece, base, words, target + 3 * blockBytes, stream);
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
    alignas(64) unsigned char buffer[runBlocks * blockPixels * pixelBytes];
    const RampPiece* last = &pieces[0];
    while (x < end) {
        const int first = x & -blockPixels;
        const float t = PositionAt(p, first, along);
        const RampPiece* piece = FindPiece(pieces, last, t, t);
        int blocks = 1;
        const auto fits = [&] {
            return Holds(*piece, t, PositionAt(p, first + blocks * blockPixels - 1, along));
        };
        if (piece != nullptr) {
            const int most = Smaller(runBlocks, (end - first + blockPixels - 1) / blockPixels);
            blocks = BlocksUntilEnd(*piece, t, p.direction[0] * blockPixels, most);
            blocks = fits() ? blocks : 1;
            piece = fits() ? piece : nullptr;
        }
        const int pixels = blocks * blockPixels;
        const int count = Smaller(first + pixels, end) - x;
        if (piece != nullptr && count == blocksAtOnce * blockPixels * (blocks / blocksAtOnce) &&
            (!stream || IsAligned(target, sizeof(Raw)))) {
            DrawBlocks<Format>(p, *piece, target, first, along, blocks, stream);
        } else {
            if (piece != nullptr) {
                DrawBlocks<Format>(p, *piece, buffer, first, along, blocks, false);
            } else {
                for (int k = 0; k < pixels; k += lanes) {
                    DrawVector<Format, BlueFirst>(p, buffer + k * pixelBytes, first + k, first + pixels,
                                                  along);
                }
            }
            CopyOrStream(target, buffer + (x - first) * pixelBytes, count * pixelBytes, stream);
        }
        last = piece != nullptr ? piece : last;
        x += count;
        target += count * pixelBytes;
    }
}
#endif

template <class Format, bool BlueFirst>
bool RunRamp(const ImageView& output, const ImageView*, const Bounds& band, const void* parameters,
             Image::Progress& progress) {
    const auto& p = *static_cast<const RampParameters*>(parameters);
#if TQ_LANES > 1
    RampPiece pieces[pieceCount];
    MakePieces<Format, BlueFirst>(p, AreModerate<typename Format::Storage>(p), pieces);
    const bool stream = IsStreamed(output, Format::pixelBytes);
#endif
    for (int y = band.y1; y < band.y2; ++y) {
        const float along = (static_cast<float>(y) - p.point[1]) * p.direction[1];
        unsigned char* target = PixelAt(output, band.x1, y, Format::pixelBytes);
#if TQ_LANES > 1
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
