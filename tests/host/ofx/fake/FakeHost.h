#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <variant>
#include <vector>

#include "host/ofx/abi/OfxCore.h"
#include "host/ofx/abi/OfxImageEffect.h"
#include "host/ofx/abi/OfxMultiThread.h"

namespace Test {

class FakeHost;

/// A property set. A property that was never set is unknown to reads.
struct FakeProperties {
    using Value = std::variant<int, double, std::string, void*>;
    std::map<std::string, std::vector<Value>> values;
    std::set<std::string> refused;    ///< unknown to writes as well
    std::set<std::string> untouched;  ///< reads report success and write nothing
    OfxStatus refusal = kOfxStatErrUnknown;

    template <class Element>
    void Put(const std::string& name, std::vector<Element> elements) {
        values[name] = std::vector<Value>(elements.begin(), elements.end());
    }
    void Put(const std::string& name, const char* text) { Put(name, std::vector<std::string>{text}); }
    void Put(const std::string& name, int value) { Put(name, std::vector<int>{value}); }
    void Put(const std::string& name, double value) { Put(name, std::vector<double>{value}); }
    bool Has(const std::string& name) const { return values.contains(name); }
    /// All elements; empty for an unknown property. Throws std::bad_variant_access for another type.
    template <class Element>
    std::vector<Element> Get(const std::string& name) const {
        std::vector<Element> result;
        if (const auto found = values.find(name); found != values.end()) {
            for (const Value& value : found->second) {
                result.push_back(std::get<Element>(value));
            }
        }
        return result;
    }
    OfxPropertySetHandle Handle() { return reinterpret_cast<OfxPropertySetHandle>(this); }
};

/// An image of a clip: RGBA unless `properties` says otherwise, with guard bytes around the pixels.
struct FakeImage {
    FakeProperties properties;
    std::vector<unsigned char> storage;
    OfxRectI bounds{0, 0, 0, 0};
    int rowBytes = 0;
    int pixelBytes = 0;
    unsigned char* Pixel(int x, int y);
    template <class Channel>
    Channel& At(int x, int y, int channel) {
        return reinterpret_cast<Channel*>(Pixel(x, y))[channel];
    }
    unsigned char* first = nullptr;  ///< pixel (x1, y1)
};

struct FakeClip {
    std::string name;
    FakeProperties properties;
    OfxRectD region{0, 0, 16, 12};
    OfxStatus regionStatus = kOfxStatOK;
    OfxRectI bounds{0, 0, 16, 12};        ///< of every image
    std::map<double, OfxRectI> boundsAt;  ///< and region, of frames that differ from the others
    std::string depth = kOfxBitDepthByte;
    std::string components = kOfxImageComponentRGBA;
    bool rowsDownwards = false;  ///< negative row bytes
    double firstTime = -1000, lastTime = 1000;
    std::map<double, OfxStatus> imageStatus;  ///< answers of clipGetImage other than "there it is"
    /// Paints or spoils an image that is about to be handed out.
    std::function<void(FakeImage& image, double time)> prepare;
    bool keepsImage = false;  ///< the same image every time, as outputs are
    std::shared_ptr<FakeImage> kept;

    int fetches = 0;
    std::vector<double> fetchedTimes;
    std::vector<OfxRectD> fetchedRegions;  ///< zeros where the whole image was asked for
};

struct FakeParameter {
    std::string name, type;
    FakeProperties properties;
    std::vector<double> numbers;  ///< the value; choices, booleans and integers have one
    std::string text;
    std::function<double(double time)> animation;  ///< value of a number at a time
    int reads = 0, writes = 0;
};

/// A message as the user would read it.
struct FakeMessage {
    std::string kind, text, format;
};

enum class ThreadMode {
    Threads,     ///< as many as asked for
    Once,        ///< a stand-in: one call with (0, 1), on the caller's thread
    Nested,      ///< kOfxStatErrExists, nothing runs
    FailsAfter,  ///< all run, but the status is kOfxStatFailed
};

/// A host with one effect, that does what its members say. One exists at a time.
class FakeHost {
  public:
    using Entry = std::function<OfxStatus(const char* action, const void* handle, OfxPropertySetHandle inArgs,
                                          OfxPropertySetHandle outArgs)>;
    FakeHost();
    ~FakeHost();
    FakeHost(const FakeHost&) = delete;
    FakeHost& operator=(const FakeHost&) = delete;

    OfxHost* Get() { return &_host; }
    OfxImageEffectHandle Effect() { return reinterpret_cast<OfxImageEffectHandle>(this); }
    FakeClip& ClipNamed(const std::string& name);
    FakeParameter& ParameterNamed(const std::string& name);
    bool HasParameter(const std::string& name) const { return parameters.contains(name); }

    /// Runs an action on the effect with `inArgs` and `outArgs`; outArgs start empty.
    OfxStatus Run(const Entry& entry, const char* action);
    /// Load, Describe, DescribeInContext, CreateInstance.
    void Start(const Entry& entry, const char* context = kOfxImageEffectContextFilter);
    /// Arguments of a render or identity call at `time`.
    void SetRenderArguments(double time, OfxRectI window, double scale = 1.0);
    /// One user edit inside its bracket, or a part of one: begin, change per name, end.
    OfxStatus Change(const Entry& entry, const std::string& parameter,
                     const char* reason = kOfxChangeUserEdited);

    FakeProperties host, effect, inArgs, outArgs, parameterSet;
    std::map<std::string, FakeClip> clips;
    std::map<std::string, FakeParameter> parameters;
    std::vector<std::string> parameterOrder;
    std::set<std::string> missingSuites;  ///< by name, or by name and version, such as "NameOfSuite2"

    ThreadMode threadMode = ThreadMode::Threads;
    unsigned processors = 3;
    OfxStatus processorStatus = kOfxStatOK;
    int abortAfter = -1;  ///< polls of abort() until it answers 1; -1: never
    int refuseProgressAt = -1;
    OfxStatus messageAnswer = kOfxStatOK;
    bool outOfMemory = false;
    std::set<std::string> undefinable;  ///< types that paramDefine refuses

    std::atomic<int> abortPolls{0};
    std::atomic<int> callsOffThread{0};  ///< suite calls from other threads than the one that made this
    int arrayCalls = 0;                  ///< calls of the property suite's ...N functions for reading
    int liveImages = 0, wrongReleases = 0;
    int liveMemory = 0, imageMemoryCalls = 0, plainMemoryCalls = 0;
    int progressStarts = 0, progressEnds = 0;
    std::vector<double> progressUpdates;
    std::string progressLabel;
    std::vector<FakeMessage> messages;

    // For the suites.
    static FakeHost& Current();
    void NoteCall();
    OfxStatus GetImage(FakeClip& clip, double time, const OfxRectD* region, OfxPropertySetHandle* handle);
    OfxStatus ReleaseImage(OfxPropertySetHandle handle);

  private:
    OfxHost _host;
    std::thread::id _thread;
    std::map<OfxPropertySetHandle, std::shared_ptr<FakeImage>> _images;
};

/// The suite of that name; null when there is none.
const void* FakeSuite(const std::string& name, int version);
/// An image in the clip's format, filled with zeros.
std::shared_ptr<FakeImage> MakeImage(const FakeClip& clip);

}  // namespace Test
