// Single departures from the standard, each against the picture under a host that has none.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <ostream>

#include "effect/hosts/Scene.h"
#include "host/ofx/abi/OfxImageEffect.h"
#include "host/ofx/abi/OfxMessage.h"
#include "host/ofx/abi/OfxProgress.h"

namespace TQ::App {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr int someFrame = 4;
constexpr SampleDepth allDepths[] = {SampleDepth::Byte, SampleDepth::Short, SampleDepth::Float};

using Edit = std::function<void(EffectInstance&)>;

/// A frame of the scene under a host. One at a time has the module.
PicturePointer RenderUnder(const HostProfile& profile, SampleDepth depth, const Edit& edit = {},
                           SceneKind kind = SceneKind::Still) {
    EffectInstance instance(EffectPlugin::Load(STEADYLUX_MODULE, profile), "filter", SceneFormat(depth));
    if (edit) {
        edit(instance);
    }
    SceneClip clip(depth, kind);
    auto picture = std::make_shared<Picture>(sceneWidth, sceneHeight, depth);
    instance.Render(someFrame, clip.Provider(), *picture);
    EXPECT_EQ(instance.LeakedImages(), 0);
    EXPECT_EQ(clip.FramesHeld(), 0);
    EXPECT_TRUE(instance.TakeMessages().empty());
    return picture;
}

struct Departure {
    const char* name;
    void (*make)(HostProfile&);
};

// What a host says of itself, leaves out or does otherwise, and that must not show in the picture.
const Departure invisible[] = {
    {"NoTiles", [](HostProfile& p) { p.supportsTiles = false; }},
    {"RegionsOfDefinitionUnsupported",
     [](HostProfile& p) { p.regionOfDefinitionStatus = kOfxStatErrUnsupported; }},
    {"NoProgressSuite",
     [](HostProfile& p) {
         p.absentSuites = {{kOfxProgressSuite, 1}};
     }},
    {"NoMessageSuites",
     [](HostProfile& p) {
         p.absentSuites = {{kOfxMessageSuite, 1}, {kOfxMessageSuite, 2}};
     }},
    {"PositiveRowBytes", [](HostProfile& p) { p.rows = HostProfile::Rows::Upwards; }},
    {"LowerField", [](HostProfile& p) { p.field = kOfxImageFieldLower; }},
    {"UpperField", [](HostProfile& p) { p.field = kOfxImageFieldUpper; }},
    {"ThreadsStandIn", [](HostProfile& p) { p.threadStandIn = true; }},
    {"NoDeviceProperties", [](HostProfile& p) { p.deviceProperties = false; }},
    {"IntArraysFail", [](HostProfile& p) { p.intArraysFail = true; }},
    {"DescribedTwice", [](HostProfile& p) { p.describesTwice = true; }},
    {"FreshInstances", [](HostProfile& p) { p.freshInstances = true; }},
    {"ClipsWithoutFrameRange", [](HostProfile& p) { p.clipFrameRange = HostProfile::ClipRange::None; }},
    {"ClipsOfTwoFrames", [](HostProfile& p) { p.clipFrameRange = HostProfile::ClipRange::ZeroToOne; }},
    {"OriginElsewhere",
     [](HostProfile& p) {
         p.originX = -13;
         p.originY = 29;
     }},
    {"ImagesCutToTheirRegions", [](HostProfile& p) { p.cutImages = true; }},
    {"AnnouncedChange", [](HostProfile& p) { p.announcesChange = true; }},
};

void PrintTo(const Departure& departure, std::ostream* stream) {
    *stream << departure.name;
}

class InvisibleDeparture : public testing::TestWithParam<Departure> {};

TEST_P(InvisibleDeparture, GivesTheSameBytes) {
    HostProfile profile;
    GetParam().make(profile);
    for (const SampleDepth depth : allDepths) {
        EXPECT_TRUE(SamePixels(*RenderUnder({}, depth), *RenderUnder(profile, depth)))
            << static_cast<int>(depth);
    }
}

INSTANTIATE_TEST_SUITE_P(Hosts, InvisibleDeparture, testing::ValuesIn(invisible),
                         testing::PrintToStringParamName());

/// One code of integers; what rounding makes of sums in float.
double Rounding(SampleDepth depth) {
    constexpr double steps[] = {1.01 / 255, 1.01 / 65535, 2e-6};
    return steps[static_cast<int>(depth)];
}

// A window sees what the blur reaches beyond it. Sums and blurs are then those of the whole frame but for
// their rounding. Where moving things are masked or followed, what lies farther away counts a little too: a
// mask looks at the masks of its neighbourhood, and the flow of a small picture finds other minima than that
// of a large one.
TEST(WindowsTest, TheyTileAFrame) {
    struct Row {
        const char* preset;
        double seam;
    };
    const Row rows[] = {
        {"Rolling Bands (default)", 2e-5}, {"Rolling Bands 2", 0},   {"Stage Lights", 0},
        {"Projection Screen", 8e-5},       {"Extreme Motion", 8e-4}, {"Rolling Bands - Motion", 0.03},
    };
    for (const Row& row : rows) {
        const Edit edit = [&](EffectInstance& i) { i.SetParameter("preset", row.preset); };
        for (const SampleDepth depth : allDepths) {
            HostProfile profile;
            profile.windowSize = 15;
            const auto whole = RenderUnder({}, depth, edit, SceneKind::Moving);
            const auto tiled = RenderUnder(profile, depth, edit, SceneKind::Moving);
            EXPECT_LE(LargestDifference(*whole, *tiled), row.seam + Rounding(depth))
                << row.preset << " " << static_cast<int>(depth);
            profile.cutImages = true;
            profile.rows = HostProfile::Rows::Upwards;
            EXPECT_TRUE(SamePixels(*tiled, *RenderUnder(profile, depth, edit, SceneKind::Moving)))
                << "more than was asked for must not show: " << row.preset;
        }
    }
}

// Where canonical coordinates, pixels and the clip's origin are three different things.
TEST(WindowsTest, TheyTileAScaledFrameOfBroadPixels) {
    const auto render = [](const HostProfile& profile) {
        ClipFormat format = SceneFormat(SampleDepth::Float);
        format.width *= 2;
        format.height *= 2;
        format.pixelAspect = 1.5;
        EffectInstance instance(EffectPlugin::Load(STEADYLUX_MODULE, profile), "filter", format, 0.5);
        SceneClip clip(SampleDepth::Float);
        auto picture = std::make_shared<Picture>(sceneWidth, sceneHeight, SampleDepth::Float);
        instance.Render(someFrame, clip.Provider(), *picture);
        EXPECT_EQ(instance.LeakedImages() + clip.FramesHeld(), 0);
        return picture;
    };
    HostProfile profile;
    profile.windowSize = 13;
    profile.cutImages = true;
    profile.originX = -26;
    profile.originY = 44;
    EXPECT_LE(LargestDifference(*render({}), *render(profile)), Rounding(SampleDepth::Float));
}

TEST(RowOrderTest, APictureOnItsHeadGivesItsResultOnItsHead) {
    HostProfile profile;
    profile.rows = HostProfile::Rows::TopFirst;
    for (const SampleDepth depth : allDepths) {
        EXPECT_LE(LargestDifference(*RenderUnder({}, depth), *RenderUnder(profile, depth)), Rounding(depth));
    }
}

class RefusalTest : public testing::Test {
  protected:
    EffectInstance& Instance(const HostProfile& profile, SampleDepth depth = SampleDepth::Short) {
        instance = std::make_unique<EffectInstance>(EffectPlugin::Load(STEADYLUX_MODULE, profile), "filter",
                                                    SceneFormat(depth));
        return *instance;
    }
    /// What the user reads when the render fails; everything must have come back then.
    std::string Fault() {
        std::string text;
        try {
            instance->Render(someFrame, clip.Provider(), output);
        } catch (const HostError& error) {
            text = error.what();
        }
        ExpectNothingHeld();
        return text;
    }
    bool Aborts(const std::atomic<bool>* flag, const FrameProvider& provider,
                const std::function<void(double)>& progress = {}) {
        bool aborted = false;
        try {
            instance->Render(someFrame, provider, output, flag, progress);
        } catch (const RenderAborted&) {
            aborted = true;
        }
        ExpectNothingHeld();
        EXPECT_TRUE(instance->TakeMessages().empty()) << "the user knows that he stopped it";
        return aborted;
    }
    void ExpectNothingHeld() const {
        EXPECT_EQ(clip.FramesHeld(), 0);
        EXPECT_EQ(instance->LeakedImages(), 0);
    }

