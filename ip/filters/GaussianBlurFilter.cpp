#include "ip/filters/GaussianBlurFilter.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "ip/filters/KernelFilter.h"
#include "ip/kernels/KernelParameters.h"
#include "ip/records/Exception.h"

namespace TQ::IP {

namespace {

/// Blurs of at most this many pixels are none.
constexpr float negligibleSigma = 0.001F;
/// The input is read this many sigmas beyond the output.
constexpr double reachInSigmas = 3.5;

std::int32_t Reach(float sigma) {
    return static_cast<std::int32_t>(std::ceil(reachInSigmas * sigma));
}

bool IsInRange(float sigma) {
    return sigma >= 0.0F && sigma <= GaussianBlurFilter::maximumSigma;
}

bool IsOrder(int order) {
    return order >= 0 && order <= 2;
}

/// The largest code value that an integer result is clamped to. 14384 is no slip for 16384: pictures with
/// white at 16384 keep what lies above white.
float StoreMaximum(const Layer& layer) {
    if (layer.ChannelBits() == 8) {
        return 255.0F;
    }
    const int white = layer.WhiteLevel();
    return white == 32768 || white == 14384 ? static_cast<float>(white) : 65535.0F;
}

GaussParameters ParametersOf(const GaussCoefficients& axis, const Layer& layer, bool subtractFromSource) {
    return {axis.radius,         axis.table.data(), {axis.cfA[0], axis.cfA[1]}, {axis.cfB[0], axis.cfB[1]},
            StoreMaximum(layer), subtractFromSource};
}

}  // namespace

GaussianBlurFilter::GaussianBlurFilter(std::shared_ptr<FilterBase> input, const BlurSigma& sigma, int orderX,
                                       int orderY)
    : GaussianBlurFilter(std::move(input), sigma, orderX, orderY, false) {
}

GaussianBlurFilter::GaussianBlurFilter(std::shared_ptr<FilterBase> input, const BlurSigma& sigma, int orderX,
                                       int orderY, bool highPass)
    : _sigma(sigma), _orderX(orderX), _orderY(orderY), _highPass(highPass) {
    if (!input) {
        throw Exception("Gaussian blur", "Missing input.");
    }
    if (!std::all_of(sigma.begin(), sigma.end(), IsInRange) || !IsOrder(orderX) || !IsOrder(orderY)) {
        throw Exception("Gaussian blur", "The radius or the derivative order is out of range.");
    }
    AddInput(std::move(input));
}

bool GaussianBlurFilter::IsEqual(const FilterBase& other) const {
    const auto* same = dynamic_cast<const GaussianBlurFilter*>(&other);
    return same != nullptr && FilterSeparable::IsEqual(other) && _sigma == same->_sigma &&
           _orderX == same->_orderX && _orderY == same->_orderY && _highPass == same->_highPass;
}

int GaussianBlurFilter::IdentityInput() const {
    const bool unblurred = _sigma[0] <= negligibleSigma && _sigma[1] <= negligibleSigma;
    return unblurred && _orderX == 0 && _orderY == 0 && !_highPass ? 0 : -1;
}

MergeAnswer GaussianBlurFilter::MergeInput(const std::shared_ptr<FilterBase>& input) {
    const auto* blur = dynamic_cast<const GaussianBlurFilter*>(input.get());
    if (blur == nullptr || !IsSameType(*blur) || passMode != blur->passMode || _highPass || blur->_highPass ||
        !IsOrder(_orderX + blur->_orderX) || !IsOrder(_orderY + blur->_orderY)) {
        return MergeAnswer::None;
    }
    for (std::size_t axis = 0; axis < _sigma.size(); ++axis) {
        _sigma[axis] = std::min(_sigma[axis] + blur->_sigma[axis], maximumSigma);
    }
    _orderX += blur->_orderX;
    _orderY += blur->_orderY;
    return MergeAnswer::Absorbed;
}

Bounds GaussianBlurFilter::GetInputRegion(const Bounds& wanted, int input) const {
    if (IsInfinite(wanted)) {
        return wanted;
    }
    const std::int32_t x = Reach(_sigma[0]);
    const std::int32_t y = Reach(_sigma[1]);
    return Intersect(Grow(wanted, {-x, -y, x, y}), inputs[static_cast<std::size_t>(input)]->GetBounds());
}

bool GaussianBlurFilter::CanRunInPlace() const {
    return FilterSeparable::CanRunInPlace() && !_highPass && GaussRadius(_sigma[0]) > 1 &&
           GaussRadius(_sigma[1]) > 1;
}

Bounds GaussianBlurFilter::InputView(const Layer& target, const Layer& source) const {
    return Intersect(GetInputRegion(target.Bounds(), 0), source.Bounds());
}

void GaussianBlurFilter::CheckLayers(const Layer& target, const Layer& source) const {
    if (_orderX != 0 || _orderY != 0) {
        throw Exception(GetName(), "Derivatives of the blur cannot be rendered.");
    }
    CheckLayer(source, LayerKind::Picture, source, GetName());
    CheckLayer(target, _highPass ? LayerKind::Float : LayerKind::Picture, source, GetName());
    if (!Contains(InputView(target, source), target.Bounds())) {
        throw Exception(GetName(), "Input region mismatch.");
    }
}

void GaussianBlurFilter::RunHost(Host& runHost, Layer& target, const std::vector<Layer*>& layers) {
    Layer& source = *layers.at(0);
    CheckLayers(target, source);
    _alongX = MakeGaussCoefficients(_sigma[0], _orderX);
    _alongY = MakeGaussCoefficients(_sigma[1], _orderY);
    Layer view(runHost);
    view.ShareRegion(source, InputView(target, source));
    BeginPasses(runHost);
    if (_alongX.radius == 1) {
        EndPass(runHost);
        RunColumns(runHost, target, view, source);
    } else if (_alongY.radius == 1) {
        RunRowsOnly(runHost, target, view);
    } else {
        Layer between(runHost);
        const Bounds& columns = target.Bounds();
        const Bounds& lines = view.Bounds();
        between.AllocateRegionLike(source, {columns.x1, lines.y1, columns.x2, lines.y2});
        RunRows(runHost, between, view);
        RunColumns(runHost, target, between, source);
    }
}

void GaussianBlurFilter::RunRows(Host& runHost, Layer& target, Layer& view) {
    RunRowPass(runHost, target, {&view});
    EndPass(runHost);
}

void GaussianBlurFilter::RunColumns(Host& runHost, Layer& target, Layer& lines, Layer& source) {
    std::vector<Layer*> read{&lines};
    if (_highPass) {
        read.push_back(&source);
    }
    RunColumnPass(runHost, target, read);
    EndPass(runHost);
}

void GaussianBlurFilter::RunRowsOnly(Host& runHost, Layer& target, Layer& view) {
    if (!_highPass) {
        RunRows(runHost, target, view);
        EndPass(runHost);
        return;
    }
    // The output is float and the row pass writes the input's format. The column pass converts: what it
    // subtracts is the blur of a black picture, which is 0 at any radius.
    Layer blurred(runHost);
    blurred.AllocateRegionLike(view, target.Bounds());
    RunRows(runHost, blurred, view);
    Layer black(runHost);
    black.AllocateRegionLike(view, target.Bounds());
    black.Implement().ClearAll();
    RunColumns(runHost, target, black, blurred);
}

void GaussianBlurFilter::RunHostRows(const Bounds& rows, int threadIndex) {
    const GaussParameters parameters = ParametersOf(_alongX, *inputLayers[0], false);
    RunBand(KernelId::GaussRows, *inputLayers[0], rows, &parameters, threadIndex);
}

void GaussianBlurFilter::RunHostColumns(const Bounds& columns, int threadIndex) {
    const GaussParameters parameters = ParametersOf(_alongY, *inputLayers[0], _highPass);
    RunBand(KernelId::GaussColumns, *inputLayers[0], columns, &parameters, threadIndex);
}

}  // namespace TQ::IP
