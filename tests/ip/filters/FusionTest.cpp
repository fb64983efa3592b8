// What several filters compute as one is what they compute one after the other.

#include <atomic>
#include <chrono>
#include <thread>

#include "ip/filters/AddHighPassFilter.h"
#include "ip/filters/AffineSimilarityFilter.h"
#include "ip/filters/DetectMotionFilter.h"
#include "ip/filters/FilterTest.h"
#include "ip/filters/GaussianBlurFilter.h"
#include "ip/filters/SharedBands.h"
#include "ip/filters/TemporalAddFilter.h"
#include "ip/filters/TemporalUnmultFilter.h"

namespace TQ::Test {
namespace {

using IP::Bounds;

constexpr Bounds window{9, 0, 555, 70};
constexpr double lastBits = 1e-6;  ///< of sums about 1

/// The same filter, which stays by itself.
template <class Base>
struct Alone : Base {
    using Base::Base;
    std::shared_ptr<IP::FilterBase> Fuse(std::uint64_t) override { return nullptr; }
};

/// Graphs over frames that drift, with something that moves.
class Fusion : public EveryFormat {
  protected:
    FilterHandle Frame(int time) { return Frame(time, area); }
    FilterHandle Frame(int time, const Bounds& bounds) {
        return bench.Leaf(bounds, [=](int x, int y, int channel) {
            const bool moving = std::abs(x - 60 - 12 * time) < 20 && std::abs(y - 30) < 15;
            const double still = 0.3 + 0.3 * std::sin(0.05 * x + channel) + 0.02 * time;
            return channel == 3 ? 1.0 - (x < 250 ? 0.0 : 0.5 * Noise(x, y, 3))
                                : (moving ? 0.9 : still) + 0.05 * Noise(x, y, channel, time);
        });
    }

    template <class Filter, class... Arguments>
    FilterHandle Make(bool fuses, const Arguments&... arguments) {
        if (fuses) {
            return std::make_shared<Filter>(arguments...);
        }
        return std::make_shared<Alone<Filter>>(arguments...);
    }

    FilterHandle MaskOf(bool fuses, const FilterHandle& frame, const FilterHandle& sum) {
        const FilterHandle mean = std::make_shared<IP::TemporalUnmultFilter>(frame, sum);
        return Make<IP::DetectMotionFilter>(fuses, frame, mean, 0.2F, 1.0F, false);
    }

    FilterHandle Gated(bool fuses, const std::vector<FilterHandle>& frames) {
        FilterHandle sum = Make<IP::TemporalAddFilter>(fuses, frames[0], 0.1F);
        for (std::size_t i = 1; i < frames.size(); ++i) {
            const float weight = 0.1F + 0.03F * static_cast<float>(i);
            sum = Make<IP::TemporalAddFilter>(fuses, frames[i], sum, MaskOf(fuses, frames[i], sum), weight,
                                              true);
        }
        return sum;
    }

    /// Frames -past to future; each covers `margin` pixels more than the next one that is nearer to frame 0.
    FilterHandle Joined(bool fuses, int past, int future, int margin) {
        const auto frames = [&](int farthest, int step) {
            std::vector<FilterHandle> half;
            for (int time = farthest; time != 0; time += step) {
                const int more = margin * std::abs(time);
                half.push_back(Frame(time, Grow(area, {-more, -more, more, more})));
            }
            return half;
        };
        const FilterHandle source = Frame(0);
        const FilterHandle pastSum = Gated(fuses, frames(-past, 1));
        std::vector<FilterHandle> futureHalf = frames(future, -1);
        futureHalf.push_back(source);
        return Make<IP::TemporalAddFilter>(fuses, Gated(fuses, futureHalf), pastSum,
                                           MaskOf(fuses, source, pastSum), 1.0F, false);
    }

    FilterHandle Added(bool fuses) {
        FilterHandle sum = Make<IP::TemporalAddFilter>(fuses, Frame(-2), 0.3F);
        for (int time = -1; time <= 2; ++time) {
            sum = Make<IP::TemporalAddFilter>(fuses, Frame(time), sum, 0.2F);
        }
        return sum;
    }

    /// The bytes of a frame of the area, as the graph counts them.
    std::uint64_t BytesOfFrame(const FilterHandle& sum) const {
        sum->SetRegion(area, sum->GetFormat());
        const FilterHandle& frame =
            sum->inputs[0]->inputs.empty() ? sum->inputs[0] : sum->inputs[0]->inputs[0];
        return frame->OutputBytes();
    }