    std::unique_ptr<EffectInstance> instance;
    SceneClip clip{SampleDepth::Short};
    Picture output{sceneWidth, sceneHeight, SampleDepth::Short};
};

TEST_F(RefusalTest, HalfFloatImagesAreRefusedInWords) {
    HostProfile profile;
    profile.claimedDepth = kOfxBitDepthHalf;
    Instance(profile);
    EXPECT_THAT(Fault(), AllOf(HasSubstr("half-float"), HasSubstr("8-bit, 16-bit or float")));
}

// The name of an unknown depth is what gets a percent sign into a message.
TEST_F(RefusalTest, PercentSignsReachTheUser) {
    HostProfile profile;
    profile.claimedDepth = "100%d%%s";
    const std::string message = "unknown depth \"100%d%%s\"";
    Instance(profile);
    EXPECT_THAT(Fault(), HasSubstr(message));
    profile.messagesWithoutArguments = true;
    Instance(profile);
    EXPECT_THAT(Fault(), Not(HasSubstr(message))) << "the departure is there";
    profile.name = "Assimilator";
    Instance(profile);
    EXPECT_THAT(Fault(), HasSubstr(message));
}

TEST_F(RefusalTest, OnlyKnownHostsMayFailToTellARegion) {
    HostProfile profile;
    profile.regionOfDefinitionStatus = kOfxStatErrBadHandle;
    Instance(profile);
    EXPECT_NE(Fault(), "");
    for (const char* name : {"com.sonycreativesoftware.vegas", "Nucoda 2"}) {
        profile.name = name;
        Instance(profile);
        EXPECT_EQ(Fault(), "") << name;
    }
}

TEST_F(RefusalTest, NoMemoryIsToldAndOverWithTheHost) {
    HostProfile profile;
    profile.withoutImageMemory = true;
    Instance(profile);
    EXPECT_THAT(Fault(), HasSubstr("Out of memory"));
    profile.name = "DaVinciResolve";
    Instance(profile);
    EXPECT_EQ(Fault(), "") << "has memory of another kind";
}

TEST_F(RefusalTest, AnAnswerOfAbortEndsTheRender) {
    HostProfile profile;
    profile.alwaysAborts = true;
    Instance(profile);
    EXPECT_TRUE(Aborts(nullptr, clip.Provider()));
}

TEST_F(RefusalTest, AnAbortInTheMiddleGivesEverythingBack) {
    Instance({});
    std::atomic<bool> flag{false};
    const auto provider = [&, inner = clip.Provider()](int frame) {
        flag = clip.Fetches() == 4;
        return inner(frame);
    };
    EXPECT_TRUE(Aborts(&flag, provider));
    EXPECT_LT(clip.Fetches(), sceneFrames);
    flag = false;
    EXPECT_TRUE(Aborts(&flag, clip.Provider(), [&](double share) { flag = share > 0.4; }));
    EXPECT_EQ(Fault(), "") << "the next render knows nothing of it";
}

}  // namespace
}  // namespace TQ::App
