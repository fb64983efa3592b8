#include "effect/DeflickerGraph.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "ip/Evaluation.h"
#include "ip/filters/GaussCoefficients.h"
#include "ip/records/Exception.h"
#include "support/MemoryHost.h"

namespace TQ::Effect {
namespace {

constexpr int width = 37;
constexpr int height = 29;
constexpr IP::Bounds bounds{0, 0, width, height};

/// A picture in double precision; reads beyond it repeat the edge.
struct Image {
    std::vector<double> values = std::vector<double>(std::size_t{width} * height * 4);
    double& At(int x, int y, int c) { return values[(static_cast<std::size_t>(y) * width + x) * 4 + c]; }
    double Get(int x, int y, int c) const {
        x = std::clamp(x, 0, width - 1);
        y = std::clamp(y, 0, height - 1);
        return values[(static_cast<std::size_t>(y) * width + x) * 4 + c];
    }
};

Image Make(const std::function<double(int x, int y, int c)>& value) {
    Image image;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            for (int c = 0; c < 4; ++c) {
                image.At(x, y, c) = value(x, y, c);
            }
        }
    }
    return image;
}

/// A textured scene with a moving bright square, under a gain that changes over time and rows.
Image Frame(int time) {
    return Make([time](int x, int y, int c) {
        if (c == 3) {
            return 1.0;
        }
        const double texture = 0.4 + 0.2 * std::sin(0.9 * x + c) * std::cos(0.7 * y);
        const bool square = x >= 8 + 3 * time && x < 16 + 3 * time && y >= 10 && y < 18;
        const double gain = 1.0 + 0.1 * std::sin(0.3 * y + 2.1 * time);
        return gain * (square ? 0.9 : texture);
    });
}

Image Blur(const Image& image, double sigma) {
    const IP::GaussCoefficients axis = IP::MakeGaussCoefficients(sigma, 0);
    const auto weight = [&axis](int j) {
        const auto at = static_cast<std::size_t>(2 * std::abs(j));
        return (1.0 + axis.table[at] + axis.table[at + 1]) / (2 * axis.radius + 1);
    };
    const auto pass = [&](const Image& from, int dx, int dy) {
        return Make([&](int x, int y, int c) {
            double sum = 0;
            for (int j = -axis.radius; j <= axis.radius; ++j) {
                sum += weight(j) * from.Get(x + j * dx, y + j * dy, c);
            }
            return sum;
        });
    };
    return pass(pass(image, 1, 0), 0, 1);
}

/// Mean over 5 by 5 pixels of the similarity of `frame` to the normalised `sum`.
Image Mask(const Image& frame, const Image& sum) {
    const Image similarity = Make([&](int x, int y, int) {
        double product = 1.0;
        for (int c = 0; c < 3; ++c) {
            const double mean = sum.Get(x, y, c) / std::max(sum.Get(x, y, 3), 0.0001);
            product *= 1.0 - std::min(std::abs(frame.Get(x, y, c) - mean) / 0.2, 1.0);
        }
        return product;
    });
    return Make([&](int x, int y, int c) {
        double total = 0;
        for (int dy = -2; dy <= 2; ++dy) {
            for (int dx = -2; dx <= 2; ++dx) {
                total += similarity.Get(x + dx, y + dy, c);
            }
        }
        return total / 25;
    });
}

void AddGated(Image& sum, bool& empty, const Image& frame, double weight, bool masked) {
    const Image mask = masked && !empty ? Mask(frame, sum) : Make([](int, int, int) { return 1.0; });
    sum = Make([&](int x, int y, int c) {
        const double value = c == 3 ? 1.0 : frame.Get(x, y, c);
        return (empty ? 0.0 : sum.Get(x, y, c) * mask.Get(x, y, c)) + value * weight;
    });
    empty = false;
}

