#pragma once

// Pixels in memory <-> one vector per channel. Included by the level files only; see Vector.h.

#include "ip/kernels/Vector.h"
#include "ip/records/ImageView.h"
#include "ip/records/Progress.h"

namespace TQ::IP::TQ_LEVEL {
namespace {

/// Red, green and blue of `lanes` pixels, white is 1. Where a kernel treats all colours alike, red and blue
/// may be exchanged.
struct Color {
    F r, g, b;
};

struct Pixel {
    Color rgb;
    F a;
};

TQ_INLINE Color operator+(Color x, Color y) {
    return {x.r + y.r, x.g + y.g, x.b + y.b};
}

TQ_INLINE Color operator-(Color x, Color y) {
    return {x.r - y.r, x.g - y.g, x.b - y.b};
}

TQ_INLINE Color operator*(Color x, F factor) {
    return {x.r * factor, x.g * factor, x.b * factor};
}

/// x * factor + y
TQ_INLINE Color MultiplyAdd(Color x, F factor, Color y) {
    return {MultiplyAdd(x.r, factor, y.r), MultiplyAdd(x.g, factor, y.g), MultiplyAdd(x.b, factor, y.b)};
}

/// x * factor - y
TQ_INLINE Color MultiplySubtract(Color x, F factor, Color y) {
    return {MultiplySubtract(x.r, factor, y.r), MultiplySubtract(x.g, factor, y.g),
            MultiplySubtract(x.b, factor, y.b)};
}

/// The storage types: four channels of `lanes` pixels as normalised floats or as code values, the differences
/// of two pictures (of either sign) as code values, and samples as code values.
struct ByteStorage {
    using Channel = std::uint8_t;
    static constexpr float white = 255;

    TQ_INLINE static void Load(const unsigned char* source, F (&c)[4]) {
        const I pixels = Read<I>(source);
        for (int i = 0; i < 4; ++i) {
            c[i] = UnitFromCode(ByteOf(pixels, i), white);
        }
    }

    TQ_INLINE static void LoadCodes(const unsigned char* source, F (&c)[4]) {
        const I pixels = Read<I>(source);
        for (int i = 0; i < 4; ++i) {
            c[i] = ToFloat(ByteOf(pixels, i));
        }
    }

    TQ_INLINE static void LoadDifferences(const unsigned char* a, const unsigned char* b, F (&c)[4]) {
        const I differences = ByteDifferences(Read<I>(a), Read<I>(b));
        for (int i = 0; i < 4; ++i) {
            c[i] = ToFloat(ByteOf(differences, i));
        }
    }

    TQ_INLINE static void Store(unsigned char* target, const F (&c)[4]) {
        const I codes[4] = {ByteFromUnit(c[0], white), ByteFromUnit(c[1], white), ByteFromUnit(c[2], white),
                            ByteFromUnit(c[3], white)};
        Write(target, PackBytes(codes));
    }

    TQ_INLINE static void StoreCodes(unsigned char* target, const F (&c)[4]) {
        const I codes[4] = {NearestByte(c[0], white), NearestByte(c[1], white), NearestByte(c[2], white),
                            NearestByte(c[3], white)};
        Write(target, PackBytes(codes));
    }

    static constexpr float rounding = 0.5F;  ///< added before a sample is stored
    TQ_INLINE static F LoadSamples(const unsigned char* source) { return ToFloat(LoadBytes(source)); }
    TQ_INLINE static F LoadDifference(const unsigned char* a, const unsigned char* b) {
        return ToFloat(LoadBytes(a) - LoadBytes(b));
    }
    TQ_INLINE static void StoreSamples(unsigned char* target, F y, F /*maximum*/) {
        StoreBytes(target, Truncate(y));
    }
};

template <int White>
struct ShortStorage {
    using Channel = std::uint16_t;
    static constexpr float white = White;

    TQ_INLINE static void Load(const unsigned char* source, F (&c)[4]) {
        I pairs[2];
        LoadPairs(source, pairs[0], pairs[1]);
        for (int i = 0; i < 4; ++i) {
            c[i] = UnitFromCode((pairs[i / 2] >> (16 * (i & 1))) & 0xFFFF, white);
        }
    }

