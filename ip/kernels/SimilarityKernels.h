#pragma once

// Kernels of the affine similarity (see ip/filters/AffineSimilarityFilter.h). Point kernels: run by RunPoint.
// Included by the level files only; see Vector.h.

#include "ip/kernels/PointKernels.h"

namespace TQ::IP::TQ_LEVEL {
namespace {

TQ_INLINE Color operator*(Color x, Color y) {
    return {x.r * y.r, x.g * y.g, x.b * y.b};
}

/// A picture as code values.
template <class Frame>
struct CodesOf : Frame {
    TQ_INLINE static Pixel Load(const unsigned char* source) { return Frame::LoadCodes(source); }
};

/// The product of two pictures, channel by channel.
template <class Frame>
struct GuidedCorrelation2 {
    using Output = Frame;
    using In0 = CodesOf<Frame>;
    using In1 = CodesOf<Frame>;
    using In2 = NoInput;
    using Parameters = NoParameters;

    TQ_INLINE static Pixel At(const Parameters&, Pixel x, Pixel y, Pixel) {
        const F unit = Splat(Frame::unit * Frame::unit);
        return {x.rgb * y.rgb * unit, x.a * y.a * unit};
    }
};

/// The variance of one channel that no gain and offset explains, measured on the busier picture: with the
/// signed squared correlation r = sign(C) C^2 / A / B it is max(A, B) * (1 - r), never more than max(A, B). A
/// variance of exactly 0 divides by 1. r is at most 1; where rounding makes it more, nothing is left
/// unexplained.
TQ_INLINE F UnexplainedVariance(F varianceA, F varianceB, F covariance) {
    const F one = Splat(1);
    const F zero = Splat(0);
    const F a = varianceA == 0.0F ? one : varianceA;
    const F b = varianceB == 0.0F ? one : varianceB;
    const F squared = (covariance / a) * (covariance / b);  // exactly 1 for identical pictures
    const F r = covariance < 0.0F ? zero - squared : squared;
    return Max(varianceA, varianceB) * Max(Min(one - r, one), zero);
}

TQ_INLINE F Dissimilarity(Pixel varianceA, Pixel varianceB, Pixel covariance) {
    const F green = UnexplainedVariance(varianceA.rgb.g, varianceB.rgb.g, covariance.rgb.g);
    const F red = UnexplainedVariance(varianceA.rgb.r, varianceB.rgb.r, covariance.rgb.r);
    const F blue = UnexplainedVariance(varianceA.rgb.b, varianceB.rgb.b, covariance.rgb.b);
    const F alpha = UnexplainedVariance(varianceA.a, varianceB.a, covariance.a);
    return green + red + blue + alpha;
}

TQ_INLINE Pixel InAllChannels(F value) {
    return {{value, value, value}, value};
}

template <class Frame>
struct AffineSimilarity {
    using Output = Pixels<FloatStorage, Frame::alpha>;
    using In0 = Output;
    using In1 = Output;
    using In2 = Output;
    using Parameters = NoParameters;

    TQ_INLINE static Pixel At(const Parameters&, Pixel varianceA, Pixel varianceB, Pixel covariance) {
        return InAllChannels(Dissimilarity(varianceA, varianceB, covariance));
    }
};

/// The weight exp(-D / sigma^2) of a dissimilarity D.
template <class Frame>
struct AffineSimilarityExp {
    using Output = Frame;
    using In0 = Pixels<FloatStorage, Frame::alpha>;
    using In1 = NoInput;
    using In2 = NoInput;
    using Parameters = SimilarityParameters;

    TQ_INLINE static Pixel At(const Parameters& p, Pixel dissimilarity, Pixel, Pixel) {
        return InAllChannels(ExpOfNegative(Abs(dissimilarity.rgb.r) * p.exponentFactor));
    }
};

template <class Frame>
struct AffineSimilarityExp3 {
    using Output = Frame;
    using In0 = Pixels<FloatStorage, Frame::alpha>;
    using In1 = In0;
    using In2 = In0;
    using Parameters = SimilarityParameters;

    TQ_INLINE static Pixel At(const Parameters& p, Pixel varianceA, Pixel varianceB, Pixel covariance) {
        return InAllChannels(
            ExpOfNegative(Abs(Dissimilarity(varianceA, varianceB, covariance)) * p.exponentFactor));
    }
};

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