/// The effect's formula, written out: two gated half sums, joined at the current frame, low frequencies
/// exchanged.
Image Expected(const std::map<int, Image>& clip, const DeflickerSettings& settings) {
    const int radius = settings.timeRadius;
    Image past;
    Image future;
    bool noPast = true;
    bool noFuture = true;
    for (int offset = -radius; offset < 0; ++offset) {
        if (clip.contains(offset)) {
            AddGated(past, noPast, clip.at(offset), settings.Weight(offset), settings.useMask);
        }
    }
    for (int offset = radius; offset >= 0; --offset) {
        if (clip.contains(offset)) {
            AddGated(future, noFuture, clip.at(offset), settings.Weight(offset), settings.useMask);
        }
    }
    const Image& source = clip.at(0);
    const Image joint =
        noPast || !settings.useMask ? Make([](int, int, int) { return 1.0; }) : Mask(source, past);
    const Image sum = Make([&](int x, int y, int c) {
        return future.Get(x, y, c) + (noPast ? 0.0 : past.Get(x, y, c) * joint.Get(x, y, c));
    });
    const Image low = settings.sensitivityPixels > 0 ? Blur(sum, settings.sensitivityPixels) : sum;
    const Image sourceLow =
        settings.sensitivityPixels > 0 ? Blur(source, settings.sensitivityPixels) : source;
    const double k = -0.5 / std::max(double{settings.highPassThreshold} * settings.highPassThreshold, 0.001);
    return Make([&](int x, int y, int c) {
        if (c == 3) {
            return source.Get(x, y, 3);
        }
        double squares = 0;
        for (int i = 0; i < 3; ++i) {
            squares += std::pow(low.Get(x, y, i) / low.Get(x, y, 3) - sourceLow.Get(x, y, i), 2);
        }
        const double keep = settings.highPassThreshold < 1.0F ? std::exp(k * squares) : 1.0;
        return source.Get(x, y, c) + keep * (low.Get(x, y, c) / low.Get(x, y, 3) - sourceLow.Get(x, y, c));
    });
}

/// A clip of frames in memory around the current one.
class Clip : public ExtraFrames {
  public:
    Clip(TQ::Test::MemoryHost& host, const std::map<int, Image>& clip, int radius, int bits)
        : _radius(radius) {
        const double white = bits == 8 ? 255.0 : (bits == 16 ? 65535.0 : 1.0);
        for (const auto& [offset, image] : clip) {
            auto layer = TQ::Test::MakeLayer(host, bounds, bits);
            TQ::Test::FillLayer(*layer, [&](int x, int y, int c) {
                const double value = image.Get(x, y, c) * white;
                return bits == 32 ? value : std::round(std::min(value, white));
            });
            _layers[offset] = layer;
        }
    }
    bool Exists(std::size_t slot) override { return _layers.contains(OffsetOf(slot)); }
    std::shared_ptr<IP::FilterBase> Frame(std::size_t slot) override { return Leaf(OffsetOf(slot)); }
    std::shared_ptr<IP::FilterBase> Leaf(int offset) {
        return std::make_shared<IP::FilterLayer>(_layers.at(offset).get());
    }
    IP::Layer& Layer(int offset) { return *_layers.at(offset); }

  private:
    int OffsetOf(std::size_t slot) const {
        const int offset = static_cast<int>(slot) - _radius;
        return offset < 0 ? offset : offset + 1;
    }
    int _radius;
    std::map<int, std::shared_ptr<IP::Layer>> _layers;
};

DeflickerSettings SettingsFor(double sensitivity, int radius, double threshold, int detect) {
    DeflickerValues values;
    values.sensitivity = sensitivity;
    values.timeRadius = radius;
    values.threshold = threshold;
    values.detectMotion = detect;
    return DeriveSettings(values, 1.0F, 1.0F);
}

std::shared_ptr<IP::Layer> Render(TQ::Test::MemoryHost& host, Clip& clip, const DeflickerSettings& settings,
                                  int bits) {
    auto output = TQ::Test::MakeLayer(host, bounds, bits);
    IP::RenderGraph(BuildDeflickerGraph(settings, clip.Leaf(0), clip), host, output);
    return output;
}

std::map<int, Image> FramesAt(const std::vector<int>& offsets) {
    std::map<int, Image> clip;
    for (const int offset : offsets) {
        clip[offset] = Frame(offset);
    }
    return clip;
}

void ExpectNear(const IP::Layer& layer, const Image& expected, double white, double tolerance) {
    double worst = 0;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            for (int c = 0; c < 4; ++c) {
                const double wanted =
                    std::clamp(expected.Get(x, y, c), white > 1 ? 0.0 : -9.0, white > 1 ? 1.0 : 9.0);
                worst = std::max(worst, std::abs(TQ::Test::GetValue(layer, x, y, c) / white - wanted));
            }
        }
    }
    EXPECT_LE(worst, tolerance);
}

struct Case {
    const char* name;
    double sensitivity;
    double threshold;
    int detect;
    std::vector<int> offsets;  ///< frames that the clip has, 0 among them
};

class DeflickerGraph : public testing::TestWithParam<Case> {};

