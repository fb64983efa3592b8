#include <cstring>

#include "host/ofx/TestEffect.h"
#include "ip/Evaluation.h"
#include "ip/records/Exception.h"

namespace Test {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class RenderTest : public BridgeTest {
  protected:
    void SetUp() override { Start(); }
    FakeClip& source = fake.ClipNamed(kOfxImageEffectSimpleSourceClipName);
    FakeClip& output = fake.ClipNamed(kOfxImageEffectOutputClipName);
    static bool Same(const OfxRectD& a, const OfxRectD& b) {
        return a.x1 == b.x1 && a.y1 == b.y1 && a.x2 == b.x2 && a.y2 == b.y2;
    }
    /// Every byte of the layer becomes `value`.
    static void Fill(Ofx::Layer& layer, int value) {
        for (int y = layer.bounds.y1; y < layer.bounds.y2; ++y) {
            std::memset(layer.PixelAddress(layer.bounds.x1, y), value,
                        static_cast<std::size_t>(TQ::IP::Width(layer.bounds) * layer.PixelBytes()));
        }
    }
};

TEST_F(RenderTest, OnlyTheWindowIsWritten) {
    for (const bool downwards : {false, true}) {
        output.rowsDownwards = source.rowsDownwards = downwards;
        output.kept = nullptr;
        script.render = [](auto&&, auto&&, auto&&, Ofx::Layer& target, auto&&) { Fill(target, 7); };
        ASSERT_EQ(Render(5, {3, 2, 9, 40}), kOfxStatOK);
        for (int y = 0; y < 12; ++y) {
            for (int x = 0; x < 16; ++x) {
                const bool inside = x >= 3 && x < 9 && y >= 2;
                EXPECT_EQ(output.kept->At<std::uint8_t>(x, y, 3), inside ? 7 : 0) << x << ' ' << y;
            }
        }
    }
    EXPECT_EQ(Render(5, {50, 2, 60, 9}), kOfxStatErrUnknown);
    EXPECT_THAT(fake.messages.back().text, HasSubstr("outside the window"));
}

TEST_F(RenderTest, WhatTheSourceDoesNotReachIsCleared) {
    source.bounds = {4, 4, 8, 8};
    output.prepare = [](FakeImage& image, double) { std::fill(image.Pixel(0, 0), image.Pixel(16, 11), 9); };
    script.render = [](auto&&, auto&&, Ofx::Layer& from, Ofx::Layer& target, auto&&) {
        EXPECT_EQ(from.bounds, (Bounds{4, 4, 8, 8}));
        EXPECT_EQ(target.bounds, (Bounds{0, 0, 16, 12}));
    };
    ASSERT_EQ(Render(), kOfxStatOK);
    EXPECT_EQ(output.kept->At<std::uint8_t>(15, 11, 0), 0);
    source.bounds = {40, 40, 48, 48};
    script.render = [](auto&&...) { FAIL() << "there is nothing to render"; };
    EXPECT_EQ(Render(), kOfxStatOK);
}

TEST_F(RenderTest, TheSourceIsFetchedOverTheUnionOfWhatIsWanted) {
    script.radius = 1;
    script.margin = 2;
    source.prepare = [](FakeImage& image, double) { image.At<std::uint8_t>(5, 6, 1) = 77; };
    // The images are whole all the same, and the effect sees what was wanted of them.
    script.render = [&](auto&&, auto&&, Ofx::Layer& from, auto&&, Ofx::FrameTable& frames) {
        for (const Ofx::Layer* layer : {&from, &frames.FetchSlot(1)}) {
            EXPECT_EQ(layer->bounds, (Bounds{2, 2, 10, 10}));
            EXPECT_EQ(layer->PixelAddress(5, 6)[1], 77);
        }
    };
    ASSERT_EQ(Render(5, {4, 4, 8, 8}), kOfxStatOK);
    EXPECT_TRUE(Same(source.fetchedRegions.at(0), {2, 2, 10, 10}));
    fake.host.Put(kOfxPropName, "DaVinciResolve");
    ASSERT_EQ(Render(5, {4, 4, 8, 8}), kOfxStatOK);
    EXPECT_TRUE(Same(source.fetchedRegions.at(2), {0, 0, 0, 0}));
}

TEST_F(RenderTest, FramesComeWhenAskedForAndOnce) {
    script.radius = 2;
    source.firstTime = 4;
    script.render = [&](auto&&, auto&&, auto&&, auto&&, Ofx::FrameTable& frames) {
        ASSERT_EQ(frames.Size(), 4U);
        EXPECT_EQ(source.fetches, 1);
        EXPECT_FALSE(frames.FetchSlot(0).HasImage());  // time 3: before the clip
        EXPECT_TRUE(frames.FetchSlot(1).HasImage());
        EXPECT_EQ(&frames.FetchSlot(1), frames.FetchedLayer(1));
        EXPECT_THAT(source.fetchedTimes, ElementsAre(5, 3, 4));
        EXPECT_EQ(fake.liveImages, 3);
        frames.ReleaseSlot(1);
        EXPECT_EQ(fake.liveImages, 2);
        EXPECT_EQ(frames.FetchedLayer(1), nullptr);
        source.imageStatus[7] = kOfxStatErrMemory;
        frames.FetchSlot(2);
        frames.FetchSlot(3);
    };
    EXPECT_EQ(Render(), kOfxStatErrMemory);
}

TEST_F(RenderTest, LeavesRenderIntoTheOutputAndGiveFramesBack) {
    script.radius = 1;
    source.prepare = [](FakeImage& image, double time) {
        image.At<std::uint8_t>(2, 3, 1) = static_cast<int>(time);
    };
    script.render = [&](Ofx::Host& effect, auto&&, auto&& from, Ofx::Layer& target, Ofx::FrameTable& frames) {
        Ofx::HostWrapper host(effect);
        const auto picture = std::make_shared<TQ::IP::Layer>(std::make_unique<Ofx::LayerWrapper>(target));
        const auto leaf = std::make_shared<Ofx::FilterHostLayer>(frames, 1);
        EXPECT_TRUE(leaf->IsEqual(*std::make_shared<Ofx::FilterHostLayer>(frames, 1)));
        EXPECT_FALSE(leaf->IsEqual(*std::make_shared<Ofx::FilterHostLayer>(frames, 0)));
        EXPECT_TRUE(std::make_shared<Ofx::FilterLayerWrapper>(from)->IsEqual(Ofx::FilterLayerWrapper(from)));
        TQ::IP::RenderGraph(leaf, host, picture);
        // With three consumers the frame stays until the third has been served.
        leaf->consumers.assign(3, nullptr);
        leaf->SetRegion(target.bounds, leaf->GetFormat());
        leaf->PrepareRender(host);
        leaf->AfterInputUse();
        leaf->AfterInputUse();
        EXPECT_TRUE(leaf->IsLastUse());
        EXPECT_NE(frames.FetchedLayer(1), nullptr);
        leaf->AfterInputUse();
        EXPECT_EQ(frames.FetchedLayer(1), nullptr);
        leaf->consumers.clear();
    };
    ASSERT_EQ(Render(), kOfxStatOK);
    EXPECT_EQ(output.kept->At<std::uint8_t>(2, 3, 1), 6);
}

TEST_F(RenderTest, AGapBetweenFramesIsTold) {
    script.radius = 1;
    source.imageStatus[4] = kOfxStatFailed;
    script.render = [&](Ofx::Host& effect, auto&&, auto&&, auto&&, Ofx::FrameTable& frames) {
        Ofx::HostWrapper host(effect);
        Ofx::FilterHostLayer(frames, 0).PrepareRender(host);
    };
    EXPECT_EQ(Render(), kOfxStatErrUnknown);
    EXPECT_THAT(fake.messages.back().text, HasSubstr("no frame at time 4 "));
}

TEST_F(RenderTest, ImagesThatCannotBeUsedAreRefusedAtTheDoor) {
    struct Row {
        const char* what;
        std::function<void(FakeClip& source, FakeClip& output)> spoil;
        const char* text;
    };
    const auto with = [](const char* name, auto value) {
        return [=](FakeImage& image, double) { image.properties.Put(name, value); };
    };
    const Row rows[] = {
        {"depth", [](auto& s, auto&) { s.depth = kOfxBitDepthShort; }, "different pixel formats"},
        {"half", [](auto& s, auto& o) { s.depth = o.depth = kOfxBitDepthHalf; }, "half-float"},
        {"rgb", [](auto& s, auto&) { s.components = kOfxImageComponentRGB; }, "3 channel(s)"},
        {"alpha", [](auto&, auto& o) { o.components = kOfxImageComponentAlpha; }, "1 channel(s)"},
        {"none", [](auto& s, auto&) { s.components = kOfxImageComponentNone; }, "Invalid layer"},
        {"strange", [](auto& s, auto&) { s.depth = "NoSuchDepth"; }, "unknown depth"},
        {"no data", [&](auto& s, auto&) { s.prepare = with(kOfxImagePropData, std::vector<void*>{nullptr}); },
         "without pixel data"},
        {"short rows", [&](auto& s, auto&) { s.prepare = with(kOfxImagePropRowBytes, 63); }, "shorter than"},
        {"huge",
         [&](auto& s, auto&) {
             s.prepare = with(kOfxImagePropBounds, std::vector<int>{-2000000000, 0, 2000000000, 1});
         },
         "too large"},
        {"empty",
         [&](auto& s, auto&) {
             s.prepare = with(kOfxImagePropBounds, std::vector<int>{0, 0, 0, 12});
         },
         "without any pixel"},
    };
    for (const Row& row : rows) {
        const FakeClip sourceBefore = source;
        const FakeClip outputBefore = output;
        output.kept = nullptr;
        row.spoil(source, output);
        EXPECT_EQ(Render(), kOfxStatErrUnknown) << row.what;
        EXPECT_THAT(fake.messages.back().text, HasSubstr(row.text));
        EXPECT_EQ(fake.liveImages, 0) << row.what;
        source = sourceBefore;
        output = outputBefore;
    }
}

TEST_F(RenderTest, NeighboursMustFitToTheCurrentFrame) {
    script.radius = 1;
    script.render = [](auto&&, auto&&, auto&&, auto&&, Ofx::FrameTable& frames) { frames.FetchSlot(0); };
    source.prepare = [](FakeImage& image, double time) {
        if (time == 4) {
            image.properties.Put(kOfxImageEffectPropPixelDepth, kOfxBitDepthShort);
            image.properties.Put(kOfxImagePropBounds, std::vector<int>{0, 0, 8, 12});
        }
    };
    EXPECT_EQ(Render(), kOfxStatErrUnknown);
    EXPECT_THAT(fake.messages.back().text, HasSubstr("time 4 has another pixel format"));
    // What a neighbour does not cover is transparent.
    source.prepare = [](FakeImage& image, double time) {
        image.At<std::uint8_t>(14, 3, 3) = image.At<std::uint8_t>(15, 3, 3) = 9;
        image.properties.Put(kOfxImagePropBounds, std::vector<int>{0, 0, time == 4 ? 15 : 16, 12});
    };
    script.render = [](auto&&, auto&&, auto&&, auto&&, Ofx::FrameTable& frames) {
        const Ofx::Layer& frame = frames.FetchSlot(0);
        EXPECT_EQ(frame.bounds, (Bounds{0, 0, 16, 12}));
        EXPECT_EQ(frame.PixelAddress(14, 3)[3], 9);
        EXPECT_EQ(frame.PixelAddress(15, 3)[3], 0);
    };
    EXPECT_EQ(Render(), kOfxStatOK);
    // A host that rounds the size of scaled clips down does so for all frames, and that is fine.
    source.prepare = [](FakeImage& image, double) {
        image.properties.Put(kOfxImagePropBounds, std::vector<int>{0, 0, 15, 12});
    };
    script.render = [](auto&&, auto&&, auto&&, auto&&, Ofx::FrameTable& frames) {
        EXPECT_EQ(frames.FetchSlot(0).bounds, (Bounds{0, 0, 15, 12}));
    };
    EXPECT_EQ(Render(), kOfxStatOK);
}

TEST_F(RenderTest, MissingImagesEndTheRenderWithTheirStatus) {
    source.lastTime = 4;
    EXPECT_EQ(Render(), kOfxStatFailed);
    source.lastTime = 100;
    output.imageStatus[5] = kOfxStatErrBadHandle;
    EXPECT_EQ(Render(), kOfxStatErrBadHandle);
    EXPECT_TRUE(fake.messages.empty());
}

TEST_F(RenderTest, FieldsAndAspectChangeNoGeometry) {
    source.properties.Put(kOfxImagePropPixelAspectRatio, 0.5);
    output.properties.Put(kOfxImagePropPixelAspectRatio, 0.5);
    source.region = {0, 0, 8, 12};  // canonical: half as wide as its pixels
    source.prepare = [](FakeImage& image, double) {
        image.properties.Put(kOfxImagePropField, kOfxImageFieldUpper);
    };
    script.radius = 1;
    script.render = [](Ofx::Host& effect, auto&&, Ofx::Layer& from, auto&&, Ofx::FrameTable& frames) {
        EXPECT_EQ(from.fieldScale, 0.5F);
        EXPECT_EQ(from.bounds, (Bounds{0, 0, 16, 12}));
        EXPECT_EQ(effect.pixelAspect, 0.5F);
        EXPECT_EQ(frames.ExpectedBounds(0), (Bounds{0, 0, 16, 12}));
    };
    EXPECT_EQ(Render(), kOfxStatOK);
    EXPECT_TRUE(Same(source.fetchedRegions.at(0), {0, 0, 8, 12}));
}

TEST_F(RenderTest, ScratchLayersComeFromTheHost) {
    script.render = [&](Ofx::Host& effect, auto&&, Ofx::Layer& from, auto&&, auto&&) {
        Ofx::HostWrapper host(effect);
        TQ::IP::Layer scratch(host);
        scratch.Allocate({-1, 0, 4, 3}, 16, 4);
        EXPECT_EQ(scratch.RowBytes(), 64);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(scratch.Data()) % 64, 0U);
        EXPECT_EQ(scratch.WhiteLevel(), 65535);
        scratch.Implement().ClearAll();
        *scratch.PixelAddress(1, 1) = 42;
        scratch.Implement().SetBounds({1, 1, 20, 5});
        EXPECT_EQ(*scratch.PixelAddress(1, 1), 42);
        TQ::IP::Layer view(host);
        view.ShareRegion(scratch, {-5, 2, 3, 90});
        EXPECT_EQ(view.Bounds(), (Bounds{1, 2, 3, 5}));
        EXPECT_EQ(view.Data(), scratch.PixelAddress(1, 2));
        EXPECT_FALSE(view.Implement().OwnsPixels());
        TQ::IP::Layer wrapped(std::make_unique<Ofx::LayerWrapper>(from));
        wrapped.Allocate({0, 0, 2, 2}, 8, 4);  // leaves the host's image alone
        EXPECT_NE(wrapped.Data(), from.data);
        EXPECT_TRUE(from.HasImage());
        scratch.Allocate({0, 0, 0, 7}, 8, 4);
        EXPECT_FALSE(scratch.HasPixels());
        fake.outOfMemory = true;
        EXPECT_THROW(scratch.Allocate({0, 0, 1000, 1000}, 32, 4), std::bad_alloc);
        throw std::bad_alloc();
    };
    EXPECT_EQ(Render(), kOfxStatErrMemory);
    EXPECT_EQ(fake.plainMemoryCalls, 0);
    fake.outOfMemory = false;
    fake.host.Put(kOfxPropName, "DaVinciResolve");
    const int before = fake.imageMemoryCalls;
    EXPECT_EQ(Render(), kOfxStatErrMemory);
    EXPECT_EQ(fake.imageMemoryCalls, before);
    EXPECT_GT(fake.plainMemoryCalls, 0);
}

