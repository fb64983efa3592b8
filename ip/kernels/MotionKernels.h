#pragma once

// DetectMotion and TemporalMultAddDetectMotion. Included by the level files only; see Vector.h.
//
// The similarity s of two pixels is the product of 1 - min(|a.c - b.c| / limit, 1) over the channels c, and
// the mask m its mean over the 5 by 5 pixels around. Columns are walked in strips; of each strip the last
// five rows of s stay on the stack. The 25 values are added afresh for every pixel, rows first, always in the
// same order: a sliding sum would carry its rounding along, so that a pixel would depend on where its band
// begins, and equal images would not give exactly 1.

#include "ip/kernels/FillKernels.h"
#include "ip/kernels/KernelParameters.h"
#include "ip/kernels/PixelAccess.h"
#include "ip/records/Progress.h"

namespace TQ::IP::TQ_LEVEL {
namespace {

constexpr int motionReach = 2;  ///< rows and columns on each side
constexpr int motionWindow = 2 * motionReach + 1;
constexpr float motionMeanFactor = 0.04F;
constexpr int motionStripWidth = 512;

/// The pixels (x, y) to (x + lanes - 1, y), where those outside the image are the nearest inside. Copied to
/// `buffer` only when some are outside.
template <class Format>
TQ_INLINE const unsigned char* PixelsAt(const ImageView& view, int x, int y, unsigned char* buffer) {
    const Bounds& bounds = view.bounds;
    const int row = Clamp(y, bounds.y1, bounds.y2 - 1);
    if (x >= bounds.x1 && x + lanes <= bounds.x2) {
        return PixelAt(view, x, row, Format::pixelBytes);
    }
    for (int i = 0; i < lanes; ++i) {
        const int column = Clamp(x + i, bounds.x1, bounds.x2 - 1);
        Copy(buffer + i * Format::pixelBytes, PixelAt(view, column, row, Format::pixelBytes),
             Format::pixelBytes);
    }
    return buffer;
}

template <class Format>
TQ_INLINE Pixel LoadClamped(const ImageView& view, int x, int y) {
    unsigned char buffer[Format::vectorBytes];
    return Format::Load(PixelsAt<Format>(view, x, y, buffer));
}

/// 1 - min(|difference| * k, 1). With an infinite k equal values give 0 * k, not a number: the minimum takes
/// the 1.
TQ_INLINE F ChannelSimilarity(F a, F b, F k) {
    const F one = Splat(1);
    return one - Min(Abs(a - b) * k, one);
}

TQ_INLINE F ColorSimilarity(Color a, Color b, F k) {
    return ChannelSimilarity(a.r, b.r, k) * ChannelSimilarity(a.g, b.g, k) * ChannelSimilarity(a.b, b.b, k);
}

/// Two frames; the mask is written to all four channels.
template <class Frame>
struct DetectMotion {
    using Output = Frame;
    using In0 = Frame;
    using In1 = Frame;

    TQ_INLINE static F Similarity(const DetectMotionParameters& p, const Pixel& a, const Pixel& b) {
        const F k = Splat(p.inverseLimit);
        return ColorSimilarity(a.rgb, b.rgb, k) * ChannelSimilarity(a.a, b.a, k);
    }

    TQ_INLINE static Pixel At(const DetectMotionParameters&, const ImageView*, int, int, F m) {
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

    TQ_INLINE static F Similarity(const DetectMotionParameters& p, const Pixel& frame, const Pixel& sum) {
        const F scale = Splat(1) / Max(sum.a, Splat(0.0001F));
        return ColorSimilarity(frame.rgb, sum.rgb * scale, Splat(p.inverseLimit));
    }

    TQ_INLINE static Pixel At(const DetectMotionParameters& p, const ImageView* inputs, int x, int y, F m) {
        const Pixel frame = LoadClamped<In0>(inputs[0], x, y);
        const Pixel sum = LoadClamped<In1>(inputs[1], x, y);
        const F q = frame.a * p.weight;
        return {MultiplyAdd(sum.rgb, m, frame.rgb * q), MultiplyAdd(sum.a, m, q)};
    }
};

/// A row of s, from motionReach columns left of the strip to as many right of it, and room for whole vectors.
struct MotionRow {
    float s[motionStripWidth + 2 * motionReach + 2 * 16];
};

/// Columns x1 to x2 of the strip; s of row `y` goes to `row`, pixel x to row.s[x - x1 + motionReach].
template <class Body>
[[gnu::noinline]] void FillSimilarityRow(MotionRow& row, const ImageView* inputs, int x1, int x2, int y,
                                         const DetectMotionParameters& p) {
    const int count = x2 - x1 + 2 * motionReach;
    for (int i = 0; i < count; i += lanes) {
        const int x = x1 - motionReach + i;
        const Pixel a = LoadClamped<typename Body::In0>(inputs[0], x, y);
        const Pixel b = LoadClamped<typename Body::In1>(inputs[1], x, y);
        Write(row.s + i, Body::Similarity(p, a, b));
    }
}

/// `rows` are those of y - 2 to y + 2.
template <class Body>
[[gnu::noinline]] void FinishMotionRow(const ImageView& output, const ImageView* inputs, int x1, int x2,
                                       int y, const MotionRow* const (&rows)[motionWindow],
                                       const DetectMotionParameters& p) {
    MotionRow sums;
    const int count = x2 - x1 + 2 * motionReach;
    for (int i = 0; i < count; i += lanes) {
        F sum = Read<F>(rows[0]->s + i);
        for (int r = 1; r < motionWindow; ++r) {
            sum += Read<F>(rows[r]->s + i);
        }
        Write(sums.s + i, sum);
    }
    Write(sums.s + (count + lanes - 1) / lanes * lanes, Splat(0));
    unsigned char* target = PixelAt(output, x1, y, Body::Output::pixelBytes);
    for (int x = x1; x < x2; x += lanes) {
        F sum = Read<F>(sums.s + (x - x1));
        for (int c = 1; c < motionWindow; ++c) {
            sum += Read<F>(sums.s + (x - x1) + c);
        }
        const Pixel result = Body::At(p, inputs, x, y, sum * motionMeanFactor);
        StoreSome<typename Body::Output>(target, result, Smaller(lanes, x2 - x));
        target += Body::Output::vectorBytes;
    }
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
    return true;
}

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
