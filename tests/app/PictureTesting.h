#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <type_traits>

#include "app/picture/Picture.h"

namespace TQ::App {

/// Calls visit(x, y, channel, sample) for every sample, row by row; `sample` refers to the stored one.
template <typename PictureType, typename Visit>
void ForSamples(PictureType& picture, Visit visit) {
    const auto visitAs = [&](auto zero) {
        using Stored = std::conditional_t<std::is_const_v<PictureType>, const decltype(zero), decltype(zero)>;
        for (int y = 0; y < picture.Height(); ++y) {
            for (int i = 0; i < 4 * picture.Width(); ++i) {
                visit(i / 4, y, i % 4, reinterpret_cast<Stored*>(picture.Row(y))[i]);
            }
        }
    };
    switch (picture.Depth()) {
        case SampleDepth::Byte:
            return visitAs(std::uint8_t{0});
        case SampleDepth::Short:
            return visitAs(std::uint16_t{0});
        case SampleDepth::Float:
            return visitAs(0.0f);
    }
}

inline double WhiteOf(SampleDepth depth) {
    return depth == SampleDepth::Byte ? 255 : depth == SampleDepth::Short ? 65535 : 1;
}

/// Every sample is value(x, y, channel), white being 1, rounded where it has to be.
template <typename Value>
PicturePointer MakePicture(int width, int height, SampleDepth depth, Value value) {
    auto picture = std::make_shared<Picture>(width, height, depth);
    ForSamples(*picture, [&](int x, int y, int channel, auto& sample) {
        const double rounding = depth == SampleDepth::Float ? 0 : 0.5;
        sample =
            static_cast<std::decay_t<decltype(sample)>>(value(x, y, channel) * WhiteOf(depth) + rounding);
    });
    return picture;
}

/// Same size, depth and pixels.
inline bool SamePixels(const Picture& a, const Picture& b) {
    bool same = a.Width() == b.Width() && a.Height() == b.Height() && a.Depth() == b.Depth();
    const auto bytes = static_cast<std::size_t>(a.Width() * 4 * BytesPerSample(a.Depth()));
    for (int y = 0; same && y < a.Height(); ++y) {
        same = std::memcmp(a.Row(y), b.Row(y), bytes) == 0;
    }
    return same;
}

}  // namespace TQ::App
