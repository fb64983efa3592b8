#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "app/host/Effect.h"
#include "app/host/HostRecord.h"
#include "app/host/Suites.h"
#include "platform/Platform.h"

namespace TQ::App {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr int width = 5;
constexpr int height = 3;
constexpr int frames = 6;

ClipFormat Format() {
    ClipFormat format;
    format.width = width;
    format.height = height;
    format.frameCount = frames;
    return format;
}

/// Red is 10 * frame + row from the top, alpha 200 + frame.
ConstPicturePointer Frame(int frame) {
    auto picture = std::make_shared<Picture>(width, height, SampleDepth::Byte);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const std::uint8_t pixel[] = {static_cast<std::uint8_t>(10 * frame + y), 0, 0,
                                          static_cast<std::uint8_t>(200 + frame)};
            std::memcpy(picture->Row(y) + 4 * x, pixel, 4);
        }
    }
    return picture;
}

template <typename Call>
std::string Fault(Call&& call) {
    try {
        call();
        return {};
    } catch (const HostError& error) {
        return error.what();
    }
}

std::string TextOf(const EffectInstance& instance, const std::string& name) {
    for (const ParameterState& state : instance.Parameters()) {
        if (state.name == name) {
            return state.text;
        }
    }
    return "none";
}

class GoodEffectTest : public testing::Test {
  protected:
    GoodEffectTest() { Journal(); }

    /// What the plug-in was sent since the last call.
    std::string Journal() { return reinterpret_cast<const char* (*)()>(library.Symbol("TakeJournal"))(); }

    Platform::SharedLibrary library{SL_PLUGIN_GOOD};
    EffectInstance instance{EffectPlugin::Load(SL_PLUGIN_GOOD), "filter", Format()};
    Picture output{width, height, SampleDepth::Byte};
};

TEST_F(GoodEffectTest, UserEditsArriveInABracketWithTheirConsequencesInside) {
    instance.SetParameter("mode", "previous frame");
    EXPECT_EQ(Journal(),
              "OfxActionBeginInstanceChanged OfxChangeUserEdited\n"
              "OfxActionInstanceChanged mode OfxChangeUserEdited\n"
              "OfxActionBeginInstanceChanged OfxChangePluginEdited\n"
              "OfxActionInstanceChanged amount OfxChangePluginEdited\n"
              "OfxActionEndInstanceChanged OfxChangePluginEdited\n"
              "OfxActionEndInstanceChanged OfxChangeUserEdited\n");
    EXPECT_EQ(TextOf(instance, "mode"), "Previous Frame");
    EXPECT_EQ(TextOf(instance, "amount"), "0.5");
    EXPECT_EQ(TextOf(instance, "title"), "made");
    const EffectInstance second(EffectPlugin::Load(SL_PLUGIN_GOOD), "filter", Format());
    EXPECT_THAT(Journal(), Not(HasSubstr("InstanceChanged"))) << "what creation writes is no change";
}

TEST_F(GoodEffectTest, ParametersThatSetEachOtherComeToAnEnd) {
    instance.SetParameter("ping", "1");
    EXPECT_EQ(TextOf(instance, "ping"), "3");
    EXPECT_EQ(TextOf(instance, "pong"), "2");
}

TEST_F(GoodEffectTest, AFailedChangeClosesItsBracket) {
    EXPECT_THAT(Fault([&] { instance.SetParameter("reset", ""); }),
                HasSubstr("take the change of \"reset\""));
    EXPECT_THAT(Journal(), HasSubstr("OfxActionEndInstanceChanged"));
}

TEST_F(GoodEffectTest, TextBecomesAValueOfTheParametersType) {
    instance.SetParameter("amount", " 0.25 ");
    instance.SetParameter("radius", "+3");
    instance.SetParameter("mode", "1");
    instance.SetParameter("fancy", "On");
    instance.SetParameter("title", "a, b");
    instance.SetParameter("tint", "0.5,1, 2e-1");
    EXPECT_EQ(TextOf(instance, "radius"), "3");
    EXPECT_EQ(TextOf(instance, "mode"), "Copy");
    EXPECT_EQ(TextOf(instance, "fancy"), "true");
    EXPECT_EQ(TextOf(instance, "title"), "a, b");
    EXPECT_EQ(TextOf(instance, "tint"), "0.5,1,0.2");
}

