#include "effect/RecursiveDeflicker.h"

#include <cmath>
#include <utility>

#include "ip/Evaluation.h"
#include "ip/filters/AddHighPassFilter.h"
#include "ip/filters/AffineSimilarityFilter.h"
#include "ip/filters/CopyAlphaFilter.h"
#include "ip/filters/TemporalAddFilter.h"
#include "ip/filters/TemporalBlendFilter.h"

namespace TQ::Effect {

namespace {

using Handle = std::shared_ptr<IP::FilterBase>;

/// Fine levels of the flow that are left out, by the menu's first value and by all others.
constexpr int bestQualityLevel = 1;
constexpr int otherQualityLevel = 4;

Handle BuildStep(const DeflickerSettings& settings, const Handle& state, const Handle& frame) {
    const int level = settings.motionQuality == 0 ? bestQualityLevel : otherQualityLevel;
    const Handle aligned = settings.useMotion ? BuildAlignedFrame(frame, state, level) : state;
    const auto similarity =
        std::make_shared<IP::AffineSimilarityFilter>(aligned, frame, SimilarityParams(settings), false);
    const float share = std::exp2(-1.0F / settings.sigma);
    // The blend takes its second picture as a sum of weighted frames: here one frame of weight 1.
    const auto sum = std::make_shared<IP::TemporalAddFilter>(frame, 1.0F);
    const auto blend = std::make_shared<IP::TemporalBlendFilter>(aligned, sum, similarity, share);
    return std::make_shared<IP::AddHighPassFilter>(frame, BuildBlur(frame, settings.sensitivityPixels),
                                                   BuildBlur(blend, settings.sensitivityPixels),
                                                   settings.highPassThreshold, true, true);
}

}  // namespace

void RenderRecursively(const DeflickerSettings& settings, const Handle& source, ExtraFrames& extraFrames,
                       IP::Host& host, const std::shared_ptr<IP::Layer>& output) {
    const int past = settings.PastFrames();
    IP::ProgressState::Level& ticks = host.GetProgressState().levels[2];
    ticks = {0, static_cast<std::uint64_t>(past) + 1, 1, false};
    std::shared_ptr<IP::Layer> state;
    for (int pass = -past; pass <= 0; ++pass, ++ticks.current) {
        const auto slot = static_cast<std::size_t>(pass + past);
        if (pass < 0 && !extraFrames.Exists(slot)) {
            continue;
        }
        const Handle frame = pass < 0 ? extraFrames.Frame(slot) : source;
        const Handle step =
            state ? BuildStep(settings, std::make_shared<IP::FilterLayer>(state.get()), frame) : frame;
        auto next = std::make_shared<IP::Layer>(host);
        next->AllocateRegionLike(*output, source->GetBounds());
        next->ValidBounds() = source->GetBounds();
        IP::RenderGraph(step, host, next);
        state = std::move(next);
    }
    const auto result = std::make_shared<IP::FilterLayer>(state.get());
    IP::RenderGraph(std::make_shared<IP::CopyAlphaFilter>(result, source), host, output);
}

}  // namespace TQ::Effect
