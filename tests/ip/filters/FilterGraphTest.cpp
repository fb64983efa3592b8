// What holds for the filters together: the graph of a frame, as an effect builds it.

#include <cstring>

#include "ip/filters/AddHighPassFilter.h"
#include "ip/filters/DetectMotionFilter.h"
#include "ip/filters/FilterTest.h"
#include "ip/filters/GaussianBlurFilter.h"
#include "ip/filters/TemporalAddFilter.h"
#include "ip/filters/TemporalUnmultFilter.h"
#include "ip/records/Exception.h"

namespace TQ::Test {
namespace {

using IP::Bounds;

constexpr Bounds area{0, 0, 130, 70};

/// A sum of five frames, each gated by its difference from the mean so far, blended back through two blurs.
FilterHandle FrameGraph(FilterBench& bench) {
    FilterHandle sum;
    FilterHandle frame;
    for (int i = 0; i < 5; ++i) {
        frame = bench.Leaf(area, [i](int x, int y, int channel) {
            const double flicker = 0.8 + 0.04 * ((i * 3) % 5);
            const bool moving = std::abs(x - 20 * i) < 9;
            return channel == 3 ? 1.0 : (moving ? 0.9 : (0.3 + 0.5 * Noise(x / 4, y / 4, channel)) * flicker);
        });
        if (!sum) {
            sum = std::make_shared<IP::TemporalAddFilter>(frame, 0.2F);
            continue;
        }
        const auto mean = std::make_shared<IP::TemporalUnmultFilter>(frame, sum);
        const auto mask = std::make_shared<IP::DetectMotionFilter>(frame, mean, 0.2F, 1.0F, false);
        sum = std::make_shared<IP::TemporalAddFilter>(frame, sum, mask, 0.2F + 0.1F * static_cast<float>(i),
                                                      true);
    }
    const auto blur = [](const FilterHandle& input) {
        return std::make_shared<IP::GaussianBlurFilter>(input, IP::BlurSigma{4, 4, 0}, 0, 0);
    };
    return std::make_shared<IP::AddHighPassFilter>(frame, blur(frame), blur(sum), 0.5F, true, true);
}

bool SameBytes(const LayerHandle& a, const LayerHandle& b) {
    for (int y = area.y1; y < area.y2; ++y) {
        const auto rowSize = static_cast<std::size_t>(a->Width() * a->PixelBytes());
        if (std::memcmp(a->PixelAddress(area.x1, y), b->PixelAddress(area.x1, y), rowSize) != 0) {
            return false;
        }
    }
    return true;
}

using FrameGraphIn = EveryFormat;
INSTANTIATE_TEST_SUITE_P(Formats, FrameGraphIn, testing::Values(byteFormat, shortFormat, floatFormat),
                         FormatName);

TEST_P(FrameGraphIn, DoesNotDependOnThreadsOrTiles) {
    FilterBench bench(GetParam());
    const LayerHandle whole = bench.Render(FrameGraph(bench), area);
    for (const int threads : {2, 3, 7}) {
        FilterBench parallel(GetParam(), threads);
        EXPECT_TRUE(SameBytes(whole, parallel.Render(FrameGraph(parallel), area))) << threads;
    }
    for (const Bounds& tile : {Bounds{0, 0, 61, 33}, Bounds{61, 0, 130, 33}, Bounds{0, 33, 130, 70}}) {
        EXPECT_LE(bench.Error(bench.Render(FrameGraph(bench), tile), whole),
                  GetParam().bits == 32 ? 1e-5 : 1.01 / GetParam().white);
    }
}

TEST(FilterGraph, StopsWhenTheHostAsksAndLeavesNothingBehind) {
    for (const int threads : {1, 3}) {
        FilterBench bench(byteFormat, threads);
        const FilterHandle graph = FrameGraph(bench);
        const LayerHandle output = MakeLayer(bench.host, area, 8);
        const int held = bench.host.counters->layersWithPixels;
        int calls = 0;
        bench.host.wantsAbort = [&] { return ++calls == 12; };
        EXPECT_THROW(IP::RenderGraph(graph, bench.host, output), Interrupted);
        EXPECT_EQ(bench.host.counters->layersWithPixels, held);
    }
}

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
