#include "ip/filters/DISFilter.h"

#include <cstring>

#include "ip/filters/DISPyramidFilter.h"
#include "ip/filters/FilterTest.h"
#include "ip/records/Exception.h"

namespace TQ::Test {

using IP::Bounds;
using IP::DISFilter;
using IP::DISSettings;
using IP::MakeDISSettings;

namespace {

/// A texture with detail at several scales, defined between pixels too.
double Texture(double x, double y) {
    return 0.45 + 0.11 * std::sin(x * 0.051 + y * 0.032) + 0.1 * std::cos(y * 0.067 - x * 0.023) +
           0.05 * std::sin(x * 0.31 + y * 0.12) + 0.05 * std::cos(y * 0.27 - x * 0.09) +
           0.04 * std::sin(x * 0.73 - y * 0.41) + 0.03 * std::cos(x * 0.52 + y * 0.87);
}

PictureFunction Shifted(double dx, double dy, double gain = 1, double offset = 0) {
    return [=](int x, int y, int channel) {
        return channel == 3 ? 1.0 : gain * Texture(x - dx, y - dy) + offset;
    };
}

std::shared_ptr<DISFilter> Flow(const FilterHandle& reference, const FilterHandle& moved) {
    return std::make_shared<DISFilter>(reference, moved, MakeDISSettings(0, 0));
}

/// Mean length of the difference to a constant motion, more than `margin` pixels from the edge.
double EndpointError(const LayerHandle& flow, double u, double v, int margin) {
    const Bounds inner = IP::Grow(flow->Bounds(), {margin, margin, -margin, -margin});
    double sum = 0;
    for (int y = inner.y1; y < inner.y2; ++y) {
        for (int x = inner.x1; x < inner.x2; ++x) {
            sum += std::hypot(GetValue(*flow, x, y, 0) - u, GetValue(*flow, x, y, 1) - v);
        }
    }
    return sum / (IP::Width(inner) * IP::Height(inner));
}

double MeanDifference(const LayerHandle& a, const LayerHandle& b) {
    const Bounds& bounds = a->Bounds();
    double sum = 0;
    for (int y = bounds.y1; y < bounds.y2; ++y) {
        for (int x = bounds.x1; x < bounds.x2; ++x) {
            sum += std::hypot(GetValue(*a, x, y, 0) - GetValue(*b, x, y, 0),
                              GetValue(*a, x, y, 1) - GetValue(*b, x, y, 1));
        }
    }
    return sum / (IP::Width(bounds) * IP::Height(bounds));
}

bool SameFlow(const LayerHandle& a, const LayerHandle& b) {
    const Bounds& bounds = a->Bounds();
    for (int y = bounds.y1; y < bounds.y2; ++y) {
        if (std::memcmp(a->PixelAddress(bounds.x1, y), b->PixelAddress(bounds.x1, y),
                        static_cast<std::size_t>(a->Width()) * 16) != 0) {
            return false;
        }
    }
    return true;
}

/// A pair of pictures in one format.
struct Pair {
    Pair(const PictureFormat& format, const Bounds& size, const PictureFunction& after, int threads = 1)
        : bench(format, threads),
          bounds(size),
          reference(bench.Leaf(size, Shifted(0, 0))),
          moved(bench.Leaf(size, after)) {}
    LayerHandle Render(std::int32_t bands = DISFilter::defaultBands) {
        const auto flow = Flow(reference, moved);
        flow->bands = bands;
        return bench.Render(flow, bounds, 32);
    }

