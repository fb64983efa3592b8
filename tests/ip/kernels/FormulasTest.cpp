// The baseline against each kernel's formula, written once more in double precision; and the values that are
// exact.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>

#include "ip/kernels/KernelBench.h"

namespace TQ::IP::Test {
namespace {

constexpr Bounds bounds{4, -2, 33, 17};
constexpr KernelFormat formats[] = {KernelFormat::Byte_ARGB, KernelFormat::ShortOther_RGBA,
                                    KernelFormat::Float_RGBA};

void RunBaseline(KernelId id, KernelFormat format, TestImage& output,
                 const std::vector<const TestImage*>& inputs, const void* parameters) {
    std::vector<ImageView> views;
    for (const TestImage* input : inputs) {
        views.push_back(input->View());
    }
    RecordingProgress progress;
    FindKernel(IsaLevel::Baseline, id, format)(output.View(), views.data(), output.View().bounds, parameters,
                                               progress);
}

/// What may lie between an exact value and the one stored: truncation, and float rounding.
double Allowed(const Storage& storage, double value) {
    return storage.bits == 32 ? 2e-5 * std::max(1.0, std::abs(value)) : 1.05 / storage.white;
}

double Stored(const Storage& storage, double value) {
    return storage.bits == 32 ? value : std::clamp(value, 0.0, 1.0);
}

/// Sample of input `i`, channel `c`, where 3 is alpha and 0 to 2 the colours in the order of memory.
struct Samples {
    std::vector<std::unique_ptr<TestImage>> images;

