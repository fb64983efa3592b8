#include "ip/Evaluation.h"

#include <algorithm>
#include <functional>
#include <numeric>

namespace TQ::IP {

namespace {

/// Stands above the sink, so that the sink can be replaced like any other filter.
class GraphRoot final : public FilterBase {
  public:
    const char* GetName() const override { return "root"; }
};

/// What is wanted of a sink.
struct Request {
    Bounds region;
    PixelFormat format;
};
using RequestOf = std::function<Request(const FilterBase& sink)>;

struct PreparedGraph {
    std::shared_ptr<FilterBase> root;  ///< keeps its place among the consumers of the sink
    Bounds region;                     ///< what the sink was asked for
    FilterBase& Sink() const { return *root->inputs[0]; }
};

void SimplifyGraph(FilterBase& root) {
    OptimizeGraph(root);
    RemoveStaleConsumers(root);
}

/// Forgets what an earlier evaluation left, and lets the need for pixels flow from the sink to the sources.
Request SpreadRegions(FilterBase& root, const RequestOf& requestOf) {
    const std::vector<FilterBase*> graph = WalkInputs(root);
    for (FilterBase* filter : graph) {
        filter->keptResult = {};
        filter->consumed = 0;
        filter->savedRegion = root.region;
        filter->region = filter->savedRegion;
        filter->peakMemory = 0;
        filter->forcedBackend = -1;
    }
    FilterBase& sink = *root.inputs[0];
    const Request request = requestOf(sink);
    sink.SetRegion(request.region, request.format);
    for (FilterBase* filter : graph) {
        filter->AfterRegions();
    }
    return request;
}

/// Returns whether any filter has replaced what it computes.
bool ExpandFilters(FilterBase& root, Host& host, const PixelFormat& outputFormat) {
    const std::vector<std::shared_ptr<FilterBase>> before = HoldGraph(root);
    for (const std::shared_ptr<FilterBase>& filter : before) {
        filter->ExpandGraph(host, nullptr, outputFormat);
    }
    return HoldGraph(root) != before;
}

PreparedGraph PrepareGraph(const std::shared_ptr<FilterBase>& sink, Host& host, const RequestOf& requestOf) {
    const auto root = std::make_shared<GraphRoot>();
    root->AddInput(sink);
    SimplifyGraph(*root);
    Request request = SpreadRegions(*root, requestOf);
    if (ExpandFilters(*root, host, request.format)) {
        SimplifyGraph(*root);
        request = SpreadRegions(*root, requestOf);
    }
    if (FuseGraph(*root)) {
        request = SpreadRegions(*root, requestOf);
    }
    ComputePeakMemory(*root->inputs[0]);
    return {root, request.region};
}

void StartGraphProgress(Host& host, FilterBase& sink) {
    ProgressState::Level& level = host.GetProgressState().levels[1];
    if (!level.locked) {
        level = {0, static_cast<std::uint64_t>(sink.TotalProgressSteps()), 1, false};
    }
}

/// The part of `output` that the graph can deliver: kernels fill the whole layer that they are given.
std::shared_ptr<Layer> PartToRender(Host& host, const std::shared_ptr<Layer>& output, const Bounds& region) {
    if (region == output->Bounds()) {
        return output;
    }
    auto part = std::make_shared<Layer>(host);
    part->ShareRegion(*output, region);
    return part;
}

}  // namespace

std::vector<std::size_t> InputOrder(const FilterBase& filter) {
    std::vector<std::size_t> order(filter.inputs.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    // While one input is rendered, the outputs of those before it are held; so what an input needs for a
    // while goes first and what it leaves behind comes last.
    const auto transient = [&](std::size_t index) {
        return filter.inputs[index]->peakMemory - filter.inputs[index]->OutputBytes();
    };
    std::stable_sort(order.begin(), order.end(),
                     [&](std::size_t a, std::size_t b) { return transient(a) > transient(b); });
    return order;
}

void ComputePeakMemory(FilterBase& root) {
    for (FilterBase* filter : WalkPostOrder(root)) {
        std::uint64_t held = 0;
        std::uint64_t peak = 0;
        for (const std::size_t index : InputOrder(*filter)) {
            const FilterBase& input = *filter->inputs[index];
            peak = std::max(peak, input.peakMemory + held);
            held += input.OutputBytes();
        }
        const std::uint64_t own = filter->OutputBytes();
        const std::uint64_t extra = filter->ExtraMemoryNeeded(nullptr, filter->region, filter->format);
        filter->peakMemory = std::max(peak, held + own + extra);
    }
}

void FilterBase::DryRun(Host& host, const Bounds& wanted, const PixelFormat& wantedFormat) {
    PrepareGraph(shared_from_this(), host, [&](const FilterBase&) { return Request{wanted, wantedFormat}; });
}

void RenderGraph(const std::shared_ptr<FilterBase>& sink, Host& host, const std::shared_ptr<Layer>& output) {
    const PreparedGraph graph = PrepareGraph(sink, host, [&](const FilterBase& current) {
        return Request{Intersect(output->Bounds(), current.GetBounds()), FormatOfLayer(*output)};
    });
    StartGraphProgress(host, graph.Sink());
    RenderResult result;
    result.layer = PartToRender(host, output, graph.region);
    result.region = graph.region;
    bool rendered = true;
    graph.Sink().RenderHost(host, output.get(), result, rendered, 0);
}

}  // namespace TQ::IP
