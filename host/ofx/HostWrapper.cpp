#include "host/ofx/HostWrapper.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <mutex>

#include "host/ofx/Host.h"
#include "ip/records/Exception.h"

namespace TQ::Host::OFX {

namespace {

int WhiteLevelOf(int channelBits) {
    switch (channelBits) {
        case 8:
            return 255;
        case 16:
            return 65535;
        default:
            return 1;
    }
}

/// What one ParallelFor shares with its workers.
struct BandRun {
    IP::BandFunction function;
    void* argument;
    std::atomic<bool> started{false};
    std::mutex lock;
    std::exception_ptr failure;  ///< the first

    void RunBand(int index, int count) {
        started = true;
        try {
            function(index, count, index, argument);
        } catch (...) {
            const std::lock_guard guard(lock);
            if (!failure) {
                failure = std::current_exception();
            }
        }
    }
};

/// Called by the host. How many threads really run is what it says here, not what was asked for.
void Trampoline(unsigned int threadIndex, unsigned int threadMax, void* customArg) {
    static_cast<BandRun*>(customArg)->RunBand(static_cast<int>(threadIndex),
                                              std::max(1, static_cast<int>(threadMax)));
}

}  // namespace

// --- LayerWrapper --------------------------------------------------------------------------------

LayerWrapper::LayerWrapper(Host& host) : _own(host), _layer(&_own) {
    SyncFields();
}

LayerWrapper::LayerWrapper(Layer& layer) : _own(*layer.owner), _layer(&layer) {
    SyncFields();
}

Layer& LayerWrapper::Own() {
    _layer = &_own;
    _shared = false;
    return _own;
}

void LayerWrapper::SyncFields() {
    pixels = _layer->isHostDeviceBuffer ? nullptr : _layer->data;
    gpuPixels = _layer->isHostDeviceBuffer ? _layer->data : nullptr;
    bounds = _layer->bounds;
    validBounds = _layer->validBounds;
    rowBytes = _layer->rowBytes;
    pixelBytes = _layer->PixelBytes();
    channelBytes = _layer->channelBits / 8;
    channelBits = _layer->channelBits;
    channels = _layer->channels;
    whiteLevel = WhiteLevelOf(channelBits);
    hasPixels = _layer->HasImage();
}

void LayerWrapper::AllocateRegionLike(const IP::LayerImplement& other, const IP::Bounds& region) {
    const bool isHalf = other.channelBits == 16 && other.IsFloatData();
    const IP::Bounds otherValid = other.validBounds;  // `other` may be this
    float scaleX = 1.0F;
    float scaleY = 1.0F;
    other.GetRenderScale(&scaleX, &scaleY);
    Layer& own = Own();
    own.Allocate(region, other.channelBits, other.channels);
    own.hostIsFloat = own.hostIsFloat || isHalf;
    own.scaleX = scaleX;
    own.scaleY = scaleY;
    own.validBounds = otherValid;
    SyncFields();
}

void LayerWrapper::AllocateSameAs(const IP::LayerImplement& other) {
    AllocateRegionLike(other, other.bounds);
}

void LayerWrapper::Allocate(const IP::Bounds& region, int bits, int channelCount) {
    Own().Allocate(region, bits, channelCount);
    SyncFields();
}

void LayerWrapper::SetBounds(const IP::Bounds& region) {
    if (region == bounds) {
        return;
    }
    LayerWrapper fresh(*_layer->owner);
    fresh.AllocateRegionLike(*this, region);
    if (hasPixels && fresh.hasPixels) {
        fresh.CopyFrom(*this);
    }
    Own() = std::move(fresh._own);
    SyncFields();
}

void LayerWrapper::ShareRegion(const IP::LayerImplement& other, const IP::Bounds& region) {
    // The framework's fields are what counts: a filter may have changed them since the record was made.
    Layer view(*_layer->owner);
    view.data = other.pixels != nullptr ? other.pixels : static_cast<unsigned char*>(other.gpuPixels);
    view.isHostDeviceBuffer = other.pixels == nullptr && other.gpuPixels != nullptr;
    view.bounds = other.bounds;
    view.validBounds = other.validBounds;
    view.rowBytes = other.rowBytes;
    view.channelBits = other.channelBits;
    view.channels = other.channels;
    view.hostIsFloat = other.IsFloatData();
    view.hasAlpha = other.channels != 3;
    other.GetRenderScale(&view.scaleX, &view.scaleY);
    Own().ShareRegion(view, region);
    _shared = true;
    SyncFields();
}

void LayerWrapper::Free() {
    Own().Release();
    SyncFields();
}

void LayerWrapper::GetRenderScale(float* x, float* y) const {
    *x = _layer->scaleX;
    *y = _layer->scaleY;
}

bool LayerWrapper::OwnsPixels() const {
    return _layer == &_own && _own.OwnsPixels();
}
bool LayerWrapper::IsSharedRegion() const {
    return _shared;
}
bool LayerWrapper::IsFloatData() const {
    return _layer->channelBits == 32 || _layer->hostIsFloat;
}

bool LayerWrapper::GetChannelIndices(std::int32_t indices[4]) const {
    for (std::int32_t i = 0; i < 4; ++i) {
        indices[i] = i;  // the host's order is always red, green, blue, alpha
    }
    return true;
}

// --- ConstHostWrapper ----------------------------------------------------------------------------

std::unique_ptr<IP::LayerImplement> ConstHostWrapper::NewEmptyLayer() {
    return std::make_unique<LayerWrapper>(*_effect);
}

std::unique_ptr<IP::MemoryImplement> ConstHostWrapper::NewMemory() {
    return std::make_unique<MemoryWrapper>(*_effect);
}

IP::ProgressState& ConstHostWrapper::GetProgressState() {
    throw Exception("ConstHostWrapper", "unimplemented");
}

void ConstHostWrapper::ParallelFor(IP::BandFunction function, void* argument, int) {
    function(0, 1, 0, argument);
}

// --- HostWrapper ---------------------------------------------------------------------------------

HostWrapper::HostWrapper(OFX::Host& effect)
    : ConstHostWrapper(effect), _renderThread(std::this_thread::get_id()) {
}

int HostWrapper::GetHardwareThreadCount() const {
    unsigned int count = 0;
    if (_effect->multiThreadSuite == nullptr ||
        _effect->multiThreadSuite->multiThreadNumCPUs(&count) != kOfxStatOK || count == 0) {
        return 1;
    }
    return static_cast<int>(count);
}

int HostWrapper::GetThreadCount() const {
    return _threadCount > 0 ? _threadCount : GetHardwareThreadCount();
}

void HostWrapper::ParallelFor(IP::BandFunction function, void* argument, int threadCount) {
    const int count = threadCount > 0 ? threadCount : GetThreadCount();
    if (count <= 1 || _effect->multiThreadSuite == nullptr) {
        function(0, 1, 0, argument);
        return;
    }
    BandRun run{.function = function, .argument = argument, .started = {}, .lock = {}, .failure = {}};
    const OfxStatus status =
        _effect->multiThreadSuite->multiThread(Trampoline, static_cast<unsigned int>(count), &run);
    if (!run.started) {
        // A host that runs nothing, such as inside one of its own threads: the work is done here.
        function(0, 1, 0, argument);
        return;
    }
    if (run.failure) {
        std::rethrow_exception(run.failure);
    }
    Check(status);
}

void HostWrapper::CheckAbort(bool skip) {
    if (!skip && OnRenderThread()) {
        _effect->checkInterrupted();
    } else if (_effect->isInterrupted()) {
        throw Interrupted{};
    }
}

void HostWrapper::UpdateProgress(int threadIndex, std::uint64_t done, std::uint64_t total) {
    CheckAbort(false);
    if (threadIndex == 0 && OnRenderThread()) {
        IP::FoldProgress(_progressState, done, total);
        _effect->progress(0, done, total);
    }
}

}  // namespace TQ::Host::OFX
