#pragma once

// The core of the OpenFX C interface, in our own declarations: statuses, actions, properties that every API
// shares, the host and plug-in records. Names, values and layouts are those of the published standard.

#include <climits>

/// Statuses that every suite call and every action answers with.
/// An action that the plug-in leaves alone answers kOfxStatReplyDefault.
using OfxStatus = int;
constexpr int kOfxStatOK = 0;
constexpr int kOfxStatFailed = 1;
constexpr int kOfxStatErrFatal = 2;
constexpr int kOfxStatErrUnknown = 3;
constexpr int kOfxStatErrMissingHostFeature = 4;
constexpr int kOfxStatErrUnsupported = 5;
constexpr int kOfxStatErrExists = 6;
constexpr int kOfxStatErrFormat = 7;
constexpr int kOfxStatErrMemory = 8;
constexpr int kOfxStatErrBadHandle = 9;
constexpr int kOfxStatErrBadIndex = 10;
constexpr int kOfxStatErrValue = 11;
constexpr int kOfxStatReplyYes = 12;
constexpr int kOfxStatReplyNo = 13;
constexpr int kOfxStatReplyDefault = 14;
constexpr int kOfxStatUnlicensed = 15;

/// Time on the host's line, in frames.
using OfxTime = double;

/// A list of named values that belongs to the host.
using OfxPropertySetHandle = struct OfxPropertySetStruct*;

/// Values of a rectangle without limits.
constexpr int kOfxFlagInfiniteMax = INT_MAX;
constexpr int kOfxFlagInfiniteMin = INT_MIN;

struct OfxRangeI {
    int min;
    int max;
};

struct OfxRangeD {
    double min;
    double max;
};

struct OfxPointI {
    int x;
    int y;
};

struct OfxPointD {
    double x;
    double y;
};

struct OfxRectI {
    int x1;
    int y1;
    int x2;
    int y2;
};

struct OfxRectD {
    double x1;
    double y1;
    double x2;
    double y2;
};

/// What the host offers: its description, and the tables of functions by name and version (null when it has
/// none).
struct OfxHost {
    OfxPropertySetHandle host;
    const void* (*fetchSuite)(OfxPropertySetHandle host, const char* suiteName, int suiteVersion);
};

/// The plug-in's one door: an action by name, the object that it is about and the arguments of the call.
using OfxPluginEntryPoint = OfxStatus(const char* action, const void* handle, OfxPropertySetHandle inArgs,
                                      OfxPropertySetHandle outArgs);

/// What a plug-in says of itself; lives as long as its module.
struct OfxPlugin {
    const char* pluginApi;
    int apiVersion;
    const char* pluginIdentifier;
    unsigned int pluginVersionMajor;
    unsigned int pluginVersionMinor;
    /// Called once, before any action.
    void (*setHost)(OfxHost* host);
    OfxPluginEntryPoint* mainEntry;
};

/// Types of the exported functions that a host looks up in a module.
using OfxGetNumberOfPluginsFunction = int();
using OfxGetPluginFunction = OfxPlugin*(int nth);
using OfxSetHostFunction = OfxStatus(const OfxHost* host);

/// Actions that every API has.
inline constexpr char kOfxActionLoad[] = "OfxActionLoad";
inline constexpr char kOfxActionDescribe[] = "OfxActionDescribe";
inline constexpr char kOfxActionUnload[] = "OfxActionUnload";
inline constexpr char kOfxActionPurgeCaches[] = "OfxActionPurgeCaches";
inline constexpr char kOfxActionSyncPrivateData[] = "OfxActionSyncPrivateData";
inline constexpr char kOfxActionCreateInstance[] = "OfxActionCreateInstance";
inline constexpr char kOfxActionDestroyInstance[] = "OfxActionDestroyInstance";
inline constexpr char kOfxActionInstanceChanged[] = "OfxActionInstanceChanged";
inline constexpr char kOfxActionBeginInstanceChanged[] = "OfxActionBeginInstanceChanged";
inline constexpr char kOfxActionEndInstanceChanged[] = "OfxActionEndInstanceChanged";
inline constexpr char kOfxActionBeginInstanceEdit[] = "OfxActionBeginInstanceEdit";
inline constexpr char kOfxActionEndInstanceEdit[] = "OfxActionEndInstanceEdit";

/// Properties that describe an object.
inline constexpr char kOfxPropAPIVersion[] = "OfxPropAPIVersion";
inline constexpr char kOfxPluginPropFilePath[] = "OfxPluginPropFilePath";
inline constexpr char kOfxPropType[] = "OfxPropType";
inline constexpr char kOfxPropName[] = "OfxPropName";
inline constexpr char kOfxPropVersion[] = "OfxPropVersion";
inline constexpr char kOfxPropVersionLabel[] = "OfxPropVersionLabel";
inline constexpr char kOfxPropPluginDescription[] = "OfxPropPluginDescription";
inline constexpr char kOfxPropLabel[] = "OfxPropLabel";
inline constexpr char kOfxPropIcon[] = "OfxPropIcon";
inline constexpr char kOfxPropShortLabel[] = "OfxPropShortLabel";
inline constexpr char kOfxPropLongLabel[] = "OfxPropLongLabel";
inline constexpr char kOfxPropHostOSHandle[] = "OfxPropHostOSHandle";

/// Properties of instances and of single calls.
inline constexpr char kOfxPropTime[] = "OfxPropTime";
inline constexpr char kOfxPropIsInteractive[] = "OfxPropIsInteractive";
inline constexpr char kOfxPropInstanceData[] = "OfxPropInstanceData";
inline constexpr char kOfxPropChangeReason[] = "OfxPropChangeReason";
inline constexpr char kOfxPropEffectInstance[] = "OfxPropEffectInstance";

/// Who changed a value: the values of kOfxPropChangeReason.
inline constexpr char kOfxChangeUserEdited[] = "OfxChangeUserEdited";
inline constexpr char kOfxChangePluginEdited[] = "OfxChangePluginEdited";
inline constexpr char kOfxChangeTime[] = "OfxChangeTime";

/// How a channel is stored.
inline constexpr char kOfxBitDepthNone[] = "OfxBitDepthNone";
inline constexpr char kOfxBitDepthByte[] = "OfxBitDepthByte";
inline constexpr char kOfxBitDepthShort[] = "OfxBitDepthShort";
inline constexpr char kOfxBitDepthHalf[] = "OfxBitDepthHalf";
inline constexpr char kOfxBitDepthFloat[] = "OfxBitDepthFloat";
