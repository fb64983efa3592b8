#include "ip/filters/SolidFilter.h"

#include "ip/filters/FilterTest.h"

namespace TQ::Test {
namespace {

using IP::SolidFilter;

constexpr IP::Bounds area{-5, -3, 36, 8};

using Solid = EveryFormat;
INSTANTIATE_TEST_SUITE_P(Formats, Solid,
                         testing::Values(byteFormat, shortFormat, short32768Format, floatFormat), FormatName);

TEST_P(Solid, BecomesARampWhenItsColoursDiffer) {
    FilterBench bench(GetParam());
    const auto ramp = std::make_shared<SolidFilter>(0.0F, 0.0F, 0.0F);
    EXPECT_STREQ(ramp->GetName(), "solid");
    ramp->SetColors({{{0, 1, 0.5F}, {0.25F, 0.75F, 0.5F}, {1, 0, 0.5F}, {0.5F, 0.5F, 0.5F}}});
    ramp->SetAmounts(0.25F, 0.5F);
    ramp->SetPoints({0, 2}, {32, 2});
    EXPECT_STREQ(ramp->GetName(), "ramp");
    const LayerHandle picture = bench.Render(ramp, area);
    const struct {
        int x;
        double red;
    } stops[] = {{-5, 0}, {0, 0},     {4, 0.125}, {8, 0.25}, {12, 0.625},
                 {16, 1}, {24, 0.75}, {32, 0.5},  {35, 0.5}};
    const double truncation = GetParam().bits == 32 ? 1e-6 : 1.01 / GetParam().white;
    for (const auto& stop : stops) {
        for (const int y : {area.y1, 2, area.y2 - 1}) {  // the line runs along x, so y does not count
            EXPECT_NEAR(bench.At(picture, stop.x, y, 0), stop.red, truncation) << stop.x;
            EXPECT_NEAR(bench.At(picture, stop.x, y, 1), 1 - stop.red, truncation) << stop.x;
            EXPECT_EQ(bench.At(picture, stop.x, y, 3), 1.0);
        }
    }
    ramp->SetPoints({3, 3}, {3, 3});  // no line: all of it is the first colour
    const auto first = std::make_shared<SolidFilter>(0.0F, 1.0F, 0.5F);
    EXPECT_EQ(bench.Error(bench.Render(ramp, area), bench.Render(first, area)), 0.0);
    EXPECT_FALSE(ramp->IsEqual(*first));
}

}  // namespace
}  // namespace TQ::Test
