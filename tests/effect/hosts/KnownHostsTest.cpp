// The module under every host that the tool can pretend to be.

#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <set>
#include <thread>

#include "effect/hosts/Scene.h"

namespace TQ::App {
namespace {

struct HostCase {
    std::string key;
    SampleDepth depth;
};

std::vector<HostCase> HostCases() {
    std::vector<HostCase> cases;
    for (const KnownHost& host : KnownHosts()) {
        for (const SampleDepth depth : host.profile.depths) {
            cases.push_back({host.key, depth});
        }
    }
    return cases;
}

void PrintTo(const HostCase& host, std::ostream* stream) {
    static constexpr const char* depths[] = {"_Byte", "_Short", "_Float"};
    for (const char c : host.key) {
        *stream << (c == '-' ? '_' : c);
    }
    *stream << depths[static_cast<int>(host.depth)];
}

class KnownHostTest : public testing::TestWithParam<HostCase> {
  protected:
    std::shared_ptr<EffectPlugin> Load() const { return EffectPlugin::Load(STEADYLUX_MODULE, profile); }
    std::unique_ptr<EffectInstance> Make(const std::shared_ptr<EffectPlugin>& plugin) const {
        return std::make_unique<EffectInstance>(plugin, profile.contexts.front(), SceneFormat(depth));
    }

    const HostProfile& profile = *FindHost(GetParam().key);
    const SampleDepth depth = GetParam().depth;
};

// Applications whose own progress bar the effect keeps away from, and one that has none.
const std::set<std::string> withoutProgress = {"assimilator", "nuke", "nuke-com", "bare"};

TEST_P(KnownHostTest, AClipLosesItsFlicker) {
    const auto plugin = Load();
    for (const std::string& context : profile.contexts) {
        EXPECT_EQ(plugin->Describe(context).parameters.size(), 13u) << context;
    }
    const auto instance = Make(plugin);
    SceneClip clip(depth);
    std::vector<PicturePointer> sources;
    std::vector<PicturePointer> frames;
    int progressCalls = 0;
    double largestChange = 0;
    for (int frame = 0; frame < sceneFrames; ++frame) {
        sources.push_back(std::const_pointer_cast<Picture>(SceneFrame(frame, depth)));
        frames.push_back(std::make_shared<Picture>(sceneWidth, sceneHeight, depth));
        instance->Render(frame, clip.Provider(), *frames.back(), nullptr, [&](double) { ++progressCalls; });
        largestChange = std::max(largestChange, LargestDifference(*sources.back(), *frames.back()));
    }
    if (profile.clipsIgnoreTime) {
        // The mean of a frame and its own copies; the sums have half floats for bytes.
        EXPECT_LT(largestChange, depth == SampleDepth::Byte ? 1.01 / 255 : 1e-4);
    } else {
        EXPECT_LT(Flicker(frames), 0.4 * Flicker(sources));
    }
    EXPECT_EQ(progressCalls > 0, withoutProgress.count(GetParam().key) == 0);
    EXPECT_EQ(clip.FramesHeld(), 0);
    EXPECT_EQ(instance->LeakedImages(), 0);
    EXPECT_TRUE(instance->TakeMessages().empty());
}

// Threads that share an instance beside threads that load, describe and make one of their own meanwhile.
TEST_P(KnownHostTest, ThreadsDoNotDisturbEachOther) {
    constexpr int frames = 3;
    constexpr int threads = 4;
    const auto shared = Make(Load());
    const std::vector<PicturePointer> expected = RenderScene(*shared, frames);
    std::atomic<int> wrong{0};
    std::vector<std::thread> workers;
    for (int number = 0; number < threads; ++number) {
        workers.emplace_back([&, number] {
            const auto own = number % 2 ? Make(Load()) : nullptr;
            const std::vector<PicturePointer> mine = RenderScene(own ? *own : *shared, frames);
            for (int frame = 0; frame < frames; ++frame) {
                wrong += !SamePixels(*mine[static_cast<std::size_t>(frame)],
                                     *expected[static_cast<std::size_t>(frame)]);
            }
        });
    }
    for (std::thread& worker : workers) {
        worker.join();
    }
    EXPECT_EQ(wrong, 0);
}

INSTANTIATE_TEST_SUITE_P(Hosts, KnownHostTest, testing::ValuesIn(HostCases()),
                         testing::PrintToStringParamName());

}  // namespace
}  // namespace TQ::App
