#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/ofx/Entry.h"
#include "host/ofx/fake/FakeHost.h"

namespace Test {

namespace Ofx = TQ::Host::OFX;
namespace Flag = TQ::Host::Param::ParameterFlag;
using TQ::Host::Param::ParameterDescription;
using TQ::IP::Bounds;

/// What the effect of a test does, and what it was asked.
struct Script {
    int radius = 0;  ///< extra frames on each side
    int margin = 0;  ///< pixels beyond the window that they are needed of
    int identity = -1;
    std::function<void(Ofx::Host& effect, Ofx::Parameters& parameters, Ofx::Layer& source, Ofx::Layer& output,
                       Ofx::FrameTable& frames)>
        render;
    std::function<void(Ofx::Host& effect)> onPurge;  ///< the body of an action that nothing else uses
    std::vector<int> changed;                        ///< indices given to parameterChanged
    bool openGLContextSeen = false;
};

class TestEffect : public Ofx::Host {
  public:
    explicit TestEffect(Script& script) : _script(script) {}

    const char* effectName() const override { return "Test"; }
    const char* effectDescription() const override { return "An effect of the tests"; }
    void version(std::array<int, 4>& numbers) const override { numbers = {3, 0, 1, 0}; }
    bool temporalAccess() const override { return true; }

    // 0 choice, 1 double, 2 integer, 3 boolean in a group (4..), as an effect would mix them
    void defineParameters(Ofx::Parameters& list) override {
        list.add(ParameterDescription::MakeChoice("Pre Set", 1, {"a", "b", "c"}, Flag::callbackOnChange));
        list.add(ParameterDescription::MakeDouble("Blur", 3, 0, 100, 0, 50,
                                                  Flag::doubleX | Flag::callbackOnChange));
        list.add(ParameterDescription::MakeInteger("Time Radius", 2, 0, 10, Flag::pluginWrites));
        list.add(ParameterDescription::MakeGroupStart("More", 0));
        list.add(ParameterDescription::MakeBoolean("Use It", true, Flag::notAnimated | Flag::startsDisabled));
        list.add(ParameterDescription::MakeText("Note", "say \"x\"\\", 0));
        list.add(ParameterDescription::MakeGroupEnd());
        list.add(ParameterDescription::MakeColour("Tint", {0.25, 0.5, 1.0}, 0));
        list.add(ParameterDescription::MakePoint("Centre", {1.5, -2}, 0));
    }
    OfxStatus purgeCaches() override {
        if (_script.onPurge) {
            _script.onPurge(*this);
        }
        return kOfxStatOK;
    }
    OfxStatus openGLContextAttached() override {
        _script.openGLContextSeen = true;
        return kOfxStatOK;
    }
    int identityClip(Ofx::Parameters&, const Bounds&, const Bounds&) override { return _script.identity; }
    Bounds regionOfInterest(Ofx::Parameters&, const Bounds& window, const Bounds&,
                            std::vector<Ofx::ExtraFrame>& extraFrames) override {
        const int m = _script.margin;
        for (int i = 0; i < 2 * _script.radius; ++i) {
            extraFrames.push_back({.clip = {}, .region = TQ::IP::Grow(window, {-m, -m, m, m})});
        }
        return window;
    }
    std::vector<Ofx::ExtraFrame> framesNeeded(Ofx::Parameters&,
                                              const std::vector<Ofx::ExtraFrame>& slots) override {
        auto result = slots;
        for (int i = 0; i < static_cast<int>(result.size()); ++i) {
            const int n = _script.radius;
            result[static_cast<std::size_t>(i)].timeOffset = i < n ? i - n : i - n + 1;
        }
        return result;
    }
    void renderFrames(Ofx::Parameters& parameters, Ofx::Layer& source, Ofx::Layer& output,
                      Ofx::FrameTable& frames) override {
        if (_script.render) {
            _script.render(*this, parameters, source, output, frames);
        }
    }
    void renderImage(Ofx::Parameters&, Ofx::Layer&, Ofx::Layer&, std::span<Ofx::Layer* const>) override {}
    void parameterChanged(Ofx::Parameters&, int index) override { _script.changed.push_back(index); }

  private:
    Script& _script;
};

/// A scripted host with the effect of the test in it.
class BridgeTest : public ::testing::Test {
  protected:
    ~BridgeTest() override {
        if (_started) {
            fake.Run(entry, kOfxActionDestroyInstance);
        }
        EXPECT_EQ(fake.liveImages, 0);
        EXPECT_EQ(fake.wrongReleases, 0);
        EXPECT_EQ(fake.liveMemory, 0);
        EXPECT_EQ(fake.progressStarts, fake.progressEnds);
        EXPECT_EQ(fake.callsOffThread, 0);
        EXPECT_EQ(fake.arrayCalls, 0);
    }
    void Start(const char* context = kOfxImageEffectContextFilter) {
        fake.Start(entry, context);
        _started = true;
    }
    OfxStatus Purge(std::function<void(Ofx::Host&)> body) {
        script.onPurge = std::move(body);
        return fake.Run(entry, kOfxActionPurgeCaches);
    }
    OfxStatus Render(double time = 5, OfxRectI window = {0, 0, 16, 12}, double scale = 1.0) {
        fake.SetRenderArguments(time, window, scale);
        return fake.Run(entry, kOfxImageEffectActionRender);
    }

    FakeHost fake;
    Script script;
    FakeHost::Entry entry = [this](const char* action, const void* handle, OfxPropertySetHandle in,
                                   OfxPropertySetHandle out) {
        TestEffect effect(script);
        return Ofx::RunAction(effect, fake.Get(), action, handle, in, out);
    };

  private:
    bool _started = false;
};

}  // namespace Test
