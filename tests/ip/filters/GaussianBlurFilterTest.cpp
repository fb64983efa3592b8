#include "ip/filters/GaussianBlurFilter.h"

#include <numbers>

#include "ip/filters/CopyAlphaFilter.h"
#include "ip/filters/FilterTest.h"
#include "ip/filters/GaussianHiPassFilter.h"
#include "ip/records/Exception.h"

namespace TQ::Test {
namespace {

using IP::Bounds;
using IP::GaussianBlurFilter;
using IP::GaussianHiPassFilter;

FilterHandle Blur(const FilterHandle& input, float x, float y) {
    return std::make_shared<GaussianBlurFilter>(input, IP::BlurSigma{x, y, 0}, 0, 0);
}

FilterHandle HighPass(const FilterHandle& input, float x, float y) {
    return std::make_shared<GaussianHiPassFilter>(input, IP::BlurSigma{x, y, 0});
}

double NoisePicture(int x, int y, int channel) {
    return Noise(x, y, channel);
}

using BlurOf = EveryFormat;
INSTANTIATE_TEST_SUITE_P(Formats, BlurOf,
                         testing::Values(byteFormat, shortFormat, short32768Format, floatFormat), FormatName);

TEST_P(BlurOf, APartIsThePartOfTheWhole) {
    FilterBench bench(GetParam());
    const Bounds area{-20, -10, 150, 90};
    const LayerHandle picture = bench.Picture(area, NoisePicture);
    const LayerHandle whole = bench.Render(Blur(FilterBench::Leaf(picture), 5, 3), area);
    for (const Bounds& part : {Bounds{40, 30, 77, 51}, Bounds{-20, 70, -1, 90}, Bounds{0, 0, 1, 1}}) {
        const LayerHandle rendered = bench.Render(Blur(FilterBench::Leaf(picture), 5, 3), part);
        // The two start their sums at different samples; a last bit between the passes may turn a rounding.
        EXPECT_LE(bench.Error(rendered, whole), GetParam().bits == 32 ? 1e-5 : 1.01 / GetParam().white);
    }
}

class ImpulseBlur : public testing::TestWithParam<float> {};
INSTANTIATE_TEST_SUITE_P(Sigmas, ImpulseBlur, testing::Values(3.0F, 10.0F, 30.0F));

TEST_P(ImpulseBlur, IsCloseToTheGaussian) {
    FilterBench bench(floatFormat);
    const float sigma = GetParam();
    const auto reach = static_cast<int>(4 * sigma);
    const Bounds area{-reach, -7, reach + 1, 8};
    // A line of light, so that the picture is small for large sigmas.
    const auto line = [](int x, int, int channel) { return x == 0 ? 0.25 * (channel + 1) : 0.0; };
    const LayerHandle rows = bench.Render(Blur(bench.Leaf(area, line), sigma, 2), area);
    const Bounds turned{-7, -reach, 8, reach + 1};
    const LayerHandle columns = bench.Render(
        Blur(bench.Leaf(turned, [&](int x, int y, int channel) { return line(y, x, channel); }), 2, sigma),
        turned);
    const double peak = 1 / (sigma * std::sqrt(2 * std::numbers::pi));
    const auto gauss = [&](int x, int, int channel) {
        return 0.25 * (channel + 1) * peak * std::exp(-0.5 * x * x / (sigma * sigma));
    };
    EXPECT_LE(bench.Error(rows, gauss), 0.025 * peak);
    EXPECT_LE(bench.Error(columns, [&](int x, int y, int channel) { return gauss(y, x, channel); }),
              0.025 * peak);
}

TEST(GaussianBlurFilter, LeavesOutAnAxisWithoutAWindow) {
    FilterBench bench(floatFormat);
    const Bounds area{0, 0, 300, 30};
    const auto halves = [](int x, int y, int) { return x % 40 < 20 ? y % 2 : 0.5; };
    const LayerHandle steps = bench.Picture(area, halves);
    const LayerHandle alongX = bench.Render(Blur(FilterBench::Leaf(steps), 4, 0), area);
    const LayerHandle alongY = bench.Render(Blur(FilterBench::Leaf(steps), 0, 4), area);
    EXPECT_NEAR(bench.At(alongX, 2, 11, 0), 1.0, 1e-5);  // the rows do not mix
    EXPECT_LT(bench.At(alongX, 19, 11, 0), 0.8);
    EXPECT_NEAR(bench.At(alongY, 19, 15, 0), 0.5, 0.01);  // the columns do not mix
    EXPECT_NEAR(bench.At(alongY, 20, 15, 0), 0.5, 1e-5);
    // A single pass cannot write over the picture that it reads, as two can.
    const auto copy =
        std::make_shared<IP::CopyAlphaFilter>(FilterBench::Leaf(steps), bench.Leaf(area, halves));
    EXPECT_EQ(bench.Error(bench.Render(Blur(copy, 4, 0), area), alongX), 0.0);
}

TEST(GaussianBlurFilter, BlursColumnsWithTheSmallestWindowWhenBothAreSmall) {
    FilterBench bench(floatFormat);
    const Bounds area{0, 0, 9, 9};
    const auto point = bench.Leaf(area, [](int x, int y, int) { return x == 4 && y == 4 ? 1.0 : 0.0; });
    const LayerHandle blurred = bench.Render(Blur(point, 0.5F, 0.5F), area);
    const double gauss0 = 1;
    const double gauss1 = std::exp(-0.5 / 0.25);
    const double sum = gauss0 + 2 * gauss1;
    EXPECT_NEAR(bench.At(blurred, 4, 4, 1), gauss0 / sum, 0.02);
    EXPECT_NEAR(bench.At(blurred, 4, 5, 1), gauss1 / sum, 0.02);
    EXPECT_EQ(bench.At(blurred, 5, 4, 1), 0.0);
}

TEST_P(BlurOf, ThePictureAndItsHighPassAddUp) {
    FilterBench bench(GetParam());
    const Bounds area{0, 0, 90, 50};
    const LayerHandle picture = bench.Picture(area, NoisePicture);
    const LayerHandle low = bench.Render(Blur(FilterBench::Leaf(picture), 4, 4), area);
    const LayerHandle high = bench.Render(HighPass(FilterBench::Leaf(picture), 4, 4), area, 32);
    const auto rest = [&](int x, int y, int channel) {
        return bench.At(picture, x, y, channel) - bench.At(low, x, y, channel);
    };
    EXPECT_LE(bench.Error(high, rest), GetParam().Tolerance());
    // Without a column pass nothing is subtracted, and the output is float all the same.
    const LayerHandle lowRows = bench.Render(Blur(FilterBench::Leaf(picture), 4, 0), area);
    const LayerHandle highRows = bench.Render(HighPass(FilterBench::Leaf(picture), 4, 0), area, 32);
    EXPECT_LE(bench.Error(highRows, lowRows), 1e-6);
}

TEST(GaussianBlurFilter, VanishesWhenTinyAndMergesWithAnother) {
    const auto leaf = std::make_shared<IP::FilterLayer>(Bounds{0, 0, 10, 10});
    EXPECT_EQ(OptimizedGraph(Blur(leaf, 0.001F, 0.0005F)).Sink(), leaf);
    const FilterHandle outer = Blur(Blur(leaf, 2, 1), 3, 5);
    const OptimizedGraph merged(outer);
    EXPECT_EQ(merged.Sink(), outer);
    EXPECT_EQ(outer->inputs, std::vector<FilterHandle>{leaf});
    EXPECT_TRUE(outer->IsEqual(*Blur(leaf, 5, 6)));
    // Nothing merges with a high-pass, and its own blur never makes it an identity.
    const FilterHandle inner = Blur(leaf, 2, 2);
    const FilterHandle highPass = HighPass(inner, 0, 0);
    EXPECT_EQ(OptimizedGraph(highPass).Sink(), highPass);
    EXPECT_EQ(highPass->inputs, std::vector<FilterHandle>{inner});
}

TEST(GaussianBlurFilter, ReadsThreeAndAHalfSigmasAsFarAsTheInputGoes) {
    const auto leaf = std::make_shared<IP::FilterLayer>(Bounds{0, 0, 1000, 1000});
    const FilterHandle blur = Blur(leaf, 10, 3);
    EXPECT_EQ(blur->GetInputRegion({100, 5, 200, 400}, 0), (Bounds{65, 0, 235, 411}));
    EXPECT_EQ(blur->GetInputRegion(IP::infiniteBounds, 0), IP::infiniteBounds);
    EXPECT_THROW(Blur(leaf, -1, 1), Exception);
    EXPECT_THROW(Blur(leaf, 1, std::nanf("")), Exception);
    EXPECT_THROW(Blur(nullptr, 1, 1), Exception);
}

}  // namespace
}  // namespace TQ::Test
