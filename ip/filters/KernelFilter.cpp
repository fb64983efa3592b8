#include "ip/filters/KernelFilter.h"

#include <utility>

#include "ip/records/Exception.h"

namespace TQ::IP {

namespace {

/// A kernel takes the positions of the format layer for all of its layers, so they must agree.
bool SameRedPosition(const Layer& a, const Layer& b) {
    return a.ChannelIndex(0) == b.ChannelIndex(0);
}

bool FitsKind(const Layer& layer, LayerKind kind, const Layer& formatLayer) {
    if (!SameRedPosition(layer, formatLayer)) {
        return false;
    }
    if (kind == LayerKind::Float) {
        return layer.ChannelBits() == 32;
    }
    return layer.ChannelBits() == formatLayer.ChannelBits() && layer.WhiteLevel() == formatLayer.WhiteLevel();
}

}  // namespace

void CheckLayer(const Layer& layer, LayerKind kind, const Layer& formatLayer, const char* filterName) {
    KernelFormat format;
    if (layer.Data() == nullptr) {
        throw Exception(filterName, "An image without pixels reached the filter.");
    }
    if (!KernelFormatOf(layer, format)) {
        throw Exception(
            filterName,
            "This pixel format is not supported. Use RGBA with 8-bit, 16-bit or 32-bit float channels.");
    }
    if (!FitsKind(layer, kind, formatLayer)) {
        throw Exception(filterName, "The images that meet in this filter have different pixel formats.");
    }
}

void KernelFilter::AddRequiredInput(std::shared_ptr<FilterBase> input) {
    if (!input) {
        throw Exception("Filter graph", "Missing input.");
    }
    AddInput(std::move(input));
}

LayerKind KernelFilter::KindOf(int input) const {
    return input < 0 ? Use().output : Use().inputs[static_cast<std::size_t>(input)];
}

PixelFormat KernelFilter::AdjustFormat(const PixelFormat& inputFormat) const {
    const PixelFormat adjusted = FilterBase::AdjustFormat(inputFormat);
    return Use().output == LayerKind::Float ? AsFloatRGBA(adjusted) : adjusted;
}

PixelFormat KernelFilter::GetInputFormat(const PixelFormat& wanted, int input) const {
    if (KindOf(input) == LayerKind::Float) {
        return AsFloatRGBA(wanted);
    }
    const int formatInput = Use().formatInput;
    // Matters for generators alone: they would take the format of the sum, and a mask has that of the frame.
    return formatInput < 0 || formatInput == input
               ? wanted
               : inputs[static_cast<std::size_t>(formatInput)]->GetFormat();
}

PixelAccess KernelFilter::InputAccess(int input) const {
    return KindOf(input) == LayerKind::Float ? PixelAccess::Float : PixelAccess::Converted;
}

const Layer& KernelFilter::FormatLayer(const Layer& target, const std::vector<Layer*>& layers) const {
    const int formatInput = Use().formatInput;
    return formatInput < 0 ? target : *layers.at(static_cast<std::size_t>(formatInput));
}

void KernelFilter::RunHost(Host& runHost, Layer& target, const std::vector<Layer*>& layers) {
    const KernelUse& use = Use();
    const Layer& formatLayer = FormatLayer(target, layers);
    CheckLayer(target, use.output, formatLayer, use.name);
    for (std::size_t i = 0; i < layers.size(); ++i) {
        CheckLayer(*layers[i], use.inputs.at(i), formatLayer, use.name);
        if (!use.readsNeighbours && !Contains(layers[i]->Bounds(), target.Bounds())) {
            throw Exception(use.name, "Input region mismatch.");
        }
    }
    Filter::RunHost(runHost, target, layers);
}

void KernelFilter::RunKernelRows(const Bounds& rows, const void* parameters, int threadIndex) {
    RunBand(Use().kernel, FormatLayer(*output, inputLayers), rows, parameters, threadIndex);
}

}  // namespace TQ::IP
