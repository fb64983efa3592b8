#pragma once

// DetectMotion and TemporalMultAddDetectMotion. Included by the level files only; see Vector.h.
//
// The similarity s of two pixels is the product of 1 - min(|a.c - b.c| / limit, 1) over the channels c, and
// the mask m its mean over the 5 by 5 pixels around. Columns are walked in strips; of each strip the last
// rows of s stay on the stack, added two by two. The 25 values are added for every pixel in the same order,
// rows first: a sliding sum would carry its rounding along, so that a pixel would depend on where its band
// begins, and equal images would not give exactly 1.

#include "ip/kernels/KernelParameters.h"
#include "ip/kernels/PixelAccess.h"
#include "ip/kernels/StreamStores.h"
#include "ip/records/Progress.h"

namespace TQ::IP::TQ_LEVEL {
namespace {

constexpr int motionReach = 2;  ///< rows and columns on each side
constexpr int motionWindow = 2 * motionReach + 1;
constexpr float motionMeanFactor = 0.04F;
constexpr float leastSumWeight = 0.0001F;  ///< that a sum is divided by for its mean
constexpr int motionStripWidth = 2048;  ///< most pictures in one strip: each row of a strip is on other pages

/// One row of an image whose rows and columns repeat beyond its bounds.
template <class Format>
struct ClampedRow {
    TQ_INLINE ClampedRow(const ImageView& view, int y)
        : first(RowAt(view, Clamp(y, view.bounds.y1, view.bounds.y2 - 1))),
          x1(view.bounds.x1),
          x2(view.bounds.x2) {}

    TQ_INLINE const unsigned char* At(int x) const {
        return first + (static_cast<std::int64_t>(x) - x1) * Format::pixelBytes;
    }

    /// `lanes` pixels from x on.
    TQ_INLINE void CopyTo(unsigned char* buffer, int x) const {
        for (int i = 0; i < lanes; ++i) {
            __builtin_memcpy(buffer + i * Format::pixelBytes, At(Clamp(x + i, x1, x2 - 1)),
                             Format::pixelBytes);
        }
    }

