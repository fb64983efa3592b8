#include "ip/filters/ResizeFilter.h"

#include "ip/filters/FilterTest.h"
#include "ip/records/Exception.h"

namespace TQ::Test {

using IP::Bounds;
using IP::ResizeFilter;

namespace {

double Cubic(double u) {
    const double a = std::fabs(u);
    if (a < 1) {
        return (7 * a * a * a - 12 * a * a + 16.0 / 3) / 6;
    }
    return a < 2 ? (-7.0 / 3 * a * a * a + 12 * a * a - 20 * a + 32.0 / 3) / 6 : 0;
}

/// The resized value of one axis: the stretched cubic around the position, straight from its definition, with
/// no table and no rounding of positions.
double Resample(int index, int outSize, int inSize, const std::function<double(int)>& sample) {
    const double step = inSize > 1 && outSize > 1 ? static_cast<double>(inSize - 1) / (outSize - 1) : 1.0;
    const double width = std::max(1.0, step);
    const double centre = index * step;
    double sum = 0;
    double weights = 0;
    for (int i = static_cast<int>(std::floor(centre - 2 * width)); i <= centre + 2 * width; ++i) {
        const double weight = Cubic((i - centre) / width);
        sum += weight * sample(std::min(std::max(i, 0), inSize - 1));
        weights += weight;
    }
    return sum / weights;
}

FilterHandle Resize(const FilterHandle& input, const Bounds& bounds) {
    return std::make_shared<ResizeFilter>(input, bounds);
}

double Wave(int x, int y, int channel) {
    return 0.5 + 0.3 * std::sin(x * 0.9 + channel) * std::cos(y * 0.7) +
           0.15 * (((x + 64) * 37 + (y + 64) * 59 + channel * 13) % 97 / 96.0);
}

}  // namespace

class ResizeFormats : public EveryFormat {};

// Positions between pixels are rounded to 1/256 of one; the cubic changes by less than 0.7 per pixel, each of
// few taps.
TEST_P(ResizeFormats, FollowsTheCubic) {
    for (const auto& [in, out] : {std::pair<Bounds, Bounds>{{-3, 2, 28, 25}, {0, 0, 15, 11}},
                                  {{0, 0, 9, 7}, {5, -4, 30, 17}},
                                  {{0, 0, 40, 6}, {0, 0, 7, 13}},
                                  {{2, 2, 3, 9}, {0, 0, 5, 4}},
                                  {{0, 0, 12, 1}, {0, 0, 1, 3}}}) {
        FilterBench bench(GetParam());
        const FilterHandle picture = bench.Leaf(in, Wave);
        const LayerHandle result = bench.Render(Resize(picture, out), out);
        const auto direct = [&](int x, int y, int channel) {
            return Resample(y - out.y1, out.y2 - out.y1, in.y2 - in.y1, [&](int row) {
                return Resample(x - out.x1, out.x2 - out.x1, in.x2 - in.x1,
                                [&](int column) { return Wave(column + in.x1, row + in.y1, channel); });
            });
        };
        EXPECT_LT(bench.Error(result, direct), 2.5e-3 + 2 * GetParam().Tolerance())
            << out.x2 << " x " << out.y2;
    }
}

INSTANTIATE_TEST_SUITE_P(, ResizeFormats,
                         testing::Values(byteFormat, shortFormat, short32768Format, floatFormat), FormatName);

TEST(ResizeFilter, PartsEqualCropsOfTheWholeOnAnyThreadCount) {
    const Bounds whole{3, -2, 40, 27};
    FilterBench bench(byteFormat);
    const FilterHandle picture = bench.Leaf({-10, 5, 64, 58}, Wave);
    const LayerHandle expected = bench.Render(Resize(picture, whole), whole);
    for (const Bounds& part : {Bounds{3, -2, 4, -1}, {20, 3, 40, 27}, {9, 0, 31, 20}}) {
        for (const int threads : {1, 3, 7}) {
            bench.host.SetThreadCount(threads);
            EXPECT_EQ(bench.Error(bench.Render(Resize(picture, whole), part), expected), 0)
                << part.x1 << threads;
        }
    }
}

TEST(ResizeFilter, GraphDropsTheIdentityAndMergesChains) {
    FilterBench bench(byteFormat);
    const FilterHandle picture = bench.Leaf({0, 0, 8, 6}, Wave);
    EXPECT_EQ(OptimizedGraph(Resize(picture, {0, 0, 8, 6})).Sink(), picture);
    const FilterHandle twice = Resize(Resize(picture, {0, 0, 4, 4}), {0, 0, 2, 2});
    EXPECT_EQ(OptimizedGraph(twice).Sink()->inputs[0], picture);
    EXPECT_FALSE(Resize(picture, {0, 0, 4, 4})->IsEqual(*Resize(picture, {0, 0, 4, 5})));
}

TEST(ResizeFilter, AsksForTheRowsThatTheTapsOfXReach) {
    FilterBench bench(byteFormat);
    const FilterHandle picture = bench.Leaf({100, 200, 201, 301}, Wave);  // 101 to 11: steps of 10, 40 taps
    const FilterHandle resize = Resize(picture, {0, 0, 11, 101});
    EXPECT_EQ(resize->GetInputRegion({4, 50, 6, 52}, 0), (Bounds{120, 248, 170, 289}));
    EXPECT_EQ(resize->GetInputRegion({0, 0, 1, 1}, 0), (Bounds{100, 200, 120, 238}));
}

}  // namespace TQ::Test
