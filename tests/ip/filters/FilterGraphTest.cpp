// What holds for all filters: pictures that their kernels cannot read are refused.

#include "ip/filters/DetectMotionFilter.h"
#include "ip/filters/FilterTest.h"
#include "ip/filters/GaussianBlurFilter.h"
#include "ip/filters/TemporalAddFilter.h"
#include "ip/records/Exception.h"

namespace TQ::Test {
namespace {

using IP::Bounds;

constexpr Bounds area{0, 0, 130, 70};

TEST(FilterGraph, RefusesPicturesThatItsKernelsCannotRead) {
    FilterBench bench(byteFormat);
    const auto frame = bench.Leaf(area, [](int, int, int) { return 0.5; });
    const auto blurOf = [](const FilterHandle& input) {
        return std::make_shared<IP::GaussianBlurFilter>(input, IP::BlurSigma{4, 4, 0}, 0, 0);
    };
    const auto otherDepth = MakeLayer(bench.host, area, 16);
    const auto oneChannel = MakeLayer(bench.host, area, 8, 1);
    LayerStyle half = byteFormat.style;
    half.half = true;
    const auto halfFloat = MakeLayer(bench.host, area, 16, half);
    const auto smaller = MakeLayer(bench.host, {0, 0, 50, 50}, 8);
    for (const LayerHandle& other : {otherDepth, oneChannel, halfFloat, smaller}) {
        const FilterHandle leaf = FilterBench::Leaf(other);
        const auto step = std::make_shared<IP::TemporalAddFilter>(
            frame, std::make_shared<IP::TemporalAddFilter>(frame, 1.0F), leaf, 1.0F, true);
        EXPECT_THROW(bench.Render(step, area, 32), Exception);
    }
    // The fused mask reads its sum at each pixel of the frame, however little its neighbourhood asks for.
    const auto sum = std::make_shared<IP::TemporalAddFilter>(FilterBench::Leaf(smaller), 1.0F);
    const auto fused = std::make_shared<IP::DetectMotionFilter>(frame, sum, 0.2F, 1.0F, true);
    EXPECT_THROW(bench.Render(fused, area, 32), Exception);
    for (const LayerHandle& other : {oneChannel, halfFloat}) {
        EXPECT_THROW(bench.Render(blurOf(FilterBench::Leaf(other)), area), Exception);
    }
}

}  // namespace
}  // namespace TQ::Test
