// What happens for one frame: windows, regions, sequences, and the verdict on the render.

#include <fmt/format.h>

#include <iterator>
#include <utility>

#include "app/host/InstanceState.h"
#include "app/host/PropertyTables.h"

namespace TQ::App {
namespace {

/// Plug-ins that cannot run twice at all take turns across the process.
std::mutex unsafeMutex;

}  // namespace

std::map<std::string, OfxRectD> EffectInstance::State::QueryRegions(int frame, const OfxRectD& region,
                                                                    RenderJob* job) {
    const auto corners = [](const OfxRectD& r) { return std::vector<double>{r.x1, r.y1, r.x2, r.y2}; };
    PropertySet inArgs;
    object.AddTime(inArgs, frame);
    object.AddScale(inArgs);
    inArgs.Define(DoubleRow(kOfxImageEffectPropRegionOfInterest, 0, 4));
    inArgs.SetDoubles(kOfxImageEffectPropRegionOfInterest, corners(region));
    PropertySet outArgs;
    const auto name = [](const Clip& clip) { return OfxNames::clipRegionPrefix + clip.Name(); };
    for (const auto& clip : object.Clips()) {
        if (!clip->IsOutput()) {
            outArgs.Define(Writable(DoubleRow(name(*clip).c_str(), 0, 4)));
            outArgs.SetDoubles(name(*clip), corners(region));
        }
    }
    if (object.UsesTiles() || Profile().asksRegionsWithoutTiles) {
        object.Perform(kOfxImageEffectActionGetRegionsOfInterest, &inArgs, &outArgs,
                       fmt::format("tell the regions that frame {} needs", frame), job);
    }
    std::map<std::string, OfxRectD> regions;
    for (const auto& clip : object.Clips()) {
        if (!clip->IsOutput()) {
            const auto wanted = outArgs.Numbers(name(*clip));
            regions[clip->Name()] = {wanted[0], wanted[1], wanted[2], wanted[3]};
        }
    }
    return regions;
}

std::vector<RenderWindow> EffectInstance::State::Windows(int frame, RenderJob& job) {
    const PictureFormat& pictures = object.Pictures();
    const OfxRectI& whole = pictures.whole;
    const int limit = object.UsesTiles() ? Profile().windowSize : 0;
    const int width = limit > 0 ? limit : pictures.width;
    const int height = limit > 0 ? limit : pictures.height;
    const double aspect = object.Format().pixelAspect;
    const double scale = pictures.renderScale;
    std::vector<RenderWindow> windows;
    for (int y = whole.y1; y < whole.y2; y += height) {
        for (int x = whole.x1; x < whole.x2; x += width) {
            RenderWindow window;
            window.pixels = Intersection({x, y, x + width, y + height}, whole);
            const OfxRectI& pixels = window.pixels;
            const OfxRectD canonical{pixels.x1 / scale * aspect, pixels.y1 / scale,
                                     pixels.x2 / scale * aspect, pixels.y2 / scale};
            for (const auto& [clip, region] : QueryRegions(frame, canonical, &job)) {
                window.regions[clip] = ToPixels(region, scale, aspect);
            }
            windows.push_back(std::move(window));
        }
    }
    return windows;
}

void EffectInstance::State::DefineWindow(PropertySet& arguments, const OfxRectI& window) {
    const std::string& field = Profile().field;
    arguments.Define(IntRow(kOfxImageEffectPropRenderWindow, 0, 4));
    arguments.SetInts(kOfxImageEffectPropRenderWindow, {window.x1, window.y1, window.x2, window.y2});
    arguments.Define(
        TextRow(kOfxImageEffectPropFieldToRender, field.empty() ? kOfxImageFieldNone : field.c_str()));
}

void EffectInstance::State::AddRenderStatus(PropertySet& arguments) {
    arguments.Define(IntRow(kOfxImageEffectPropSequentialRenderStatus));
    arguments.Define(IntRow(kOfxImageEffectPropInteractiveRenderStatus));
    arguments.Define(TextRow(kOfxImageEffectPropNoSpatialAwareness, "false"));
    if (object.Plugin().host->Profile().deviceProperties) {
        arguments.Define(DeviceArgumentRows());
    }
}

std::unique_lock<std::mutex> EffectInstance::State::TakeTurn() {
    if (threadSafety == kOfxImageEffectRenderFullySafe) {
        return {};
    }
    return std::unique_lock(threadSafety == kOfxImageEffectRenderInstanceSafe ? instanceMutex : unsafeMutex);
}

void EffectInstance::State::Sequence(const char* action, int first, int last, RenderJob* job) {
    PropertySet inArgs;
    object.AddTime(inArgs, first);
    object.AddScale(inArgs);
    AddRenderStatus(inArgs);
    inArgs.Define(DoubleRow(kOfxImageEffectPropFrameRange, 0, 2));
    inArgs.SetDoubles(kOfxImageEffectPropFrameRange, {static_cast<double>(first), static_cast<double>(last)});
    inArgs.Define(DoubleRow(kOfxImageEffectPropFrameStep, 1));
    inArgs.Define(IntRow(kOfxPropIsInteractive));
    object.Perform(action, &inArgs, nullptr, fmt::format("prepare for frames {} to {}", first, last), job);
}

void EffectInstance::BeginSequence(int first, int last) {
    if (_state->Profile().freshInstances) {
        return;  // each instance has a sequence of one frame
    }
    if (_state->sequenceOpen) {
        EndSequence();
    }
    _state->Sequence(kOfxImageEffectActionBeginSequenceRender, first, last, nullptr);
    _state->sequence = {first, last};
    _state->sequenceOpen = true;
}

void EffectInstance::EndSequence() {
    if (_state->sequenceOpen.exchange(false)) {
        _state->Sequence(kOfxImageEffectActionEndSequenceRender, _state->sequence.first,
                         _state->sequence.last, nullptr);
    }
}

OfxStatus EffectInstance::State::RenderFrame(RenderJob& job, std::vector<RenderWindow> windows,
                                             std::vector<HostMessage>& messages) {
    OfxStatus status = kOfxStatOK;
    for (std::size_t i = 0; i < windows.size() && status == kOfxStatOK; ++i) {
        const OfxRectI pixels = windows[i].pixels;
        job.SetWindow(std::move(windows[i]), i, windows.size());
        PropertySet inArgs;
        object.AddTime(inArgs, job.Frame());
        object.AddScale(inArgs);
        DefineWindow(inArgs, pixels);
        AddRenderStatus(inArgs);
        inArgs.Define(IntRow(kOfxImageEffectPropRenderQualityDraft));
        std::vector<HostMessage> said;
        status = object.Try(kOfxImageEffectActionRender, &inArgs, nullptr, &job, said);
        std::move(said.begin(), said.end(), std::back_inserter(messages));
    }
    return status;
}

void EffectInstance::State::Judge(RenderJob& job, OfxStatus status, std::vector<HostMessage> messages) {
    const int kept = job.TakeBackImages();
    leakedImages += kept;
    job.RethrowFailure();
    if (status != kOfxStatOK) {
        if (job.ShallStop()) {
            throw RenderAborted();
        }
        throw HostError(
            FailureText(plugin->Label(), fmt::format("render frame {}", job.Frame()), status, messages));
    }
    if (kept > 0) {
        throw HostError(fmt::format("{} kept {} of the images that it fetched for frame {}", plugin->Label(),
                                    kept, job.Frame()));
    }
    object.AddMessages(std::move(messages));
}

void EffectInstance::Render(int frame, const FrameProvider& provider, Picture& output,
                            const std::atomic<bool>* abort, const std::function<void(double)>& progress) {
    const PictureFormat& pictures = _state->object.Pictures();
    if (output.Width() != pictures.width || output.Height() != pictures.height ||
        output.Depth() != pictures.depth) {
        throw HostError("the output picture has another size or depth than the clip");
    }
    if (_state->Profile().freshInstances && !_state->isForOneFrame) {
        RenderAnew(frame, provider, output, abort, progress);
        return;
    }
    RenderJob job(pictures, frame, provider, output, abort, progress);
    const auto turn = _state->TakeTurn();
    if (job.WasAborted()) {
        throw RenderAborted();
    }
    const InstanceObject::ActiveJob active(_state->object, job);
    Ask(_state->Profile().frameQueries, frame);
    std::vector<RenderWindow> windows = _state->Windows(frame, job);
    const bool isOwnSequence = !_state->sequenceOpen;
    if (isOwnSequence) {
        _state->Sequence(kOfxImageEffectActionBeginSequenceRender, frame, frame, &job);
    }
    std::vector<HostMessage> messages;
    const OfxStatus status = _state->RenderFrame(job, std::move(windows), messages);
    if (isOwnSequence) {
        try {
            _state->Sequence(kOfxImageEffectActionEndSequenceRender, frame, frame, &job);
        } catch (const HostError&) {
            // Why the render failed says more.
            if (status == kOfxStatOK) {
                throw;
            }
        }
    }
    _state->Judge(job, status, std::move(messages));
}

void EffectInstance::RenderAnew(int frame, const FrameProvider& provider, Picture& output,
                                const std::atomic<bool>* abort, const std::function<void(double)>& progress) {
    EffectInstance fresh(EffectPlugin::LoadAgain(_state->plugin), _state->context, Format(), RenderScale());
    fresh._state->isForOneFrame = true;
    for (const auto& parameter : _state->object.Parameters().All()) {
        if (parameter->Type().kind != ValueKind::None) {
            fresh._state->object.Parameters().Find(parameter->Name())->Set(parameter->Get());
        }
    }
    const auto handOn = [&] {
        _state->leakedImages += fresh.LeakedImages();
        _state->object.AddMessages(fresh.TakeMessages());
    };
    try {
        fresh.Render(frame, provider, output, abort, progress);
    } catch (...) {
        handOn();
        throw;
    }
    handOn();
}

bool EffectInstance::RendersConcurrently() const {
    return _state->threadSafety == kOfxImageEffectRenderFullySafe;
}

}  // namespace TQ::App
