#include "effect/DeflickerSettings.h"

#include <cmath>

namespace TQ::Effect {

namespace {

constexpr float smallestScale = 0.125F;       // previews below this are passed through
constexpr float smallestMotionScale = 0.25F;  // previews below this go without optical flow
constexpr double twoPi = 6.283185307179586;

DetectKind KindOf(int detectMotion) {
    switch (detectMotion) {
        case detectFast:
            return DetectKind::Fast;
        case detectSlow:
            return DetectKind::Similarity;
        default:
            return DetectKind::Solid;
    }
}

}  // namespace

bool DeflickerSettings::PassesThrough() const {
    return scaleX < smallestScale || scaleY < smallestScale || timeRadius == 0;
}

int DeflickerSettings::PastFrames() const {
    switch (render) {
        case renderMotion:
        case renderMask:
            return 1;
        case renderRecursive:
            return static_cast<int>(2 * (sigma * 3.0F));
        default:
            return timeRadius;
    }
}

int DeflickerSettings::FutureFrames() const {
    return render == renderRecursive ? 0 : PastFrames();
}

float DeflickerSettings::Weight(int offset) const {
    const auto density = static_cast<float>(1.0 / (static_cast<double>(sigma) * std::sqrt(twoPi)));
    const auto squared = static_cast<float>(offset * offset);
    return std::exp(-squared / ((sigma + sigma) * sigma)) * density;
}

DeflickerSettings DeriveSettings(const DeflickerValues& values, float scaleX, float scaleY) {
    DeflickerSettings settings;
    settings.scaleX = scaleX;
    settings.scaleY = scaleY;
    settings.sensitivityPixels = static_cast<float>(values.sensitivity) * scaleX;
    settings.highPassThreshold = static_cast<float>(values.threshold) / 100.0F;
    settings.maskThreshold = static_cast<float>(values.maskThreshold) / 100.0F;
    // Compared after the division, so that only a value far outside the parameter's range switches the mask
    // off.
    settings.maskRadius = settings.maskThreshold == 100.0F ? 0.0F : static_cast<float>(values.maskRadius);
    settings.timeRadius = values.timeRadius;
    settings.sigma = static_cast<float>(values.timeRadius) / 3.0F;
    settings.detectKind = KindOf(values.detectMotion);
    settings.motionQuality = values.motionQuality;
    settings.render = values.render;
    settings.useMotion = values.render == renderMotion || (values.motion && scaleX >= smallestMotionScale);
    const bool detectOn = values.detectMotion == detectFast || values.detectMotion == detectSlow;
    settings.useMask = detectOn && settings.maskRadius > 0.0F;
    return settings;
}

}  // namespace TQ::Effect
