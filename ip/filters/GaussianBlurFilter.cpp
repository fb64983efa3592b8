#include "ip/filters/GaussianBlurFilter.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "ip/filters/GaussBands.h"
#include "ip/filters/KernelFilter.h"
#include "ip/filters/SlotScratch.h"
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

Bounds GaussianBlurFilter::Reached(const Bounds& wanted) const {
    if (IsInfinite(wanted)) {
        return wanted;
    }
    const std::int32_t x = Reach(_sigma[0]);
    const std::int32_t y = Reach(_sigma[1]);
    return Grow(wanted, {-x, -y, x, y});
}

Bounds GaussianBlurFilter::GetInputRegion(const Bounds& wanted, int input) const {
    const Bounds limit = inputs[static_cast<std::size_t>(input)]->GetBounds();
    return IsInfinite(wanted) ? wanted : Intersect(Reached(wanted), limit);
}

Bounds GaussianBlurFilter::InputView(const Layer& target, const Layer& source) const {
    const Bounds reached = inputs.empty() ? Reached(target.Bounds()) : GetInputRegion(target.Bounds(), 0);
    return Intersect(reached, source.Bounds());
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
    } else if (!RunBothPasses(runHost, target, view)) {
        Layer between(runHost);
        const Bounds& columns = target.Bounds();
        const Bounds& lines = view.Bounds();
        between.AllocateRegionLike(source, {columns.x1, lines.y1, columns.x2, lines.y2});
        RunRows(runHost, between, view);
        RunColumns(runHost, target, between, source);
    }
}

bool GaussianBlurFilter::RunBothPasses(Host& runHost, Layer& target, Layer& view) {
    const GaussBands bands(target.Bounds(), view.Bounds(), _alongX.radius, _alongY.radius,
                           ThreadSlots(runHost));
    if (bands.Count() < ThreadSlots(runHost)) {
        return false;
    }
    host = &runHost;
    output = &target;
    inputLayers = {&view};
    const SlotScratch scratch(runHost, GaussStreamBytes(bands.MostColumns(), _alongY.radius));
    ForParts(runHost, bands.Count(), [&](int part, int slot) {
        const GaussBlurParameters parameters{GaussParametersOf(_alongX, view, false),
                                             GaussParametersOf(_alongY, view, _highPass), scratch.Of(slot)};
        RunBand(KernelId::GaussBlur, view, bands.At(part), &parameters, threadThatDoesNotReport);
    });
    EndPass(runHost);
    EndPass(runHost);
    return true;
}

bool GaussianBlurFilter::HasBothPasses() const {
    return passMode == PassMode::Both && _orderX == 0 && _orderY == 0 && GaussRadius(_sigma[0]) > 1 &&
           GaussRadius(_sigma[1]) > 1;
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
    const GaussParameters parameters = GaussParametersOf(_alongX, *inputLayers[0], false);
    RunBand(KernelId::GaussRows, *inputLayers[0], rows, &parameters, threadIndex);
}

void GaussianBlurFilter::RunHostColumns(const Bounds& columns, int threadIndex) {
    const GaussParameters parameters = GaussParametersOf(_alongY, *inputLayers[0], _highPass);
    RunBand(KernelId::GaussColumns, *inputLayers[0], columns, &parameters, threadIndex);
}

}  // namespace TQ::IP
