#include "ip/Filter.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "ip/Evaluation.h"
#include "ip/records/Exception.h"

namespace TQ::IP {

namespace {

void EraseAll(std::vector<FilterBase*>& consumers, const FilterBase* consumer) {
    consumers.erase(std::remove(consumers.begin(), consumers.end(), consumer), consumers.end());
}

void EraseOne(std::vector<FilterBase*>& consumers, const FilterBase* consumer) {
    const auto entry = std::find(consumers.begin(), consumers.end(), consumer);
    if (entry != consumers.end()) {
        consumers.erase(entry);
    }
}

/// How a format is stored in host memory, which knows neither half floats nor planes of floats.
struct Storage {
    int channelBits;
    int channels;
};

Storage StorageOf(const PixelFormat& format) {
    if (format.depth == PixelDepth::Float && format.channels == 1) {
        return {8, 4};
    }
    const PixelDepth depth = format.depth == PixelDepth::Half ? PixelDepth::Float : format.depth;
    return {8 * BytesPerChannel(depth), static_cast<int>(format.channels)};
}

bool IsHalf(const Layer& layer) {
    return layer.ChannelBits() == 16 && layer.Implement().IsFloatData();
}

bool IsHeld(const RenderResult& result) {
    return result.layer != nullptr || result.gpuLayer != nullptr;
}

bool HasPixels(const RenderResult& result) {
    return result.layer != nullptr && result.layer->HasPixels();
}

}  // namespace

FilterBase::FilterBase() = default;

FilterBase::~FilterBase() {
    ClearInputs();
}

// --- Connections
// ---------------------------------------------------------------------------------------------------

void FilterBase::AddInput(std::shared_ptr<FilterBase> input) {
    if (input) {
        input->consumers.push_back(this);
        inputs.push_back(std::move(input));
    }
}

void FilterBase::ReplaceInput(std::shared_ptr<FilterBase> input, std::size_t index) {
    std::shared_ptr<FilterBase>& edge = inputs.at(index);
    if (edge == input) {
        return;
    }
    EraseOne(edge->consumers, this);
    input->consumers.push_back(this);
    edge = std::move(input);
}

void FilterBase::ClearInputs() {
    for (const std::shared_ptr<FilterBase>& input : inputs) {
        EraseAll(input->consumers, this);
    }
    inputs.clear();
}

void FilterBase::ReplaceBy(const std::shared_ptr<FilterBase>& replacement) {
    const std::shared_ptr<FilterBase> self = shared_from_this();  // the last edge here may go below
    if (replacement == self) {
        return;
    }
    const std::vector<FilterBase*> moved = std::exchange(consumers, {});
    for (FilterBase* consumer : moved) {
        replacement->consumers.push_back(consumer);
        std::replace(consumer->inputs.begin(), consumer->inputs.end(), self, replacement);
    }
    ClearInputs();
}

// --- Identity and optimisation
// -------------------------------------------------------------------------------------

bool FilterBase::IsSameType(const FilterBase& other) const {
    return std::strcmp(GetName(), other.GetName()) == 0;
}

bool FilterBase::IsEqual(const FilterBase& other) const {
    return IsSameType(other);
}

int FilterBase::IdentityInput() const {
    return -1;
}

MergeAnswer FilterBase::MergeInput(const std::shared_ptr<FilterBase>&) {
    return MergeAnswer::None;
}

void FilterBase::ExpandGraph(Host&, GPGPUContext*, const PixelFormat&) {
}

std::shared_ptr<FilterBase> FilterBase::Fuse(std::uint64_t) {
    return nullptr;
}

// --- Regions and formats
// -------------------------------------------------------------------------------------------

Bounds FilterBase::GetBounds() const {
    return inputs.empty() ? infiniteBounds : inputs[0]->GetBounds();
}

std::string FilterBase::GetBoundsExpression() const {
    return inputs.empty() ? "infinite" : "bounds1";
}

Bounds FilterBase::GetInputRegion(const Bounds& wanted, int) const {
    return wanted;
}

PixelFormat FilterBase::GetFormat() const {
    if (formatSource) {
        return AdjustFormat(formatSource->GetFormat());
    }
    return inputs.empty() ? format : AdjustFormat(inputs[0]->GetFormat());
}

PixelFormat FilterBase::GetInputFormat(const PixelFormat& wanted, int) const {
    return wanted;
}

PixelFormat FilterBase::AdjustFormat(const PixelFormat& inputFormat) const {
    return formatSource ? formatSource->GetFormat() : inputFormat;
}

bool FilterBase::AcceptsFormat(const PixelFormat&) const {
    return inputs.empty();
}

void FilterBase::SetFormat(const PixelFormat& wanted) {
    format = AcceptsFormat(wanted) ? wanted : GetFormat();
}

void FilterBase::SetRegion(const Bounds& wanted, const PixelFormat& wantedFormat) {
    keptResult = {};
    consumed = 0;
    SetFormat(wantedFormat);
    if (IsEmpty(wanted)) {
        return;
    }
    if (!IsEmpty(region) && (IsInfinite(region) || Contains(region, wanted))) {
        return;
    }
    region = IsEmpty(region) ? wanted : Extend(region, wanted);
    requestedRegion = region;
    for (int i = 0; i < static_cast<int>(inputs.size()); ++i) {
        inputs[static_cast<std::size_t>(i)]->SetRegion(GetInputRegion(region, i),
                                                       GetInputFormat(wantedFormat, i));
    }
}

void FilterBase::AfterRegions() {
}

void FilterBase::CheckInputRegion(const Bounds& wanted, const Bounds& actual) const {
    if (!(IsInfinite(wanted) || wanted == unsetBounds || Contains(actual, wanted))) {
        throw Exception("", "Input region mismatch.");
    }
}

void FilterBase::CheckInputs(const std::vector<RenderResult>& results) const {
    if (results.size() != inputs.size()) {
        throw Exception("", "Missing inputs.");
    }
    for (std::size_t i = 0; i < inputs.size(); ++i) {
        if (!results[i].layer) {
            throw Exception("", "Missing input.");
        }
        CheckInputRegion(inputs[i]->region, results[i].layer->Bounds());
    }
}

PixelAccess FilterBase::InputAccess(int) const {
    return PixelAccess::Converted;
}

// --- Memory
// --------------------------------------------------------------------------------------------------------

std::uint64_t FilterBase::MemoryNeeded(const GPGPUContext* context) const {
    std::uint64_t bytes = OutputBytes() + ExtraMemoryNeeded(context, region, format);
    for (const std::shared_ptr<FilterBase>& input : inputs) {
        bytes += input->OutputBytes();
    }
    return bytes;
}

std::uint64_t FilterBase::ExtraMemoryNeeded(const GPGPUContext*, const Bounds&, const PixelFormat&) const {
    return 0;
}

std::uint64_t FilterBase::OutputBytes() const {
    if (IsEmpty(region) || IsInfinite(region)) {
        return 0;
    }
    return static_cast<std::uint64_t>(Width(region)) * static_cast<std::uint64_t>(Height(region)) *
           static_cast<std::uint64_t>(BytesPerPixel(format));
}

void FilterBase::AllocateLike(RenderResult& result, const Layer* reuse, const PixelFormat& wanted,
                              const Bounds& outputRegion) {
    if (IsEmpty(outputRegion)) {
        return;
    }
    const Storage storage = StorageOf(wanted);
    const bool storedAsIs =
        wanted.depth != PixelDepth::Half && !(wanted.depth == PixelDepth::Float && wanted.channels == 1);
    if (reuse != nullptr && storedAsIs) {
        result.layer->AllocateRegionLike(*reuse, outputRegion);
    } else {
        result.layer->Allocate(outputRegion, storage.channelBits, storage.channels);
    }
}

void FilterBase::AllocateOutput(RenderResult& result, const Layer* reuse, const Bounds& outputRegion) {
    if (IsEmpty(outputRegion)) {
        return;
    }
    const Storage storage = StorageOf(format);
    const bool fits = reuse != nullptr && !IsHalf(*reuse) && reuse->ChannelBits() == storage.channelBits &&
                      reuse->Channels() == storage.channels;
    if (fits) {
        result.layer->AllocateRegionLike(*reuse, outputRegion);
    } else {
        result.layer->Allocate(outputRegion, storage.channelBits, storage.channels);
    }
    result.layer->ValidBounds() = GetBounds();
}

// --- Evaluation
// ----------------------------------------------------------------------------------------------------

int FilterBase::ProgressSteps() const {
    return 1;
}

int FilterBase::TotalProgressSteps() {
    int steps = 0;
    for (const FilterBase* filter : WalkInputs(*this)) {
        steps += filter->ProgressSteps();
    }
    return steps;
}

bool FilterBase::HasGpu(const GPGPUContext*) const {
    return false;
}

int FilterBase::PreferredBackend(const GPGPUContext*) const {
    return 0;
}

bool FilterBase::CanRunInPlace() const {
    return false;
}

bool FilterBase::CanRunInPlaceFor(const GPGPUContext*, int) const {
    return CanRunInPlace();
}

bool FilterBase::TakeCachedResult(RenderResult& result, bool& rendered) {
    if (consumers.size() < 2 && !IsHeld(keptResult)) {
        return false;
    }
    ++consumed;
    if (!IsHeld(keptResult)) {
        return false;
    }
    if (HasPixels(result) && HasPixels(keptResult)) {
        result.layer->CopyFrom(*keptResult.layer);
    } else {
        result = keptResult;
    }
    if (consumed >= consumers.size()) {
        keptResult = {};
    }
    rendered = false;
    return true;
}

void FilterBase::KeepResult(const RenderResult& result, bool& rendered) {
    if (consumers.size() >= 2) {
        keptResult = result;
        rendered = false;
    }
}

void FilterBase::SkipRender() {
    RenderResult scratch;
    bool rendered = false;
    if (!TakeCachedResult(scratch, rendered)) {
        for (const std::shared_ptr<FilterBase>& input : inputs) {
            input->SkipRender();
        }
    }
}

void FilterBase::BeforeInputUse() {
}

void FilterBase::AfterInputUse() {
}

bool FilterBase::IsLastUse() const {
    return false;
}

Layer* FilterBase::GetLayer() {
    return nullptr;
}

void FilterBase::PrepareRender(Host&) {
}

void FilterBase::RunHost(Host&, Layer&, const std::vector<Layer*>&) {
}

}  // namespace TQ::IP
