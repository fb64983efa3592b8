#include "ip/filters/GatedSumFilter.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

#include "ip/filters/DetectMotionFilter.h"
#include "ip/filters/KernelFilter.h"
#include "ip/filters/SharedBands.h"
#include "ip/filters/SlotScratch.h"
#include "ip/filters/TemporalAddFilter.h"
#include "ip/filters/TemporalUnmultFilter.h"
#include "ip/kernels/KernelParameters.h"
#include "ip/records/Exception.h"

namespace TQ::IP {

namespace {

using Handle = std::shared_ptr<FilterBase>;
using Half = GatedSumFilter::Half;

constexpr int reachOfStep = 2;
/// Rows or columns for which it pays to cut a band in two, although each part computes some of the other.
constexpr int leastSideOfBand = 128;

bool IsSource(const FilterBase& filter) {
    return filter.inputs.empty();
}

/// The bytes that may still be held.
class Budget {
  public:
    explicit Budget(std::uint64_t bytes) : _left(bytes) {}
    bool Take(const FilterBase& frame) {
        const std::uint64_t bytes = frame.OutputBytes();
        if (!IsSource(frame) || bytes > _left) {
            return false;
        }
        _left -= bytes;
        return true;
    }

  private:
    std::uint64_t _left;
};

const DetectMotionFilter* AsGate(const FilterBase& filter, float limit) {
    const auto* gate = dynamic_cast<const DetectMotionFilter*>(&filter);
    return gate != nullptr && gate->IsFused() && gate->Limit() == limit ? gate : nullptr;
}

const TemporalAddFilter* AsStart(const FilterBase& filter) {
    const auto* add = dynamic_cast<const TemporalAddFilter*>(&filter);
    return add != nullptr && add->inputs.size() == 1 ? add : nullptr;
}

/// The half whose sum `last` is, nearest frame first, as far as there is a budget. Empty when not even the
/// last step fits.
Half CollectBackwards(const Handle& last, float limit, Budget& budget) {
    Half half;
    // `mostBefore` leaves a place for the sum that the half may have to start from.
    constexpr std::size_t mostInputs = gatedMostFrames / 2;
    const auto take = [&](const Handle& frame, float weight, std::size_t mostBefore) {
        if (half.inputs.size() > mostBefore || weight < gatedLeastWeight || !budget.Take(*frame)) {
            return false;
        }
        half.inputs.push_back(frame);
        half.weights.push_back(weight);
        return true;
    };
    Handle step = last;
    while (const DetectMotionFilter* gate = AsGate(*step, limit)) {
        const bool shared = step != last && step->consumers.size() != 1;
        if (shared || !take(gate->inputs[0], gate->Weight(), mostInputs - 2)) {
            break;
        }
        step = gate->inputs[1];
    }
    const TemporalAddFilter* start = AsStart(*step);
    const bool owned = step == last || step->consumers.size() == 1;
    if (start != nullptr && owned && take(start->inputs[0], start->Weight(), mostInputs - 1)) {
        return half;
    }
    if (!half.inputs.empty()) {
        half.inputs.push_back(step);
        half.weights.push_back(0.0F);
        half.startsFromSum = true;
    }
    return half;
}

Half Collect(const Handle& last, float limit, Budget& budget) {
    Half half = CollectBackwards(last, limit, budget);
    std::reverse(half.inputs.begin(), half.inputs.end());
    std::reverse(half.weights.begin(), half.weights.end());
    return half;
}

/// Whether every sum covers what the next step reads of it.
bool CoversEachOther(const Half& half, const Bounds& covered) {
    Bounds next = covered;
    return std::all_of(half.inputs.rbegin(), half.inputs.rend(), [&](const Handle& input) {
        const bool covers = Contains(input->GetBounds(), next);
        next = input->GetBounds();
        return covers;
    });
}

/// The parts of a filter that adds to a half what a mask leaves of the other.
struct Joint {
    Handle future, past;
    Handle frame;  ///< that `past` is compared with
    float limit;
};

/// The mask is read by the filter alone, and compares a frame with the mean of the past half, which nothing
/// else reads.
std::optional<Joint> JointOf(const TemporalAddFilter& join) {
    if (join.inputs.size() != 3 || join.MultipliesAlpha() || join.Weight() != 1.0F) {
        return std::nullopt;
    }
    const auto* mask = dynamic_cast<const DetectMotionFilter*>(join.inputs[2].get());
    if (mask == nullptr || mask->IsFused() || mask->consumers.size() != 1) {
        return std::nullopt;
    }
    const Handle& frame = mask->inputs[0];
    const Handle& past = join.inputs[1];
    const FilterBase& mean = *mask->inputs[1];
    const bool isMean = std::strcmp(mean.GetName(), TemporalUnmultFilter::name) == 0 &&
                        mean.consumers.size() == 1 && mean.inputs[0] == frame && mean.inputs[1] == past;
    if (!isMean || past->consumers.size() != 2 || join.inputs[0]->consumers.size() != 1) {
        return std::nullopt;
    }
    return Joint{join.inputs[0], past, frame, mask->Limit()};
}

/// Bands of about one size, one for each thread where the picture is large enough: every cut costs the pixels
/// that both its sides compute, so they are cut in the way that leaves the least work for one thread. The
/// more bytes a frame takes for each channel the narrower bands are, as their pixels share the second-level
/// cache with what the steps keep.
struct GatedBands {
    GatedBands(const Bounds& bounds, int channelBits, int threads) : whole(bounds) {
        const int mostColumns = gatedMostColumns * 8 / channelBits;
        const int least = PartsOf(Width(bounds), mostColumns);
        const int most = std::clamp(threads, least, std::max(Width(bounds) / leastSideOfBand, least));
        std::int64_t leastCost = std::numeric_limits<std::int64_t>::max();
        for (int c = least; c <= most; ++c) {
            const int r = std::clamp(PartsOf(threads, c), 1, std::max(Height(bounds) / leastSideOfBand, 1));
            const std::int64_t cost =
                SideOf(Width(bounds), c) * SideOf(Height(bounds), r) * PartsOf(c * r, threads);
            if (cost < leastCost) {
                leastCost = cost;
                columns = c;
                rows = r;
            }
        }
    }