    FilterBench bench{GetParam(), 3};
    Bounds area{3, -2, 560, 75};
};

TEST_P(Fusion, GatedHalvesAreWhatTheirStepsAre) {
    // The halves are joined by a mask that is stored in the frames' format.
    const double step = GetParam().bits == 32 ? 0 : 1.0 / GetParam().white;
    struct Case {
        int past, future, margin;
    };
    for (const Case& c : {Case{3, 2, 0}, Case{5, 1, 1}, Case{1, 4, 3}}) {
        for (const Bounds& region : {window, Grow(window, {60, 20, -31, -7})}) {
            const auto render = [&](bool fuses) {
                return bench.Render(Joined(fuses, c.past, c.future, c.margin), region, 32);
            };
            EXPECT_LE(bench.Error(render(true), render(false)), lastBits + step)
                << c.past << " before, " << c.future << " after";
        }
    }
}

TEST_P(Fusion, WidePicturesFallIntoBandsOfColumns) {
    area = {-7, 0, 2100, 17};
    const double step = GetParam().bits == 32 ? 0 : 1.0 / GetParam().white;
    const LayerHandle expected = bench.Render(Joined(false, 2, 2, 0), area, 32);
    EXPECT_LE(bench.Error(bench.Render(Joined(true, 2, 2, 0), area, 32), expected), lastBits + step);
}

TEST_P(Fusion, AThreadTakesTheRowsThatAnotherHasNotComeTo) {
    /// The first thread to come so far stops within its band until a third one is begun.
    struct StoppingHost : MemoryHost {
        using MemoryHost::MemoryHost;
        void UpdateProgress(int thread, std::uint64_t done, std::uint64_t total) override {
            MemoryHost::UpdateProgress(thread, done, total);
            const bool isBand = total > 16;
            bandsBegun += isBand && done == 0 ? 1 : 0;
            if (isBand && done >= 32 && !stopped.exchange(true)) {
                const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
                while (bandsBegun < 3 && std::chrono::steady_clock::now() < end) {
                    std::this_thread::sleep_for(std::chrono::milliseconds(1));
                }
            }
        }
        std::atomic<int> bandsBegun{0};
        std::atomic<bool> stopped{false};
    };
    area = {0, 0, 290, 420};
    StoppingHost host(2);
    host.style = bench.host.style;
    const LayerHandle output = MakeLayer(host, area, 32);
    IP::RenderGraph(Joined(true, 2, 2, 0), host, output);
    EXPECT_GE(host.bandsBegun, 3);
    EXPECT_EQ(bench.Error(output, bench.Render(Joined(true, 2, 2, 0), area, 32)), 0);
}

TEST(SharedBands, AreCutBetweenTwoBatches) {
    IP::SharedBands bands(2);
    IP::SharedBands::Walk walk(bands, 0, {5, 0, 100, 200});
    EXPECT_FALSE(bands.Take()) << "the walk has not told where its batches end";
    EXPECT_EQ(walk.Claim(24), 200);
    EXPECT_EQ(bands.Take(), (Bounds{5, 120, 100, 200}));
    EXPECT_EQ(walk.Claim(40), 120);
    EXPECT_EQ(bands.Take(), (Bounds{5, 88, 100, 120}));
    EXPECT_FALSE(bands.Take()) << "48 rows are not worth a band";
    EXPECT_EQ(walk.Claim(56), 88);
}

TEST_P(Fusion, AChainIsCutWhereFramesWouldTakeTooMuchMemory) {
    const auto frames = [&] { return std::vector{Frame(-3), Frame(-2), Frame(-1), Frame(0), Frame(1)}; };
    const LayerHandle expected = bench.Render(Gated(false, frames()), window, 32);
    const FilterHandle chain = OptimizedGraph(Gated(true, frames())).Sink();
    const FilterHandle cut = chain->Fuse(2 * BytesOfFrame(chain));
    ASSERT_NE(cut, nullptr);
    EXPECT_EQ(cut->inputs.size(), 3U) << "a sum and two frames";
    EXPECT_LE(bench.Error(bench.Render(cut, window, 32), expected), lastBits);
    EXPECT_EQ(chain->Fuse(BytesOfFrame(chain) / 2), nullptr);
}

TEST_P(Fusion, SumsOfFramesAgreeToTheLastBits) {
    const LayerHandle expected = bench.Render(Added(false), window, 32);
    EXPECT_LE(bench.Error(bench.Render(Added(true), window, 32), expected), lastBits);
    const FilterHandle chain = Added(true);
    const FilterHandle cut = chain->Fuse(3 * BytesOfFrame(chain));
    ASSERT_NE(cut, nullptr);
    EXPECT_EQ(cut->inputs.size(), 4U) << "a sum and three frames";
    EXPECT_LE(bench.Error(bench.Render(cut, window, 32), expected), lastBits);
}

TEST_P(Fusion, TheBlursOfAHighPassAreWhatTheyAreByThemselves) {
    const auto graph = [&](bool fuses, float sigma, float threshold) {
        const FilterHandle source = Frame(0);
        const auto blurOf = [&](const FilterHandle& input) {
            return std::make_shared<IP::GaussianBlurFilter>(input, IP::BlurSigma{sigma, sigma, 0}, 0, 0);
        };
        return Make<IP::AddHighPassFilter>(fuses, source, blurOf(source), blurOf(Added(true)), threshold,
                                           true, true);
    };
    // The larger blur leaves too few bands for the threads.
    for (const float sigma : {2.0F, 40.0F}) {
        for (const float threshold : {1.0F, 0.2F}) {
            const LayerHandle expected = bench.Render(graph(false, sigma, threshold), window);
            EXPECT_EQ(bench.Error(bench.Render(graph(true, sigma, threshold), window), expected), 0) << sigma;
        }
    }
}

TEST_P(Fusion, ASimilarityIsWhatItsStepsAre) {
    const auto graph = [&](bool fuses, const IP::AffineSimilarityParams& params) {
        return Make<IP::AffineSimilarityFilter>(fuses, Frame(0), Frame(1), params, false);
    };
    // The larger blur leaves too few bands for the threads.
    for (const auto& [x, y] : {std::pair(3.0F, 2.0F), std::pair(40.0F, 40.0F)}) {
        const auto params = IP::AffineSimilarityParams::Make(x, y, 0.03F);
        for (const Bounds& region : {window, Bounds{301, 5, 340, 60}}) {
            const LayerHandle expected = bench.Render(graph(false, params), region);
            EXPECT_GT(bench.Error(expected, [](int, int, int) { return 1.0; }), 0.5) << "nothing differs";
            EXPECT_EQ(bench.Error(bench.Render(graph(true, params), region), expected), 0) << x;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, Fusion,
                         testing::Values(byteFormat, shortFormat, short32768Format, floatFormat), FormatName);

}  // namespace
}  // namespace TQ::Test