    const unsigned char* first;
    int x1, x2;
};

/// Calls direct(x, vectors) for the columns from x1 on that lie inside both rows, in whole vectors that end
/// by x2, and staged(x) for each other vector that begins before x2.
template <class Row0, class Row1, class Direct, class Staged>
TQ_INLINE void SplitColumns(const Row0& a, const Row1& b, int x1, int x2, Direct direct, Staged staged) {
    const int left = a.x1 > b.x1 ? a.x1 : b.x1;
    const int right = Smaller(Smaller(a.x2, b.x2), x2);
    int x = x1;
    for (; x < left && x < x2; x += lanes) {
        staged(x);
    }
    const int vectors = x + lanes <= right ? (right - x) / lanes : 0;
    direct(x, vectors);
    for (x += vectors * lanes; x < x2; x += lanes) {
        staged(x);
    }
}

/// min(|difference| * k, 1). With an infinite k equal values give 0 * k, not a number: the minimum takes
/// the 1.
TQ_INLINE F Distance(F difference, F k) {
    return MinOfAbs(difference * k, Splat(1));
}

/// (1 - a) (1 - b)
TQ_INLINE F BothSimilar(F a, F b) {
    const F s = Splat(1) - a;
    return SubtractProduct(s, s, b);
}

/// The similarity of two pixels whose code values differ by `d`.
template <class Frame>
TQ_INLINE F SimilarityOfPixels(Pixel d, float inverseLimit) {
    const F k = Splat(inverseLimit * Frame::unit);
    return BothSimilar(Distance(d.rgb.r, k), Distance(d.rgb.g, k)) *
           BothSimilar(Distance(d.rgb.b, k), Distance(d.a, k));
}

/// The similarity of a frame's colours to the mean of an accumulator. The accumulator's weight and the
/// frame's white go into the factors k, so that each channel is one product apart from the difference.
template <class Frame>
TQ_INLINE F SimilarityToMean(const DetectMotionParameters& p, const unsigned char* frame, const Pixel& sum) {
    const Color codes = Frame::LoadCodes(frame).rgb;
    const F kOfCode = Splat(p.inverseLimit * Frame::unit);
    const F kOfSum = Reciprocal(Max(sum.a, Splat(leastSumWeight))) * p.inverseLimit;
    const F one = Splat(1);
    const F r = MinOfAbs(MultiplySubtract(codes.r, kOfCode, sum.rgb.r * kOfSum), one);
    const F g = MinOfAbs(MultiplySubtract(codes.g, kOfCode, sum.rgb.g * kOfSum), one);
    const F b = MinOfAbs(MultiplySubtract(codes.b, kOfCode, sum.rgb.b * kOfSum), one);
    const F s = one - r;
    const F sg = SubtractProduct(s, s, g);
    return SubtractProduct(sg, sg, b);
}

/// What the mask leaves of the accumulator, plus the frame.
template <class Frame>
TQ_INLINE Pixel AddGated(float weight, const unsigned char* frame, const Pixel& sum, F mask) {
    const Pixel codes = Frame::LoadCodes(frame);
    const F q = codes.a * (weight * Frame::unit);
    return {MultiplyAdd(sum.rgb, mask, codes.rgb * (q * Frame::unit)), MultiplyAdd(sum.a, mask, q)};
}

/// The sum of the window from the sums of its columns, of which the third is that of the pixel: two and two,
/// and the last.
TQ_INLINE F SumOfWindow(const float* sums) {
    const auto two = [sums](int first) { return Read<F>(sums + first) + Read<F>(sums + first + 1); };
    return two(-motionReach) + two(0) + Read<F>(sums + motionReach);
}

#if TQ_LANES == 16
/// The sums of 16 columns, each with that of the next one; `after` are those of the columns that follow.
TQ_INLINE F SumsOfTwo(F sums, F after) {
    return sums + Shifted<1>(sums, after);
}

/// The same sums of windows, of 16 pixels: SumsOfTwo of the columns before them and of their own serve both
/// as the first two of the window and as the two that follow.
TQ_INLINE F SumOfWindow(F twoBefore, F two, F sums, F after) {
    return Shifted<lanes - motionReach>(twoBefore, two) + two + Shifted<motionReach>(sums, after);
}
#endif

/// Two frames; the mask is written to all four channels.
template <class Frame>
struct DetectMotion {
    using Output = Frame;
    using In0 = Frame;
    using In1 = Frame;

    TQ_INLINE static F Similarity(const DetectMotionParameters& p, const unsigned char* first,
                                  const unsigned char* second) {
        return SimilarityOfPixels<Frame>(Frame::LoadDifferences(first, second), p.inverseLimit);
    }

    TQ_INLINE static Pixel At(const DetectMotionParameters&, const unsigned char*, const unsigned char*,
                              F m) {
        return {{m, m, m}, m};
    }
};

/// A frame against the mean of an accumulator, which takes the frame's alpha, so that alpha never counts;
/// then the frame is added to what the mask leaves of the accumulator.
template <class Frame>
struct TemporalMultAddDetectMotion {
    using Output = Pixels<FloatStorage, Frame::alpha>;
    using In0 = Frame;
    using In1 = Output;

    TQ_INLINE static F Similarity(const DetectMotionParameters& p, const unsigned char* frame,
                                  const unsigned char* sum) {
        return SimilarityToMean<Frame>(p, frame, In1::Load(sum));
    }

    TQ_INLINE static Pixel At(const DetectMotionParameters& p, const unsigned char* frame,
                              const unsigned char* sum, F m) {
        return AddGated<Frame>(p.weight, frame, In1::Load(sum), m);
    }
};

/// Where both pictures are of bytes, what counts more is that a strip's rows of s stay in the first-level
/// cache.
template <class Body>
constexpr bool isNarrowMotion = Body::In0::pixelBytes + Body::In1::pixelBytes <= 8;
template <class Body>
constexpr int stripWidthOf = isNarrowMotion<Body> ? motionStripWidth / 2 : motionStripWidth;
template <class Body>
constexpr int prefetchRows = isNarrowMotion<Body> ? 1 : 2;

/// Columns left of a strip that its rows begin with: whole vectors, so that where the strip's own pixels lie
/// at multiples of a vector's length all do.
constexpr int motionMargin = lanes > motionReach ? lanes : motionReach;

/// A row of s, or of sums of its columns: the margin, the strip, and as many columns right of it.
struct alignas(64) MotionRow {
    float s[motionStripWidth + 2 * 16];
};

/// The last row of s, the last rows of sums of two, each row of s with the one above it, and the sums of
/// five.
class MotionRows {
  public:
    /// Moves on by a row, which takes the place of the oldest.
    void Next() { _newest = (_newest + 1) % heldRows; }
    float* Last() { return _last.s; }
    /// Of the row `above` rows above the newest and the one above that.
    float* SumsOfTwo(int above) { return _sumsOfTwo[(_newest + heldRows - above) % heldRows].s; }
    float* Sums() { return _sums.s; }

