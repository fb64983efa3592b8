#include "ip/filters/TemporalBlendFilter.h"

#include "ip/filters/FilterTest.h"
#include "ip/filters/SolidFilter.h"
#include "ip/filters/TemporalAddFilter.h"
#include "ip/filters/TemporalUnmultFilter.h"

namespace TQ::Test {
namespace {

constexpr IP::Bounds area{0, 0, 21, 6};

TEST(TemporalBlendFilter, MovesBetweenTheFrameAndTheSumAtTheSumsWeight) {
    FilterBench bench(byteFormat);
    const LayerHandle old = bench.Picture(area, [](int x, int y, int channel) { return Noise(x, y, channel, 1); });
    const LayerHandle frame = bench.Picture(area, [](int x, int y, int channel) { return Noise(x, y, channel, 2); });
    const LayerHandle mask = bench.Picture(area, [](int x, int y, int channel) { return Noise(x, y, channel, 3); });
    const auto sum = std::make_shared<IP::TemporalAddFilter>(FilterBench::Leaf(old), 2.0F);
    const auto blend = std::make_shared<IP::TemporalBlendFilter>(FilterBench::Leaf(frame), sum,
                                                                 FilterBench::Leaf(mask), 0.5F);
    const auto expected = [&](int x, int y, int channel) {
        const double weight = 2.0 * bench.At(old, x, y, 3);
        const double keep = 0.5 * bench.At(mask, x, y, 3);
        const double mixed = bench.At(old, x, y, channel) * keep + bench.At(frame, x, y, channel) * (1 - keep);
        return channel == 3 ? weight : mixed * weight;
    };
    EXPECT_LE(bench.Error(bench.Render(blend, area, 32), expected), 2e-6);
}

TEST(TemporalUnmultFilter, KeepsTheSumWhereThereIsNoWeight) {
    FilterBench bench(byteFormat);
    const auto frame = bench.Leaf(area, [](int, int, int channel) { return channel == 3 ? 0.4 : 0.7; });
    const auto empty = std::make_shared<IP::TemporalAddFilter>(frame, 0.0F);
    const auto mean = std::make_shared<IP::TemporalUnmultFilter>(frame, empty);
    EXPECT_EQ(bench.Error(bench.Render(mean, area), [](int, int, int channel) { return channel == 3 ? 0.4 : 0.0; }),
              0.0);
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