TEST_F(GoodEffectTest, ValuesThatDoNotFitAreRefusedWithWhatWould) {
    struct Row {
        const char* name;
        const char* text;
        const char* wanted;
    };
    const Row rows[] = {
        {"radius", "6", "a whole number from 0 to 5"},
        {"radius", "1.5", "a whole number"},
        {"radius", "", "a whole number"},
        {"radius", "99999999999", "from 0 to 5"},
        {"amount", "nan", "a number from 0 to 1"},
        {"amount", "1,0", "a number from 0 to 1"},
        {"fancy", "maybe", "\"true\" or \"false\""},
        {"mode", "3", "\"Previous Frame\", or its number from 0 to 2"},
        {"tint", "1,2", "3 numbers"},
        {"basics", "1", "no parameter \"basics\""},
        {"Radius", "1", "amount, radius, mode"},
    };
    for (const Row& row : rows) {
        EXPECT_THAT(Fault([&] { instance.SetParameter(row.name, row.text); }), HasSubstr(row.wanted))
            << row.name;
    }
    EXPECT_EQ(Journal().find("InstanceChanged"), std::string::npos);
}

TEST_F(GoodEffectTest, TellsFramesRegionsAndIdentity) {
    const FramesNeeded needed = instance.NeededFrames(4);
    EXPECT_EQ(needed.hull.first, 2);
    EXPECT_EQ(needed.hull.last, 6);
    ASSERT_EQ(needed.ranges.size(), 2u);
    EXPECT_EQ(needed.ranges[1].last, 3);

    const Rectangle region = instance.RegionsOfInterest(0).at("Source");
    EXPECT_EQ(region.x1, -10);
    EXPECT_EQ(region.y2, height + 10);
    EXPECT_EQ(instance.RegionOfDefinition(0).x2, width) << "as the source when the plug-in does not say";

    EXPECT_EQ(instance.IdentityFrame(3), std::nullopt);
    instance.SetParameter("mode", "Copy");
    EXPECT_EQ(instance.IdentityFrame(3), 3);
    instance.SetParameter("mode", "Previous Frame");
    EXPECT_EQ(instance.IdentityFrame(3), 2);
    EXPECT_EQ(instance.IdentityFrame(0), std::nullopt) << "there is no frame before the first";
}

TEST_F(GoodEffectTest, PicturesComeOutUpright) {
    instance.Render(1, Frame, output);
    for (int y = 0; y < height; ++y) {
        const std::uint8_t* pixel = output.Row(y) + 4 * (width - 1);
        EXPECT_EQ(pixel[0], 255 - (10 + y));
        EXPECT_EQ(pixel[1], height - 1 - y) << "rows are counted from the bottom";
        EXPECT_EQ(pixel[2], 4) << "frames -1 to 3 without the first";
        EXPECT_EQ(pixel[3], 201);
    }
}

TEST_F(GoodEffectTest, ASequenceIsOpenedOnceForItsFrames) {
    instance.BeginSequence(2, 3);
    Journal();
    instance.Render(2, Frame, output);
    EXPECT_THAT(Journal(), Not(HasSubstr("SequenceRender")));
    instance.EndSequence();
    instance.Render(3, Frame, output);
    EXPECT_EQ(Journal(),
              "OfxImageEffectActionEndSequenceRender\n"
              "OfxImageEffectActionGetRegionsOfInterest\n"
              "OfxImageEffectActionBeginSequenceRender\n"
              "OfxImageEffectActionRender\n"
              "OfxImageEffectActionEndSequenceRender\n");
}

TEST_F(GoodEffectTest, WhatTheFrameProviderThrowsComesOut) {
    const auto broken = [](int) -> ConstPicturePointer { throw std::domain_error("stream broke"); };
    EXPECT_THROW(instance.Render(0, broken, output), std::domain_error);
    const auto small = [](int) { return std::make_shared<Picture>(1, 1, SampleDepth::Byte); };
    EXPECT_THAT(Fault([&] { instance.Render(0, small, output); }), HasSubstr("another size"));
    Picture wrong(width + 1, height, SampleDepth::Byte);
    EXPECT_THAT(Fault([&] { instance.Render(0, Frame, wrong); }), HasSubstr("output picture"));
}

TEST(ProfileTest, DeparturesReachThePlugin) {
    HostProfile profile;
    profile.name = "poor";
    profile.temporalClipAccess = false;
    profile.supportsTiles = false;
    profile.clipsIgnoreTime = true;
    profile.threadStandIn = true;
    EffectInstance instance(EffectPlugin::Load(SL_PLUGIN_GOOD, profile), "filter", Format());
    EXPECT_EQ(instance.NeededFrames(3).hull.first, 3);
    EXPECT_EQ(instance.RegionsOfInterest(0).at("Source").x1, 0) << "not asked";
    Picture output(width, height, SampleDepth::Byte);
    instance.Render(0, Frame, output);
    EXPECT_EQ(output.Row(0)[2], 5) << "every time gives a frame";
}

