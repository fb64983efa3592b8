#include "ip/filters/TemporalBlendFilter.h"

#include "ip/filters/FilterTest.h"
#include "ip/filters/TemporalAddFilter.h"

namespace TQ::Test {
namespace {

constexpr IP::Bounds area{0, 0, 21, 6};

TEST(TemporalBlendFilter, MovesBetweenTheFrameAndTheSumAtTheSumsWeight) {
    FilterBench bench(byteFormat);
    const LayerHandle old =
        bench.Picture(area, [](int x, int y, int channel) { return Noise(x, y, channel, 1); });
    const LayerHandle frame =
        bench.Picture(area, [](int x, int y, int channel) { return Noise(x, y, channel, 2); });
    const LayerHandle mask =
        bench.Picture(area, [](int x, int y, int channel) { return Noise(x, y, channel, 3); });
    const auto sum = std::make_shared<IP::TemporalAddFilter>(FilterBench::Leaf(old), 2.0F);
    const auto blend = std::make_shared<IP::TemporalBlendFilter>(FilterBench::Leaf(frame), sum,
                                                                 FilterBench::Leaf(mask), 0.5F);
    const auto expected = [&](int x, int y, int channel) {
        const double weight = 2.0 * bench.At(old, x, y, 3);
        const double keep = 0.5 * bench.At(mask, x, y, 3);
        const double mixed =
            bench.At(old, x, y, channel) * keep + bench.At(frame, x, y, channel) * (1 - keep);
        return channel == 3 ? weight : mixed * weight;
    };
    EXPECT_LE(bench.Error(bench.Render(blend, area, 32), expected), 2e-6);
}

}  // namespace
}  // namespace TQ::Test
