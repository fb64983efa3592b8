#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "app/picture/Picture.h"

namespace TQ::App {

/// What this host says of itself, and where it departs from the standard's full offer. The default is the
/// honest description of the tool; other values let it pretend to be another application, so that a plug-in
/// can be seen under hosts that offer less or behave differently.
struct HostProfile {
    /// A suite that is kept from the plug-in.
    struct Suite {
        std::string name;
        int version = 1;
        bool operator==(const Suite&) const = default;
    };
    /// The frame range that clips tell: that of the frames; none (the property has no elements and a read
    /// leaves the caller's values alone); 0 to 1 whatever frames there are.
    enum class ClipRange { Frames, None, ZeroToOne };
    /// How images lie in memory. Downwards: without a copy, from the last row backwards with negative row
    /// bytes. Upwards: copies from the bottom row on, with positive row bytes and bytes between the rows.
    /// TopFirst: without a copy and with positive row bytes, so that pictures stand on their heads.
    enum class Rows { Downwards, Upwards, TopFirst };

    // Who it is
    std::string name = "com.marrowgate.steadylux";
    std::string label = "steadylux";
    std::vector<int> version = {2, 1, 0};
    std::string versionLabel = "2.1";
    /// Version of the API that the host claims.
    int apiMajor = 1;
    int apiMinor = 5;

    // What it says that it can
    bool isBackground = true;
    bool supportsTiles = true;
    bool supportsMultiResolution = true;
    bool temporalClipAccess = true;
    bool multipleClipDepths = true;
    bool multipleClipPixelAspects = true;
    /// Short names; the first is the one that the host takes when an effect offers several.
    std::vector<std::string> contexts = {"filter", "general"};
    std::vector<SampleDepth> depths = {SampleDepth::Byte, SampleDepth::Short, SampleDepth::Float};
    /// Rows and columns of a parameter page; 0 rows mean that the host has no page layout.
    int pageRows = 0;
    int pageColumns = 0;

    // Properties
    /// The ...Enabled properties of devices (all 0) in the arguments of a render, and the ...RenderSupported
    /// ones of the host and the effect (all "false"). Without, they are unknown properties.
    bool deviceProperties = true;
    /// Properties that the host itself does not have.
    std::vector<std::string> absentProperties;
    ClipRange clipFrameRange = ClipRange::Frames;
    /// Reading several integers at once fails, even if it is a single one.
    bool intArraysFail = false;

    // Suites
    std::vector<Suite> absentSuites;
    /// The thread suite runs its function once, on the calling thread, and hands out no mutexes (null ones
    /// work).
    bool threadStandIn = false;
    /// A message is formatted as printf does, but without its arguments: "%%" is the only thing that works.
    bool messagesWithoutArguments = false;
    /// Scratch memory is lent by the memory suite only; that of the image effect suite fails.
    bool withoutImageMemory = false;

    // Clips and images
    /// Every fetch of an image gives the frame that is being rendered, whatever time it asks for.
    bool clipsIgnoreTime = false;
    /// What clipGetRegionOfDefinition answers; 0 is the honest answer.
    int regionOfDefinitionStatus = 0;
    /// Pixel coordinates of the pictures' lower left corner at render scale 1.
    int originX = 0;
    int originY = 0;
    Rows rows = Rows::Downwards;
    /// Images have no pixel more than was asked for: sources end with the region of interest and the region
    /// of the fetch, the output with the render window. Only where host and effect support tiles.
    bool cutImages = false;
    /// The field that images belong to, in the standard's words; empty for none. They keep their height.
    std::string field;
    /// The depth that clips and images claim to have, in the standard's words; empty for the true one.
    std::string claimedDepth;

    // Actions
    /// Describes, unloads, and then loads and describes again on the same description.
    bool describesTwice = false;
    /// A plug-in is dropped when it has nothing to say to Load.
    bool loadNeedsAnswer = false;
    /// Every frame is rendered by an instance of its own that is loaded, described and made for it, and gets
    /// its parameters without being told of a change.
    bool freshInstances = false;
    /// Sends one change by the user, of the first parameter, to each new instance.
    bool announcesChange = false;
    /// Actions on instances that are never sent, in the standard's words.
    std::vector<std::string> absentActions;
    /// Questions (actions of the standard) that are put to a new instance, and before each frame. Without
    /// them, the regions of interest are asked for before each frame if tiles are supported.
    std::vector<std::string> instanceQueries;
    std::vector<std::string> frameQueries;
    bool asksRegionsWithoutTiles = false;
    /// Frames are rendered in windows of at most so many pixels in width and height; 0: whole. Only where
    /// host and effect support tiles.
    int windowSize = 0;
    /// The plug-in is told to stop as soon as it asks.
    bool alwaysAborts = false;

    bool operator==(const HostProfile&) const = default;
};

/// An application that the tool can pretend to be.
struct KnownHost {
    /// What users call it on the command line.
    std::string key;
    HostProfile profile;
};

std::span<const KnownHost> KnownHosts();
/// Null for a key that is not in the table.
const HostProfile* FindHost(std::string_view key);

}  // namespace TQ::App