TEST_P(DeflickerGraph, rendersTheFormulaInFloatAndInIntegers) {
    const Case& row = GetParam();
    const std::map<int, Image> frames = FramesAt(row.offsets);
    const DeflickerSettings settings = SettingsFor(row.sensitivity, 3, row.threshold, row.detect);
    const Image expected = Expected(frames, settings);
    TQ::Test::MemoryHost host(2);
    Clip floatClip(host, frames, 3, 32);
    ExpectNear(*Render(host, floatClip, settings, 32), expected, 1.0, 2e-4);
    Clip shortClip(host, frames, 3, 16);
    ExpectNear(*Render(host, shortClip, settings, 16), expected, 65535.0, 3e-4);
    // 8-bit blurs and masks are rounded on the way: a few code values.
    Clip byteClip(host, frames, 3, 8);
    ExpectNear(*Render(host, byteClip, settings, 8), expected, 255.0, 4.0 / 255.0);
}

INSTANTIATE_TEST_SUITE_P(Settings, DeflickerGraph,
                         testing::Values(Case{"masked", 2, 100, detectFast, {-3, -2, -1, 0, 1, 2, 3}},
                                         Case{"unmasked", 2, 100, detectOff, {-3, -2, -1, 0, 1, 2, 3}},
                                         Case{"threshold", 2, 10, detectOff, {-3, -2, -1, 0, 1, 2, 3}},
                                         Case{"meanOnly", 0, 100, detectFast, {-3, -2, -1, 0, 1, 2, 3}},
                                         Case{"noBlurThreshold", 0, 50, detectOff, {-3, -2, -1, 0, 1, 2, 3}},
                                         Case{"firstFrame", 2, 100, detectFast, {0, 1, 2, 3}},
                                         Case{"lastFrame", 2, 100, detectFast, {-3, -2, -1, 0}},
                                         Case{"lastFrameUnmasked", 2, 100, detectOff, {-3, -2, -1, 0}},
                                         Case{"nearEnds", 2, 100, detectFast, {-1, 0, 1, 2}}),
                         [](const testing::TestParamInfo<Case>& row) { return std::string(row.param.name); });

TEST(DeflickerGraphEnds, aClipOfOneFrameComesOutAsItWent) {
    TQ::Test::MemoryHost host;
    Clip clip(host, FramesAt({0}), 8, 32);
    const auto output = Render(host, clip, SettingsFor(3, 8, 100, detectFast), 32);
    ExpectNear(*output, Frame(0), 1.0, 1e-5);
}

TEST(DeflickerGraphEnds, showMaskShowsTheFirstFrameThatExists) {
    TQ::Test::MemoryHost host;
    DeflickerSettings settings = SettingsFor(3, 8, 100, detectFast);
    settings.render = renderMask;
    // One slot on each side; only the next frame exists.
    Clip clip(host, FramesAt({0, 1}), 1, 32);
    const auto mask = Render(host, clip, settings, 32);
    Image sum = Frame(1);
    ExpectNear(*mask, Mask(Frame(0), sum), 1.0, 1e-5);
    settings.detectKind = DetectKind::Solid;
    const auto white = Render(host, clip, settings, 32);
    ExpectNear(*white, Make([](int, int, int) { return 1.0; }), 1.0, 0.0);
}

TEST(DeflickerGraphEnds, bytesDoNotDependOnTheThreadsAndMemoryStaysAtAFewImages) {
    std::vector<int> offsets;
    for (int offset = -8; offset <= 8; ++offset) {
        offsets.push_back(offset);
    }
    const DeflickerSettings settings = SettingsFor(3, 8, 100, detectFast);
    std::vector<std::vector<double>> results;
    for (const int threads : {1, 2, 5}) {
        TQ::Test::MemoryHost host(threads);
        Clip clip(host, FramesAt(offsets), 8, 8);
        const std::int64_t held = host.counters->bytes;
        host.counters->ResetPeak();
        const auto output = Render(host, clip, settings, 8);
        // Accumulators of both halves and the step in work: not one per frame.
        const std::int64_t accumulator = std::int64_t{64} * 10 * height;
        EXPECT_LE(host.counters->peakBytes - held, 6 * accumulator);
        std::vector<double> values;
        for (int i = 0; i < width * height * 4; ++i) {
            values.push_back(TQ::Test::GetValue(*output, i / 4 % width, i / 4 / width, i % 4));
        }
        results.push_back(values);
    }
    EXPECT_EQ(results[0], results[1]);
    EXPECT_EQ(results[0], results[2]);
}

}  // namespace
}  // namespace TQ::Effect
