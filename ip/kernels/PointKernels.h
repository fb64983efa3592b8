#pragma once

// Kernels that compute a pixel from the pixels at the same place. Each is a struct that reads like its
// formula: Output and In0 to In2 are the pixel types, Parameters its record, At one vector of pixels.
// RunPoint is the loop around them. Included by the level files only; see Vector.h.

#include "ip/kernels/KernelParameters.h"
#include "ip/kernels/PixelAccess.h"
#include "ip/kernels/StreamStores.h"
#include "ip/records/Progress.h"

namespace TQ::IP::TQ_LEVEL {
namespace {

struct NoInput {
    static constexpr int pixelBytes = 0;
    static constexpr int vectorBytes = 0;
    TQ_INLINE static Pixel Load(const unsigned char*) { return Pixel{}; }
};
struct NoParameters {};

/// The sum of weighted frames: q = w * frame.a is a frame's weight at a pixel; an accumulator's colours hold
/// the sum of q * rgb and its alpha the sum of q.
template <class Frame>
struct TemporalAdd1 {
    using Output = Pixels<FloatStorage, Frame::alpha>;
    using In0 = Frame;
    using In1 = NoInput;
    using In2 = NoInput;
    using Parameters = WeightParameters;

    TQ_INLINE static Pixel At(const Parameters& p, Pixel frame, Pixel, Pixel) {
        const F q = frame.a * p.weight;
        return {frame.rgb * q, q};
    }
};

template <class Frame>
struct TemporalAdd2 {
    using Output = Pixels<FloatStorage, Frame::alpha>;
    using In0 = Frame;
    using In1 = Output;
    using In2 = NoInput;
    using Parameters = WeightParameters;

    TQ_INLINE static Pixel At(const Parameters& p, Pixel frame, Pixel sum, Pixel) {
        const F q = frame.a * p.weight;
        return {MultiplyAdd(frame.rgb, q, sum.rgb), sum.a + q};
    }
};

/// The mask's alpha tells how much of the old sum stays.
template <class Frame>
struct TemporalMultAddMask {
    using Output = Pixels<FloatStorage, Frame::alpha>;
    using In0 = Frame;
    using In1 = Output;
    using In2 = Frame;
    using Parameters = WeightParameters;

    TQ_INLINE static Pixel At(const Parameters& p, Pixel frame, Pixel sum, Pixel mask) {
        const F q = frame.a * p.weight;
        return {MultiplyAdd(sum.rgb, mask.a, frame.rgb * q), MultiplyAdd(sum.a, mask.a, q)};
    }
};

/// Both inputs are sums already, so the first one's alpha is not multiplied in.
template <class Frame>
struct TemporalAddMask {
    using Output = Pixels<FloatStorage, Frame::alpha>;
    using In0 = Output;
    using In1 = Output;
    using In2 = Frame;
    using Parameters = WeightParameters;

    TQ_INLINE static Pixel At(const Parameters& p, Pixel sum0, Pixel sum1, Pixel mask) {
        const F w = Splat(p.weight);
        return {MultiplyAdd(sum0.rgb, w, sum1.rgb * mask.a), MultiplyAdd(sum0.a, w, sum1.a * mask.a)};
    }
};

constexpr float leastFullWeight = 1.17549435e-38F;  ///< with all bits of a float

/// What turns a sum into a mean; 1 where nothing was summed. Lesser weights count as the least full one.
TQ_INLINE F InverseWeight(F weight) {
    return weight > 0.0F ? Reciprocal(Max(weight, Splat(leastFullWeight))) : Splat(1);
}

template <class Frame>
struct TemporalUnmult {
    using Output = Frame;
    using In0 = Frame;
    using In1 = Pixels<FloatStorage, Frame::alpha>;
    using In2 = NoInput;
    using Parameters = NoParameters;