// --- Threads, abort and progress -------------------------------------------------------------------

class RenderThreadsTest : public RenderTest {
  protected:
    /// Renders with a body that sees the host as the framework does.
    OfxStatus RenderWith(std::function<void(Ofx::HostWrapper&)> body) {
        script.render = [=](Ofx::Host& effect, auto&&...) {
            Ofx::HostWrapper host(effect);
            body(host);
        };
        return Render();
    }
};

TEST_F(RenderThreadsTest, BandsCoverTheWorkWhateverTheHostRuns) {
    struct Row {
        ThreadMode mode;
        unsigned processors;
        int bands;
    };
    for (const Row& row : {Row{ThreadMode::Threads, 3, 3}, Row{ThreadMode::Once, 3, 1},
                           Row{ThreadMode::Nested, 3, 1}, Row{ThreadMode::Threads, 0, 1}}) {
        fake.threadMode = row.mode;
        fake.processors = row.processors;
        std::atomic<int> bands{0}, sum{0};
        const OfxStatus status = RenderWith([&](Ofx::HostWrapper& host) {
            auto body = [&](int index, int count) {
                ++bands;
                EXPECT_EQ(count, row.bands);
                sum += index + 1;
            };
            host.ParallelFor([](int index, int count, int,
                                void* work) { (*static_cast<decltype(body)*>(work))(index, count); },
                             &body, 0);
        });
        EXPECT_EQ(status, kOfxStatOK);
        EXPECT_EQ(bands, row.bands);
        EXPECT_EQ(sum, row.bands * (row.bands + 1) / 2);
    }
    fake.processorStatus = kOfxStatErrUnsupported;
    RenderWith([](Ofx::HostWrapper& host) { EXPECT_EQ(host.GetThreadCount(), 1); });
}

