#pragma once

#include <string>
#include <vector>

namespace TQ::App {

/// What this host says of itself, and where it departs from the standard's full offer. The default is the
/// honest description of the tool; other values let tests see a plug-in under hosts that offer less.
struct HostProfile {
    /// A suite that is kept from the plug-in.
    struct Suite {
        std::string name;
        int version = 1;
        bool operator==(const Suite&) const = default;
    };

    std::string name = "com.marrowgate.steadylux";
    std::string label = "steadylux";
    std::vector<int> version = {2, 1, 0};
    std::string versionLabel = "2.1";
    /// Version of the API that the host claims.
    int apiMajor = 1;
    int apiMinor = 5;

    bool isBackground = true;
    bool supportsTiles = true;
    bool supportsMultiResolution = true;
    bool temporalClipAccess = true;
    bool multipleClipDepths = true;
    bool multipleClipPixelAspects = true;
    /// Rows and columns of a parameter page; 0 rows mean that the host has no page layout.
    int pageRows = 0;
    int pageColumns = 0;

    /// The ...Enabled properties of devices (all 0) in the arguments of a render, and the ...RenderSupported
    /// ones of the host and the effect (all "false"). Without, they are unknown properties.
    bool deviceProperties = true;
    /// Frame ranges of clips. Without, the property has no elements and a read leaves the caller's values
    /// alone.
    bool clipFrameRange = true;
    /// Every fetch of an image gives the frame that is being rendered, whatever time it asks for.
    bool clipsIgnoreTime = false;
    /// What clipGetRegionOfDefinition answers; 0 is the honest answer.
    int regionOfDefinitionStatus = 0;
    /// The thread suite runs its function once, on the calling thread, and hands out no mutexes (null ones
    /// work).
    bool threadStandIn = false;
    std::vector<Suite> absentSuites;

    bool operator==(const HostProfile&) const = default;
};

}  // namespace TQ::App
