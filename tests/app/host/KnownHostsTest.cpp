// What a plug-in is sent under hosts that the tool pretends to be.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

#include "app/host/Effect.h"
#include "app/host/HostRecord.h"
#include "app/host/Suites.h"
#include "platform/Platform.h"

namespace TQ::App {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr int size = 4;

ClipFormat Format() {
    ClipFormat format;
    format.width = size;
    format.height = size;
    format.frameCount = 8;
    return format;
}

class KnownHostsTest : public testing::Test {
  protected:
    /// What the plug-in has been sent since the last call, without what all names have in common.
    std::string Journal() {
        std::string text = reinterpret_cast<const char* (*)()>(library.Symbol("TakeJournal"))();
        for (const std::string common : {"OfxImageEffectAction", "OfxAction", "OfxImageEffectContext"}) {
            for (auto place = text.find(common); place != std::string::npos; place = text.find(common)) {
                text.erase(place, common.size());
            }
        }
        return text;
    }
    void Make(const HostProfile& profile) {
        instance.reset();
        const auto plugin = EffectPlugin::Load(SL_PLUGIN_GOOD, profile);
        instance = std::make_unique<EffectInstance>(plugin, "filter", Format());
    }
    void Render(int frame) {
        const auto provider = [](int) {
            auto picture = std::make_shared<Picture>(size, size, SampleDepth::Byte);
            for (int y = 0; y < size; ++y) {
                std::memset(picture->Row(y), 10 * y, std::size_t{4} * size);
            }
            return picture;
        };
        instance->Render(frame, provider, output);
    }

    Platform::SharedLibrary library{SL_PLUGIN_GOOD};
    std::unique_ptr<EffectInstance> instance;
    Picture output{size, size, SampleDepth::Byte};
};

TEST_F(KnownHostsTest, EveryFrameMayHaveAnInstanceOfItsOwn) {
    Make(*FindHost("mlt"));
    instance->SetParameter("radius", "1");
    instance->BeginSequence(3, 3);
    Journal();
    Render(3);
    EXPECT_EQ(Journal(),
              "Load\nDescribe\nDescribeInContext\nCreateInstance\nGetClipPreferences\nGetRegionOfDefinition\n"
              "GetRegionsOfInterest\nBeginSequenceRender\nRender\nEndSequenceRender\nDestroyInstance\n");
    EXPECT_EQ(output.Row(0)[2], 3) << "the fresh instance has the parameters";
    EXPECT_EQ(instance->NeededFrames(3).ranges.size(), 1u);
    EXPECT_EQ(instance->IdentityFrame(3), std::nullopt);
    instance.reset();
    EXPECT_EQ(Journal(), "DestroyInstance\nUnload\n");
}

TEST_F(KnownHostsTest, ADescriptionMayBeMadeTwice) {
    Make(*FindHost("hostsupport"));
    EXPECT_THAT(Journal(), HasSubstr("Load\nDescribe\nUnload\nLoad\nDescribe\nDescribeInContext\n"));
    EXPECT_EQ(instance->Parameters().size(), 9u);
}

TEST_F(KnownHostsTest, QuestionsAndChangesComeWhereTheHostPutsThem) {
    Make(*FindHost("natron"));
    EXPECT_THAT(Journal(), HasSubstr("BeginInstanceChanged OfxChangeUserEdited\n"
                                     "InstanceChanged amount OfxChangeUserEdited\n"
                                     "EndInstanceChanged OfxChangeUserEdited\nGetTimeDomain\n"));
    Render(2);
    EXPECT_EQ(Journal(),
              "GetRegionOfDefinition\nIsIdentity\nGetFramesNeeded\nGetRegionsOfInterest\n"
              "BeginSequenceRender\nRender\nEndSequenceRender\n");
    EXPECT_EQ(output.Row(0)[1], size - 1) << "the picture is upright for all that its rows run upwards";
}

TEST_F(KnownHostsTest, AFrameMayComeInWindowsOfWhichEachHasItsRegions) {
    HostProfile profile;
    profile.windowSize = 3;
    Make(profile);
    Journal();
    Render(0);
    const std::string journal = Journal();
    const auto count = [&](const std::string& line) {
        int found = 0;
        for (auto place = journal.find(line); place != std::string::npos;
             place = journal.find(line, place + 1)) {
            ++found;
        }
        return found;
    };
    EXPECT_EQ(count("GetRegionsOfInterest\n"), 4);
    EXPECT_EQ(count("\nRender\n"), 4);
    EXPECT_EQ(count("BeginSequenceRender\n"), 1);
}

TEST_F(KnownHostsTest, WhatAHostDoesNotHaveIsRefused) {
    const auto fault = [](const char* key, const char* context) -> std::string {
        try {
            EffectInstance(EffectPlugin::Load(SL_PLUGIN_GOOD, *FindHost(key)), context, Format());
            return {};
        } catch (const HostError& error) {
            return error.what();
        }
    };
    EXPECT_THAT(fault("mlt", "general"), HasSubstr("does not know the context \"general\""));
    EXPECT_THAT(fault("openfx-runner", "filter"), HasSubstr("no pictures of a depth that the host has"));
    EXPECT_EQ(FindHost("no such host"), nullptr);
}

TEST(KnownHostTableTest, EveryRowHasItsOwnKeyAndCanBeAHost) {
    std::set<std::string> keys;
    for (const KnownHost& host : KnownHosts()) {
        EXPECT_TRUE(keys.insert(host.key).second) << host.key;
        EXPECT_FALSE(host.profile.contexts.empty() || host.profile.depths.empty()) << host.key;
        HostRecord& record = HostRecord::For(host.profile);
        EXPECT_NE(record.Record()->fetchSuite(record.Record()->host, kOfxImageEffectSuite, 1), nullptr);
    }
    int value = 7;
    OfxHost* support = HostRecord::For(*FindHost("hostsupport")).Record();
    const auto* suite =
        static_cast<const OfxPropertySuiteV1*>(support->fetchSuite(support->host, kOfxPropertySuite, 1));
    EXPECT_EQ(suite->propGetIntN(support->host, kOfxImageEffectPropSupportsTiles, 1, &value),
              kOfxStatErrValue);
    EXPECT_EQ(suite->propGetInt(support->host, kOfxImageEffectPropSupportsTiles, 0, &value), kOfxStatOK);
    EXPECT_EQ(value, 1);
    OfxHost* mlt = HostRecord::For(*FindHost("mlt")).Record();
    EXPECT_EQ(propertySuite.propGetInt(mlt->host, kOfxImageEffectPropTemporalClipAccess, 0, &value),
              kOfxStatErrUnknown);
}

}  // namespace
}  // namespace TQ::App
