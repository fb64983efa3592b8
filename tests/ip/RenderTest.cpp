#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "TestFilters.h"
#include "ip/records/Exception.h"

namespace TQ::Test {
namespace {

constexpr Bounds frame{0, 0, 96, 70};
constexpr std::int64_t imageBytes = 96 * 4 / 64 * 64 * 70;

std::shared_ptr<AddConstant> Add(const Handle& input, double value, int margin = 0) {
    return std::make_shared<AddConstant>(input, value, margin);
}

/// Renders into a layer of the frame and expects (value, x, y, position) -> `expected` everywhere.
void ExpectRendered(MemoryHost& host, const Handle& sink,
                    const std::function<double(int, int, int)>& expected, const Bounds& bounds = frame) {
    const auto output = MakeLayer(host, bounds, 8);
    FillLayer(*output, [](int, int, int) { return 222; });
    RenderGraph(sink, host, output);
    for (int y = bounds.y1; y < bounds.y2; ++y) {
        for (int x = bounds.x1; x < bounds.x2; ++x) {
            for (int position = 0; position < 4; ++position) {
                ASSERT_EQ(GetValue(*output, x, y, position), expected(x, y, position)) << x << ", " << y;
            }
        }
    }
}

TEST(Render, GivesTheSameForEveryThreadCount) {
    for (const int threads : {1, 2, 7, 200}) {
        MemoryHost host(threads);
        const auto source = std::make_shared<Source>(host, frame);
        ExpectRendered(host, Add(Add(source, 10, 3), 20),
                       [](int x, int y, int position) { return Source::Value(x, y, position) + 30; });
    }
}

TEST(Render, ASharedFilterRunsOnceForTheUnionOfItsConsumers) {
    MemoryHost host;
    const auto source = std::make_shared<Source>(host, frame);
    const auto shared = Add(source, 10);
    const auto sink = std::make_shared<Sum>(Add(shared, 1, 2), Add(shared, 2, 7));
    const auto expected = [](int x, int y, int position) { return 2 * Source::Value(x, y, position) + 23; };
    ExpectRendered(host, sink, expected, {20, 20, 60, 50});
    EXPECT_EQ(shared->runs, 1);
    EXPECT_EQ(shared->region, (Bounds{13, 13, 67, 57}));
    EXPECT_EQ(shared->keptResult.layer, nullptr) << "dropped at the last consumer";
    EXPECT_EQ(source->uses, 1);

    ExpectRendered(host, sink, expected);
    EXPECT_EQ(shared->runs, 2) << "a second evaluation starts anew";
}

TEST(Render, AKeptResultIsCopiedForAConsumerWithPixelsOfItsOwn) {
    MemoryHost host;
    const auto filter = Add(std::make_shared<Source>(host, frame), 1);
    const auto first = Add(filter, 1);
    const auto second = Add(filter, 2);
    filter->SetRegion(frame, {});

    IP::RenderResult shared, own;
    bool rendered = true;
    filter->RenderHost(host, nullptr, shared, rendered, 80);
    EXPECT_FALSE(rendered) << "kept for the second consumer, so not the first one's alone";
    own.layer = MakeLayer(host, frame, 8);
    const unsigned char* pixels = own.layer->Data();
    filter->RenderHost(host, nullptr, own, rendered, 80);
    EXPECT_FALSE(rendered);
    EXPECT_EQ(own.layer->Data(), pixels);
    EXPECT_EQ(GetValue(*own.layer, 50, 40, 1), Source::Value(50, 40, 1) + 1);
    EXPECT_EQ(filter->runs, 1);
    EXPECT_EQ(filter->keptResult.layer, nullptr);

    filter->SetRegion(frame, {});
    filter->RenderHost(host, nullptr, shared, rendered, 0);
    filter->SkipRender();
    EXPECT_EQ(filter->keptResult.layer, nullptr) << "a skipped consumer counts as served";
}

TEST(Render, ALeafAloneIsCopiedUnlessItsPixelsAreTheOutput) {
    MemoryHost host;
    const auto source = std::make_shared<Source>(host, frame);
    ExpectRendered(host, Add(source, 0), Source::Value);
    RenderGraph(source, host, source->picture);
    EXPECT_EQ(GetValue(*source->picture, 9, 9, 0), Source::Value(9, 9, 0));
}

TEST(Render, FillsOnlyWhatTheGraphCanDeliver) {
    MemoryHost host;
    const auto source = std::make_shared<Source>(host, Bounds{10, 10, 40, 30});
    ExpectRendered(host, Add(source, 5), [](int x, int y, int position) {
        return x >= 10 && x < 40 && y >= 10 && y < 30 ? Source::Value(x, y, position) + 5 : 222;
    });

    const auto elsewhere = Add(source, 5);
    ExpectRendered(host, elsewhere, [](int, int, int) { return 222; }, {60, 60, 90, 70});
    EXPECT_EQ(elsewhere->runs, 0);
    EXPECT_EQ(host.reports.back(), 1.0) << "what did not need to run counts as done";
}

TEST(Render, RefusesALeafThatCoversLessThanItsConsumerReads) {
    MemoryHost host;
    const auto large = std::make_shared<Source>(host, frame);
    const auto small = std::make_shared<Source>(host, Bounds{0, 0, 50, 70});
    const auto output = MakeLayer(host, frame, 8);
    EXPECT_THROW(RenderGraph(std::make_shared<Sum>(large, small), host, output), Exception);
}

TEST(Render, ASourceWithoutAFormatTakesThatOfTheOutput) {
    class Constant : public AddConstant {
      public:
        Constant() : AddConstant(nullptr, 7) {}
        const char* GetName() const override { return "constant"; }

      protected:
        double Sample(int, int, int) const override { return value; }
    };
    MemoryHost host;
    host.style.shortWhite = 32768;
    const auto source = std::make_shared<Source>(host, frame, 16);
    const auto output = MakeLayer(host, frame, 16);
    const auto constant = std::make_shared<Constant>();
    RenderGraph(std::make_shared<Sum>(Add(constant, 1), source), host, output);
    EXPECT_EQ(constant->format, FormatOfLayer(*output));
    EXPECT_EQ(GetValue(*output, 90, 60, 3), 8 + Source::Value(90, 60, 3));
}

/// A leaf whose picture comes when it is first needed and goes after the last consumer.
class LazySource : public IP::FilterBase {
  public:
    explicit LazySource(MemoryHost& memory) : _memory(memory) {}
    const char* GetName() const override { return "lazy"; }
    bool IsEqual(const FilterBase& other) const override { return this == &other; }
    Bounds GetBounds() const override { return frame; }
    int ProgressSteps() const override { return 0; }
    void PrepareRender(IP::Host&) override {
        if (!_picture) {
            ++fetches;
            served = 0;
            _picture = MakeLayer(_memory, frame, 8);
            FillLayer(*_picture, Source::Value);
        }
    }
    IP::Layer* GetLayer() override { return _picture.get(); }
    void AfterInputUse() override {
        if (++served == consumers.size()) {
            changed |= GetValue(*_picture, 8, 8, 1) != Source::Value(8, 8, 1);
            _picture.reset();
        }
    }
    int fetches = 0;
    bool changed = false;  ///< somebody wrote to the picture
    std::size_t served = 0;