TEST(InstanceFormatTest, RenderScaleAndDepthAreChecked) {
    const auto plugin = EffectPlugin::Load(SL_PLUGIN_GOOD);
    EXPECT_EQ(EffectInstance(plugin, "filter", Format(), 0.5).PictureWidth(), 3);
    EXPECT_EQ(ScaledSize(10, 0.7), 7);
    EXPECT_EQ(ScaledSize(1, 0.1), 1);
    ClipFormat deep = Format();
    deep.depth = SampleDepth::Short;
    EXPECT_THAT(Fault([&] { EffectInstance(plugin, "filter", deep); }), HasSubstr("OfxBitDepthShort"));
    EXPECT_THAT(Fault([&] { EffectInstance(plugin, "general", Format()); }), HasSubstr("\"general\""));
    EXPECT_THROW(EffectInstance(plugin, "filter", Format(), 0), HostError);
}

class FaultyEffectTest : public testing::Test {
  protected:
    std::string RenderFault(const char* fault) {
        instance.SetParameter("fault", fault);
        return Fault([&] { instance.Render(0, Frame, output); });
    }

    EffectInstance instance{EffectPlugin::Load(SL_PLUGIN_FAULTY), "filter", Format()};
    Picture output{width, height, SampleDepth::Byte};
};

TEST_F(FaultyEffectTest, FailuresBecomeOneSentence) {
    EXPECT_EQ(RenderFault("fail"), "Faulty could not render frame 0: it ran out of memory");
    EXPECT_EQ(RenderFault("messages"), "Faulty could not render frame 0: broken at 50%; and 100% sure");
    EXPECT_THAT(RenderFault("throw"), HasSubstr("let an exception out"));
    EXPECT_THAT(RenderFault("leak"), HasSubstr("kept 1 of the images"));
    EXPECT_EQ(instance.LeakedImages(), 1);
    EXPECT_TRUE(instance.TakeMessages().empty());
}

TEST_F(FaultyEffectTest, WarningsOfASuccessAreKept) {
    EXPECT_EQ(RenderFault("warn"), "");
    const auto messages = instance.TakeMessages();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].kind, "warning");
    EXPECT_EQ(messages[0].text, "only a warning");
}

TEST_F(FaultyEffectTest, SuitesWithstandMisuse) {
    EXPECT_EQ(RenderFault("handles"), "");
    EXPECT_EQ(RenderFault("nest"), "");
    EXPECT_EQ(RenderFault("write"), "") << "parameters cannot be written during a render";
    EXPECT_EQ(RenderFault("fail"), "Faulty could not render frame 0: it ran out of memory");
}

TEST_F(FaultyEffectTest, AMissingFrameIsNoFailureOfTheHost) {
    instance.SetParameter("fault", "missing");
    const auto holed = [](int frame) { return frame == 2 ? nullptr : Frame(frame); };
    EXPECT_THAT(Fault([&] { instance.Render(0, holed, output); }), HasSubstr("it failed"));
    EXPECT_THAT(Fault([&] { instance.Render(0, Frame, output); }), HasSubstr("kept 1"))
        << "it did get the image";
}

TEST_F(FaultyEffectTest, AnAbortStopsTheRenderAndIsNoError) {
    instance.SetParameter("fault", "wait");
    std::atomic<bool> abort{false};
    double share = 0;
    std::thread user([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        abort = true;
    });
    EXPECT_THROW(instance.Render(0, Frame, output, &abort, [&](double done) { share = done; }),
                 RenderAborted);
    user.join();
    EXPECT_EQ(share, 0.5);
    EXPECT_THROW(instance.Render(0, Frame, output, &abort), RenderAborted) << "not even begun";
    EXPECT_EQ(instance.LeakedImages(), 0);
}

TEST_F(FaultyEffectTest, UnsafePluginsTakeTurns) {
    EXPECT_FALSE(instance.RendersConcurrently());
    instance.SetParameter("fault", "linger");
    EffectInstance second(EffectPlugin::Load(SL_PLUGIN_FAULTY), "filter", Format());
    second.SetParameter("fault", "linger");
    std::vector<std::thread> jobs;
    std::atomic<int> faults{0};
    for (EffectInstance* one : {&instance, &instance, &second, &second}) {
        jobs.emplace_back([&, one] {
            Picture mine(width, height, SampleDepth::Byte);
            faults += !Fault([&] { one->Render(1, Frame, mine); }).empty();
        });
    }
    for (std::thread& job : jobs) {
        job.join();
    }
    EXPECT_EQ(faults, 0);
}

}  // namespace
}  // namespace TQ::App