    Bounds At(int index) const {
        const auto cut = [](std::int32_t begin, std::int32_t end, int i, int count, int multiple) {
            const std::int64_t size = std::int64_t{end} - begin;
            return static_cast<std::int32_t>(i == count ? end
                                                        : begin + size * i / count / multiple * multiple);
        };
        const int column = index % columns;
        const int row = index / columns;
        return {cut(whole.x1, whole.x2, column, columns, gatedBlock), cut(whole.y1, whole.y2, row, rows, 1),
                cut(whole.x1, whole.x2, column + 1, columns, gatedBlock),
                cut(whole.y1, whole.y2, row + 1, rows, 1)};
    }

    static int PartsOf(int size, int part) { return (size + part - 1) / part; }
    /// What the largest part of a side computes that is cut into `parts`: on average over the steps so much
    /// more beyond each cut.
    static std::int64_t SideOf(int size, int parts) {
        constexpr int beyondCut = 8;
        return PartsOf(size, parts) + beyondCut * std::min(parts - 1, 2);
    }

    Bounds whole;
    int columns = 1, rows = 1;
};

}  // namespace

Handle GatedSumFilter::InPlaceOf(const TemporalAddFilter& join, std::uint64_t mostBytes) {
    const std::optional<Joint> joint = JointOf(join);
    if (!joint) {
        return nullptr;
    }
    Budget budget(mostBytes);
    const Half future = Collect(joint->future, joint->limit, budget);
    const Half past = Collect(joint->past, joint->limit, budget);
    const auto frame = std::find(future.inputs.begin(), future.inputs.end(), joint->frame);
    if (past.inputs.empty() || future.inputs.empty() || frame == future.inputs.end() ||
        !CoversEachOther(future, future.inputs.back()->GetBounds()) ||
        !CoversEachOther(past, joint->frame->GetBounds())) {
        return nullptr;
    }
    return std::make_shared<GatedSumFilter>(
        past, future, static_cast<std::size_t>(frame - future.inputs.begin()), joint->limit);
}

Handle GatedSumFilter::InPlaceOf(const DetectMotionFilter& last, std::uint64_t mostBytes) {
    if (!last.IsFused()) {
        return nullptr;
    }
    Budget budget(mostBytes);
    // The handle only lends the filter to the walk over its inputs.
    const Handle self = std::const_pointer_cast<FilterBase>(last.shared_from_this());
    const Half half = Collect(self, last.Limit(), budget);
    if (half.inputs.size() < 3 || !CoversEachOther(half, half.inputs.back()->GetBounds())) {
        return nullptr;
    }
    return std::make_shared<GatedSumFilter>(Half{}, half, 0, last.Limit());
}

GatedSumFilter::GatedSumFilter(const Half& past, const Half& future, std::size_t joinFrame, float limit)
    : _pastInputs(past.inputs.size()),
      _joinFrame(past.inputs.size() + joinFrame),
      _startsFromSum{past.startsFromSum, future.startsFromSum},
      _limit(limit) {
    Add(past, true);
    Add(future, false);
    if (joinFrame >= future.inputs.size() || inputs.size() != _weights.size() ||
        inputs.size() > gatedMostFrames || IsSum(inputs.size() - 1)) {
        throw Exception("Gated sum", "Missing inputs.");
    }
    _reach[_joinFrame] = std::max(_reach[_joinFrame], _pastInputs > 0 ? reachOfStep : 0);
}

void GatedSumFilter::Add(const Half& half, bool joins) {
    for (std::size_t i = 0; i < half.inputs.size(); ++i) {
        AddInput(half.inputs[i]);
        // The first input is compared with nothing, and read where the second step reads its sum.
        const std::size_t stepsAfter = half.inputs.size() - std::max<std::size_t>(i, 1);
        _reach.push_back(reachOfStep * static_cast<int>(stepsAfter + (joins ? 1 : 0)));
    }
    _weights.insert(_weights.end(), half.weights.begin(), half.weights.end());
}

bool GatedSumFilter::IsSum(std::size_t input) const {
    return (input == 0 && _pastInputs > 0 && _startsFromSum[0]) ||
           (input == _pastInputs && _startsFromSum[1]);
}

bool GatedSumFilter::IsEqual(const FilterBase& other) const {
    const auto* same = dynamic_cast<const GatedSumFilter*>(&other);
    return same != nullptr && Filter::IsEqual(other) && _limit == same->_limit &&
           _weights == same->_weights && _pastInputs == same->_pastInputs && _joinFrame == same->_joinFrame &&
           std::equal(_startsFromSum, _startsFromSum + 2, same->_startsFromSum);
}

Bounds GatedSumFilter::GetBounds() const {
    return inputs.back()->GetBounds();
}

Bounds GatedSumFilter::GetInputRegion(const Bounds& wanted, int input) const {
    const int reach = _reach[static_cast<std::size_t>(input)];
    return Intersect(Grow(wanted, {-reach, -reach, reach, reach}),
                     inputs[static_cast<std::size_t>(input)]->GetBounds());
}

PixelFormat GatedSumFilter::AdjustFormat(const PixelFormat& inputFormat) const {
    return AsFloatRGBA(Filter::AdjustFormat(inputFormat));
}

PixelFormat GatedSumFilter::GetInputFormat(const PixelFormat& wanted, int input) const {
    return IsSum(static_cast<std::size_t>(input)) ? AsFloatRGBA(wanted) : inputs.back()->GetFormat();
}

void GatedSumFilter::RunHost(Host& runHost, Layer& target, const std::vector<Layer*>& layers) {
    const Layer& formatLayer = *layers.back();
    CheckLayer(target, LayerKind::Float, formatLayer, GetName());
    for (std::size_t i = 0; i < layers.size(); ++i) {
        CheckLayer(*layers[i], IsSum(i) ? LayerKind::Float : LayerKind::Picture, formatLayer, GetName());
    }
    host = &runHost;
    output = &target;
    inputLayers = layers;
    const std::int64_t floats = GatedSumScratchFloats(static_cast<std::int32_t>(inputs.size()));
    const SlotScratch scratch(runHost, floats * static_cast<std::int64_t>(sizeof(float)));
    _scratch = &scratch;
    const GatedBands bands(target.Bounds(), layers.back()->ChannelBits(), ThreadSlots(runHost));
    SharedBands shared(ThreadSlots(runHost));
    _shared = &shared;
    const int count = bands.columns * bands.rows;
    // After the bands, as many times as there are threads, what is left of them.
    ForParts(runHost, count > 1 ? count + ThreadSlots(runHost) : count, [&](int part, int slot) {
        if (part < count) {
            RunHostRows(bands.At(part), slot);
            return;
        }
        while (const std::optional<Bounds> rest = shared.Take()) {
            RunHostRows(*rest, slot);
        }
    });
}

void GatedSumFilter::RunHostRows(const Bounds& band, int slot) {
    SharedBands::Walk walk(*_shared, slot, band);
    const GatedSumParameters parameters{1.0F / _limit,
                                        static_cast<std::int32_t>(_pastInputs),
                                        static_cast<std::int32_t>(inputs.size() - _pastInputs),
                                        static_cast<std::int32_t>(_joinFrame),
                                        {_startsFromSum[0], _startsFromSum[1]},
                                        _weights.data(),
                                        reinterpret_cast<float*>(_scratch->Of(slot)),
                                        &walk};
    RunBand(KernelId::GatedSum, *inputLayers.back(), band, &parameters, threadThatDoesNotReport);
}

}  // namespace TQ::IP