    TQ_INLINE static void LoadCodes(const unsigned char* source, F (&c)[4]) {
        I pairs[2];
        LoadPairs(source, pairs[0], pairs[1]);
        for (int i = 0; i < 4; ++i) {
            c[i] = ToFloat((pairs[i / 2] >> (16 * (i & 1))) & 0xFFFF);
        }
    }

    TQ_INLINE static void LoadDifferences(const unsigned char* a, const unsigned char* b, F (&c)[4]) {
        F other[4];
        LoadCodes(a, c);
        LoadCodes(b, other);
        for (int i = 0; i < 4; ++i) {
            c[i] -= other[i];
        }
    }

    TQ_INLINE static void Store(unsigned char* target, const F (&c)[4]) {
        StorePairs(target, CodeFromUnit(c[0], white) | (CodeFromUnit(c[1], white) << 16),
                   CodeFromUnit(c[2], white) | (CodeFromUnit(c[3], white) << 16));
    }

    TQ_INLINE static void StoreCodes(unsigned char* target, const F (&c)[4]) {
        StorePairs(target, NearestCode(c[0], white) | (NearestCode(c[1], white) << 16),
                   NearestCode(c[2], white) | (NearestCode(c[3], white) << 16));
    }

    static constexpr float rounding = 0.5F;
    TQ_INLINE static F LoadSamples(const unsigned char* source) { return ToFloat(LoadShorts(source)); }
    TQ_INLINE static F LoadDifference(const unsigned char* a, const unsigned char* b) {
        return ToFloat(LoadShorts(a) - LoadShorts(b));
    }
    TQ_INLINE static void StoreSamples(unsigned char* target, F y, F maximum) {
        StoreShorts(target, Truncate(Min(Max(y, Splat(0)), maximum)));
    }
};

struct FloatStorage {
    using Channel = float;
    static constexpr float white = 1;

    TQ_INLINE static void Load(const unsigned char* source, F (&c)[4]) { LoadFloats(source, c); }
    TQ_INLINE static void LoadCodes(const unsigned char* source, F (&c)[4]) { LoadFloats(source, c); }
    TQ_INLINE static void LoadDifferences(const unsigned char* a, const unsigned char* b, F (&c)[4]) {
        F pixels[4];
        F other[4];
        ReadFloats(a, pixels);
        ReadFloats(b, other);
        for (int i = 0; i < 4; ++i) {
            pixels[i] -= other[i];
        }
        SeparateChannels(pixels, c);
    }
    TQ_INLINE static void Store(unsigned char* target, const F (&c)[4]) { StoreFloats(target, c); }
    TQ_INLINE static void StoreCodes(unsigned char* target, const F (&c)[4]) { StoreFloats(target, c); }
    static constexpr float rounding = 0;
    TQ_INLINE static F LoadSamples(const unsigned char* source) { return Read<F>(source); }
    TQ_INLINE static F LoadDifference(const unsigned char* a, const unsigned char* b) {
        return Read<F>(a) - Read<F>(b);
    }
    TQ_INLINE static void StoreSamples(unsigned char* target, F y, F /*maximum*/) { Write(target, y); }
};

/// A storage type with the alpha channel at position `Alpha`, 0 or 3, and the colours in the order of memory.
template <class StorageType, int Alpha>
struct Pixels {
    using Storage = StorageType;
    static constexpr int alpha = Alpha;
    static constexpr int pixelBytes = 4 * static_cast<int>(sizeof(typename Storage::Channel));
    static constexpr int vectorBytes = lanes * pixelBytes;
    static constexpr int firstColor = Alpha == 0 ? 1 : 0;

    static constexpr float unit = 1.0F / Storage::white;  ///< what a code value of 1 stands for

    TQ_INLINE static Pixel Load(const unsigned char* source) {
        F c[4];
        Storage::Load(source, c);
        return {{c[firstColor], c[firstColor + 1], c[firstColor + 2]}, c[Alpha]};
    }

    TQ_INLINE static Pixel LoadCodes(const unsigned char* source) {
        F c[4];
        Storage::LoadCodes(source, c);
        return {{c[firstColor], c[firstColor + 1], c[firstColor + 2]}, c[Alpha]};
    }

    TQ_INLINE static Pixel LoadDifferences(const unsigned char* a, const unsigned char* b) {
        F c[4];
        Storage::LoadDifferences(a, b, c);
        return {{c[firstColor], c[firstColor + 1], c[firstColor + 2]}, c[Alpha]};
    }

