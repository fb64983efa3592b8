#pragma once

// Kernels that make pixels out of nothing but their place. Included by the level files only; see Vector.h.

#include "ip/kernels/KernelParameters.h"
#include "ip/kernels/PixelAccess.h"
#include "ip/records/Progress.h"

namespace TQ::IP::TQ_LEVEL {
namespace {

/// Stores one vector of pixels, or the first `count` of it.
template <class Format>
TQ_INLINE void StoreSome(unsigned char* target, const Pixel& pixel, int count) {
    if (count == lanes) {
        Format::Store(target, pixel);
        return;
    }
    unsigned char buffer[Format::vectorBytes];
    Format::Store(buffer, pixel);
    Copy(target, buffer, count * Format::pixelBytes);
}

/// The colour with its channels in the order of memory.
template <bool BlueFirst>
TQ_INLINE Color InMemoryOrder(Color color) {
    return BlueFirst ? Color{color.b, color.g, color.r} : color;
}

TQ_INLINE Color SplatColor(const float (&rgb)[3]) {
    return {Splat(rgb[0]), Splat(rgb[1]), Splat(rgb[2])};
}

template <class Format, bool BlueFirst>
bool RunSolid(const ImageView& output, const ImageView*, const Bounds& band, const void* parameters,
              Image::Progress& progress) {
    const auto& record = *static_cast<const SolidParameters*>(parameters);
    const Pixel pixel = {InMemoryOrder<BlueFirst>(SplatColor(record.color)), Splat(1)};
    unsigned char packed[Format::vectorBytes];
    Format::Store(packed, pixel);
    for (int y = band.y1; y < band.y2; ++y) {
        unsigned char* target = PixelAt(output, band.x1, y, Format::pixelBytes);
        int left = band.x2 - band.x1;
        for (; left >= lanes; left -= lanes, target += Format::vectorBytes) {
            __builtin_memcpy(target, packed, sizeof(packed));
        }
        Copy(target, packed, left * Format::pixelBytes);
        ReportRow(progress, band, y);
    }
    return true;
}

/// Four colours at t = 0, amount1, amount2 and 1, linear between them. Where two stops coincide the quotient
/// is not finite, and not chosen.
TQ_INLINE Color RampColor(const RampParameters& p, F t) {
    const F positions[3] = {t / p.amount1, (t - p.amount1) / (p.amount2 - p.amount1),
                            (t - p.amount2) / (1.0F - p.amount2)};
    F c[3];
    for (int i = 0; i < 3; ++i) {
        F segments[3];
        for (int s = 0; s < 3; ++s) {
            segments[s] =
                MultiplyAdd(Splat(p.colors[s + 1][i] - p.colors[s][i]), positions[s], Splat(p.colors[s][i]));
        }
        c[i] = t < p.amount1 ? segments[0] : (t < p.amount2 ? segments[1] : segments[2]);
        c[i] = t >= 1.0F ? Splat(p.colors[3][i]) : c[i];
        c[i] = t <= 0.0F ? Splat(p.colors[0][i]) : c[i];
    }
    return {c[0], c[1], c[2]};
}

template <class Format, bool BlueFirst>
bool RunRamp(const ImageView& output, const ImageView*, const Bounds& band, const void* parameters,
             Image::Progress& progress) {
    const auto& p = *static_cast<const RampParameters*>(parameters);
    static constexpr float laneNumbers[16] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
    const F lane = Read<F>(laneNumbers);
    for (int y = band.y1; y < band.y2; ++y) {
        const float along = (static_cast<float>(y) - p.point[1]) * p.direction[1];
        for (int x = band.x1; x < band.x2; x += lanes) {
            const F t =
                MultiplyAdd(lane + static_cast<float>(x) - p.point[0], Splat(p.direction[0]), Splat(along));
            const Pixel pixel = {InMemoryOrder<BlueFirst>(RampColor(p, t)), Splat(1)};
            StoreSome<Format>(PixelAt(output, x, y, Format::pixelBytes), pixel, Smaller(lanes, band.x2 - x));
        }
        ReportRow(progress, band, y);
    }
    return true;
}

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
