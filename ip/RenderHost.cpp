#include <algorithm>
#include <utility>

#include "ip/Evaluation.h"

namespace TQ::IP {

namespace {

/// Nesting beyond this is told to filters as this.
constexpr int deepestLevel = 79;

bool HasPixels(const RenderResult& result) {
    return result.layer != nullptr && result.layer->HasPixels();
}

/// Renders the inputs of one filter, and finds the one whose pixels the filter's output can take the place
/// of.
class InputRenders {
  public:
    InputRenders(FilterBase& filter, Host& host, const Layer* exemplar, const RenderResult& result, int depth)
        : results(filter.inputs.size()),
          _filter(filter),
          _host(host),
          _exemplar(exemplar),
          _result(result),
          _depth(depth),
          _candidate(filter.inputs.size()) {}

    void Run() {
        for (const std::size_t index : InputOrder(_filter)) {
            RenderInput(index);
        }
    }

    /// The result of the input whose pixels may be written over; null without one.
    const RenderResult* Candidate() const { return HasCandidate() ? &results[_candidate] : nullptr; }

    /// One for each input, in order.
    std::vector<RenderResult> results;

  private:
    bool HasCandidate() const { return _candidate < results.size(); }

    void RenderInput(std::size_t index) {
        FilterBase& input = *_filter.inputs[index];
        results[index].layer = std::make_shared<Layer>(_host);
        if (!HasCandidate() && CanTakePlaceOf(index)) {
            if (CanRenderIntoResult(input)) {
                _candidate = index;
                results[index].layer->ShareRegion(*_result.layer, input.region);
            } else if (input.region == _filter.region) {
                _candidate = index;
            }
        }
        bool rendered = true;
        input.RenderHost(_host, _exemplar, results[index], rendered, _depth + 1);
        if (_candidate == index && !rendered) {
            _candidate = results.size();
        }
    }

    bool CanTakePlaceOf(std::size_t index) {
        FilterBase& input = *_filter.inputs[index];
        return !IsEmpty(_filter.region) && !IsEmpty(input.region) && input.GetLayer() == nullptr &&
               input.format == _filter.format && _filter.CanRunInPlaceFor(nullptr, static_cast<int>(index)) &&
               input.consumers.size() == 1;
    }

    bool CanRenderIntoResult(const FilterBase& input) const {
        const bool covers = IsInfinite(_filter.region) || Contains(input.region, _filter.region);
        return HasPixels(_result) && covers && Contains(_result.layer->Bounds(), input.region) &&
               input.format == FormatOfLayer(*_result.layer);
    }

    FilterBase& _filter;
    Host& _host;
    const Layer* _exemplar;
    const RenderResult& _result;
    int _depth;
    std::size_t _candidate;  ///< the count of inputs: none
};

/// Finds the pixels for the output when the consumer brought none. Returns false when they are those of a
/// source, complete and not to be written to.
bool ObtainOutput(FilterBase& filter, Host& host, const Layer* exemplar, const InputRenders& renders,
                  RenderResult& result) {
    if (const RenderResult* candidate = renders.Candidate()) {
        result = *candidate;
        result.layer->ValidBounds() = filter.GetBounds();
        return true;
    }
    if (!result.layer) {
        result.layer = std::make_shared<Layer>(host);
    }
    if (const Layer* source = filter.GetLayer()) {
        result.layer->ShareRegion(*source, source->Bounds());
        return false;
    }
    const bool hasInputPixels = !renders.results.empty() && HasPixels(renders.results[0]);
    result.region = filter.region;
    filter.AllocateOutput(result, hasInputPixels ? renders.results[0].layer.get() : exemplar, filter.region);
    return true;
}

void StartFilterProgress(Host& host, const FilterBase& filter) {
    ProgressState& state = host.GetProgressState();
    ProgressState::Level& passes = state.levels[0];
    if (!passes.locked) {
        passes = {};
    }
    passes.locked = false;
    if (!state.levels[1].locked) {
        state.levels[1].weight = static_cast<std::uint64_t>(filter.ProgressSteps());
    }
}

void EndFilterProgress(Host& host, const FilterBase& filter) {
    const int steps = filter.ProgressSteps();
    if (steps != 0) {
        host.UpdateProgress(0, 1, 1);
        host.GetProgressState().levels[1].current += static_cast<std::uint64_t>(steps);
    }
}

void Run(FilterBase& filter, Host& host, RenderResult& result, const std::vector<RenderResult>& inputs) {
    StartFilterProgress(host, filter);
    if (IsEmpty(result.layer->Bounds())) {
        return;
    }
    std::vector<Layer*> layers;
    for (const RenderResult& input : inputs) {
        layers.push_back(input.layer.get());
    }
    filter.CheckInputs(inputs);
    filter.RunHost(host, *result.layer, layers);
}

}  // namespace

void FilterBase::RenderHost(Host& host, const Layer* exemplar, RenderResult& result, bool& rendered,
                            int depth) {
    rendered = true;
    if (TakeCachedResult(result, rendered)) {
        return;
    }
    if (!IsEmpty(region)) {
        PrepareRender(host);
    }
    for (const std::shared_ptr<FilterBase>& input : inputs) {
        input->BeforeInputUse();
    }
    InputRenders renders(*this, host, exemplar, result, std::min(depth, deepestLevel));
    renders.Run();
    rendered = HasPixels(result) || ObtainOutput(*this, host, exemplar, renders, result);
    if (rendered) {
        Run(*this, host, result, renders.results);
    }
    KeepResult(result, rendered);
    renders.results.clear();  // views of a source's pixels go before the source gives them back
    for (const std::shared_ptr<FilterBase>& input : inputs) {
        input->AfterInputUse();
    }
    EndFilterProgress(host, *this);
}

}  // namespace TQ::IP