    TQ_INLINE static Pixel At(const Parameters&, Pixel frame, Pixel sum, Pixel) {
        return {sum.rgb * InverseWeight(sum.a), frame.a};
    }
};

/// Adds the difference between the picture as it should be (`target`, a sum to be normalised when Normalise)
/// and as it is (`low`) to the detailed picture. With Threshold large differences are left out: a Gaussian of
/// their length.
template <class Frame, bool Normalise, bool Threshold>
struct AddHighPass {
    using Output = InCodes<Frame>;
    using In0 = InCodes<Frame>;
    using In1 = InCodes<Frame>;
    using In2 = Pixels<FloatStorage, Frame::alpha>;
    using Parameters = HighPassParameters;

    TQ_INLINE static Pixel At(const Parameters& p, Pixel detail, Pixel low, Pixel target) {
        F scale = Splat(In1::white);
        if constexpr (Normalise) {
            scale = InverseWeight(target.a) * In1::white;
        }
        const Color d = MultiplySubtract(target.rgb, scale, low.rgb);
        if constexpr (Threshold) {
            const F squaredLength = MultiplyAdd(d.r, d.r, MultiplyAdd(d.g, d.g, d.b * d.b));
            const float factor = p.exponentFactor / (In1::white * In1::white);
            return {MultiplyAdd(d, ExpOfNegative(squaredLength * factor), detail.rgb), detail.a};
        }
        return {detail.rgb + d, detail.a};
    }
};

/// What RunPoint needs for each input: its pixels at the start of a row, and the distance to those of the
/// next row, which are fetched ahead. The processor foresees less: it stops at the end of each page.
struct PointInputs {
    const unsigned char* pixels[3];
    std::int64_t rowBytes[3];
};

template <class Body>
TQ_INLINE void FetchAhead(const PointInputs& inputs) {
    Prefetch<Body::In0::vectorBytes>(inputs.pixels[0] + inputs.rowBytes[0]);
    Prefetch<Body::In1::vectorBytes>(inputs.pixels[1] + inputs.rowBytes[1]);
    Prefetch<Body::In2::vectorBytes>(inputs.pixels[2] + inputs.rowBytes[2]);
}

/// Goes on by so many pixels of the row.
template <class Body>
TQ_INLINE void Advance(PointInputs& inputs, int pixels) {
    inputs.pixels[0] += pixels * Body::In0::pixelBytes;
    inputs.pixels[1] += pixels * Body::In1::pixelBytes;
    inputs.pixels[2] += pixels * Body::In2::pixelBytes;
}

/// `vectors` whole vectors of one row.
template <class Body>
[[gnu::noinline]] void RunPointVectors(unsigned char* output, const PointInputs& first, int vectors,
                                       RowStores stores, const typename Body::Parameters& parameters) {
    PointInputs inputs = first;
    for (int i = 0; i < vectors; ++i) {
        FetchAhead<Body>(inputs);
        const Pixel result = Body::At(parameters, Body::In0::Load(inputs.pixels[0]),
                                      Body::In1::Load(inputs.pixels[1]), Body::In2::Load(inputs.pixels[2]));
        StorePixels<typename Body::Output>(output, result, stores);
        output += Body::Output::vectorBytes;
        Advance<Body>(inputs, lanes);
    }
}

/// The pixels of a row that are no whole vector, through buffers that are as long as one, so that nothing
/// outside the images is touched.
template <class Body>
void RunPointRest(unsigned char* output, const PointInputs& inputs, int width,
                  const typename Body::Parameters& parameters) {
    constexpr int inputBytes[3] = {Body::In0::pixelBytes, Body::In1::pixelBytes, Body::In2::pixelBytes};
    unsigned char buffers[4][lanes * 16];
    PointInputs rest{};
    for (int i = 0; i < 3; ++i) {
        __builtin_memset(buffers[i], 0, sizeof(buffers[i]));
        Copy(buffers[i], inputs.pixels[i], width * inputBytes[i]);
        rest.pixels[i] = buffers[i];
    }
    RunPointVectors<Body>(buffers[3], rest, 1, RowStores::Common, parameters);
    Copy(output, buffers[3], width * Body::Output::pixelBytes);
}

/// One row.
template <class Body>
TQ_INLINE void RunPointRow(unsigned char* output, const PointInputs& first, int width, bool stream,
                           const typename Body::Parameters& parameters) {
    using Output = typename Body::Output;
    PointInputs inputs = first;
    const auto next = [&](int pixels) {
        width -= pixels;
        output += pixels * Output::pixelBytes;
        Advance<Body>(inputs, pixels);
    };
    if (stream && Output::vectorBytes % sizeof(Raw) == 0) {
        // To where whole vectors can be streamed.
        const auto bytes = static_cast<int>(-reinterpret_cast<std::uintptr_t>(output) % sizeof(Raw));
        if (const int pixels = Smaller(bytes / Output::pixelBytes, width); pixels > 0) {
            RunPointRest<Body>(output, inputs, pixels, parameters);
            next(pixels);
        }
    }
    const int vectors = width / lanes;
    RunPointVectors<Body>(output, inputs, vectors, StoresOf<Output>(output, stream), parameters);
    next(vectors * lanes);
    if (width > 0) {
        RunPointRest<Body>(output, inputs, width, parameters);
    }
}

/// One vector of each of `rows` rows.
template <class Body>
[[gnu::noinline]] void RunPointColumn(unsigned char* output, std::int64_t outputRowBytes,
                                      const PointInputs& first, int rows, RowStores stores,
                                      const typename Body::Parameters& parameters) {
    PointInputs inputs = first;
    for (int r = 0; r < rows; ++r, output += outputRowBytes) {
        PrefetchNear<Body::In0::vectorBytes>(inputs.pixels[0] + Body::In0::vectorBytes);
        const Pixel result = Body::At(parameters, Body::In0::Load(inputs.pixels[0]),
                                      Body::In1::Load(inputs.pixels[1]), Body::In2::Load(inputs.pixels[2]));
        StorePixels<typename Body::Output>(output, result, stores);
        for (int i = 0; i < 3; ++i) {
            inputs.pixels[i] += inputs.rowBytes[i];
        }
    }
}

/// A column of `width` pixels, at most a vector, in `rows` rows.
template <class Body>
void RunPointColumn(unsigned char* output, std::int64_t outputRowBytes, const PointInputs& first, int width,
                    int rows, RowStores stores, const typename Body::Parameters& parameters) {
    if (width < lanes) {
        PointInputs inputs = first;
        for (int r = 0; r < rows; ++r, output += outputRowBytes) {
            RunPointRest<Body>(output, inputs, width, parameters);
            for (int i = 0; i < 3; ++i) {
                inputs.pixels[i] += inputs.rowBytes[i];
            }
        }
    } else {
        RunPointColumn<Body>(output, outputRowBytes, first, rows, stores, parameters);
    }
}

template <class Body>
bool RunPoint(const ImageView& output, const ImageView* inputs, const Bounds& band, const void* parameters,
              Image::Progress& progress) {
    using Parameters = typename Body::Parameters;
    constexpr int inputBytes[3] = {Body::In0::pixelBytes, Body::In1::pixelBytes, Body::In2::pixelBytes};
    static constexpr Parameters none{};
    const Parameters& record = parameters != nullptr ? *static_cast<const Parameters*>(parameters) : none;
    static constexpr unsigned char noPixels = 0;
    const bool stream = IsStreamed(output, Body::Output::pixelBytes);
    for (int y = band.y1; y < band.y2; ++y) {
        PointInputs rows{{&noPixels, &noPixels, &noPixels}, {}};
        for (int i = 0; i < 3; ++i) {
            if (inputBytes[i] > 0) {
                rows.pixels[i] = PixelAt(inputs[i], band.x1, y, inputBytes[i]);
                rows.rowBytes[i] = inputs[i].rowBytes;
            }
        }
        RunPointRow<Body>(PixelAt(output, band.x1, y, Body::Output::pixelBytes), rows, band.x2 - band.x1,
                          stream, record);
        ReportRow(progress, band, y);
    }
    EndStream();
    return true;
}

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
