#include "ip/filters/TemporalAddFilter.h"

#include "ip/filters/DetectMotionFilter.h"
#include "ip/filters/FilterTest.h"
#include "ip/filters/SolidFilter.h"
#include "ip/filters/TemporalUnmultFilter.h"

namespace TQ::Test {
namespace {

using IP::DetectMotionFilter;
using IP::TemporalAddFilter;
using IP::TemporalUnmultFilter;

constexpr IP::Bounds area{-3, 5, 30, 24};

using TemporalSum = EveryFormat;
INSTANTIATE_TEST_SUITE_P(Formats, TemporalSum,
                         testing::Values(byteFormat, shortFormat, short32768Format, floatFormat), FormatName);

TEST_P(TemporalSum, DividedByItsWeightIsTheWeightedMean) {
    FilterBench bench(GetParam());
    const float weights[] = {0.1F, 0.3F, 0.55F, 0.7F};
    std::vector<LayerHandle> frames;
    FilterHandle sum;
    for (int i = 0; i < 4; ++i) {
        // Alpha counts as weight: frame 1 is transparent in places, frame 2 everywhere.
        frames.push_back(bench.Picture(area, [i](int x, int y, int channel) {
            const double alpha = i == 2 ? 0.0 : (i == 1 && x % 3 == 0 ? 0.5 : 1.0);
            return channel == 3 ? alpha : Noise(x, y, channel, i);
        }));
        sum = std::make_shared<TemporalAddFilter>(FilterBench::Leaf(frames.back()), sum, weights[i]);
    }
    const auto mean = std::make_shared<TemporalUnmultFilter>(FilterBench::Leaf(frames[1]), sum);
    const auto expected = [&](int x, int y, int channel) {
        if (channel == 3) {
            return bench.At(frames[1], x, y, 3);
        }
        double total = 0;
        double weight = 0;
        for (int i = 0; i < 4; ++i) {
            const double q = weights[i] * bench.At(frames[i], x, y, 3);
            total += q * bench.At(frames[i], x, y, channel);
            weight += q;
        }
        return total / weight;
    };
    EXPECT_LE(bench.Error(bench.Render(mean, area), expected), GetParam().Tolerance());
}

/// Two frames, the second of which differs from the first on the right of `edge`: a step of the masked sum.
struct MaskedStep {
    MaskedStep(FilterBench& bench, bool meanFirst) {
        const auto frame = [](int seed) {
            return [seed](int x, int y, int channel) {
                const double base = 0.2 + 0.05 * Noise(x, y, channel, seed);
                return channel == 3 ? 1.0 : (seed == 2 && x >= edge ? base + 0.6 : base);
            };
        };
        current = bench.Leaf(area, frame(2));
        sum = std::make_shared<TemporalAddFilter>(bench.Leaf(area, frame(1)), sumWeight);
        const auto mean = std::make_shared<TemporalUnmultFilter>(current, sum);
        mask = meanFirst ? std::make_shared<DetectMotionFilter>(mean, current, 0.2F, 1.0F, false)
                         : std::make_shared<DetectMotionFilter>(current, mean, 0.2F, 1.0F, false);
        next = std::make_shared<TemporalAddFilter>(current, sum, mask, frameWeight, true);
    }

    /// The same picture as `next`, by a graph in which the mask has a second reader: it adds nothing.
    FilterHandle WithSecondReader() const {
        const auto nothing = std::make_shared<TemporalAddFilter>(current, 0.0F);
        return std::make_shared<TemporalAddFilter>(next, nothing, mask, 1.0F, false);
    }

    static constexpr int edge = 15;
    static constexpr float sumWeight = 0.75F;
    static constexpr float frameWeight = 0.5F;
    FilterHandle current, sum, mask, next;
};

class MaskedAdd : public testing::TestWithParam<bool> {};
INSTANTIATE_TEST_SUITE_P(InputOrder, MaskedAdd, testing::Bool());

TEST_P(MaskedAdd, FusesWithDetectMotionAndGivesTheSamePixels) {
    FilterBench bench(floatFormat);
    const MaskedStep fused(bench, GetParam());
    const MaskedStep unfused(bench, GetParam());
    const LayerHandle fusedSum = bench.Render(fused.next, area);
    const LayerHandle unfusedSum = bench.Render(unfused.WithSecondReader(), area);

    EXPECT_STREQ(unfused.mask->GetName(), "detectMotion");
    EXPECT_STREQ(fused.mask->GetName(), "TemporalMultAddDetectMotion");
    EXPECT_EQ(fused.mask->inputs, (std::vector<FilterHandle>{fused.current, fused.sum}));
    EXPECT_LE(bench.Error(fusedSum, unfusedSum), 2e-6);
}

TEST(TemporalAddFilter, FusesStepByStepAlsoWhereSomebodyHoldsAMeanThatFellOut) {
    FilterBench bench(floatFormat);
    const MaskedStep step(bench, false);
    const auto mean = std::make_shared<TemporalUnmultFilter>(step.current, step.next);
    const auto mask = std::make_shared<DetectMotionFilter>(step.current, mean, 0.2F, 1.0F, false);
    const auto add = std::make_shared<TemporalAddFilter>(step.current, step.next, mask, 0.5F, true);
    const OptimizedGraph graph(add);
    EXPECT_EQ(graph.Sink(), mask);
    EXPECT_EQ(mask->inputs, (std::vector<FilterHandle>{step.current, step.mask}));
    EXPECT_STREQ(step.mask->GetName(), "TemporalMultAddDetectMotion");
    EXPECT_EQ(mean->inputs.size(), 2U) << "it may still be rendered by itself";
}

TEST(TemporalAddFilter, StaysUnfusedWhenTheMaskComparesSomethingElse) {
    FilterBench bench(floatFormat);
    const MaskedStep step(bench, false);
    const auto otherMean = std::make_shared<TemporalUnmultFilter>(
        step.current, std::make_shared<TemporalAddFilter>(step.current, 0.5F));
    const auto mask = std::make_shared<DetectMotionFilter>(step.current, otherMean, 0.2F, 1.0F, false);
    const auto add = std::make_shared<TemporalAddFilter>(step.current, step.sum, mask, 0.5F, true);
    EXPECT_EQ(OptimizedGraph(add).Sink(), add);
    // Two sums: their mask gates the second alone, and there is no frame to add.
    const auto halves = std::make_shared<TemporalAddFilter>(step.current, step.sum, step.mask, 1.0F, false);
    EXPECT_EQ(OptimizedGraph(halves).Sink(), halves);
}

TEST(TemporalAddFilter, TakesAGeneratorAsMask) {
    FilterBench bench(byteFormat);
    const auto frame = bench.Leaf(area, [](int, int, int) { return 1.0; });
    const auto sum = std::make_shared<IP::TemporalAddFilter>(frame, 0.5F);
    const auto all = std::make_shared<IP::SolidFilter>(1.0F, 1.0F, 1.0F);
    const auto next = std::make_shared<IP::TemporalAddFilter>(frame, sum, all, 0.25F, true);
    EXPECT_LE(bench.Error(bench.Render(next, area, 32), [](int, int, int) { return 0.75; }), 1e-7);
}

}  // namespace
}  // namespace TQ::Test