    double operator()(int i, int x, int y, int c) const {
        const TestImage& image = *images[static_cast<std::size_t>(i)];
        return image.Clamped(x, y, Channel(image.Format(), c));
    }
    static int Channel(const Storage& storage, int c) {
        return c == 3 ? storage.alpha : c + (storage.alpha == 0 ? 1 : 0);
    }
};

using Formula = std::function<double(const Samples& in, int x, int y, int c)>;

constexpr double w = 0.7F;

double Inverse(double weight) {
    return weight > 0 ? 1 / weight : 1;
}

double HighPass(const Samples& in, int x, int y, int c, bool normalise, double factor) {
    const double s = normalise ? Inverse(in(2, x, y, 3)) : 1;
    double squares = 0;
    for (int i = 0; i < 3; ++i) {
        squares += std::pow(in(2, x, y, i) * s - in(1, x, y, i), 2);
    }
    const double d = in(2, x, y, c) * s - in(1, x, y, c);
    return c == 3 ? in(0, x, y, 3) : in(0, x, y, c) + std::exp(factor * squares) * d;
}

constexpr double weightOf[] = {0.3F, 0.7F, 0.5F};

double Added(const Samples& in, int i, int x, int y, int c) {
    return weightOf[i] * in(i, x, y, 3) * (c == 3 ? 1 : in(i, x, y, c));
}

/// A sum as a function of place and channel.
using Sum = std::function<double(int x, int y, int c)>;

/// The similarity of frame `i` to the mean of `sum` around a pixel of the picture, whose edges repeat.
double SimilarityTo(const Sum& sum, const Samples& in, int i, int x, int y, bool joins) {
    const TestImage& image = *in.images[static_cast<std::size_t>(i)];
    const double white = image.Format().white;
    const auto stored = [&](double value) {
        // The baseline truncates what it stores.
        return white == 1 ? value : std::floor(std::clamp(value, 0.0, 1.0) * white + 1e-4) / white;
    };
    double total = 0;
    for (int dy = -2; dy <= 2; ++dy) {
        for (int dx = -2; dx <= 2; ++dx) {
            const int px = std::clamp(x + dx, bounds.x1, bounds.x2 - 1);
            const int py = std::clamp(y + dy, bounds.y1, bounds.y2 - 1);
            const double weight = sum(px, py, 3);
            double s = 1;
            for (int c = 0; c < 3; ++c) {
                const double mean = joins ? stored(sum(px, py, c) * Inverse(weight))
                                          : sum(px, py, c) / std::max(weight, 0.0001);
                s *= 1 - std::min(std::abs(in(i, px, py, c) - mean) / 0.3F, 1.0);
            }
            total += s;
        }
    }
    return joins ? stored(total / 25) : total / 25;
}

/// The third frame gated, after the second one was; or the first frame's half joined to that of the others.
double GatedSum(const Samples& in, int x, int y, int c, bool fromSum) {
    const Sum first = [&](int px, int py, int pc) {
        return fromSum ? in(0, px, py, pc) : Added(in, 0, px, py, pc);
    };
    const Sum second = [&](int px, int py, int pc) {
        const double kept = fromSum ? first(px, py, pc) * SimilarityTo(first, in, 1, px, py, false) : 0.0;
        return kept + Added(in, 1, px, py, pc);
    };
    const double gated = second(x, y, c) * SimilarityTo(second, in, 2, x, y, false) + Added(in, 2, x, y, c);
    return fromSum ? gated : gated + first(x, y, c) * SimilarityTo(first, in, 2, x, y, true);
}

double Mask(const Samples& in, int x, int y, bool fused) {
    double sum = 0;
    for (int j = -2; j <= 2; ++j) {
        for (int i = -2; i <= 2; ++i) {
            const double scale = fused ? 1 / std::max(in(1, x + i, y + j, 3), 0.0001) : 1;
            double s = 1;
            for (int c = 0; c < (fused ? 3 : 4); ++c) {
                s *= 1 -
                     std::min(std::abs(in(0, x + i, y + j, c) - in(1, x + i, y + j, c) * scale) / 0.3F, 1.0);
            }
            sum += s;
        }
    }
    return sum / 25;
}

double BlurAt(const Samples& in, int x, int y, int c, bool columns) {
    constexpr int n = 7;
    const Blur blur(n / 3.5, n, false, 0);
    double sum = 0;
    for (int j = -n; j <= n; ++j) {
        const double weight = 1.0 + blur.table[static_cast<std::size_t>(2 * std::abs(j))] +
                              blur.table[static_cast<std::size_t>(2 * std::abs(j) + 1)];
        sum += weight * (columns ? in(0, x, y + j, c) : in(0, x + j, y, c));
    }
    return sum / (2 * n + 1);
}

/// Both passes over what `sample` has at x, y.
template <class Sample>
double BlurBothAt(int x, int y, const Sample& sample) {
    constexpr int n = 7;
    const Blur blur(n / 3.5, n, false, 0);
    const auto weightAt = [&](int j) {
        return (1.0 + blur.table[static_cast<std::size_t>(2 * std::abs(j))] +
                blur.table[static_cast<std::size_t>(2 * std::abs(j) + 1)]) /
               (2 * n + 1);
    };
    double sum = 0;
    for (int j = -n; j <= n; ++j) {
        double row = 0;
        for (int k = -n; k <= n; ++k) {
            row += weightAt(k) * sample(x + k, y + j);
        }
        sum += weightAt(j) * row;
    }
    return sum;
}

double BlurBothAt(const Samples& in, int i, int x, int y, int c) {
    return BlurBothAt(x, y, [&](int sx, int sy) { return in(i, sx, sy, c); });
}

double BlurredHighPass(const Samples& in, int x, int y, int c, double factor) {
    const double scale = Inverse(BlurBothAt(in, 2, x, y, 3));
    double squares = 0;
    const auto correction = [&](int channel) {
        return BlurBothAt(in, 2, x, y, channel) * scale - BlurBothAt(in, 1, x, y, channel);
    };
    for (int i = 0; i < 3; ++i) {
        squares += std::pow(correction(i), 2);
    }
    return c == 3 ? in(0, x, y, 3) : in(0, x, y, c) + std::exp(factor * squares) * correction(c);
}

double RampAt(int x, int y, int c) {
    static constexpr double stops[4] = {0, 0.3F, 0.6F, 1};
    static constexpr double colors[4][4] = {
        {0, 0.1, 0.2, 1}, {1, 0.9, 0, 1}, {0.2, 0.3, 1, 1}, {1, 0.5, 0, 1}};
    const double t = std::clamp((x - 2) * 0.02 + (y - 1) * 0.01, 0.0, 1.0);
    const int s = t < stops[1] ? 0 : (t < stops[2] ? 1 : 2);
    return colors[s][c] + (colors[s + 1][c] - colors[s][c]) * (t - stops[s]) / (stops[s + 1] - stops[s]);
}

/// The variance that no gain and offset explains, over all channels; moment(i, c) are variances and
/// covariance.
template <class Moment>
double Dissimilarity(const Moment& moment) {
    double total = 0;
    for (int c = 0; c < 4; ++c) {
        const double a = moment(0, c);
        const double b = moment(1, c);
        const double covariance = moment(2, c);
        const double r = covariance * std::abs(covariance) / (a == 0 ? 1 : a) / (b == 0 ? 1 : b);
        total += std::max(a, b) * std::clamp(1 - r, 0.0, 1.0);
    }
    return total;
}

double Dissimilarity(const Samples& in, int x, int y) {
    return Dissimilarity([&](int i, int c) { return in(i, x, y, c); });
}

double SimilarityOfHighPasses(const Samples& in, int x, int y) {
    const double dissimilarity = Dissimilarity([&](int i, int c) {
        return BlurBothAt(x, y, [&](int sx, int sy) {
            return in(i == 1 ? 1 : 0, sx, sy, c) * in(i == 0 ? 0 : 1, sx, sy, c);
        });
    });
    return std::exp(-4 * dissimilarity);
}

double WarpAt(const Samples& in, int x, int y, int c) {
    const double sx = x + in.images[1]->Clamped(x, y, 0);
    const double sy = y + in.images[1]->Clamped(x, y, 1);
    const int ix = static_cast<int>(std::floor(sx));
    const int iy = static_cast<int>(std::floor(sy));
    const double fx = sx - ix;
    const double fy = sy - iy;
    return (1 - fx) * (1 - fy) * in(0, ix, iy, c) + fx * (1 - fy) * in(0, ix + 1, iy, c) +
           (1 - fx) * fy * in(0, ix, iy + 1, c) + fx * fy * in(0, ix + 1, iy + 1, c);
}

const Formula formulas[] = {
    // TemporalAdd1, TemporalAdd2, TemporalMultAddMask, TemporalAddMask, TemporalBlend, TemporalUnmult
    [](auto& in, int x, int y, int c) { return w * in(0, x, y, 3) * (c == 3 ? 1 : in(0, x, y, c)); },
    [](auto& in, int x, int y, int c) {
        return in(1, x, y, c) + w * in(0, x, y, 3) * (c == 3 ? 1 : in(0, x, y, c));
    },
    [](auto& in, int x, int y, int c) {
        return in(1, x, y, c) * in(2, x, y, 3) + w * in(0, x, y, 3) * (c == 3 ? 1 : in(0, x, y, c));
    },
    [](auto& in, int x, int y, int c) { return in(0, x, y, c) * w + in(1, x, y, c) * in(2, x, y, 3); },
    [](auto& in, int x, int y, int c) {
        const double p = in(0, x, y, c) * in(1, x, y, 3);
        return c == 3 ? in(1, x, y, 3) : p + (in(1, x, y, c) - p) * in(2, x, y, 3) * w;
    },
    [](auto& in, int x, int y, int c) {
        return c == 3 ? in(0, x, y, 3) : in(1, x, y, c) * Inverse(in(1, x, y, 3));
    },
    // AddHighPass, AddHighPassN, AddHighPassThreshold, AddHighPassThresholdN
    [](auto& in, int x, int y, int c) { return HighPass(in, x, y, c, false, 0); },
    [](auto& in, int x, int y, int c) { return HighPass(in, x, y, c, true, 0); },
    [](auto& in, int x, int y, int c) { return HighPass(in, x, y, c, false, -6); },
    [](auto& in, int x, int y, int c) { return HighPass(in, x, y, c, true, -6); },
    // DetectMotion, TemporalMultAddDetectMotion
    [](auto& in, int x, int y, int) { return Mask(in, x, y, false); },
    [](auto& in, int x, int y, int c) {
        return in(1, x, y, c) * Mask(in, x, y, true) + w * in(0, x, y, 3) * (c == 3 ? 1 : in(0, x, y, c));
    },
    // WeightedSum, the same from a sum, GatedSum, the same from a sum
    [](auto& in, int x, int y, int c) {
        return Added(in, 0, x, y, c) + Added(in, 1, x, y, c) + Added(in, 2, x, y, c);
    },
    [](auto& in, int x, int y, int c) {
        return in(0, x, y, c) + Added(in, 1, x, y, c) + Added(in, 2, x, y, c);
    },
    [](auto& in, int x, int y, int c) { return GatedSum(in, x, y, c, false); },
    [](auto& in, int x, int y, int c) { return GatedSum(in, x, y, c, true); },
    // GaussRows, GaussColumns, the same with subtraction
    [](auto& in, int x, int y, int c) { return BlurAt(in, x, y, c, false); },
    [](auto& in, int x, int y, int c) { return BlurAt(in, x, y, c, true); },
    [](auto& in, int x, int y, int c) { return in(1, x, y, c) - BlurAt(in, x, y, c, true); },
    // GaussBlur, the same with subtraction, AddBlurredHighPass, AddBlurredHighPassThreshold
    [](auto& in, int x, int y, int c) { return BlurBothAt(in, 0, x, y, c); },
    [](auto& in, int x, int y, int c) { return in(0, x, y, c) - BlurBothAt(in, 0, x, y, c); },
    [](auto& in, int x, int y, int c) { return BlurredHighPass(in, x, y, c, 0); },
    [](auto& in, int x, int y, int c) { return BlurredHighPass(in, x, y, c, -6); },
    // Solid, Ramp, CopyAlpha
    [](auto&, int, int, int c) { return c == 3 ? 1 : (c == 0 ? 0.25 : (c == 1 ? 0.5 : 0.8F)); },
    [](auto&, int x, int y, int c) { return RampAt(x, y, c); },
    [](auto& in, int x, int y, int c) { return c == 3 ? in(1, x, y, 3) : in(0, x, y, c); },
    // GuidedCorrelation2, AffineSimilarity, AffineSimilarityExp, AffineSimilarityExp3, the last two steps
    // from
    // high-passes, Warp
    [](auto& in, int x, int y, int c) { return in(0, x, y, c) * in(1, x, y, c); },
    [](auto& in, int x, int y, int) { return Dissimilarity(in, x, y); },
    [](auto& in, int x, int y, int) { return std::exp(-4 * std::abs(in(0, x, y, 0))); },
    [](auto& in, int x, int y, int) { return std::exp(-4 * Dissimilarity(in, x, y)); },
    [](auto& in, int x, int y, int) { return SimilarityOfHighPasses(in, x, y); },
    [](auto& in, int x, int y, int c) { return WarpAt(in, x, y, c); },
};

TEST(Baseline, ComputesTheFormulas) {
    ASSERT_EQ(std::size(formulas), kernelRows.size());
    for (std::size_t i = 0; i < kernelRows.size(); ++i) {
        const KernelRow& row = kernelRows[i];
        for (const KernelFormat format : formats) {
            SCOPED_TRACE(std::string(row.name) + " " + FormatName(format));
            const Storage storage = StorageOf(format);
            std::mt19937 random(7);
            Samples samples;
            std::vector<const TestImage*> inputs;
            for (const Pixels kind : row.inputs) {
                if (kind != Pixels::None) {
                    const bool isFloat = kind == Pixels::Float;
                    samples.images.push_back(
                        std::make_unique<TestImage>(isFloat ? AsFloat(storage) : storage, bounds, false));
                    samples.images.back()->Fill(isFloat ? Content::Accumulator : Content::Frame, random,
                                                row.leastAlpha);
                    inputs.push_back(samples.images.back().get());
                }
            }
            TestImage output(row.output == Pixels::Float ? AsFloat(storage) : storage, bounds, true);
            RunBaseline(row.id, format, output, inputs, Parameters(row, storage, 7).Get());
            int wrong = 0;
            for (int y = bounds.y1; y < bounds.y2; ++y) {
                for (int x = bounds.x1; x < bounds.x2; ++x) {
                    for (int c = 0; c < 4; ++c) {
                        const double expected = Stored(output.Format(), formulas[i](samples, x, y, c));
                        const double got = output.Get(x, y, Samples::Channel(output.Format(), c));
                        // Not: a value that is not a number is wrong as well.
                        const double allowed =
                            Allowed(output.Format(), expected) +
                            (storage.bits == 32 ? 0.0 : 1.0 * row.roundings / storage.white);
                        wrong += !(std::abs(got - expected) <= allowed) ? 1 : 0;
                    }
                }
            }
            EXPECT_EQ(wrong, 0);
        }
    }
}

/// At every level, since these hold exactly.
class ExactValues : public testing::TestWithParam<int> {
  protected:
    void SetUp() override {
        if (!IsLevelUsable(Level())) {
            GTEST_SKIP() << "this processor has no " << LevelName(Level());
        }
    }
    static IsaLevel Level() { return static_cast<IsaLevel>(GetParam()); }
    static void Run(KernelId id, KernelFormat format, TestImage& output, const std::vector<ImageView>& inputs,
                    const void* parameters) {
        RecordingProgress progress;
        FindKernel(Level(), id, format)(output.View(), inputs.data(), output.View().bounds, parameters,
                                        progress);
    }
    /// True when all channels named hold the code.
    static bool Holds(const TestImage& image, double code, int firstChannel = 0, int endChannel = 4) {
        const Bounds& b = image.View().bounds;
        for (int y = b.y1; y < b.y2; ++y) {
            for (int x = b.x1; x < b.x2; ++x) {
                for (int c = firstChannel; c < endChannel; ++c) {
                    if (image.Code(x, y, c) != code) {
                        return false;
                    }
                }
            }
        }
        return true;
    }
    static void SetAll(TestImage& image, const std::array<double, 4>& codes) {
        const Bounds& b = image.View().bounds;
        for (int y = b.y1; y < b.y2; ++y) {
            for (int x = b.x1; x < b.x2; ++x) {
                for (int c = 0; c < 4; ++c) {
                    image.Set(x, y, c, codes[static_cast<std::size_t>(c)]);
                }
            }
        }
    }
    std::mt19937 random{3};
};

TEST_P(ExactValues, TheMaskIsOneOfEqualImagesAndZeroWhereOneChannelDiffersByTheLimit) {
    const DetectMotionParameters parameters{10, 0};
    for (const KernelFormat format : formats) {
        const Storage storage = StorageOf(format);
        TestImage a(storage, bounds, false);
        a.Fill(Content::Frame, random);
        TestImage output(storage, bounds, false);
        Run(KernelId::DetectMotion, format, output, {a.View(), a.View()}, &parameters);
        EXPECT_TRUE(Holds(output, storage.white)) << FormatName(format);
        const DetectMotionParameters noLimit{INFINITY, 0};
        Run(KernelId::DetectMotion, format, output, {a.View(), a.View()}, &noLimit);
        EXPECT_TRUE(Holds(output, 0)) << "0 times infinity counts as a difference";

        TestImage b = a;
        for (int y = bounds.y1; y < bounds.y2; ++y) {
            for (int x = bounds.x1; x < bounds.x2; ++x) {
                const double code = a.Code(x, y, 2);
                b.Set(x, y, 2, code + (code > storage.white / 2 ? -0.25 : 0.25) * storage.white);
            }
        }
        Run(KernelId::DetectMotion, format, output, {a.View(), b.View()}, &parameters);
        EXPECT_TRUE(Holds(output, 0)) << FormatName(format);
    }
}

TEST_P(ExactValues, TheFusedMaskIgnoresAlpha) {
    const DetectMotionParameters parameters{10, 0};
    TestImage frame({32, 1, 3, false}, bounds, false);
    TestImage sum({32, 1, 3, false}, bounds, false);
    TestImage output({32, 1, 3, false}, bounds, false);
    SetAll(frame, {0.5, 0.25, 0.75, 0.125});
    SetAll(sum, {1, 0.5, 1.5, 2});
    Run(KernelId::TemporalMultAddDetectMotion, KernelFormat::Float_RGBA, output, {frame.View(), sum.View()},
        &parameters);
    EXPECT_TRUE(Holds(output, 2, 3));
    EXPECT_TRUE(Holds(output, 0.5, 1, 2));
}

TEST_P(ExactValues, WithoutWeightTheSumStaysAsItIsAndAlphaIsTheFrames) {
    TestImage frame(StorageOf(KernelFormat::Byte_RGBA), bounds, false);
    TestImage sum({32, 1, 3, false}, bounds, false);
    for (int code = 0; code < 256; ++code) {
        frame.Set(bounds.x1 + code % 29, bounds.y1 + code / 29, 3, code);
    }
    SetAll(sum, {0, 0, 0, 0});
    TestImage output(StorageOf(KernelFormat::Byte_RGBA), bounds, false);
    Run(KernelId::TemporalUnmult, KernelFormat::Byte_RGBA, output, {frame.View(), sum.View()}, nullptr);
    EXPECT_TRUE(Holds(output, 0, 0, 3));
    for (int code = 0; code < 256; ++code) {
        EXPECT_EQ(output.Code(bounds.x1 + code % 29, bounds.y1 + code / 29, 3), code);
    }
}

TEST_P(ExactValues, TheStrictestThresholdDropsLargeDifferencesAndKeepsNone) {
    const HighPassParameters parameters{-500};
    TestImage detail({32, 1, 3, false}, bounds, false);
    TestImage low = detail;
    TestImage output = detail;
    SetAll(detail, {0.5, 0.5, 0.5, 1});
    SetAll(low, {0, 0, 0, 1});
    TestImage target = low;
    SetAll(target, {1, 0, 0, 1});
    Run(KernelId::AddHighPassThreshold, KernelFormat::Float_RGBA, output,
        {detail.View(), low.View(), target.View()}, &parameters);
    EXPECT_TRUE(Holds(output, 0.5, 0, 3));
    Run(KernelId::AddHighPassThreshold, KernelFormat::Float_RGBA, output,
        {detail.View(), low.View(), low.View()}, &parameters);
    EXPECT_TRUE(Holds(output, 0.5, 0, 3));
}

TEST_P(ExactValues, StoresClampAndTakeNoHarmFromNotANumber) {
    const HighPassParameters parameters{0};
    const KernelFormat format = KernelFormat::Byte_RGBA;
    TestImage frame(StorageOf(format), bounds, false);
    SetAll(frame, {0, 0, 0, 255});
    TestImage target({32, 1, 3, false}, bounds, false);
    SetAll(target, {1e30, -1e30, NAN, INFINITY});
    TestImage output(StorageOf(format), bounds, false);
    Run(KernelId::AddHighPass, format, output, {frame.View(), frame.View(), target.View()}, &parameters);
    EXPECT_TRUE(Holds(output, 255, 0, 1));
    EXPECT_TRUE(Holds(output, 0, 1, 3));
    EXPECT_TRUE(Holds(output, 255, 3, 4));
}

TEST_P(ExactValues, TheBlurKeepsAConstantOverLongLinesAndHighPassesItToZero) {
    for (const KernelFormat format : formats) {
        const Storage storage = StorageOf(format);
        const Blur blur(30, 105, false, static_cast<float>(storage.white));
        const Blur highPass(30, 105, true, static_cast<float>(storage.white));
        for (const Bounds& line : {Bounds{0, 0, 3001, 5}, Bounds{0, 0, 5, 3001}}) {
            const bool rows = line.y2 == 5;
            TestImage image(storage, line, false);
            const double code = storage.bits == 32 ? 0.625 : std::floor(0.7 * storage.white);
            SetAll(image, {code, code, code, code});
            TestImage output(storage, line, true);
            Run(rows ? KernelId::GaussRows : KernelId::GaussColumns, format, output, {image.View()},
                &blur.parameters);
            TestImage difference(AsFloat(storage), line, true);
            if (!rows) {
                Run(KernelId::GaussColumns, format, difference, {image.View(), image.View()},
                    &highPass.parameters);
            }
            double worst = 0;
            double worstDifference = 0;
            for (int x = 0; x < 3001; ++x) {
                worst = std::max(worst, std::abs(output.Code(rows ? x : 3, rows ? 3 : x, 1) - code));
                worstDifference = std::max(worstDifference, rows ? 0 : std::abs(difference.Get(3, x, 3)));
            }
            EXPECT_LE(worst, storage.bits == 32 ? 1e-5 : 0) << FormatName(format);
            EXPECT_LE(worstDifference, 1e-5) << FormatName(format);
        }
    }
}

TEST_P(ExactValues, ARampWithCoincidingStopsHasNoGaps) {
    if (FindKernel(Level(), KernelId::Ramp, KernelFormat::Float_BGRA) == nullptr) {
        GTEST_SKIP();
    }
    // Both inner stops at one end each; t runs from -0.5 to 1.5.
    const RampParameters parameters{
        0, 1, {8, 0}, {1 / 16.0F, 0}, {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {1, 1, 1}}};
    TestImage output({32, 1, 3, true}, {0, 0, 33, 1}, false);
    Run(KernelId::Ramp, KernelFormat::Float_BGRA, output, {}, &parameters);
    const auto expect = [&output](int x, double red, double green, double blue) {
        EXPECT_EQ(output.Get(x, 0, 2), red) << x;
        EXPECT_EQ(output.Get(x, 0, 1), green) << x;
        EXPECT_EQ(output.Get(x, 0, 0), blue) << x;
    };
    expect(0, 1, 0, 0);
    expect(8, 1, 0, 0);
    expect(9, 0, 0.9375, 0.0625);
    expect(16, 0, 0.5, 0.5);
    expect(24, 1, 1, 1);
    expect(32, 1, 1, 1);
    // A single stretch, out of the range of what is stored.
    const RampParameters beyond{
        0, 1, {0, 0}, {1 / 32.0F, 0}, {{-9, 3, 0}, {-1, 3, 0}, {1, -1, 1e30F}, {1, -1, 1e30F}}};
    TestImage bytes(StorageOf(KernelFormat::Byte_RGBA), {0, 0, 33, 1}, false);
    Run(KernelId::Ramp, KernelFormat::Byte_RGBA, bytes, {}, &beyond);
    for (const auto& [x, red, green, blue] :
         {std::array{8, 0, 255, 255}, {20, 64, 128, 255}, {32, 255, 0, 255}}) {
        EXPECT_NEAR(bytes.Code(x, 0, 0), red, 1) << x;
        EXPECT_NEAR(bytes.Code(x, 0, 1), green, 1) << x;
        EXPECT_NEAR(bytes.Code(x, 0, 2), blue, 1) << x;
    }
    // No direction: everything lies at the start.
    const RampParameters point{0.5F, 0.5F, {8, 0}, {0, 0}, {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {1, 1, 1}}};
    Run(KernelId::Ramp, KernelFormat::Float_BGRA, output, {}, &point);
    expect(32, 1, 0, 0);
}

INSTANTIATE_TEST_SUITE_P(Levels, ExactValues, testing::Range(0, isaLevelCount));

}  // namespace
}  // namespace TQ::IP::Test