  private:
    static constexpr int heldRows = motionWindow - 1;

    MotionRow _sumsOfTwo[heldRows];
    MotionRow _last;
    MotionRow _sums;
    int _newest = 0;
};

/// Where a row of s goes, and with it, while its values are at hand, the sums of its columns.
struct MotionTarget {
    explicit MotionTarget(MotionRows& rows)
        : s(rows.Last()),
          two(rows.SumsOfTwo(0)),
          twoAbove(rows.SumsOfTwo(1)),
          twoFurtherAbove(rows.SumsOfTwo(3)),
          sums(rows.Sums()) {}

    float* s;  ///< takes the place of the row above
    float* two;
    const float* twoAbove;
    const float* twoFurtherAbove;
    float* sums;
};

/// From `column` of the target on. `ahead` is the distance to the pixels that are fetched ahead, for each
/// input: a strip's next rows are nothing that the processor foresees.
template <class Body>
[[gnu::noinline]] void FillSimilarityVectors(const MotionTarget& target, int column, const unsigned char* in0,
                                             const unsigned char* in1, int vectors,
                                             const std::int64_t (&ahead)[2],
                                             const DetectMotionParameters& p) {
    const MotionTarget to = target;  // copies, which the stores cannot change
    const DetectMotionParameters q = p;
    for (const int end = column + vectors * lanes; column < end; column += lanes) {
        PrefetchNear<Body::In0::vectorBytes>(in0 + ahead[0]);
        PrefetchNear<Body::In1::vectorBytes>(in1 + ahead[1]);
        const F s = Body::Similarity(q, in0, in1);
        Write(to.sums + column, Read<F>(to.twoFurtherAbove + column) + Read<F>(to.twoAbove + column) + s);
        Write(to.two + column, Read<F>(to.s + column) + s);
        Write(to.s + column, s);
        in0 += Body::In0::vectorBytes;
        in1 += Body::In1::vectorBytes;
    }
}

/// Columns x1 to x2 of the strip and those that its windows reach; pixel x of row `y` goes to column
/// x - x1 + motionMargin.
template <class Body>
void FillSimilarityRow(MotionRows& rows, const ImageView* inputs, int x1, int x2, int y,
                       const DetectMotionParameters& p) {
    rows.Next();
    const MotionTarget target(rows);
    const ClampedRow<typename Body::In0> row0(inputs[0], y);
    const ClampedRow<typename Body::In1> row1(inputs[1], y);
    const int first = x1 - motionMargin;
    const int end = first + (x2 + motionReach - first + lanes - 1) / lanes * lanes;
    const std::int64_t ahead[2] = {prefetchRows<Body> * inputs[0].rowBytes,
                                   prefetchRows<Body> * inputs[1].rowBytes};
    const auto direct = [&](int x, int vectors) {
        FillSimilarityVectors<Body>(target, x - first, row0.At(x), row1.At(x), vectors, ahead, p);
    };
    const auto staged = [&](int x) {
        unsigned char buffer0[Body::In0::vectorBytes];
        unsigned char buffer1[Body::In1::vectorBytes];
        row0.CopyTo(buffer0, x);
        row1.CopyTo(buffer1, x);
        FillSimilarityVectors<Body>(target, x - first, buffer0, buffer1, 1, {}, p);
    };
    SplitColumns(row0, row1, first, end, direct, staged);
}

/// The sums of the windows of a row's pixels, vector after vector.
class WindowWalk {
  public:
    /// `sums` are those of the columns, that of the first pixel first; as many as a vector takes come before,
    /// and after those of the row.
#if TQ_LANES == 16
    explicit WindowWalk(const float* sums)
        : _sums(sums), _twoBefore(SumsOfTwo(Read<F>(sums - lanes), Read<F>(sums))), _here(Read<F>(sums)) {
    }

