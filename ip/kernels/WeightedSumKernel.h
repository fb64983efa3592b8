#pragma once

// WeightedSum: a whole chain of TemporalAdd2 steps. Included by the level files only; see Vector.h.

#include "ip/kernels/PointKernels.h"

namespace TQ::IP::TQ_LEVEL {
namespace {

constexpr int aheadBytes = 1024;

/// One row of every input, from the same column on.
struct SumInputs {
    const unsigned char* rows[weightedMostInputs];
};

/// `vectors` whole vectors. Each row is fetched ahead, as some processors do not follow this many.
template <class Frame>
[[gnu::noinline]] void AddVectors(unsigned char* output, const SumInputs& inputs, int vectors, bool stream,
                                  const WeightedSumParameters& p) {
    using Sum = Pixels<FloatStorage, Frame::alpha>;
    const RowStores stores = StoresOf<Sum>(output, stream);
    const int first = p.startsFromSum ? 1 : 0;
    for (int i = 0; i < vectors; ++i) {
        Pixel sum{};
        if (p.startsFromSum) {
            sum = Sum::Load(inputs.rows[0] + i * Sum::vectorBytes);
        }
        for (int f = first; f < p.inputs; ++f) {
            const unsigned char* const pixels = inputs.rows[f] + i * Frame::vectorBytes;
            Prefetch<Frame::vectorBytes>(pixels + aheadBytes);
            const Pixel codes = Frame::LoadCodes(pixels);
            const F q = codes.a * (p.weights[f] * Frame::unit);
            sum = {MultiplyAdd(codes.rgb, q * Frame::unit, sum.rgb), sum.a + q};
        }
        StorePixels<Sum>(output + i * Sum::vectorBytes, sum, stores);
    }
}

template <class Frame>
void AddRow(unsigned char* output, const SumInputs& inputs, int width, bool stream,
            const WeightedSumParameters& p) {
    using Sum = Pixels<FloatStorage, Frame::alpha>;
    const auto bytesOf = [&](int f) {
        return f == 0 && p.startsFromSum ? Sum::pixelBytes : Frame::pixelBytes;
    };
    const int whole = width / lanes * lanes;
    AddVectors<Frame>(output, inputs, whole / lanes, stream, p);
    if (whole == width) {
        return;
    }
    unsigned char buffers[weightedMostInputs][Sum::vectorBytes];
    SumInputs rest;
    for (int f = 0; f < p.inputs; ++f) {
        __builtin_memset(buffers[f], 0, sizeof(buffers[f]));
        Copy(buffers[f], inputs.rows[f] + whole * bytesOf(f), (width - whole) * bytesOf(f));
        rest.rows[f] = buffers[f];
    }
    unsigned char sums[Sum::vectorBytes];
    AddVectors<Frame>(sums, rest, 1, false, p);
    Copy(output + whole * Sum::pixelBytes, sums, (width - whole) * Sum::pixelBytes);
}

template <class Frame>
bool RunWeightedSum(const ImageView& output, const ImageView* inputs, const Bounds& band,
                    const void* parameters, Image::Progress& progress) {
    using Sum = Pixels<FloatStorage, Frame::alpha>;
    const auto& p = *static_cast<const WeightedSumParameters*>(parameters);
    const bool stream = IsStreamed(output, Sum::pixelBytes);
    for (int y = band.y1; y < band.y2; ++y) {
        SumInputs rows;
        for (int f = 0; f < p.inputs; ++f) {
            const int bytes = f == 0 && p.startsFromSum ? Sum::pixelBytes : Frame::pixelBytes;
            rows.rows[f] = PixelAt(inputs[f], band.x1, y, bytes);
        }
        AddRow<Frame>(PixelAt(output, band.x1, y, Sum::pixelBytes), rows, band.x2 - band.x1, stream, p);
        ReportRow(progress, band, y);
    }
    EndStream();
    return true;
}

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
