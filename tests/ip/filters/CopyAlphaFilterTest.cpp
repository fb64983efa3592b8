#include "ip/filters/CopyAlphaFilter.h"

#include "ip/filters/FilterTest.h"

namespace TQ::Test {
namespace {

using IP::Bounds;

FilterHandle CopyAlpha(const FilterHandle& color, const FilterHandle& alpha) {
    return std::make_shared<IP::CopyAlphaFilter>(color, alpha);
}

using CopyAlphaOf = EveryFormat;
INSTANTIATE_TEST_SUITE_P(Formats, CopyAlphaOf,
                         testing::Values(byteFormat, shortFormat, short32768Format, floatFormat), FormatName);

TEST_P(CopyAlphaOf, TwoPicturesCoversTheirOverlap) {
    FilterBench bench(GetParam());
    const LayerHandle a = bench.Picture({0, 0, 30, 9}, [](int x, int y, int c) { return Noise(x, y, c, 1); });
    const LayerHandle b =
        bench.Picture({-4, 2, 20, 12}, [](int x, int y, int c) { return Noise(x, y, c, 2); });
    const FilterHandle filter = CopyAlpha(FilterBench::Leaf(a), FilterBench::Leaf(b));
    const Bounds overlap{0, 2, 20, 9};
    ASSERT_EQ(filter->GetBounds(), overlap);
    const auto expected = [&](int x, int y, int c) { return bench.At(c == 3 ? b : a, x, y, c); };
    EXPECT_EQ(bench.Error(bench.Render(filter, overlap), expected), 0.0);
}

TEST(CopyAlphaFilter, ReadsPastItsLikeAndVanishesOverOnePicture) {
    const auto leaf = [] { return std::make_shared<IP::FilterLayer>(Bounds{0, 0, 4, 4}); };
    const FilterHandle color = leaf();
    const FilterHandle alpha = leaf();
    EXPECT_EQ(OptimizedGraph(CopyAlpha(color, color)).Sink(), color);
    const FilterHandle both = CopyAlpha(CopyAlpha(color, leaf()), CopyAlpha(leaf(), alpha));
    EXPECT_EQ(OptimizedGraph(both).Sink(), both);
    EXPECT_EQ(both->inputs, (std::vector<FilterHandle>{color, alpha}));
    // What is left of a chain over one picture is that picture.
    EXPECT_EQ(OptimizedGraph(CopyAlpha(CopyAlpha(color, leaf()), color)).Sink(), color);
}

}  // namespace
}  // namespace TQ::Test
