#include "effect/DeflickerParameters.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

namespace TQ::Effect {
namespace {

namespace Index = ParameterIndex;

/// The parameter panel of a host: keeps values and what is enabled.
class Panel : public Host::Param::Parameters {
  public:
    Panel() { DefineDeflickerParameters(*this, false); }
    void setEnabled(bool on, std::size_t index) override { enabled[static_cast<int>(index)] = on; }

    void Pick(int menuValue) {
        setInt(menuValue, Index::preset);
        DeflickerParameterChanged(*this, Index::preset, false);
    }
    void EditInt(int index, int value) {
        setInt(value, static_cast<std::size_t>(index));
        DeflickerParameterChanged(*this, index, false);
    }
    void EditDouble(int index, double value) {
        setDouble(value, static_cast<std::size_t>(index));
        DeflickerParameterChanged(*this, index, false);
    }
    int Picked() { return getInt(Index::preset); }

    std::map<int, bool> enabled;
};

TEST(DeflickerParameters, everyPresetIsFoundAgainFromItsOwnValues) {
    for (int menuValue = 1; menuValue <= presetCount; ++menuValue) {
        Panel panel;
        panel.Pick(menuValue);
        const int landed = SkipSeparators(menuValue);
        EXPECT_EQ(panel.Picked(), landed);
        EXPECT_EQ(panel.getInt(Index::timeRadius), PresetRow(landed).timeRadius);
        EXPECT_EQ(panel.getBool(Index::motion), PresetRow(landed).motion);
        // From "Custom", an edit that changes nothing finds the row by its values: no two rows are alike.
        panel.setInt(presetCustom, Index::preset);
        DeflickerParameterChanged(panel, Index::threshold, false);
        EXPECT_EQ(panel.Picked(), landed);
    }
}

TEST(DeflickerParameters, separatorsLeadToTheNextPresetAndCustomChangesNothing) {
    Panel panel;
    panel.Pick(1);
    EXPECT_EQ(panel.Picked(), presetDefault);
    panel.Pick(9);
    EXPECT_EQ(panel.Picked(), 10);
    panel.Pick(presetCustom);
    EXPECT_EQ(panel.Picked(), presetCustom);
    EXPECT_EQ(panel.getInt(Index::timeRadius), 9);
    EXPECT_TRUE(panel.getBool(Index::motion));
}

TEST(DeflickerParameters, presetSurvivesAHandEditThatRestoresIt) {
    Panel panel;
    panel.EditInt(Index::timeRadius, 9);
    EXPECT_EQ(panel.Picked(), presetCustom);
    panel.EditInt(Index::timeRadius, 8);
    EXPECT_EQ(panel.Picked(), presetDefault);
}

TEST(DeflickerParameters, maskValuesCountOnlyForTheSlowDetection) {
    Panel panel;
    panel.Pick(12);  // Extreme Motion: 5 and 10
    panel.EditDouble(Index::maskRadius, 11);
    EXPECT_EQ(panel.Picked(), presetCustom);
    panel.Pick(presetDefault);
    EXPECT_DOUBLE_EQ(panel.getDouble(Index::maskRadius), 11.0);
    panel.EditDouble(Index::maskThreshold, 77);
    EXPECT_EQ(panel.Picked(), presetDefault);
}

TEST(DeflickerParameters, otherEditsLeaveThePresetAndEnableWhatIsUsed) {
    Panel panel;
    panel.EditInt(Index::render, renderMask);
    EXPECT_EQ(panel.Picked(), presetDefault);
    EXPECT_FALSE(panel.enabled.at(Index::sensitivity));
    EXPECT_TRUE(panel.enabled.at(Index::detectMotion));
    EXPECT_FALSE(panel.enabled.at(Index::motionQuality));
    panel.setBool(true, Index::motion);
    DeflickerParameterChanged(panel, Index::motion, false);
    EXPECT_TRUE(panel.enabled.at(Index::motionQuality));
    EXPECT_EQ(panel.enabled.count(Index::useGPU), 0U);
    DeflickerParameterChanged(panel, Index::useGPU, false);
    EXPECT_FALSE(panel.enabled.at(Index::useGPU));
}

TEST(DeflickerSettings, deriveUnitsMasksAndScaleRules) {
    DeflickerValues values;
    values.motion = true;
    DeflickerSettings settings = DeriveSettings(values, 0.5F, 0.5F);
    EXPECT_FLOAT_EQ(settings.sensitivityPixels, 1.5F);
    EXPECT_TRUE(settings.useMotion);
    EXPECT_TRUE(settings.useMask);
    EXPECT_FALSE(settings.PassesThrough());
    EXPECT_FALSE(DeriveSettings(values, 0.2F, 0.2F).useMotion);
    EXPECT_TRUE(DeriveSettings(values, 1.0F, 0.1F).PassesThrough());
    values.maskRadius = 0.0;
    EXPECT_FALSE(DeriveSettings(values, 1.0F, 1.0F).useMask);
    values.render = renderMotion;
    settings = DeriveSettings(values, 0.2F, 0.2F);
    EXPECT_TRUE(settings.useMotion);
    EXPECT_EQ(settings.PastFrames() + settings.FutureFrames(), 2);
    values.render = renderRecursive;
    settings = DeriveSettings(values, 1.0F, 1.0F);
    EXPECT_EQ(settings.PastFrames(), 16);
    EXPECT_EQ(settings.FutureFrames(), 0);
    // The weights are a sampled Gaussian density: over a window of three sigma they add up to nearly 1.
    float total = 0.0F;
    for (int offset = -8; offset <= 8; ++offset) {
        total += settings.Weight(offset);
    }
    EXPECT_NEAR(total, 1.0F, 0.01F);
    EXPECT_EQ(settings.Weight(-3), settings.Weight(3));
}

}  // namespace
}  // namespace TQ::Effect
