// Every filter by itself, over pictures in memory.

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "bench/Operations.h"
#include "bench/Options.h"
#include "bench/Pictures.h"
#include "bench/Subjects.h"
#include "ip/Evaluation.h"
#include "ip/filters/AddHighPassFilter.h"
#include "ip/filters/AffineSimilarityFilter.h"
#include "ip/filters/CopyAlphaFilter.h"
#include "ip/filters/DISFilter.h"
#include "ip/filters/DetectMotionFilter.h"
#include "ip/filters/GaussianHiPassFilter.h"
#include "ip/filters/GuidedCorrelationFilter.h"
#include "ip/filters/ResizeFilter.h"
#include "ip/filters/SolidFilter.h"
#include "ip/filters/TemporalAddFilter.h"
#include "ip/filters/TemporalBlendFilter.h"
#include "ip/filters/TemporalUnmultFilter.h"
#include "ip/filters/WarpFilter.h"

namespace TQ::Bench {

namespace {

using Handle = std::shared_ptr<IP::FilterBase>;
using Handles = std::vector<Handle>;

enum Rows { AllThreads, OneThreadToo };

/// One filter: what it reads and writes, and what it computes.
struct FilterRow {
    const char* name;
    std::vector<Content> inputs;
    Content output;                ///< Content::Accumulator for an output that is always float
    Operations::Count operations;  ///< for each pixel of the output
    std::function<Handle(const Handles& inputs)> make;
    Rows rows = AllThreads;
    bool isGraph = false;  ///< rendered as a graph, since the filter is one
    int reduction = 1;     ///< the output's size divides the input's by this
};

template <class FilterType, class... Arguments>
std::function<Handle(const Handles&)> One(Arguments... arguments) {
    return [=](const Handles& inputs) { return std::make_shared<FilterType>(inputs[0], arguments...); };
}

template <class FilterType, class... Arguments>
std::function<Handle(const Handles&)> Two(Arguments... arguments) {
    return [=](const Handles& inputs) {
        return std::make_shared<FilterType>(inputs[0], inputs[1], arguments...);
    };
}

template <class FilterType, class... Arguments>
std::function<Handle(const Handles&)> Three(Arguments... arguments) {
    return [=](const Handles& inputs) {
        return std::make_shared<FilterType>(inputs[0], inputs[1], inputs[2], arguments...);
    };
}

std::vector<FilterRow> TemporalRows() {
    using enum Content;
    using namespace Operations;
    using IP::AddHighPassFilter;
    using IP::TemporalAddFilter;
    const std::vector<Content> lowPass{Frame, Frame, Accumulator};
    return {
        {"TemporalAdd1", {Frame}, Accumulator, addFrame, One<TemporalAddFilter>(0.1F)},
        {"TemporalAdd2",
         {Frame, Accumulator},
         Accumulator,
         addToSum,
         Two<TemporalAddFilter>(0.1F),
         OneThreadToo},
        {"TemporalMultAddMask",
         {Frame, Accumulator, Mask},
         Accumulator,
         gateAndAdd,
         Three<TemporalAddFilter>(0.1F, true)},
        {"TemporalAddMask",
         {Accumulator, Accumulator, Mask},
         Accumulator,
         addGatedSum,
         Three<TemporalAddFilter>(1.0F, false)},
        {"TemporalBlend",
         {Frame, Accumulator, Mask},
         Accumulator,
         blend,
         Three<IP::TemporalBlendFilter>(0.5F)},
        {"TemporalUnmult", {Frame, Accumulator}, Frame, divideByWeight, Two<IP::TemporalUnmultFilter>()},
        {"AddHighPass", lowPass, Frame, exchangeLow, Three<AddHighPassFilter>(1.0F, true, false)},
        {"AddHighPassN", lowPass, Frame, exchangeLowOfSum, Three<AddHighPassFilter>(1.0F, true, true),
         OneThreadToo},
        {"AddHighPassThreshold", lowPass, Frame, exchangeLow + limitCorrection,
         Three<AddHighPassFilter>(0.2F, true, false)},
        {"AddHighPassThresholdN", lowPass, Frame, exchangeLowOfSum + limitCorrection,
         Three<AddHighPassFilter>(0.2F, true, true)},
        {"DetectMotion",
         {Frame, MovedFrame},
         Frame,
         detectMotion,
         Two<IP::DetectMotionFilter>(0.2F, 1.0F, false)},
        {"DetectMotion fused",
         {Frame, Accumulator},
         Accumulator,
         gatedStep,
         Two<IP::DetectMotionFilter>(0.2F, 0.1F, true),
         OneThreadToo},
    };
}

std::function<Handle(const Handles&)> Blur(float sigma) {
    return One<IP::GaussianBlurFilter>(IP::BlurSigma{sigma, sigma, 0.0F}, 0, 0);
}

Handle MakeRamp(const Handles&) {
    auto ramp = std::make_shared<IP::SolidFilter>(0.0F, 0.0F, 0.0F);
    ramp->SetAmounts(0.3F, 0.6F);
    ramp->SetColors({{{0, 0.1F, 0.2F}, {1, 0.9F, 0}, {0.2F, 0.3F, 1}, {1, 0.5F, 0}}});
    ramp->SetPoints({0, 0},
                    {static_cast<float>(GetOptions().Width()), static_cast<float>(GetOptions().Height())});
    return ramp;
}

Handle MakeHalf(const Handles& inputs) {
    return std::make_shared<IP::ResizeFilter>(
        inputs[0], IP::Bounds{0, 0, GetOptions().Width() / 2, GetOptions().Height() / 2});
}

std::vector<FilterRow> SpatialRows() {
    using enum Content;
    using namespace Operations;
    return {
        {"GaussianBlur sigma 3", {Frame}, Frame, blur, Blur(3.0F), OneThreadToo},
        {"GaussianBlur sigma 10", {Frame}, Frame, blur, Blur(10.0F)},
        {"GaussianBlur sigma 30", {Frame}, Frame, blur, Blur(30.0F), OneThreadToo},
        {"GaussianHiPass sigma 10",
         {Frame},
         Accumulator,
         highPass,
         One<IP::GaussianHiPassFilter>(IP::BlurSigma{10.0F, 10.0F, 0.0F})},
        {"Solid",
         {},
         Frame,
         nothing,
         [](const Handles&) { return std::make_shared<IP::SolidFilter>(0.2F, 0.5F, 0.8F); }},
        {"Ramp", {}, Frame, ramp, MakeRamp},
        {"CopyAlpha", {Frame, Frame}, Frame, nothing, Two<IP::CopyAlphaFilter>()},
        {"GuidedCorrelation", {Frame, Frame}, Frame, product, Two<IP::GuidedCorrelationFilter>()},
        {"AffineSimilarityFinal",
         {Accumulator, Accumulator, Accumulator},
         Accumulator,
         finalSimilarity,
         Three<IP::AffineSimilarityFinalFilter>()},
        {"AffineSimilarity",
         {Frame, MovedFrame},
         Frame,
         similarity,
         Two<IP::AffineSimilarityFilter>(IP::AffineSimilarityParams::Make(2.0F, 2.0F, 0.1F), false),
         AllThreads,
         true},
        {"Warp", {Frame, Flow}, Frame, warp, Two<IP::WarpFilter>(), OneThreadToo},
        {"DISFilter",
         {Frame, MovedFrame},
         Flow,
         flow,
         Two<IP::DISFilter>(IP::MakeDISSettings(0, 0)),
         OneThreadToo},
        {"Halve", {Frame}, Frame, halve, MakeHalf, OneThreadToo, false, 2},
    };
}

IP::Bounds SizeOf(const FilterRow& row) {
    return {0, 0, GetOptions().Width() / row.reduction, GetOptions().Height() / row.reduction};
}

int BitsOf(Content content, int bits) {
    return content == Content::Accumulator || content == Content::Flow ? 32 : bits;
}

/// Whether anything in the row depends on the pixel format.
bool HasPicture(const FilterRow& row) {
    const auto isPicture = [](Content content) { return BitsOf(content, 8) == 8; };
    return isPicture(row.output) || std::any_of(row.inputs.begin(), row.inputs.end(), isPicture);
}

double BytesOf(const IP::Layer& layer) {
    return static_cast<double>(layer.Width()) * layer.Height() * layer.PixelBytes();
}

/// A filter over the rings of its inputs.
class FilterRun {
  public:
    FilterRun(const FilterRow& row, int bits, int threads)
        : _row(row),
          _bits(bits),
          _host(HostWith(threads)),
          _output(RingOf(SizeOf(row), BitsOf(row.output, bits), Content::Output)) {
        const IP::Bounds size{0, 0, GetOptions().Width(), GetOptions().Height()};
        for (const Content content : row.inputs) {
            _rings.push_back(&RingOf(size, BitsOf(content, bits), content));
        }
        _layers.resize(_rings.size());
        TakeNext();
        _filter = MakeFilter();
    }

