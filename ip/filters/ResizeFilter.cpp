#include "ip/filters/ResizeFilter.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "ip/filters/KernelFilter.h"
#include "ip/filters/ResizeRun.h"
#include "ip/records/Exception.h"

namespace TQ::IP {

namespace {

/// The input samples from `begin` to `end`, both told from the input's first sample.
struct SampleRange {
    std::int32_t begin, end;
};

SampleRange SamplesFor(const ResizeAxis& axis, std::int32_t begin, std::int32_t end, std::int32_t taps) {
    return {static_cast<std::int32_t>(std::floor(axis.Begin(begin))),
            static_cast<std::int32_t>(std::ceil(axis.Begin(end - 1))) + taps};
}

}  // namespace

ResizeFilter::ResizeFilter(std::shared_ptr<FilterBase> input, const Bounds& outBounds)
    : _outBounds(outBounds) {
    if (!input) {
        throw Exception("Resize", "Missing input.");
    }
    if (IsEmpty(outBounds) || IsInfinite(outBounds)) {
        throw Exception("Resize", "The size of the output is out of range.");
    }
    AddInput(std::move(input));
}

std::string ResizeFilter::GetBoundsExpression() const {
    return "bounds1";
}

ResizeAxis ResizeFilter::AxisOf(std::int32_t inputSize, std::int32_t outputSize) const {
    ResizeAxis axis(inputSize, outputSize);
    axis.offset = sampleOffset;
    return axis;
}

int ResizeFilter::IdentityInput() const {
    return _outBounds == inputs[0]->GetBounds() && sampleOffset == 0 ? 0 : -1;
}

bool ResizeFilter::IsEqual(const FilterBase& other) const {
    const auto* same = dynamic_cast<const ResizeFilter*>(&other);
    return same != nullptr && FilterSeparable::IsEqual(other) && _outBounds == same->_outBounds &&
           passMode == same->passMode && sampleOffset == same->sampleOffset;
}

MergeAnswer ResizeFilter::MergeInput(const std::shared_ptr<FilterBase>& input) {
    const auto* resize = dynamic_cast<const ResizeFilter*>(input.get());
    const bool same = resize != nullptr && resize->passMode == passMode && resize->sampleOffset == 0;
    return same ? MergeAnswer::Absorbed : MergeAnswer::None;
}

void ResizeFilter::ExpandGraph(Host& /*expandHost*/, GPGPUContext* context,
                               const PixelFormat& /*outputFormat*/) {
    if (passMode != PassMode::Both || PreferredBackend(context) != 1) {
        return;
    }
    const std::shared_ptr<FilterBase> source = inputs[0];
    const Bounds from = source->GetBounds();
    const auto alongX =
        std::make_shared<ResizeFilter>(source, Bounds{_outBounds.x1, from.y1, _outBounds.x2, from.y2});
    alongX->sampleOffset = sampleOffset;
    alongX->passMode = PassMode::First;
    passMode = PassMode::Second;
    _firstPass = alongX;
    ClearInputs();
    AddInput(alongX);
}

Bounds ResizeFilter::GetInputRegion(const Bounds& wanted, int /*input*/) const {
    const Bounds from = inputs[0]->GetBounds();
    const Bounds part = Intersect(wanted, _outBounds);
    if (IsInfinite(from) || IsEmpty(from)) {
        return Intersect(part, from);
    }
    const ResizeAxis alongX = AxisOf(Width(from), Width(_outBounds));
    const ResizeAxis alongY = AxisOf(Height(from), Height(_outBounds));
    const SampleRange x = SamplesFor(alongX, part.x1 - _outBounds.x1, part.x2 - _outBounds.x1, alongX.maxLen);
    const SampleRange y = SamplesFor(alongY, part.y1 - _outBounds.y1, part.y2 - _outBounds.y1, alongX.maxLen);
    return Intersect({x.begin + from.x1, y.begin + from.y1, x.end + from.x1, y.end + from.y1}, from);
}

std::uint64_t ResizeFilter::ExtraMemoryNeeded(const GPGPUContext* /*context*/, const Bounds& outputRegion,
                                              const PixelFormat& outputFormat) const {
    if (passMode != PassMode::Both || IsEmpty(outputRegion)) {
        return 0;
    }
    return static_cast<std::uint64_t>(BytesPerPixel(outputFormat)) *
           static_cast<std::uint64_t>(Width(outputRegion)) * static_cast<std::uint64_t>(Height(outputRegion));
}

void ResizeFilter::RunHost(Host& runHost, Layer& target, const std::vector<Layer*>& layers) {
    Layer& source = *layers.at(0);
    CheckLayer(source, LayerKind::Picture, source, GetName());
    CheckLayer(target, LayerKind::Picture, source, GetName());
    const Bounds known = inputs[0]->GetBounds();
    const Bounds from = IsInfinite(known) ? source.Bounds() : known;
    const ResizeAxis untouched;
    BeginPasses(runHost);
    ResizeRun(runHost, target, _outBounds, source, from,
              passMode == PassMode::Second ? untouched : AxisOf(Width(from), Width(_outBounds)),
              passMode == PassMode::First ? untouched : AxisOf(Height(from), Height(_outBounds)))
        .Run();
    for (int pass = 0; pass < ProgressSteps(); ++pass) {
        EndPass(runHost);
    }
}

// Both axes run in one walk of their own.
void ResizeFilter::RunHostRows(const Bounds& /*rows*/, int /*threadIndex*/) {
}

void ResizeFilter::RunHostColumns(const Bounds& /*columns*/, int /*threadIndex*/) {
}

}  // namespace TQ::IP
