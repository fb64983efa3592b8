// Clips whose frames differ in size or place.

#include <gtest/gtest.h>

#include "effect/DeflickerPlugin.h"
#include "effect/Presets.h"
#include "host/ofx/Entry.h"
#include "host/ofx/fake/FakeHost.h"

namespace TQ::Effect {
namespace {

class FrameSizes : public testing::Test {
  protected:
    static constexpr int grey = 100;
    static constexpr double now = 5;

    FrameSizes() {
        fake.Start(entry);
        source.prepare = [](::Test::FakeImage& image, double) {
            for (int y = image.bounds.y1; y < image.bounds.y2; ++y) {
                for (int x = image.bounds.x1; x < image.bounds.x2; ++x) {
                    for (int c = 0; c < 4; ++c) {
                        image.At<std::uint8_t>(x, y, c) = c == 3 ? 255 : grey;
                    }
                }
            }
        };
    }
    ~FrameSizes() override {
        fake.Run(entry, kOfxActionDestroyInstance);
        EXPECT_EQ(fake.liveImages, 0);
        EXPECT_EQ(fake.liveMemory, 0);
    }
    /// Every frame is the same grey, so that the result is that grey, wherever the frames lie.
    void ExpectGrey() {
        for (int preset = presetDefault; preset <= presetCount; ++preset) {
            if (PresetRow(preset).IsSeparator()) {
                continue;
            }
            fake.ParameterNamed("preset").numbers = {static_cast<double>(preset)};
            fake.Change(entry, "preset");
            output.kept = nullptr;
            fake.SetRenderArguments(now, {0, 0, 16, 12});
            fake.messages.clear();
            ASSERT_EQ(fake.Run(entry, kOfxImageEffectActionRender), kOfxStatOK)
                << preset << ": " << (fake.messages.empty() ? "" : fake.messages.back().text);
            for (int y = 0; y < 12; ++y) {
                for (int x = 0; x < 16; ++x) {
                    EXPECT_NEAR(output.kept->At<std::uint8_t>(x, y, 1), grey, 1)
                        << preset << " " << x << " " << y;
                    EXPECT_EQ(output.kept->At<std::uint8_t>(x, y, 3), 255) << preset << " " << x << " " << y;
                }
            }
        }
    }

    ::Test::FakeHost fake;
    ::Test::FakeHost::Entry entry = [this](const char* action, const void* handle, OfxPropertySetHandle in,
                                           OfxPropertySetHandle out) {
        DeflickerPlugin effect;
        return TQ::Host::OFX::RunAction(effect, fake.Get(), action, handle, in, out);
    };
    ::Test::FakeClip& source = fake.ClipNamed(kOfxImageEffectSimpleSourceClipName);
    ::Test::FakeClip& output = fake.ClipNamed(kOfxImageEffectOutputClipName);
};

TEST_F(FrameSizes, NeighboursMayBeSmallerLargerOrElsewhere) {
    source.boundsAt[now - 8] = {3, 2, 12, 9};
    source.boundsAt[now - 1] = {-4, -4, 9, 30};
    source.boundsAt[now + 1] = {40, 40, 50, 50};
    source.boundsAt[now + 2] = {0, 0, 1, 1};
    ExpectGrey();
}

// As hosts tell it that cannot say more than the largest region of the clip.
TEST_F(FrameSizes, NeighboursMayCoverLessThanTheHostSaid) {
    fake.host.Put(kOfxImageEffectPropSupportsTiles, 0);
    source.boundsAt[now - 2] = {3, 2, 12, 9};
    source.boundsAt[now + 1] = {40, 40, 50, 50};
    ExpectGrey();
}

}  // namespace
}  // namespace TQ::Effect
