#pragma once

// DetectMotion and TemporalMultAddDetectMotion. Included by the level files only; see Vector.h.
//
// The similarity s of two pixels is the product of 1 - min(|a.c - b.c| / limit, 1) over the channels c, and
// the mask m its mean over the 5 by 5 pixels around. Columns are walked in strips; of each strip the last
// five rows of s stay on the stack. The 25 values are added afresh for every pixel, rows first, always in the
// same order: a sliding sum would carry its rounding along, so that a pixel would depend on where its band
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
constexpr int motionStripWidth = 512;
constexpr int prefetchRows = 2;

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

/// 1 - min(|difference| * k, 1). With an infinite k equal values give 0 * k, not a number: the minimum takes
/// the 1.
TQ_INLINE F ChannelSimilarity(F a, F b, F k) {
    const F one = Splat(1);
    return one - MinOfAbs((a - b) * k, one);
}

TQ_INLINE F ColorSimilarity(Color a, Color b, F k) {
    return ChannelSimilarity(a.r, b.r, k) * ChannelSimilarity(a.g, b.g, k) * ChannelSimilarity(a.b, b.b, k);
}

/// The similarity of a frame's colours to the mean of an accumulator. The accumulator's weight and the
/// frame's white go into the factors k, so that each channel is one product apart from the difference.
template <class Frame>
TQ_INLINE F SimilarityToMean(const DetectMotionParameters& p, const unsigned char* frame, const Pixel& sum) {
    const Color codes = Frame::LoadCodes(frame).rgb;
    const F kOfCode = Splat(p.inverseLimit * Frame::unit);
    const F kOfSum = Reciprocal(Max(sum.a, Splat(0.0001F))) * p.inverseLimit;
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

/// The mean over the window from the sums of its columns, of which the third is that of the pixel.
TQ_INLINE F MeanOfWindow(const float* sums) {
    F sum = Read<F>(sums - motionReach);
    for (int c = 1; c < motionWindow; ++c) {
        sum += Read<F>(sums - motionReach + c);
    }
    return sum * motionMeanFactor;
}

/// Two frames; the mask is written to all four channels.
template <class Frame>
struct DetectMotion {
    using Output = Frame;
    using In0 = Frame;
    using In1 = Frame;

    TQ_INLINE static F Similarity(const DetectMotionParameters& p, const unsigned char* first,
                                  const unsigned char* second) {
        const Pixel a = In0::Load(first);
        const Pixel b = In1::Load(second);
        const F k = Splat(p.inverseLimit);
        return ColorSimilarity(a.rgb, b.rgb, k) * ChannelSimilarity(a.a, b.a, k);
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

/// A row of s, from motionReach columns left of the strip to as many right of it, and room for whole vectors.
struct MotionRow {
    float s[motionStripWidth + 2 * motionReach + 2 * 16];
};

/// `ahead` is the distance to the pixels that are fetched ahead, for each input: a strip's next rows are
/// nothing that the processor foresees.
template <class Body>
[[gnu::noinline]] void FillSimilarityVectors(float* s, const unsigned char* in0, const unsigned char* in1,
                                             int vectors, const std::int64_t (&ahead)[2],
                                             const DetectMotionParameters& p) {
    for (int i = 0; i < vectors; ++i) {
        Prefetch<Body::In0::vectorBytes>(in0 + ahead[0]);
        Prefetch<Body::In1::vectorBytes>(in1 + ahead[1]);
        Write(s + i * lanes, Body::Similarity(p, in0, in1));
        in0 += Body::In0::vectorBytes;
        in1 += Body::In1::vectorBytes;
    }
}

/// Columns x1 to x2 of the strip; s of row `y` goes to `row`, pixel x to row.s[x - x1 + motionReach].
template <class Body>
void FillSimilarityRow(MotionRow& row, const ImageView* inputs, int x1, int x2, int y,
                       const DetectMotionParameters& p) {
    const ClampedRow<typename Body::In0> row0(inputs[0], y);
    const ClampedRow<typename Body::In1> row1(inputs[1], y);
    float* s = row.s - (x1 - motionReach);
    const std::int64_t ahead[2] = {prefetchRows * inputs[0].rowBytes, prefetchRows * inputs[1].rowBytes};
    const auto direct = [&](int x, int vectors) {
        FillSimilarityVectors<Body>(s + x, row0.At(x), row1.At(x), vectors, ahead, p);
    };
    const auto staged = [&](int x) {
        unsigned char buffer0[Body::In0::vectorBytes];
        unsigned char buffer1[Body::In1::vectorBytes];
        row0.CopyTo(buffer0, x);
        row1.CopyTo(buffer1, x);
        FillSimilarityVectors<Body>(s + x, buffer0, buffer1, 1, {}, p);
    };
    SplitColumns(row0, row1, x1 - motionReach, x2 + motionReach, direct, staged);
}

/// `sums` are those of the columns of s, that of the first pixel first.
template <class Body>
[[gnu::noinline]] void FinishMotionVectors(unsigned char* output, const float* sums, const unsigned char* in0,
                                           const unsigned char* in1, int vectors, bool stream,
                                           const DetectMotionParameters& p) {
    constexpr int most = 16;  // that go through a buffer on their way past the caches
    alignas(64) unsigned char buffer[most * Body::Output::vectorBytes];
    for (int done = 0; done < vectors; done += most) {
        const int count = Smaller(most, vectors - done);
        for (int i = 0; i < count; ++i) {
            Body::Output::Store(buffer + i * Body::Output::vectorBytes,
                                Body::At(p, in0, in1, MeanOfWindow(sums)));
            sums += lanes;
            in0 += Body::In0::vectorBytes;
            in1 += Body::In1::vectorBytes;
        }
        CopyOrStream(output + done * Body::Output::vectorBytes, buffer, count * Body::Output::vectorBytes,
                     stream);
    }
}

TQ_INLINE void AddRows(MotionRow& sums, const MotionRow* const (&rows)[motionWindow], int count) {
    for (int i = 0; i < count; i += lanes) {
        F sum = Read<F>(rows[0]->s + i);
        for (int r = 1; r < motionWindow; ++r) {
            sum += Read<F>(rows[r]->s + i);
        }
        Write(sums.s + i, sum);
    }
    Write(sums.s + (count + lanes - 1) / lanes * lanes, Splat(0));
}

/// `rows` are those of y - 2 to y + 2.
template <class Body>
void FinishMotionRow(const ImageView& output, const ImageView* inputs, int x1, int x2, int y,
                     const MotionRow* const (&rows)[motionWindow], const DetectMotionParameters& p) {
    const ClampedRow<typename Body::In0> row0(inputs[0], y);
    const ClampedRow<typename Body::In1> row1(inputs[1], y);
    MotionRow sumsOfRows;
    AddRows(sumsOfRows, rows, x2 - x1 + 2 * motionReach);
    const float* sums = sumsOfRows.s + motionReach - x1;
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
    const int strips = (band.x2 - band.x1 + motionStripWidth - 1) / motionStripWidth;
    RowsWalked walked(progress, band.y2 - band.y1, strips);
    for (int x1 = band.x1; x1 < band.x2; x1 += motionStripWidth) {
        const int x2 = Smaller(x1 + motionStripWidth, band.x2);
        MotionRow ring[motionWindow];
        for (int r = 1; r < motionWindow; ++r) {
            FillSimilarityRow<Body>(ring[r], inputs, x1, x2, band.y1 - motionReach + r - 1, p);
        }
        int oldest = 0;
        for (int y = band.y1; y < band.y2; ++y) {
            FillSimilarityRow<Body>(ring[oldest], inputs, x1, x2, y + motionReach, p);
            oldest = (oldest + 1) % motionWindow;
            const MotionRow* rows[motionWindow];
            for (int r = 0; r < motionWindow; ++r) {
                rows[r] = &ring[(oldest + r) % motionWindow];
            }
            FinishMotionRow<Body>(output, inputs, x1, x2, y, rows, p);
            walked.Add(1);
        }
    }
    EndStream();
    return true;
}

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