TEST_F(RenderThreadsTest, FailuresOfBandsAndOfTheSuiteComeBack) {
    fake.processors = 3;
    EXPECT_EQ(RenderWith([](Ofx::HostWrapper& host) {
                  host.ParallelFor(
                      [](int index, int, int, void*) {
                          if (index == 2) {
                              throw TQ::Exception("", "band 2");
                          }
                      },
                      nullptr, 0);
              }),
              kOfxStatErrUnknown);
    EXPECT_EQ(fake.messages.back().text, "band 2");
    fake.threadMode = ThreadMode::FailsAfter;
    EXPECT_EQ(
        RenderWith([](Ofx::HostWrapper& host) { host.ParallelFor([](int, int, int, void*) {}, nullptr, 0); }),
        kOfxStatFailed);
}

TEST_F(RenderThreadsTest, AbortReachesEveryBandAndGivesAllBack) {
    fake.abortAfter = 5;
    fake.processors = 3;
    script.radius = 1;
    std::atomic<int> interrupted{0};
    script.render = [&](Ofx::Host& effect, auto&&, auto&&, auto&&, Ofx::FrameTable& frames) {
        frames.FetchSlot(0);
        Ofx::HostWrapper host(effect);
        host.SetThreadCount(3);
        auto body = [&](int thread) {
            try {
                for (;;) {
                    host.UpdateProgress(thread, 1, 1000);
                }
            } catch (const TQ::Interrupted&) {
                ++interrupted;
                throw;
            }
        };
        host.ParallelFor(
            [](int, int, int thread, void* work) { (*static_cast<decltype(body)*>(work))(thread); }, &body,
            0);
    };
    EXPECT_EQ(Render(), kOfxStatFailed);
    EXPECT_EQ(interrupted, 3);
    EXPECT_EQ(fake.liveImages, 0);
    EXPECT_EQ(fake.abortPolls, 6);
    EXPECT_TRUE(fake.messages.empty());
}

