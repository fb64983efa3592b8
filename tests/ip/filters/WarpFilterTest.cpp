#include "ip/filters/WarpFilter.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "ip/filters/FilterTest.h"
#include "ip/records/Exception.h"

namespace TQ::Test {
namespace {

constexpr IP::Bounds area{-3, 2, 34, 21};

using Warp = EveryFormat;
INSTANTIATE_TEST_SUITE_P(Warp, Warp, testing::Values(byteFormat, shortFormat, short32768Format, floatFormat),
                         FormatName);

/// Flow and picture in one bench: the flow is float with the picture's channel order.
class WarpBench : public FilterBench {
  public:
    using FilterBench::FilterBench;
    FilterHandle Flow(const std::function<std::pair<double, double>(int, int)>& motion) {
        LayerHandle layer = MakeLayer(host, area, 32);
        FillLayer(*layer, [&](int x, int y, int position) {
            const auto [u, v] = motion(x, y);
            return position == 0 ? u : (position == 1 ? v : 0.0);
        });
        _flows.push_back(layer);
        return Leaf(layer);
    }

  private:
    std::vector<LayerHandle> _flows;
};

TEST_P(Warp, TakesTheBilinearValueAndRepeatsTheEdge) {
    WarpBench bench(GetParam());
    const LayerHandle picture = bench.Picture(area, [](int x, int y, int c) { return Noise(x, y, c); });
    const auto motion = [](int x, int y) {
        return std::pair(6.0 * Noise(x, y, 0, 5) - 3.0, x == 5 ? -1000.0 : 2.0 * Noise(x, y, 0, 6));
    };
    const auto warp = std::make_shared<IP::WarpFilter>(FilterBench::Leaf(picture), bench.Flow(motion));
    const auto clamped = [&](int x, int y, int c) {
        return bench.At(picture, std::clamp(x, area.x1, area.x2 - 1), std::clamp(y, area.y1, area.y2 - 1), c);
    };
    const auto expected = [&](int x, int y, int c) {
        const auto [u, v] = motion(x, y);
        const double sx = std::clamp(x + u, -100.0, 100.0);
        const double sy = std::clamp(y + v, -100.0, 100.0);
        const int ix = static_cast<int>(std::floor(sx));
        const int iy = static_cast<int>(std::floor(sy));
        const double fx = sx - ix;
        const double fy = sy - iy;
        return (1 - fx) * (1 - fy) * clamped(ix, iy, c) + fx * (1 - fy) * clamped(ix + 1, iy, c) +
               (1 - fx) * fy * clamped(ix, iy + 1, c) + fx * fy * clamped(ix + 1, iy + 1, c);
    };
    // Integers are truncated: up to one code below.
    const double tolerance = GetParam().bits == 32 ? 1e-5 : 1.05 / GetParam().white;
    EXPECT_LE(bench.Error(bench.Render(warp, area), expected), tolerance);
}

TEST_P(Warp, CopiesWithoutMotionAndKeepsEvenAreasUnderAnyMotion) {
    WarpBench bench(GetParam());
    const LayerHandle picture = bench.Picture(area, [](int x, int y, int c) { return Noise(x, y, c); });
    const auto still = bench.Flow([](int, int) { return std::pair(0.0, 0.0); });
    const auto copy = std::make_shared<IP::WarpFilter>(FilterBench::Leaf(picture), still);
    EXPECT_EQ(bench.Error(bench.Render(copy, area), picture), 0.0);

    const LayerHandle even = bench.Picture(area, [](int, int, int c) { return 0.2 * (c + 1); });
    const auto wild = bench.Flow([](int x, int y) {
        const double notANumber = std::numeric_limits<double>::quiet_NaN();
        return x == 0 ? std::pair(notANumber, 1e30) : std::pair(9 * Noise(x, y, 1), -7 * Noise(x, y, 2));
    });
    const auto warped = std::make_shared<IP::WarpFilter>(FilterBench::Leaf(even), wild);
    EXPECT_EQ(bench.Error(bench.Render(warped, area), even), 0.0);
}

TEST(WarpByte, HalfWayBetweenThreeAndFourIsThree) {
    WarpBench bench(byteFormat);
    const LayerHandle steps =
        bench.Picture(area, [](int x, int, int) { return (x % 2 == 0 ? 3 : 4) / 255.0; });
    const auto half = bench.Flow([](int, int) { return std::pair(0.5, 0.0); });
    const auto warp = std::make_shared<IP::WarpFilter>(FilterBench::Leaf(steps), half);
    const LayerHandle result = bench.Render(warp, area);
    EXPECT_EQ(GetValue(*result, 0, 5, 0), 3);
    EXPECT_EQ(GetValue(*result, 1, 5, 3), 3);
}

}  // namespace
}  // namespace TQ::Test
