#include "ip/filters/AddHighPassFilter.h"

#include <algorithm>

#include "ip/filters/FilterTest.h"
#include "ip/filters/TemporalAddFilter.h"

namespace TQ::Test {
namespace {

constexpr IP::Bounds area{2, -4, 39, 5};

using HighPass = EveryFormat;
INSTANTIATE_TEST_SUITE_P(AddHighPass, HighPass, testing::Values(byteFormat, short32768Format, floatFormat),
                         FormatName);

TEST_P(HighPass, TakesBackLargeCorrections) {
    FilterBench bench(GetParam());
    // Targets on both sides of the low pass, and results on both sides of the range.
    const auto noise = [&](int seed) {
        return bench.Picture(area, [seed](int x, int y, int channel) {
            return channel == 3 && seed == 3 ? 1.0 : Noise(x, y, channel, seed);
        });
    };
    const LayerHandle detail = noise(1);
    const LayerHandle low = noise(2);
    const LayerHandle picture = noise(3);
    const float weight = 0.3F;
    const auto sum = std::make_shared<IP::TemporalAddFilter>(FilterBench::Leaf(picture), weight);
    for (const bool normalise : {false, true}) {
        for (const float threshold : {1.0F, 0.5F, 0.02F, 0.0F}) {
            const auto filter = std::make_shared<IP::AddHighPassFilter>(
                FilterBench::Leaf(detail), FilterBench::Leaf(low), sum, threshold, true, normalise);
            const auto expected = [&](int x, int y, int channel) {
                if (channel == 3) {
                    return bench.At(detail, x, y, 3);
                }
                double d[3];
                for (int c = 0; c < 3; ++c) {
                    d[c] = bench.At(picture, x, y, c) * (normalise ? 1.0 : weight) - bench.At(low, x, y, c);
                }
                const double squaredLength = d[0] * d[0] + d[1] * d[1] + d[2] * d[2];
                const double limit = std::max(threshold * threshold, 0.001F);
                const double e = threshold < 1 ? std::exp(-0.5 * squaredLength / limit) : 1.0;
                const double value = bench.At(detail, x, y, channel) + e * d[channel];
                return GetParam().bits == 32 ? value : std::clamp(value, 0.0, 1.0);
            };
            EXPECT_LE(bench.Error(bench.Render(filter, area), expected), GetParam().Tolerance())
                << filter->GetName() << ' ' << threshold;
        }
    }
}

}  // namespace
}  // namespace TQ::Test
