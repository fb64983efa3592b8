#include "bench/Pictures.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <map>
#include <tuple>
#include <utility>

#include "bench/Options.h"

namespace TQ::Bench {

namespace {

constexpr std::size_t ringBytes = std::size_t{256} << 20;
constexpr int textureSize = 1024;
constexpr float panPerFrame = 2.5F;  ///< pixels

/// A texture in 0..1 that repeats every textureSize pixels, with detail of several sizes.
class Texture {
  public:
    Texture() : _values(std::size_t{textureSize} * textureSize) {
        for (int y = 0; y < textureSize; ++y) {
            for (int x = 0; x < textureSize; ++x) {
                _values[Index(x, y)] =
                    0.5F * Octave(x, y, 64) + 0.3F * Octave(x, y, 16) + 0.2F * Octave(x, y, 4);
            }
        }
    }
    float At(int x, int y) const { return _values[Index(x & (textureSize - 1), y & (textureSize - 1))]; }
    /// Between two pixels; `x` is not negative.
    float Between(float x, int y) const {
        const int left = static_cast<int>(x);
        const float value = At(left, y);
        return value + (At(left + 1, y) - value) * (x - static_cast<float>(left));
    }

  private:
    static std::size_t Index(int x, int y) {
        return static_cast<std::size_t>(y) * textureSize + static_cast<std::size_t>(x);
    }
    static float Noise(int x, int y) {
        auto bits = static_cast<std::uint32_t>(x) * 0x9E3779B1U ^ static_cast<std::uint32_t>(y) * 0x85EBCA77U;
        bits = (bits ^ (bits >> 15)) * 0x2C1B3C6DU;
        bits ^= bits >> 13;
        return static_cast<float>(bits >> 8) / 16777216.0F;
    }
    /// Noise at the corners of cells of `size` pixels, smoothly in between.
    static float Octave(int x, int y, int size) {
        const int cells = textureSize / size;
        const auto corner = [&](int dx, int dy) {
            return Noise((x / size + dx) % cells + size * 4096, (y / size + dy) % cells);
        };
        const auto smooth = [size](int at) {
            const float t = static_cast<float>(at % size) / static_cast<float>(size);
            return t * t * (3 - 2 * t);
        };
        const float u = smooth(x);
        const float v = smooth(y);
        const float above = corner(0, 0) + (corner(1, 0) - corner(0, 0)) * u;
        const float below = corner(0, 1) + (corner(1, 1) - corner(0, 1)) * u;
        return above + (below - above) * v;
    }
    std::vector<float> _values;
};

using Pixel = float[4];

void FillFramePixel(const Texture& texture, int x, int y, int time, Pixel& pixel) {
    const float panned = static_cast<float>(x) + panPerFrame * static_cast<float>(time);
    const float detail = texture.Between(panned, y);
    pixel[0] = 0.1F + 0.7F * detail;
    pixel[1] = 0.15F + 0.6F * detail;
    pixel[2] = 0.2F + 0.5F * texture.Between(panned, y + textureSize / 2);
    pixel[3] = 1.0F;
}

void FillPixel(const Texture& texture, Content content, int x, int y, int time, Pixel& pixel) {
    FillFramePixel(texture, x, y, time, pixel);
    switch (content) {
        case Content::Mask:
            std::fill(std::begin(pixel), std::end(pixel), texture.At(x, y + 7 * time));
            break;
        case Content::Accumulator: {
            const float weight = 0.5F + texture.At(x + 100, y);
            std::transform(std::begin(pixel), std::end(pixel), std::begin(pixel),
                           [weight](float value) { return value * weight; });
            break;
        }
        case Content::Flow:
            pixel[0] = 6.0F * texture.At(x / 8, y / 8) - 2.5F;
            pixel[1] = 4.0F * texture.At(x / 8 + 50, y / 8 + 50) - 1.5F;
            pixel[2] = pixel[3] = 0.0F;
            break;
        default:
            break;
    }
}

void StorePixel(unsigned char* target, int bits, const Pixel& pixel) {
    if (bits == 32) {
        std::memcpy(target, pixel, sizeof pixel);
        return;
    }
    for (int c = 0; c < 4; ++c) {
        target[c] = static_cast<unsigned char>(std::clamp(pixel[c] * 255.0F + 0.5F, 0.0F, 255.0F));
    }
}

}  // namespace

PooledHost& HostWith(int threads) {
    static std::map<int, std::unique_ptr<PooledHost>> hosts;
    std::unique_ptr<PooledHost>& host = hosts[threads];
    if (!host) {
        host = std::make_unique<PooledHost>(threads);
    }
    return *host;
}

std::shared_ptr<IP::Layer> MakePicture(IP::Host& host, const IP::Bounds& bounds, int bits, Content content,
                                       int time) {
    if (content == Content::MovedFrame) {
        return MakePicture(host, bounds, bits, Content::Frame, time + 1);
    }
    static const Texture texture;
    auto layer = std::make_shared<IP::Layer>(host);
    layer->Allocate(bounds, bits, 4);
    if (content == Content::Output) {
        layer->Implement().ClearAll();  // so that its pages are in place
        return layer;
    }
    for (int y = bounds.y1; y < bounds.y2; ++y) {
        // Bands that roll from frame to frame.
        const float light =
            content == Content::Frame
                ? 1.0F + 0.1F * std::sin(0.01F * static_cast<float>(y) + 2.1F * static_cast<float>(time))
                : 1.0F;
        for (int x = bounds.x1; x < bounds.x2; ++x) {
            Pixel pixel;
            FillPixel(texture, content, x, y, time, pixel);
            for (int c = 0; c < 3; ++c) {
                pixel[c] *= light;
            }
            StorePixel(layer->PixelAddress(x, y), bits, pixel);
        }
    }
    return layer;
}

PictureRing::PictureRing(const IP::Bounds& bounds, int bits, Content content) {
    PooledHost& host = HostWith(1);
    _pictures.push_back(MakePicture(host, bounds, bits, content, 0));
    const auto bytes =
        static_cast<std::size_t>(First().RowBytes()) * static_cast<std::size_t>(First().Height());
    const std::size_t count = GetOptions().quick ? 2 : std::clamp<std::size_t>(ringBytes / bytes, 2, 64);
    while (_pictures.size() < count) {
        auto copy = std::make_shared<IP::Layer>(host);
        copy->AllocateRegionLike(First(), bounds);
        copy->CopyFrom(First());
        _pictures.push_back(std::move(copy));
    }
}

IP::Layer& PictureRing::Next() {
    _next = (_next + 1) % _pictures.size();
    return *_pictures[_next];
}

PictureRing& RingOf(const IP::Bounds& bounds, int bits, Content content) {
    using Key = std::tuple<std::int32_t, std::int32_t, int, Content>;
    static std::map<Key, std::unique_ptr<PictureRing>> rings;
    std::unique_ptr<PictureRing>& ring = rings[Key{bounds.x2, bounds.y2, bits, content}];
    if (!ring) {
        ring = std::make_unique<PictureRing>(bounds, bits, content);
    }
    return *ring;
}

}  // namespace TQ::Bench
