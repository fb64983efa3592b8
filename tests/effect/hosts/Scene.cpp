#include "effect/hosts/Scene.h"

#include <algorithm>
#include <cmath>

namespace TQ::App {
namespace {

double SceneValue(SceneKind kind, int frame, int x, int y, int c) {
    const int left = 2 + 4 * frame;
    const bool isSquare = kind == SceneKind::Moving && x >= left && x < left + 9 && y >= 12 && y < 21;
    const double texture = 0.45 + 0.2 * std::sin(0.21 * x + c) * std::cos(0.17 * y);
    return (isSquare ? 0.95 : texture) *
           (1.0 + 0.02 * std::sin(2.3 * frame) + 0.02 * std::sin(0.35 * y + 2.1 * frame));
}

}  // namespace

ConstPicturePointer SceneFrame(int frame, SampleDepth depth, SceneKind kind) {
    return MakePicture(sceneWidth, sceneHeight, depth,
                       [=](int x, int y, int c) { return c == 3 ? 1.0 : SceneValue(kind, frame, x, y, c); });
}

ClipFormat SceneFormat(SampleDepth depth) {
    ClipFormat format;
    format.width = sceneWidth;
    format.height = sceneHeight;
    format.depth = depth;
    format.frameCount = sceneFrames;
    return format;
}

std::vector<double> Colours(const Picture& picture) {
    std::vector<double> colours;
    ForSamples(picture, [&](int, int, int c, auto sample) {
        if (c != 3) {
            colours.push_back(sample / WhiteOf(picture.Depth()));
        }
    });
    return colours;
}

double LargestDifference(const Picture& a, const Picture& b) {
    const std::vector<double> first = Colours(a);
    const std::vector<double> second = Colours(b);
    double largest = 0;
    for (std::size_t i = 0; i < first.size(); ++i) {
        // Not-a-number counts as a large one.
        const double difference = std::abs(first[i] - second[i]);
        largest = difference <= largest ? largest : std::isnan(difference) ? HUGE_VAL : difference;
    }
    return largest;
}

double Flicker(const std::vector<PicturePointer>& frames) {
    double sum = 0;
    std::vector<double> before = Colours(*frames.front());
    for (std::size_t i = 1; i < frames.size(); ++i) {
        const std::vector<double> now = Colours(*frames[i]);
        for (std::size_t k = 0; k < now.size(); ++k) {
            sum += std::abs(now[k] - before[k]) / static_cast<double>(now.size());
        }
        before = now;
    }
    return sum / static_cast<double>(frames.size() - 1);
}

FrameProvider SceneClip::Provider() {
    return
        [depth = _depth, kind = _kind, held = _held, fetches = _fetches](int frame) -> ConstPicturePointer {
            ++*fetches;
            ++*held;
            ConstPicturePointer picture = SceneFrame(frame, depth, kind);
            const Picture* pixels = picture.get();
            return {pixels, [picture = std::move(picture), held](const Picture*) { --*held; }};
        };
}

std::vector<PicturePointer> RenderScene(EffectInstance& instance, int count) {
    const SampleDepth depth = instance.Format().depth;
    std::vector<PicturePointer> frames;
    for (int frame = 0; frame < count; ++frame) {
        frames.push_back(std::make_shared<Picture>(sceneWidth, sceneHeight, depth));
        instance.Render(frame, SceneClip(depth).Provider(), *frames.back());
    }
    return frames;
}

}  // namespace TQ::App
