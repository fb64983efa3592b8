#include "effect/DeflickerGraph.h"

#include <array>
#include <utility>

#include "ip/filters/AddHighPassFilter.h"
#include "ip/filters/DISFilter.h"
#include "ip/filters/DetectMotionFilter.h"
#include "ip/filters/GaussianBlurFilter.h"
#include "ip/filters/SolidFilter.h"
#include "ip/filters/TemporalAddFilter.h"
#include "ip/filters/TemporalUnmultFilter.h"
#include "ip/filters/WarpFilter.h"

namespace TQ::Effect {

namespace {

using Handle = std::shared_ptr<IP::FilterBase>;

/// A channel difference of this share of white counts as motion.
constexpr float detectLimit = 0.2F;

Handle BuildDetectMask(const DeflickerSettings& settings, const Handle& a, const Handle& b) {
    switch (settings.detectKind) {
        case DetectKind::Fast:
            return std::make_shared<IP::DetectMotionFilter>(a, b, detectLimit, 1.0F, false);
        case DetectKind::Similarity:
            return std::make_shared<IP::AffineSimilarityFilter>(a, b, SimilarityParams(settings), false);
        case DetectKind::Solid:
            break;
    }
    return std::make_shared<IP::SolidFilter>(1.0F, 1.0F, 1.0F);
}

/// Sums the frames of the window in order.
class WindowSum {
  public:
    WindowSum(const DeflickerSettings& settings, const Handle& source, ExtraFrames& extraFrames)
        : _settings(settings), _source(source), _extraFrames(extraFrames) {}

    /// The whole graph when a picture for inspection was asked for, else null and `Result` holds the
    /// accumulator.
    Handle Build();
    const Handle& Result() const { return _running; }

  private:
    Handle NextFrame(int offset);
    Handle Accumulate(const Handle& frame, float weight) const;
    Handle JoinHalves(const Handle& future) const;
    /// `sum` where `frame` agrees with its mean.
    Handle MaskAgainst(const Handle& frame, const Handle& sum) const;

    const DeflickerSettings& _settings;
    const Handle& _source;
    ExtraFrames& _extraFrames;
    Handle _running;
    Handle _pastSum;
    bool _gotFrame = false;
};

Handle WindowSum::NextFrame(int offset) {
    const int slot = offset < 0 ? offset + _settings.timeRadius : offset + _settings.timeRadius - 1;
    // Once one frame of a half exists, all nearer ones are taken to exist and are fetched when evaluated.
    _gotFrame = _gotFrame || _extraFrames.Exists(static_cast<std::size_t>(slot));
    if (!_gotFrame) {
        return nullptr;
    }
    Handle frame = _extraFrames.Frame(static_cast<std::size_t>(slot));
    return _settings.useMotion ? BuildAlignedFrame(_source, frame, _settings.motionQuality) : frame;
}

Handle WindowSum::MaskAgainst(const Handle& frame, const Handle& sum) const {
    return BuildDetectMask(_settings, frame, std::make_shared<IP::TemporalUnmultFilter>(frame, sum));
}

Handle WindowSum::Accumulate(const Handle& frame, float weight) const {
    if (!_running) {
        return std::make_shared<IP::TemporalAddFilter>(frame, weight);
    }
    if (!_settings.useMask) {
        return std::make_shared<IP::TemporalAddFilter>(frame, _running, weight);
    }
    return std::make_shared<IP::TemporalAddFilter>(frame, _running, MaskAgainst(frame, _running), weight,
                                                   true);
}

Handle WindowSum::JoinHalves(const Handle& future) const {
    return std::make_shared<IP::TemporalAddFilter>(future, _pastSum, MaskAgainst(_source, _pastSum), 1.0F,
                                                   false);
}

Handle WindowSum::Build() {
    const int radius = _settings.timeRadius;
    for (int pass = -radius; pass <= radius; ++pass) {
        const int offset = pass < 0 ? pass : radius - pass;
        if (pass == 0) {
            _gotFrame = false;
        }
        const Handle frame = offset == 0 ? _source : NextFrame(offset);
        if (!frame) {
            continue;
        }
        if (offset != 0 && _settings.render == renderMotion) {
            return frame;
        }
        if (_settings.render == renderMask) {
            return BuildDetectMask(_settings, _source, frame);
        }
        Handle next = Accumulate(frame, _settings.Weight(offset));
        if (pass == radius && _pastSum) {
            next = JoinHalves(next);
        }
        _running = std::move(next);
        if (_settings.useMask && pass == -1) {
            _pastSum = std::exchange(_running, nullptr);
        }
    }
    return _settings.render == renderDeflicker ? nullptr : _source;
}

}  // namespace

IP::AffineSimilarityParams SimilarityParams(const DeflickerSettings& settings) {
    return IP::AffineSimilarityParams::Make(settings.maskRadius * settings.scaleX,
                                            settings.maskRadius * settings.scaleY, settings.maskThreshold);
}

Handle BuildAlignedFrame(const Handle& reference, const Handle& moved, int quality) {
    const auto flow = std::make_shared<IP::DISFilter>(reference, moved, IP::MakeDISSettings(0, quality));
    return std::make_shared<IP::WarpFilter>(moved, flow);
}

Handle BuildBlur(const Handle& input, float radius) {
    if (!(radius > 0.0F)) {
        return input;
    }
    return std::make_shared<IP::GaussianBlurFilter>(input, std::array{radius, radius, 0.0F}, 0, 0);
}

Handle BuildDeflickerGraph(const DeflickerSettings& settings, const Handle& source,
                           ExtraFrames& extraFrames) {
    WindowSum sum(settings, source, extraFrames);
    if (Handle picture = sum.Build()) {
        return picture;
    }
    const Handle accumulatedLow = BuildBlur(sum.Result(), settings.sensitivityPixels);
    const Handle sourceLow = BuildBlur(source, settings.sensitivityPixels);
    if (sourceLow == source && settings.highPassThreshold == 1.0F) {
        return std::make_shared<IP::TemporalUnmultFilter>(source, accumulatedLow);
    }
    return std::make_shared<IP::AddHighPassFilter>(source, sourceLow, accumulatedLow,
                                                   settings.highPassThreshold, true, true);
}

}  // namespace TQ::Effect
