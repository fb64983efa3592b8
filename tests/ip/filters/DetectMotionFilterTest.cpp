#include "ip/filters/DetectMotionFilter.h"

#include <algorithm>

#include "ip/filters/FilterTest.h"

namespace TQ::Test {
namespace {

using IP::Bounds;
using IP::DetectMotionFilter;

constexpr float limit = 0.2F;

/// The definition, for one pixel, each input with the bounds that it repeats its edge beyond.
double Mask(const FilterBench& bench, const LayerHandle& a, const LayerHandle& b, int x, int y) {
    const auto at = [&](const LayerHandle& layer, int px, int py, int channel) {
        const Bounds& bounds = layer->Bounds();
        return bench.At(layer, std::clamp(px, bounds.x1, bounds.x2 - 1),
                        std::clamp(py, bounds.y1, bounds.y2 - 1), channel);
    };
    double sum = 0;
    for (int dy = -2; dy <= 2; ++dy) {
        for (int dx = -2; dx <= 2; ++dx) {
            double s = 1;
            for (int c = 0; c < 4; ++c) {
                s *=
                    1 - std::min(std::fabs(at(a, x + dx, y + dy, c) - at(b, x + dx, y + dy, c)) / limit, 1.0);
            }
            sum += s;
        }
    }
    return sum / 25;
}

using Detect = EveryFormat;
INSTANTIATE_TEST_SUITE_P(DetectMotion, Detect, testing::Values(byteFormat, shortFormat, floatFormat),
                         FormatName);

TEST_P(Detect, IsTheMeanSimilarityAroundEachPixel) {
    FilterBench bench(GetParam());
    const Bounds whole{0, 0, 75, 41};
    const Bounds wider{-1, 0, 80, 41};
    const LayerHandle a = bench.Picture(whole, [](int x, int y, int c) { return Noise(x, y, c, 1); });
    const LayerHandle b = bench.Picture(wider, [](int x, int y, int c) {
        return std::clamp(Noise(x, y, c, 1) + 0.15 * (Noise(x, y, c, 2) - 0.5) + (x > 40 && c == 3 ? 0.3 : 0),
                          0.0, 1.0);
    });
    const auto mask =
        std::make_shared<DetectMotionFilter>(FilterBench::Leaf(a), FilterBench::Leaf(b), limit, 1.0F, false);
    const auto expected = [&](int x, int y, int) { return Mask(bench, a, b, x, y); };
    // The second is a tile one pixel away from the edge, smaller than the neighbourhood.
    for (const Bounds& region : {whole, Bounds{1, 1, 4, 3}, Bounds{50, 30, 75, 41}}) {
        EXPECT_LE(bench.Error(bench.Render(mask, region), expected), GetParam().Tolerance());
    }
}

TEST(DetectMotionFilter, AsksNoMoreOfAnInputThanItHas) {
    const auto a = std::make_shared<IP::FilterLayer>(Bounds{0, 0, 100, 50});
    const auto b = std::make_shared<IP::FilterLayer>(Bounds{-10, -10, 60, 60});
    const DetectMotionFilter filter(a, b, limit, 1.0F, false);
    EXPECT_EQ(filter.GetInputRegion({0, 10, 60, 50}, 0), (Bounds{0, 8, 62, 50}));
    EXPECT_EQ(filter.GetInputRegion({0, 10, 60, 50}, 1), (Bounds{-2, 8, 60, 52}));
}

}  // namespace
}  // namespace TQ::Test
