#include "host/ofx/TestEffect.h"

namespace Test {

using ::testing::DoubleEq;
using ::testing::ElementsAre;

constexpr char roi[] = "OfxImageClipPropRoI_Source";
constexpr char frameRange[] = "OfxImageClipPropFrameRange_Source";

class RegionsTest : public BridgeTest {
  protected:
    void SetUp() override { Start(); }
    std::vector<double> RegionOfInterest(std::vector<double> wanted, double scale = 1.0) {
        fake.inArgs.values.clear();
        fake.inArgs.Put(kOfxPropTime, 5.0);
        fake.inArgs.Put(kOfxImageEffectPropRenderScale, std::vector<double>{scale, scale});
        fake.inArgs.Put(kOfxImageEffectPropRegionOfInterest, wanted);
        EXPECT_EQ(fake.Run(entry, kOfxImageEffectActionGetRegionsOfInterest), kOfxStatOK);
        return fake.outArgs.Get<double>(roi);
    }
    FakeClip& source = fake.ClipNamed(kOfxImageEffectSimpleSourceClipName);
};

TEST_F(RegionsTest, RegionOfInterestIsTheUnionWithinTheClip) {
    source.region = {0, 0, 16, 12};
    EXPECT_THAT(RegionOfInterest({4, 4, 8, 8}), ElementsAre(4, 4, 8, 8));
    script.radius = 1;
    script.margin = 3;
    EXPECT_THAT(RegionOfInterest({4, 4, 8, 8}), ElementsAre(1, 1, 11, 11));
    EXPECT_THAT(RegionOfInterest({0, 0, 16, 12}), ElementsAre(0, 0, 16, 12));
    EXPECT_THAT(RegionOfInterest({100, 100, 101, 101}), ElementsAre(0, 0, 1, 1));  // nothing left: one pixel
    EXPECT_THAT(RegionOfInterest({4, 4, 8, 8}, 0.5), ElementsAre(0, 0, 14, 12));
}

TEST_F(RegionsTest, HostsWithoutTilesOrRegionsGetTheirRectangleBack) {
    source.regionStatus = kOfxStatErrUnsupported;
    EXPECT_THAT(RegionOfInterest({-4, 4, 8, 80}), ElementsAre(-4, 4, 8, 80));
    source.regionStatus = kOfxStatFailed;
    EXPECT_EQ(fake.Run(entry, kOfxImageEffectActionGetRegionsOfInterest), kOfxStatFailed);
    fake.host.Put(kOfxPropName, "Nucoda 1");
    EXPECT_EQ(fake.Run(entry, kOfxImageEffectActionGetRegionsOfInterest), kOfxStatOK);
    fake.host.Put(kOfxPropName, "other");
    fake.host.Put(kOfxImageEffectPropSupportsTiles, 0);
    EXPECT_EQ(fake.Run(entry, kOfxImageEffectActionGetRegionsOfInterest), kOfxStatOK);
    EXPECT_EQ(fake.Run(entry, kOfxImageEffectActionGetRegionOfDefinition), kOfxStatReplyDefault);
    fake.host.Put(kOfxImageEffectPropSupportsTiles, 1);
    source.regionStatus = kOfxStatOK;
    source.region = {0, 0, 0, 0};  // reported as fine, left untouched
    EXPECT_THAT(RegionOfInterest({1, 2, 3, 4}), ElementsAre(1, 2, 3, 4));
}

TEST_F(RegionsTest, PixelsFollowScaleAndAspect) {
    source.properties.Put(kOfxImagePropPixelAspectRatio, 2.0);
    fake.inArgs.Put(kOfxImageEffectPropRenderScale, std::vector<double>{0.5, 0.25});
    Purge([&](Ofx::Host& effect) {
        const Ofx::Clip clip = effect.openClip(kOfxImageEffectSimpleSourceClipName);
        EXPECT_EQ(effect.toPixels({-10, -10, 101, 101}, clip), (Bounds{-3, -3, 26, 26}));
        const OfxRectD back = effect.toCanonical({-3, -3, 26, 26}, clip);
        EXPECT_THAT(back.x1, DoubleEq(-12));
        EXPECT_THAT(back.y2, DoubleEq(104));
        const OfxRectD limitless{-2147483648.0, -2147483648.0, 2147483647.0, 2147483647.0};
        EXPECT_TRUE(TQ::IP::IsInfinite(effect.toPixels(limitless, clip)));
    });
}

TEST_F(RegionsTest, FramesNeededMergeIntoRuns) {
    fake.inArgs.Put(kOfxPropTime, 5.0);
    script.radius = 2;
    EXPECT_EQ(fake.Run(entry, kOfxImageEffectActionGetFramesNeeded), kOfxStatOK);
    EXPECT_THAT(fake.outArgs.Get<double>(frameRange), ElementsAre(3, 7));
    script.radius = 0;
    fake.Run(entry, kOfxImageEffectActionGetFramesNeeded);
    EXPECT_THAT(fake.outArgs.Get<double>(frameRange), ElementsAre(5, 5));

    struct Scattered : TestEffect {
        using TestEffect::TestEffect;
        std::vector<Ofx::ExtraFrame> framesNeeded(Ofx::Parameters&,
                                                  const std::vector<Ofx::ExtraFrame>&) override {
            std::vector<Ofx::ExtraFrame> frames;
            for (const double offset : {4.0, -1.00005, 3.0, 0.0, 2.5}) {
                frames.push_back({.clip = {}, .timeOffset = offset});
            }
            return frames;
        }
    };
    Scattered effect(script);
    fake.outArgs.values.clear();
    Ofx::RunAction(effect, fake.Get(), kOfxImageEffectActionGetFramesNeeded, fake.Effect(),
                   fake.inArgs.Handle(), fake.outArgs.Handle());
    EXPECT_THAT(fake.outArgs.Get<double>(frameRange), ElementsAre(DoubleEq(3.99995), 5, 7.5, 7.5, 8, 9));
}

TEST_F(RegionsTest, TimeDomainIsTheSourcesWhereItTells) {
    EXPECT_EQ(fake.Run(entry, kOfxImageEffectActionGetTimeDomain), kOfxStatOK);
    EXPECT_THAT(fake.outArgs.Get<double>(kOfxImageEffectPropFrameRange), ElementsAre(0, 100));
    source.properties.untouched = {kOfxImageEffectPropFrameRange};
    EXPECT_EQ(fake.Run(entry, kOfxImageEffectActionGetTimeDomain), kOfxStatReplyDefault);
    source.properties.untouched.clear();
    source.properties.values.erase(kOfxImageEffectPropFrameRange);
    EXPECT_EQ(fake.Run(entry, kOfxImageEffectActionGetTimeDomain), kOfxStatReplyDefault);
}

TEST_F(RegionsTest, IdentityNamesTheSource) {
    fake.SetRenderArguments(5, {0, 0, 16, 12});
    EXPECT_EQ(fake.Run(entry, kOfxImageEffectActionIsIdentity), kOfxStatReplyDefault);
    script.identity = 0;
    EXPECT_EQ(fake.Run(entry, kOfxImageEffectActionIsIdentity), kOfxStatOK);
    EXPECT_EQ(fake.outArgs.Get<std::string>(kOfxPropName)[0], "Source");
    script.identity = -1;
    fake.effect.Put(kOfxImageEffectPropContext, kOfxImageEffectContextGeneral);
    source.properties.Put(kOfxImageClipPropConnected, 0);
    EXPECT_EQ(fake.Run(entry, kOfxImageEffectActionIsIdentity), kOfxStatOK);
    EXPECT_EQ(fake.Run(entry, kOfxImageEffectActionGetFramesNeeded), kOfxStatReplyDefault);
    EXPECT_EQ(fake.Run(entry, kOfxImageEffectActionGetClipPreferences), kOfxStatReplyDefault);
}

TEST_F(RegionsTest, ClipPreferencesAskOnlyForWhatTheEffectTakes) {
    const auto preferences = [&](const char* depth, const char* components) {
        source.properties.Put(kOfxImageClipPropUnmappedPixelDepth, depth);
        source.properties.Put(kOfxImageClipPropUnmappedComponents, components);
        EXPECT_EQ(fake.Run(entry, kOfxImageEffectActionGetClipPreferences), kOfxStatOK);
        EXPECT_EQ(fake.outArgs.Get<std::string>("OfxImageClipPropComponents_Output")[0],
                  kOfxImageComponentRGBA);
        return fake.outArgs.Get<std::string>("OfxImageClipPropDepth_Output");
    };
    EXPECT_THAT(preferences(kOfxBitDepthShort, kOfxImageComponentRGBA), ElementsAre(kOfxBitDepthShort));
    EXPECT_THAT(preferences(kOfxBitDepthFloat, kOfxImageComponentRGB), ElementsAre(kOfxBitDepthFloat));
    EXPECT_THAT(preferences(kOfxBitDepthHalf, kOfxImageComponentAlpha), ElementsAre());
    fake.host.Put(kOfxImageEffectPropSupportsMultipleClipDepths, 0);
    EXPECT_THAT(preferences(kOfxBitDepthShort, kOfxImageComponentRGBA), ElementsAre());
}

}  // namespace Test
