#include "ip/filters/DISFilter.h"

#include <utility>

#include "ip/filters/DISFlow.h"
#include "ip/filters/DISGradientsFilter.h"
#include "ip/filters/DISPyramidFilter.h"
#include "ip/records/Exception.h"

namespace TQ::IP {

namespace {

constexpr std::int32_t firstEffectiveExtraLevel = 2;
constexpr std::int32_t mostLevels = 30;
/// Resize, grey, two gradients' and sums' stages, search, densification, enlargement.
constexpr int stagesPerLevel = 7;
constexpr std::size_t pictureCount = 2;

struct PresetRow {
    std::int32_t finestScale, patchStride, gradientDescentIterations, variationalIterations;
};
constexpr PresetRow presets[] = {{1, 3, 25, 5}, {2, 4, 16, 5}, {2, 4, 12, 0}};

/// The picture behind an input of the flow.
Bounds FrameOf(const FilterBase& input) {
    const auto* pyramid = dynamic_cast<const DISPyramidFilter*>(&input);
    return pyramid != nullptr ? pyramid->Frame() : input.GetBounds();
}

bool IsPyramid(const FilterBase& input) {
    return dynamic_cast<const DISPyramidFilter*>(&input) != nullptr;
}

bool IsInRange(const DISSettings& settings) {
    return settings.finestScale >= 0 && settings.finestScale <= mostLevels && settings.patchStride >= 1 &&
           settings.patchStride <= flowPatchSize && settings.gradientDescentIterations >= 0;
}

}  // namespace

DISSettings MakeDISSettings(int preset, int extraLevel) {
    DISSettings settings;
    settings.variationalWeight0 = 20.0F;
    settings.variationalWeight1 = 10.0F;
    settings.variationalWeight2 = 5.0F;
    if (preset >= 0 && preset < static_cast<int>(std::size(presets))) {
        const PresetRow& row = presets[preset];
        settings.finestScale = row.finestScale;
        settings.patchStride = row.patchStride;
        settings.gradientDescentIterations = row.gradientDescentIterations;
        settings.variationalIterations = row.variationalIterations;
    }
    if (extraLevel >= firstEffectiveExtraLevel) {
        settings.finestScale += extraLevel;
    }
    return settings;
}

DISFilter::DISFilter(std::shared_ptr<FilterBase> reference, std::shared_ptr<FilterBase> moved,
                     const DISSettings& settings)
    : _settings(settings) {
    if (!reference || !moved) {
        throw Exception("optflow", "Missing input.");
    }
    if (!IsInRange(settings)) {
        throw Exception("optflow", "The settings of the optical flow are out of range.");
    }
    AddInput(std::move(reference));
    AddInput(std::move(moved));
}

bool DISFilter::IsEqual(const FilterBase& other) const {
    const auto* same = dynamic_cast<const DISFilter*>(&other);
    return same != nullptr && IsSameType(other) && _settings == same->_settings && bands == same->bands;
}

DISLevels DISFilter::LevelsOf(const Bounds& frame) const {
    return {Width(frame), Height(frame), _settings.finestScale, _settings.patchStride};
}

int DISFilter::ProgressSteps() const {
    const std::int32_t coarsest = CoarsestByWidth(Width(GetBounds()));
    return stagesPerLevel * (coarsest - std::min(coarsest, _settings.finestScale) + 1);
}

void DISFilter::ExpandGraph(Host& /*expandHost*/, GPGPUContext* context,
                            const PixelFormat& /*outputFormat*/) {
    const Bounds frame = GetBounds();
    if (PreferredBackend(context) != 0 || IsEmpty(frame) || IsInfinite(frame) || LevelsOf(frame).IsNone()) {
        return;
    }
    for (std::size_t i = 0; i < inputs.size(); ++i) {
        if (!IsPyramid(*inputs[i])) {
            ReplaceInput(std::make_shared<DISPyramidFilter>(inputs[i], frame, LevelsOf(frame)), i);
        }
    }
    if (inputs.size() == pictureCount) {
        AddInput(std::make_shared<DISGradientsFilter>(inputs[0], LevelsOf(frame)));
    }
}

Bounds DISFilter::GetBounds() const {
    return Intersect(FrameOf(*inputs[0]), FrameOf(*inputs[1]));
}

Bounds DISFilter::GetInputRegion(const Bounds& /*wanted*/, int input) const {
    return inputs[static_cast<std::size_t>(input)]->GetBounds();
}

PixelFormat DISFilter::AdjustFormat(const PixelFormat& inputFormat) const {
    return AsFloatRGBA(inputFormat);
}

PixelFormat DISFilter::GetInputFormat(const PixelFormat& /*wanted*/, int input) const {
    return inputs[static_cast<std::size_t>(input)]->GetFormat();
}

std::uint64_t DISFilter::ExtraMemoryNeeded(const GPGPUContext* /*context*/, const Bounds& /*outputRegion*/,
                                           const PixelFormat& /*outputFormat*/) const {
    const Bounds frame = GetBounds();
    if (IsEmpty(frame) || IsInfinite(frame) || LevelsOf(frame).IsNone()) {
        return 0;
    }
    return DISFlow::MemoryNeeded(LevelsOf(frame));
}

void DISFilter::RunHost(Host& runHost, Layer& target, const std::vector<Layer*>& layers) {
    const Bounds known = GetBounds();
    const Bounds frame = Intersect(known, IsPyramid(*inputs[0]) ? known : layers.at(0)->Bounds());
    const DISLevels levels = LevelsOf(frame);
    if (levels.IsNone() || !Contains(frame, target.Bounds())) {
        target.Implement().ClearAll();
    }
    if (levels.IsNone() || IsEmpty(Intersect(frame, target.Bounds()))) {
        return;
    }
    std::unique_ptr<Layer> built[pictureCount + 1];
    const Layer* pyramids[pictureCount];
    for (std::size_t i = 0; i < pictureCount; ++i) {
        pyramids[i] = layers.at(i);
        if (!IsPyramid(*inputs[i])) {
            built[i] = std::make_unique<Layer>(runHost);
            built[i]->Allocate(DISPyramidBounds(levels), 8, 4);
            BuildDISPyramid(runHost, *built[i], *layers[i], frame, levels);
            pyramids[i] = built[i].get();
        }
    }
    const Layer* gradients = layers.size() > pictureCount ? layers[pictureCount] : nullptr;
    if (gradients == nullptr) {
        built[pictureCount] = std::make_unique<Layer>(runHost);
        built[pictureCount]->Allocate(DISGradientsBounds(levels), 8, 4);
        BuildDISGradients(runHost, *built[pictureCount], *pyramids[0], levels);
        gradients = built[pictureCount].get();
    }
    ProgressState::Level& stages = runHost.GetProgressState().levels[0];
    if (!stages.locked) {
        stages = {0, static_cast<std::uint64_t>(ProgressSteps()), 1, false};
    }
    DISFlow(runHost, levels, _settings.gradientDescentIterations, bands)
        .Run(target, frame, {*pyramids[0], *pyramids[1], *gradients});
}

// The stages are launched one by one by RunHost.
void DISFilter::RunHostRows(const Bounds& /*rows*/, int /*threadIndex*/) {
}

}  // namespace TQ::IP