TEST_F(RenderThreadsTest, ProgressIsShownAndMayBeRefused) {
    script.render = [](Ofx::Host& effect, auto&&...) {
        effect.progress(0, 1, 4);
        effect.progress(1, 2, 4);  // inner levels are not shown
        effect.progress(0, 4, 4);
    };
    EXPECT_EQ(Render(), kOfxStatOK);
    EXPECT_THAT(fake.progressUpdates, ElementsAre(0.25, 1.0));
    EXPECT_EQ(fake.progressLabel, "Rendering...");
    EXPECT_EQ(fake.progressEnds, 1);
    fake.refuseProgressAt = 3;
    EXPECT_EQ(Render(), kOfxStatFailed);
    fake.host.Put(kOfxPropName, "uk.co.thefoundry.nuke");
    EXPECT_EQ(Render(), kOfxStatOK);
    EXPECT_EQ(fake.progressStarts, 2);
    // A failure ends the bar before its message comes.
    fake.host.Put(kOfxPropName, "");
    script.render = [](Ofx::Host& effect, auto&&...) {
        effect.progress(0, 1, 4);
        throw TQ::Exception("", "broken");
    };
    EXPECT_EQ(Render(), kOfxStatErrUnknown);
    EXPECT_EQ(fake.progressEnds, 3);
}

}  // namespace Test