    /// The mean of code values as it comes back after it was stored.
    TQ_INLINE static F MeanAsStored(F codes) {
        if constexpr (sizeof(typename Storage::Channel) == sizeof(float)) {
            return codes;
        } else {
            return StoredCode(Min(codes, Splat(Storage::white)));
        }
    }

    TQ_INLINE static void Store(unsigned char* target, const Pixel& pixel) {
        F c[4];
        PutInOrder(pixel, c);
        Storage::Store(target, c);
    }

    TQ_INLINE static void StoreCodes(unsigned char* target, const Pixel& pixel) {
        F c[4];
        PutInOrder(pixel, c);
        Storage::StoreCodes(target, c);
    }

  private:
    TQ_INLINE static void PutInOrder(const Pixel& pixel, F (&c)[4]) {
        c[firstColor] = pixel.rgb.r;
        c[firstColor + 1] = pixel.rgb.g;
        c[firstColor + 2] = pixel.rgb.b;
        c[Alpha] = pixel.a;
    }
};

/// The same pixels, loaded and stored as code values, which need not be scaled on the way.
template <class Frame>
struct InCodes {
    static constexpr int pixelBytes = Frame::pixelBytes;
    static constexpr int vectorBytes = Frame::vectorBytes;
    static constexpr float white = Frame::Storage::white;

    TQ_INLINE static Pixel Load(const unsigned char* source) { return Frame::LoadCodes(source); }
    TQ_INLINE static void Store(unsigned char* target, const Pixel& codes) {
        Frame::StoreCodes(target, codes);
    }
};

TQ_INLINE int Smaller(int a, int b) {
    return a < b ? a : b;
}

TQ_INLINE int Clamp(int value, int low, int high) {
    return value < low ? low : (value > high ? high : value);
}

TQ_INLINE unsigned char* RowAt(const ImageView& view, int y) {
    return view.data + (static_cast<std::int64_t>(y) - view.bounds.y1) * view.rowBytes;
}

TQ_INLINE unsigned char* PixelAt(const ImageView& view, int x, int y, int pixelBytes) {
    return RowAt(view, y) + (static_cast<std::int64_t>(x) - view.bounds.x1) * pixelBytes;
}

TQ_INLINE void Copy(unsigned char* target, const unsigned char* source, int bytes) {
    __builtin_memcpy(target, source, static_cast<std::uint32_t>(bytes));
}

/// Asks for `Bytes` bytes, which need not exist, into the second-level cache.
template <int Bytes>
TQ_INLINE void Prefetch(const unsigned char* address) {
    for (int line = 0; line < Bytes; line += 64) {
        __builtin_prefetch(address + line, 0, 2);
    }
}

/// The same into the first-level cache, which pays where the bytes are few and read soon.
template <int Bytes>
TQ_INLINE void PrefetchNear(const unsigned char* address) {
    for (int line = 0; line < Bytes; line += 64) {
        __builtin_prefetch(address + line, 0, 3);
    }
}

constexpr int progressRows = 32;

TQ_INLINE void ReportRow(Image::Progress& progress, const Bounds& band, int y) {
    const int row = y - band.y1;
    if (row % progressRows == 0) {
        progress.Update(static_cast<std::uint64_t>(row), static_cast<std::uint64_t>(band.y2 - band.y1));
    }
}

/// Progress of a kernel that walks its band in strips of columns: reports when as much is done as
/// progressRows rows of the whole band, so that an abort takes no longer to be seen than elsewhere.
class RowsWalked {
  public:
    RowsWalked(Image::Progress& progress, int rows, int strips)
        : _progress(progress), _rows(rows), _strips(strips) {}

    /// One more row of a strip is walked.
    void AddRow() {
        if (_walked >= _next) {
            _progress.Update(static_cast<std::uint64_t>(_walked / _strips),
                             static_cast<std::uint64_t>(_rows));
            _next += static_cast<std::int64_t>(progressRows) * _strips;
        }
        ++_walked;
    }

  private:
    Image::Progress& _progress;
    int _rows;
    int _strips;
    std::int64_t _walked = 0;
    std::int64_t _next = 0;
};

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