  private:
    MemoryHost& _memory;
    std::shared_ptr<IP::Layer> _picture;
};

std::shared_ptr<AddConstant> InPlace(const Handle& input, double value) {
    auto filter = Add(input, value);
    filter->inPlace = true;
    return filter;
}

TEST(InPlace, WritesOverOwnPixelsOnlyAndNeverOverSharedOnes) {
    MemoryHost host;
    const auto source = std::make_shared<Source>(host, frame);
    host.counters->ResetPeak();
    const std::int64_t before = host.counters->bytes;
    ExpectRendered(host, InPlace(InPlace(InPlace(source, 1), 2), 4),
                   [](int x, int y, int position) { return Source::Value(x, y, position) + 7; });
    EXPECT_EQ(host.counters->peakBytes - before, imageBytes) << "the output alone";
    EXPECT_EQ(GetValue(*source->picture, 7, 7, 0), Source::Value(7, 7, 0));

    // Inside a sum each branch takes over the pixels of its input, except those that the other branch reads
    // too.
    const auto shared = Add(source, 10);
    const auto sink = std::make_shared<Sum>(InPlace(InPlace(shared, 1), 2), InPlace(shared, 4));
    host.counters->ResetPeak();
    ExpectRendered(host, sink,
                   [](int x, int y, int position) { return 2 * Source::Value(x, y, position) + 27; });
    EXPECT_LE(host.counters->peakBytes - before, 4 * imageBytes) << "output, shared, two branches";
}

TEST(InPlace, DoesNotLoseWhatIsReadBeyondTheOutputNorTouchALateLeaf) {
    MemoryHost host;
    const auto source = std::make_shared<Source>(host, frame);
    const auto wide = InPlace(Add(source, 1), 2);
    wide->margin = 3;
    const auto expected = [](int x, int y, int position) { return Source::Value(x, y, position) + 3; };
    ExpectRendered(host, wide, expected, {20, 20, 60, 50});

    const auto lazy = std::make_shared<LazySource>(host);
    ExpectRendered(host, std::make_shared<Sum>(InPlace(lazy, 3), Add(source, 1)),
                   [](int x, int y, int position) { return 2 * Source::Value(x, y, position) + 4; });
    EXPECT_EQ(lazy->fetches, 1);
    EXPECT_FALSE(lazy->changed);
}

TEST(Memory, OfAChainStaysAtTwoImagesAndTheOutput) {
    MemoryHost host;
    const auto source = std::make_shared<Source>(host, frame);
    Handle sink = source;
    for (int i = 0; i < 16; ++i) {
        sink = Add(sink, 1);
    }
    const std::int64_t before = host.counters->bytes;
    host.counters->ResetPeak();
    ExpectRendered(host, sink, [](int x, int y, int position) { return Source::Value(x, y, position) + 16; });
    EXPECT_EQ(host.counters->peakBytes - before, 3 * imageBytes);
    EXPECT_EQ(host.counters->bytes, before);
    EXPECT_EQ(sink->peakMemory, 2U * imageBytes) << "of which the output is one at the end";
}

TEST(Memory, TheInputThatNeedsMostIsRenderedFirst) {
    MemoryHost host;
    const auto source = std::make_shared<Source>(host, frame);
    const auto heavy = std::make_shared<Sum>(Add(source, 1), Add(source, 2));
    const auto light = Add(source, 3);
    const auto sink = std::make_shared<Sum>(light, heavy);
    host.counters->ResetPeak();
    const std::int64_t before = host.counters->bytes;
    ExpectRendered(host, sink,
                   [](int x, int y, int position) { return 3 * Source::Value(x, y, position) + 6; });
    EXPECT_EQ(host.counters->peakBytes - before, 4 * imageBytes) << "output, heavy and its two inputs";
    EXPECT_EQ(IP::InputOrder(*sink).front(), 1U);
    EXPECT_EQ(sink->peakMemory, 3U * imageBytes);
}

TEST(LazyLeaves, AreFetchedOnceAndOneByOne) {
    MemoryHost host;
    std::vector<std::shared_ptr<LazySource>> leaves;
    Handle running;
    for (int i = 0; i < 8; ++i) {
        leaves.push_back(std::make_shared<LazySource>(host));
        const Handle twice = std::make_shared<Sum>(leaves.back(), Add(leaves.back(), -1));
        running = running ? std::make_shared<Sum>(running, Add(twice, -20, 1)) : twice;
    }
    // Few bits, so that the sums stay within a byte.
    const Bounds corner{0, 0, 4, 2};
    const auto output = MakeLayer(host, corner, 32);
    running->DryRun(host, corner, FormatOfLayer(*output));
    EXPECT_EQ(leaves[0]->fetches, 0);
    EXPECT_EQ(leaves[1]->region, (Bounds{0, 0, 5, 3}));

    host.counters->ResetPeak();
    RenderGraph(running, host, MakeLayer(host, corner, 8));
    for (const auto& leaf : leaves) {
        EXPECT_EQ(leaf->fetches, 1);
        EXPECT_EQ(leaf->GetLayer(), nullptr) << "given back";
    }
    EXPECT_LT(host.counters->peakBytes - host.counters->bytes, 3 * imageBytes) << "never all frames at once";
}

TEST(Progress, RisesAndEndsAtOne) {
    MemoryHost host(2);
    const auto source = std::make_shared<Source>(host, frame);
    const auto shared = Add(source, 1);
    ExpectRendered(host, std::make_shared<Sum>(shared, Add(shared, 2)),
                   [](int x, int y, int position) { return 2 * Source::Value(x, y, position) + 4; });
    EXPECT_TRUE(std::is_sorted(host.reports.begin(), host.reports.end()));
    EXPECT_GE(host.reports.size(), 6U);
    EXPECT_EQ(host.reports.front(), 0.0);
    EXPECT_EQ(host.reports.back(), 1.0);
    EXPECT_EQ(std::count(host.reports.begin(), host.reports.end(), 1.0), 1);
}

TEST(Abort, AnywhereLeavesNothingBehind) {
    // Counts the reports first, then stops at each of them.
    std::size_t reports = 1;
    for (std::size_t stopAt = 0; stopAt < reports; ++stopAt) {
        MemoryHost host(3);
        {
            const auto source = std::make_shared<Source>(host, frame);
            const auto shared = Add(source, 1);
            const Handle sink = std::make_shared<Sum>(shared, Add(shared, 2));
            const auto output = MakeLayer(host, frame, 8);
            if (stopAt == 0) {
                RenderGraph(sink, host, output);
                reports = host.reports.size();
                continue;
            }
            host.wantsAbort = [&] { return host.reports.size() >= stopAt; };
            EXPECT_THROW(RenderGraph(sink, host, output), Interrupted);
            EXPECT_EQ(host.reports.size(), stopAt);
        }
        EXPECT_EQ(host.counters->layersWithPixels, 0);
    }
}

TEST(Failure, InABandReachesTheCaller) {
    class Failing : public AddConstant {
      public:
        using AddConstant::AddConstant;
        void RunHostRows(const Bounds& rows, int) override {
            if (rows.y1 > 0) {
                throw std::runtime_error("broken band");
            }
        }
    };
    MemoryHost host(4);
    const auto source = std::make_shared<Source>(host, frame);
    const auto output = MakeLayer(host, frame, 8);
    EXPECT_THROW(RenderGraph(std::make_shared<Failing>(Add(source, 1), 1), host, output), std::runtime_error);
    EXPECT_EQ(host.counters->layersWithPixels, 2) << "source and output";
}

}  // namespace
}  // namespace TQ::Test
