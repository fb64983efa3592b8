// The applications that the tool can pretend to be. Where versions of one application differ, the row takes
// what is hardest on a plug-in.

#include <algorithm>

#include "app/host/HostProfile.h"
#include "host/ofx/abi/OfxImageEffect.h"
#include "host/ofx/abi/OfxMessage.h"
#include "host/ofx/abi/OfxParam.h"
#include "host/ofx/abi/OfxProgress.h"
#include "host/ofx/abi/OfxTimeLine.h"

namespace TQ::App {
namespace {

using Rows = HostProfile::Rows;
using ClipRange = HostProfile::ClipRange;

HostProfile Named(const char* name, const char* label, std::vector<int> version) {
    HostProfile profile;
    profile.name = name;
    profile.label = label;
    profile.versionLabel = std::to_string(version.front());
    profile.version = std::move(version);
    profile.isBackground = false;
    return profile;
}

// Offers a progress bar that must not be used, and takes a message for a format without arguments.
HostProfile Assimilator() {
    HostProfile profile = Named("Assimilator", "Assimilator", {9, 0, 0});
    profile.messagesWithoutArguments = true;
    profile.supportsTiles = false;
    return profile;
}

// Cannot tell where a clip has pixels.
HostProfile Vegas(const char* name, int version) {
    HostProfile profile = Named(name, "Vegas", {version, 0, 0});
    profile.apiMinor = 2;
    profile.regionOfDefinitionStatus = kOfxStatFailed;
    profile.rows = Rows::Upwards;
    profile.deviceProperties = false;
    return profile;
}

HostProfile VegasWithoutTiles() {
    HostProfile profile = Vegas("com.sonycreativesoftware.vegas13", 13);
    profile.supportsTiles = false;
    profile.absentSuites = {{kOfxMessageSuite, 2}, {kOfxProgressSuite, 2}};
    return profile;
}

// Renders in bands and tells exactly what was asked for.
HostProfile Nuke(const char* name) {
    HostProfile profile = Named(name, "Nuke", {14, 0, 1});
    profile.apiMinor = 4;
    profile.depths = {SampleDepth::Float};
    profile.contexts = {"general", "filter"};
    profile.windowSize = 16;
    profile.cutImages = true;
    profile.rows = Rows::Upwards;
    return profile;
}

HostProfile Nucoda() {
    HostProfile profile = Named("Nucoda Film Master", "Nucoda", {2015, 1, 0});
    profile.apiMinor = 2;
    profile.regionOfDefinitionStatus = kOfxStatErrBadHandle;
    profile.absentSuites = {{kOfxMessageSuite, 2}, {kOfxProgressSuite, 2}, {kOfxTimeLineSuite, 1}};
    return profile;
}

// Lends no image memory.
HostProfile Resolve(const char* name) {
    HostProfile profile = Named(name, "DaVinci Resolve", {18, 6, 0});
    profile.apiMinor = 4;
    profile.depths = {SampleDepth::Float};
    profile.withoutImageMemory = true;
    profile.supportsTiles = false;
    profile.rows = Rows::Upwards;
    return profile;
}

// The common C++ layer of many hosts, as it comes.
HostProfile HostSupport() {
    HostProfile profile = Named("com.example.hostsupport", "HostSupport", {1, 0, 0});
    profile.apiMinor = 4;
    profile.describesTwice = true;
    profile.deviceProperties = false;
    profile.intArraysFail = true;
    profile.threadStandIn = true;
    return profile;
}

HostProfile Mlt() {
    HostProfile profile = Named("mlt", "MLT", {7, 41, 0});
    profile.isBackground = true;
    profile.supportsTiles = false;
    profile.supportsMultiResolution = false;
    profile.temporalClipAccess = false;
    profile.contexts = {"filter"};
    profile.absentProperties = {kOfxImageEffectPropSupportedContexts, kOfxImageEffectPropTemporalClipAccess};
    profile.clipFrameRange = ClipRange::None;
    profile.clipsIgnoreTime = true;
    profile.loadNeedsAnswer = true;
    profile.freshInstances = true;
    profile.absentActions = {kOfxImageEffectActionIsIdentity, kOfxImageEffectActionGetFramesNeeded,
                             kOfxImageEffectActionGetTimeDomain};
    profile.frameQueries = {kOfxImageEffectActionGetRegionOfDefinition};
    profile.asksRegionsWithoutTiles = true;
    return profile;
}

HostProfile MltTopFirst() {
    HostProfile profile = Mlt();
    profile.rows = Rows::TopFirst;
    return profile;
}

HostProfile Natron() {
    HostProfile profile = Named("fr.inria.Natron", "Natron", {2, 5, 0});
    profile.isBackground = true;
    profile.apiMinor = 4;
    profile.contexts = {"general", "filter"};
    profile.depths = {SampleDepth::Float, SampleDepth::Short, SampleDepth::Byte};
    profile.rows = Rows::Upwards;
    profile.announcesChange = true;
    profile.instanceQueries = {kOfxImageEffectActionGetTimeDomain};
    profile.frameQueries = {kOfxImageEffectActionGetRegionOfDefinition, kOfxImageEffectActionIsIdentity,
                            kOfxImageEffectActionGetFramesNeeded};
    return profile;
}

HostProfile OpenFxRunner() {
    HostProfile profile = Named("openfx.runner", "openfx-runner", {0, 3, 0});
    profile.isBackground = true;
    profile.depths = {SampleDepth::Float};
    profile.clipFrameRange = ClipRange::ZeroToOne;
    profile.clipsIgnoreTime = true;
    profile.originX = 37;
    profile.originY = -11;
    profile.cutImages = true;
    profile.windowSize = 20;
    profile.rows = Rows::Upwards;
    profile.deviceProperties = false;
    profile.announcesChange = true;
    profile.absentActions = {
        kOfxImageEffectActionGetClipPreferences, kOfxImageEffectActionBeginSequenceRender,
        kOfxImageEffectActionEndSequenceRender,  kOfxImageEffectActionGetFramesNeeded,
        kOfxImageEffectActionIsIdentity,         kOfxImageEffectActionGetTimeDomain};
    profile.frameQueries = {kOfxImageEffectActionGetRegionOfDefinition};
    profile.absentSuites = {{kOfxMessageSuite, 2}, {kOfxProgressSuite, 2}};
    return profile;
}

// As poor as a host can be that a plug-in still runs in.
HostProfile Bare() {
    HostProfile profile = Named("", "", {0});
    profile.apiMinor = 0;
    profile.absentProperties = {kOfxPropAPIVersion, kOfxPropName, kOfxPropVersion, kOfxPropVersionLabel,
                                kOfxImageEffectPropSupportedPixelDepths};
    profile.absentSuites = {{kOfxMessageSuite, 1},
                            {kOfxMessageSuite, 2},
                            {kOfxProgressSuite, 1},
                            {kOfxProgressSuite, 2},
                            {kOfxTimeLineSuite, 1}};
    profile.deviceProperties = false;
    profile.threadStandIn = true;
    profile.regionOfDefinitionStatus = kOfxStatErrUnsupported;
    return profile;
}

}  // namespace

std::span<const KnownHost> KnownHosts() {
    static const std::vector<KnownHost> hosts = {
        {"steadylux", {}},
        {"assimilator", Assimilator()},
        {"vegas", Vegas("com.sonycreativesoftware.vegas", 11)},
        {"vegas13", VegasWithoutTiles()},
        {"nuke", Nuke("uk.co.thefoundry.nuke")},
        {"nuke-com", Nuke("uk.com.thefoundry.nuke")},
        {"nucoda", Nucoda()},
        {"resolve", Resolve("DaVinciResolve")},
        {"resolve-studio", Resolve("DaVinciResolveStudio")},
        {"hostsupport", HostSupport()},
        {"mlt", Mlt()},
        {"mlt-top-first", MltTopFirst()},
        {"natron", Natron()},
        {"openfx-runner", OpenFxRunner()},
        {"bare", Bare()},
    };
    return hosts;
}

const HostProfile* FindHost(std::string_view key) {
    const auto hosts = KnownHosts();
    const auto place =
        std::find_if(hosts.begin(), hosts.end(), [key](const KnownHost& host) { return host.key == key; });
    return place == hosts.end() ? nullptr : &place->profile;
}

}  // namespace TQ::App
