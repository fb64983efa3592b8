#include <new>

#include "host/ofx/TestEffect.h"
#include "ip/records/Exception.h"
#include "support/CrashGuard.h"

namespace Test {

using ::testing::ElementsAre;

class EntryTest : public BridgeTest {};

TEST_F(EntryTest, ActionsThatNobodyKnowsAreDone) {
    EXPECT_EQ(fake.Run(entry, "an action of the future"), kOfxStatOK);
    EXPECT_EQ(fake.Run(entry, "OfxImageEffectActionInvokeAbout"), kOfxStatOK);
    EXPECT_EQ(fake.Run(entry, "OfxImageEffectActionInvokeHelp"), kOfxStatOK);
    EXPECT_EQ(fake.Run(entry, kOfxActionLoad), kOfxStatOK);
    EXPECT_EQ(fake.Run(entry, kOfxActionOpenGLContextAttached), kOfxStatOK);
    EXPECT_FALSE(script.openGLContextSeen);  // without the suite the action goes nowhere
}

TEST_F(EntryTest, EveryFailureHasItsStatusAndMessage) {
    struct Row {
        std::function<void()> fail;
        OfxStatus status;
        const char* kind;
        const char* text;
    };
    const Row rows[] = {
        {[] { throw Ofx::Error(kOfxStatErrBadIndex); }, kOfxStatErrBadIndex, nullptr, nullptr},
        {[] { throw std::bad_alloc(); }, kOfxStatErrMemory, kOfxMessageError, "Out of memory!"},
        {[] { throw std::string("50% done"); }, kOfxStatErrUnknown, kOfxMessageMessage, "50% done"},
        {[] { throw TQ::Exception("Title", "text %s"); }, kOfxStatErrUnknown, kOfxMessageError,
         "Title: text %s"},
        {[] { throw TQ::Interrupted{}; }, kOfxStatErrFatal, kOfxMessageError, "Unknown internal error"},
    };
    for (const Row& row : rows) {
        fake.messages.clear();
        EXPECT_EQ(Purge([&](Ofx::Host&) { row.fail(); }), row.status);
        ASSERT_EQ(fake.messages.size(), row.kind == nullptr ? 0U : 1U);
        if (row.kind != nullptr) {
            EXPECT_EQ(fake.messages[0].kind, row.kind);
            EXPECT_EQ(fake.messages[0].text, row.text);
        }
    }
    // Where messages cannot be shown the status stays.
    fake.missingSuites = {kOfxMessageSuite};
    EXPECT_EQ(Purge([](Ofx::Host&) { throw 1; }), kOfxStatErrFatal);
}

TEST_F(EntryTest, OnlyFiveSuitesAreRequired) {
    for (const char* required : {kOfxImageEffectSuite, kOfxPropertySuite, kOfxParameterSuite, kOfxMemorySuite,
                                 kOfxMultiThreadSuite}) {
        fake.missingSuites = {required};
        EXPECT_EQ(fake.Run(entry, kOfxActionLoad), kOfxStatErrMissingHostFeature) << required;
    }
    fake.missingSuites = {kOfxMessageSuite, kOfxProgressSuite, kOfxInteractSuite};
    Start();
    script.render = [](Ofx::Host& effect, auto&&...) { effect.progress(0, 1, 2); };
    EXPECT_EQ(Render(), kOfxStatOK);
    Script unused;
    TestEffect effect(unused);
    EXPECT_EQ(Ofx::RunAction(effect, nullptr, kOfxActionLoad, nullptr, nullptr, nullptr),
              kOfxStatErrMissingHostFeature);
}

TEST_F(EntryTest, MessagesChooseKindVersionAndAnswer) {
    struct Row {
        unsigned flags;
        const char* kind;
    };
    const Row rows[] = {{0x2, kOfxMessageQuestion},   {0x5, kOfxMessageQuestion},
                        {0x1000, kOfxMessageWarning}, {0x2001, kOfxMessageError},
                        {0x8001, kOfxMessageMessage}, {0x4000, kOfxMessageQuestion},
                        {0x0, kOfxMessageWarning},    {0x4, kOfxMessageWarning}};
    for (const Row& row : rows) {
        Purge([&](Ofx::Host& effect) { effect.postMessage("x", row.flags); });
        EXPECT_EQ(fake.messages.back().kind, row.kind) << row.flags;
    }
    const std::pair<OfxStatus, Ofx::MessageAnswer> answers[] = {{kOfxStatOK, Ofx::MessageAnswer::Yes},
                                                                {kOfxStatReplyYes, Ofx::MessageAnswer::Yes},
                                                                {kOfxStatReplyNo, Ofx::MessageAnswer::No},
                                                                {kOfxStatFailed, Ofx::MessageAnswer::Cancel}};
    for (const auto& [status, answer] : answers) {
        fake.messageAnswer = status;
        Purge([&](Ofx::Host& effect) { EXPECT_EQ(effect.postMessage("x", 0), answer); });
    }
    fake.missingSuites = {std::string(kOfxMessageSuite) + "2"};
    Purge([](Ofx::Host& effect) {
        EXPECT_EQ(effect.messageSuiteV2, nullptr);
        effect.postMessage("old", 0);
    });
    EXPECT_EQ(fake.messages.back().text, "old");
}

TEST_F(EntryTest, AssimilatorGetsTheTextAsFormat) {
    fake.host.Put(kOfxPropName, "Assimilator");
    Purge([](Ofx::Host& effect) { effect.postMessage("100% %s", 0); });
    EXPECT_EQ(fake.messages[0].format, "100%% %%s");
    EXPECT_EQ(fake.messages[0].text, "100% %s");
    Purge([](Ofx::Host& effect) { EXPECT_EQ(effect.progressSuite, nullptr); });
}

TEST_F(EntryTest, HostsAreKnownByTheirNames) {
    const std::pair<const char*, Ofx::HostId> names[] = {
        {"Assimilator", Ofx::HostId::Assimilator},
        {"Assimilator 2", Ofx::HostId::Other},
        {"com.sonycreativesoftware.vegas", Ofx::HostId::Vegas},
        {"com.sonycreativesoftware.vegas.12", Ofx::HostId::Vegas},
        {"uk.com.thefoundry.nuke", Ofx::HostId::Nuke},
        {"uk.com.thefoundry.nukestudio", Ofx::HostId::Other},
        {"uk.co.thefoundry.", Ofx::HostId::Other},
        {"uk.co.thefoundry.n", Ofx::HostId::Nuke},
        {"Nucoda", Ofx::HostId::Other},
        {"Nucoda Film Master", Ofx::HostId::Nucoda},
        {"DaVinciResolve", Ofx::HostId::Resolve},
        {"DaVinci", Ofx::HostId::Other},
        {"DaVinciX", Ofx::HostId::Resolve},
        {"", Ofx::HostId::Other}};
    for (const auto& [name, id] : names) {
        EXPECT_EQ(Ofx::IdentifyHost(name), id) << name;
    }
    fake.host.values.erase(kOfxPropName);
    Purge([](Ofx::Host& effect) { EXPECT_EQ(effect.hostId, Ofx::HostId::Other); });
}

TEST_F(EntryTest, DescribingAgainChangesNothing) {
    Start(kOfxImageEffectContextGeneral);
    const auto described = fake.effect.values;
    const auto order = fake.parameterOrder;
    EXPECT_THAT(fake.effect.Get<std::string>(kOfxImageEffectPropSupportedPixelDepths),
                ElementsAre(kOfxBitDepthByte, kOfxBitDepthShort, kOfxBitDepthFloat));
    EXPECT_THAT(fake.effect.Get<std::string>(kOfxImageEffectPropSupportedContexts),
                ElementsAre(kOfxImageEffectContextFilter, kOfxImageEffectContextGeneral));
    EXPECT_THAT(fake.effect.Get<int>(kOfxPropVersion), ElementsAre(3, 0, 1));
    EXPECT_FALSE(fake.effect.Has(kOfxImageEffectPropSupportsTiles));
    fake.Run(entry, kOfxActionDescribe);
    fake.inArgs.Put(kOfxImageEffectPropContext, kOfxImageEffectContextGeneral);
    fake.Run(entry, kOfxImageEffectActionDescribeInContext);
    EXPECT_EQ(fake.effect.values, described);
    EXPECT_EQ(fake.parameterOrder, order);
    EXPECT_THAT(fake.ParameterNamed("Main").properties.Get<std::string>(kOfxParamPropPageChild),
                ElementsAre("preSet", "blur", "timeRadius", "useIt", "note", "tint", "centre"));
}

TEST_F(EntryTest, DescribeLeavesOutWhatTheHostDoesNotKnow) {
    fake.effect.refused = {kOfxPropVersionLabel, kOfxPropVersion, kOfxPropShortLabel,
                           kOfxImageEffectPluginPropHostFrameThreading};
    EXPECT_EQ(fake.Run(entry, kOfxActionDescribe), kOfxStatOK);
    fake.effect.refusal = kOfxStatErrMemory;
    EXPECT_EQ(fake.Run(entry, kOfxActionDescribe), kOfxStatErrMemory);
    fake.effect.refused.clear();
    fake.undefinable = {kOfxParamTypePage};
    fake.inArgs.Put(kOfxImageEffectPropContext, kOfxImageEffectContextFilter);
    EXPECT_EQ(fake.Run(entry, kOfxImageEffectActionDescribeInContext), kOfxStatOK);
    fake.undefinable = {kOfxParamTypeRGB};
    EXPECT_EQ(fake.Run(entry, kOfxImageEffectActionDescribeInContext), kOfxStatErrUnsupported);
}

TEST_F(EntryTest, ChangesWaitForTheEndOfTheirBracket) {
    struct Row {
        std::vector<const char*> edits;
        std::vector<int> changed;
    };
    const Row rows[] = {
        {{"preSet"}, {0}},
        {{"preSet", "preSet"}, {0}},
        {{"blur"}, {1}},
        {{"blur", "preSet"}, {1}},  // the choice came behind another change
        {{"preSet", "blur"}, {1}},
        {{"timeRadius"}, {}},  // no callback
        {{"timeRadius", "preSet"}, {}},
        {{"unknown"}, {}},
    };
    Start();
    for (const Row& row : rows) {
        script.changed.clear();
        fake.Run(entry, kOfxActionBeginInstanceChanged);
        for (const char* name : row.edits) {
            fake.Change(entry, name);
        }
        fake.Run(entry, kOfxActionEndInstanceChanged);
        EXPECT_EQ(script.changed, row.changed) << row.edits[0];
        fake.Run(entry, kOfxActionEndInstanceChanged);
        EXPECT_EQ(script.changed, row.changed) << "again at the next bracket";
    }
    script.changed.clear();
    EXPECT_EQ(fake.Change(entry, "preSet", kOfxChangePluginEdited), kOfxStatReplyDefault);
    EXPECT_EQ(fake.Change(entry, "blur", kOfxChangeTime), kOfxStatReplyDefault);
    EXPECT_EQ(fake.Change(entry, "unknown"), kOfxStatReplyDefault);
    EXPECT_EQ(fake.Change(entry, "preSet"), kOfxStatOK);
    EXPECT_EQ(fake.Run(entry, kOfxActionSyncPrivateData), kOfxStatOK);
    EXPECT_THAT(script.changed, ElementsAre(0));
}

TEST_F(EntryTest, WithoutInstanceDataEveryChangeIsImmediate) {
    Start();
    fake.Run(entry, kOfxActionDestroyInstance);
    fake.Change(entry, "preSet");
    EXPECT_THAT(script.changed, ElementsAre(0));
    EXPECT_EQ(fake.Run(entry, kOfxActionEndInstanceChanged), kOfxStatOK);
}

TEST(CrashGuardTest, StopsWhatNobodyCaught) {
    int argument = 7;
    EXPECT_EQ(TQ::Support::RunGuarded([](void* value) { return *static_cast<int*>(value); }, &argument), 7);
    EXPECT_EQ(TQ::Support::RunGuarded([](void*) -> int { throw 1; }, nullptr), kOfxStatErrFatal);
}

}  // namespace Test