    TQ_INLINE F Next() {
        _sums += lanes;
        const F after = Read<F>(_sums);
        const F two = SumsOfTwo(_here, after);
        const F sum = SumOfWindow(_twoBefore, two, _here, after);
        _twoBefore = two;
        _here = after;
        return sum;
    }
#else
    explicit WindowWalk(const float* sums) : _sums(sums) {
    }

    TQ_INLINE F Next() {
        const F sum = SumOfWindow(_sums);
        _sums += lanes;
        return sum;
    }
#endif

  private:
    const float* _sums;
#if TQ_LANES == 16
    F _twoBefore, _here;
#endif
};

/// `sums` are those of the columns of s, that of the first pixel first.
template <class Body>
[[gnu::noinline]] void FinishMotionVectors(unsigned char* output, const float* sums, const unsigned char* in0,
                                           const unsigned char* in1, int vectors, bool stream,
                                           const DetectMotionParameters& p) {
    using Output = typename Body::Output;
    const RowStores stores = StoresOf<Output>(output, stream);
    WindowWalk windows(sums);
    for (int i = 0; i < vectors; ++i) {
        StorePixels<Output>(output, Body::At(p, in0, in1, windows.Next() * motionMeanFactor), stores);
        output += Output::vectorBytes;
        in0 += Body::In0::vectorBytes;
        in1 += Body::In1::vectorBytes;
    }
}

/// `columnSums` are those of the rows y - 2 to y + 2.
template <class Body>
void FinishMotionRow(const ImageView& output, const ImageView* inputs, int x1, int x2, int y,
                     const float* columnSums, const DetectMotionParameters& p) {
    const ClampedRow<typename Body::In0> row0(inputs[0], y);
    const ClampedRow<typename Body::In1> row1(inputs[1], y);
    const float* sums = columnSums + motionMargin - x1;
    const bool stream = IsStreamed(output, Body::Output::pixelBytes);
    const auto target = [&](int x) { return PixelAt(output, x, y, Body::Output::pixelBytes); };
    const auto direct = [&](int x, int vectors) {
        FinishMotionVectors<Body>(target(x), sums + x, row0.At(x), row1.At(x), vectors, stream, p);
    };
    const auto staged = [&](int x) {
        unsigned char buffer0[Body::In0::vectorBytes];
        unsigned char buffer1[Body::In1::vectorBytes];
        unsigned char result[Body::Output::vectorBytes];
        row0.CopyTo(buffer0, x);
        row1.CopyTo(buffer1, x);
        FinishMotionVectors<Body>(result, sums + x, buffer0, buffer1, 1, false, p);
        Copy(target(x), result, Smaller(lanes, x2 - x) * Body::Output::pixelBytes);
    };
    SplitColumns(row0, row1, x1, x2, direct, staged);
}

template <class Body>
bool RunMotion(const ImageView& output, const ImageView* inputs, const Bounds& band, const void* parameters,
               Image::Progress& progress) {
    const auto& p = *static_cast<const DetectMotionParameters*>(parameters);
    constexpr int width = stripWidthOf<Body>;
    const int strips = (band.x2 - band.x1 + width - 1) / width;
    RowsWalked walked(progress, band.y2 - band.y1, strips);
    for (int x1 = band.x1; x1 < band.x2; x1 += width) {
        const int x2 = Smaller(x1 + width, band.x2);
        MotionRows rows{};
        for (int y = band.y1 - motionReach; y < band.y1 + motionReach; ++y) {
            FillSimilarityRow<Body>(rows, inputs, x1, x2, y, p);
        }
        for (int y = band.y1; y < band.y2; ++y) {
            FillSimilarityRow<Body>(rows, inputs, x1, x2, y + motionReach, p);
            FinishMotionRow<Body>(output, inputs, x1, x2, y, rows.Sums(), p);
            walked.AddRow();
        }
    }
    EndStream();
    return true;
}

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