    void Run() {
        TakeNext();
        if (_row.isGraph) {
            // The output is a view, because a graph is rendered into a layer that its caller shares.
            auto output = std::make_shared<IP::Layer>(_host);
            IP::Layer& target = _output.Next();
            output->ShareRegion(target, target.Bounds());
            IP::RenderGraph(MakeFilter(), _host, output);
        } else {
            _filter->RunHost(_host, _output.Next(), _layers);
        }
    }

    Work WorkOfOne() {
        double bytes = BytesOf(_output.First());
        for (const IP::Layer* layer : _layers) {
            bytes += BytesOf(*layer);
        }
        const IP::Layer& output = _output.First();
        return {bytes, _row.operations.For(_bits) * output.Width() * output.Height(), !_layers.empty()};
    }

  private:
    /// Inputs of one kind share a ring, and so are different pictures.
    void TakeNext() {
        for (std::size_t i = 0; i < _rings.size(); ++i) {
            _layers[i] = &_rings[i]->Next();
        }
    }
    Handle MakeFilter() const {
        Handles leaves;
        for (IP::Layer* layer : _layers) {
            leaves.push_back(std::make_shared<IP::FilterLayer>(layer));
        }
        return _row.make(leaves);
    }

    const FilterRow& _row;
    int _bits;
    PooledHost& _host;
    PictureRing& _output;
    std::vector<PictureRing*> _rings;
    std::vector<IP::Layer*> _layers;
    Handle _filter;
};

void RegisterRow(const FilterRow& row, int bits, int threads) {
    RegisterTimed(NameOf("filter", row.name, bits, threads), [row, bits, threads](benchmark::State& state) {
        FilterRun run(row, bits, threads);
        for (auto _ : state) {
            run.Run();
        }
        CountWork(state, run.WorkOfOne(), threads);
    });
}

void RegisterRow(const FilterRow& row, int bits) {
    const int threads = GetOptions().threads;
    RegisterRow(row, bits, threads);
    if (row.rows == OneThreadToo && threads > 1) {
        RegisterRow(row, bits, 1);
        CompareThreads(NameOf("filter", row.name, bits, 1), NameOf("filter", row.name, bits, threads));
    }
}

void RegisterSigmaSeries(int bits) {
    std::vector<SeriesEntry> entries;
    for (const char* sigma : {"3", "10", "30"}) {
        const double pixels = static_cast<double>(GetOptions().Width()) * GetOptions().Height();
        entries.push_back(
            {sigma, NameOf("filter", std::string("GaussianBlur sigma ") + sigma, bits, GetOptions().threads),
             pixels});
    }
    CompareSeries(std::string("GaussianBlur, ") + (bits == 8 ? "8-bit" : "float") + ", sigma", entries);
}

}  // namespace

void RegisterFilters() {
    for (const std::vector<FilterRow>& rows : {TemporalRows(), SpatialRows()}) {
        for (const FilterRow& row : rows) {
            if (HasPicture(row)) {
                RegisterRow(row, 8);
            }
            RegisterRow(row, 32);
        }
    }
    RegisterSigmaSeries(8);
    RegisterSigmaSeries(32);
}

}  // namespace TQ::Bench