    FilterBench bench;
    Bounds bounds;
    FilterHandle reference, moved;
};

const Bounds frame{-7, 4, 193, 134};

}  // namespace

TEST(DISFilter, IdenticalFramesHaveNoMotionAtAll) {
    Pair pair(byteFormat, frame, Shifted(0, 0));
    const LayerHandle flow = pair.Render();
    EXPECT_EQ(EndpointError(flow, 0, 0, 0), 0);
    EXPECT_EQ(GetValue(*flow, 0, 10, 2), 0);
    EXPECT_EQ(GetValue(*flow, 0, 10, 3), 0);
}

// The bounds are about twice what was measured.
TEST(DISFilter, FindsShiftsBetweenPixelsAndForgivesBrightness) {
    struct Row {
        double u, v, gain, offset, most;
    };
    for (const Row& row : {Row{0.4, -0.3, 1, 0, 0.05},
                           {5.25, 2.5, 1, 0, 0.06},
                           {-11.5, 7.75, 1, 0, 0.1},
                           {2.3, -1.6, 1, 0.12, 0.06},
                           {2.3, -1.6, 0.9, 0.03, 0.12}}) {
        Pair pair(byteFormat, frame, Shifted(row.u, row.v, row.gain, row.offset));
        EXPECT_LT(EndpointError(pair.Render(), row.u, row.v, 16), row.most) << row.u << ", " << row.gain;
    }
}

class DISFormats : public EveryFormat {};

// Grey is 8-bit whatever the picture has, so the formats differ by its rounding only.
TEST_P(DISFormats, AgreesWithEightBits) {
    Pair bytes(byteFormat, frame, Shifted(3.4, -1.7));
    Pair other(GetParam(), frame, Shifted(3.4, -1.7));
    EXPECT_LT(MeanDifference(bytes.Render(), other.Render()), 0.03);
}

// Channels that have to be clamped keep grey from being reduced in place of the picture.
TEST(DISFilter, OnePixelBeyondWhiteChangesLittle) {
    Pair inside(floatFormat, frame, Shifted(3.4, -1.7));
    Pair outside(floatFormat, frame, [](int x, int y, int channel) {
        return x == frame.x2 - 1 && y == frame.y2 - 1 && channel == 0 ? 1.5
                                                                      : Shifted(3.4, -1.7)(x, y, channel);
    });
    EXPECT_LT(MeanDifference(inside.Render(), outside.Render()), 0.01);
}

INSTANTIATE_TEST_SUITE_P(, DISFormats, testing::Values(shortFormat, short32768Format, floatFormat),
                         FormatName);

TEST(DISFilter, ThreadsAndPartsOfTheOutputChangeNothing) {
    const Bounds tall{0, 0, 130, 400};  // several bands
    Pair pair(byteFormat, tall, Shifted(4.2, 3.3));
    const LayerHandle expected = pair.Render();
    for (const int threads : {2, 3, 7}) {
        pair.bench.host.SetThreadCount(threads);
        EXPECT_TRUE(SameFlow(pair.Render(), expected)) << threads;
    }
    const Bounds part{31, 57, 90, 203};
    const LayerHandle crop = pair.bench.Render(Flow(pair.reference, pair.moved), part, 32);
    for (int y = part.y1; y < part.y2; ++y) {
        ASSERT_EQ(std::memcmp(crop->PixelAddress(part.x1, y), expected->PixelAddress(part.x1, y), 16 * 59), 0)
            << y;
    }
}

// A band's first patch row cannot take over what the row above found. Both scans walk away from one edge of
// the band, and the flow of the coarser level is there as a start, so little is lost: the bands may add a
// twentieth to the error.
TEST(DISFilter, BandsCostLittleAccuracy) {
    const Bounds tall{0, 0, 130, 400};
    Pair pair(byteFormat, tall, Shifted(9.2, -6.3));
    const double oneBand = EndpointError(pair.Render(1), 9.2, -6.3, 16);
    const double bands = EndpointError(pair.Render(), 9.2, -6.3, 16);
    EXPECT_LT(bands, oneBand * 1.05 + 0.002);
}

// Smaller than a patch at the finest level: no flow. Never a read outside, which the sanitizers watch.
TEST(DISFilter, AnySizeWorks) {
    for (int width = 1; width <= 40; width += width < 20 ? 1 : 5) {
        for (int height = 1; height <= 40; height += height < 20 ? 2 : 7) {
            Pair pair(byteFormat, {0, 0, width, height}, Shifted(1, 0.5));
            const LayerHandle flow = pair.Render();
            const double motion = EndpointError(flow, 0, 0, 0);
            ASSERT_LT(motion, 16) << width << " x " << height;
            if (width < 8 || height < 8) {
                ASSERT_EQ(motion, 0) << width << " x " << height;
            }
        }
    }
    Pair wide(byteFormat, {0, 0, 1000, 9}, Shifted(1, 0.5));  // its finest level is 4 pixels low
    EXPECT_EQ(EndpointError(wide.Render(), 0, 0, 0), 0);
    Pair noise(byteFormat, {0, 0, 90, 70},
               [](int x, int y, int) { return (x * 37 + y * 59 + x * y * 11) % 97 / 96.0; });
    EXPECT_LT(EndpointError(noise.Render(), 0, 0, 0), 1000);
}

TEST(DISFilter, PicturesThatOverlapInPartMeetWhereTheyDo) {
    FilterBench bench(byteFormat);
    const FilterHandle reference = bench.Leaf({0, 0, 150, 120}, Shifted(0, 0));
    const FilterHandle moved = bench.Leaf({20, 10, 190, 110}, Shifted(2.5, 1.5));
    const auto flow = Flow(reference, moved);
    EXPECT_EQ(flow->GetBounds(), (Bounds{20, 10, 150, 110}));
    EXPECT_EQ(flow->GetInputRegion({40, 40, 50, 50}, 1), (Bounds{20, 10, 190, 110}));
    EXPECT_LT(EndpointError(bench.Render(flow, {20, 10, 150, 110}, 32), 2.5, 1.5, 16), 0.1);
}

TEST(DISFilter, FlowsOfOneReferenceShareItsPyramidAndGradients) {
    FilterBench bench(byteFormat);
    const FilterHandle reference = bench.Leaf(frame, Shifted(0, 0));
    const auto first = Flow(reference, bench.Leaf(frame, Shifted(1, 0)));
    const auto second = Flow(reference, bench.Leaf(frame, Shifted(0, 1)));
    const auto both = Flow(first, second);  // stands for any filter over the two
    both->DryRun(bench.host, frame, IP::PixelFormat{});
    const IP::FilterBase* shared = first->inputs[0].get();
    EXPECT_STREQ(shared->GetName(), "optflowPyramid");
    EXPECT_EQ(shared, second->inputs[0].get());
    EXPECT_STREQ(first->inputs[2]->GetName(), "optflowGradients");
    EXPECT_EQ(first->inputs[2], second->inputs[2]);
    EXPECT_NE(first->inputs[1], second->inputs[1]);
}

// A filter run by itself builds its pyramids; the result is that of the graph.
TEST(DISFilter, RunsOutsideAGraph) {
    Pair pair(byteFormat, frame, Shifted(2.2, -0.8));
    const LayerHandle flow = MakeLayer(pair.bench.host, frame, 32);
    Flow(pair.reference, pair.moved)
        ->RunHost(pair.bench.host, *flow, {pair.reference->GetLayer(), pair.moved->GetLayer()});
    EXPECT_TRUE(SameFlow(flow, pair.Render()));
}

TEST(DISFilter, StopsWhenTheHostAsksTo) {
    for (const int checks : {1, 5, 20}) {
        Pair pair(byteFormat, frame, Shifted(1, 1), 2);
        int asked = 0;
        pair.bench.host.wantsAbort = [&] { return ++asked >= checks; };
        EXPECT_THROW(pair.Render(), Interrupted) << checks;
    }
}

TEST(DISFilter, SettingsFollowPresetAndExtraLevel) {
    EXPECT_EQ(MakeDISSettings(0, 1), (DISSettings{1, 3, 25, 5, 20, 10, 5}));
    EXPECT_EQ(MakeDISSettings(1, 0), (DISSettings{2, 4, 16, 5, 20, 10, 5}));
    EXPECT_EQ(MakeDISSettings(2, 3), (DISSettings{5, 4, 12, 0, 20, 10, 5}));
    FilterBench bench(byteFormat);
    const FilterHandle picture = bench.Leaf(frame, Shifted(0, 0));
    EXPECT_EQ(Flow(picture, picture)->ProgressSteps(), 7 * 3);  // 200 wide: levels 3 to 1
    EXPECT_THROW(DISFilter(picture, picture, MakeDISSettings(9, 0)), Exception);
    EXPECT_THROW(DISFilter(picture, nullptr, MakeDISSettings(0, 0)), Exception);
}

}  // namespace TQ::Test
