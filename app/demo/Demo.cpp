#include "app/demo/Demo.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>

#include "app/demo/Flicker.h"
#include "app/demo/Numbers.h"
#include "app/demo/Scene.h"

namespace TQ::App {

namespace {

constexpr SceneMotion stillCamera{};
constexpr std::uint64_t noiseSeed = 40;

/// How the frames of each kind come about; a row beside each row of `kinds`.
struct Recipe {
    FrameFlicker (*flicker)(int time, int width, int height);
    SceneMotion motion;
};

constexpr DemoKind kinds[] = {
    {"bands", "Rolling bands", "60 Hz lamps, filmed at 25 frames a second with a rolling shutter",
     "Rolling Bands (default)", false},
    {"timelapse", "Time-lapse exposure drift",
     "a camera that measures light and white balance anew for every picture", "Time Lapse", false},
    {"film", "Old-film pulse", "an uneven pulse of brightness and contrast, with grain",
     "Archival/Old Footage", false},
    {"pan", "Rolling bands under a pan", "the same lamps, while the camera pans quickly over the scene",
     "Rolling Bands - Motion 2", true},
    {"extreme", "Extreme motion", "the same lamps, a hurried pan and subjects eight times as fast",
     "Extreme Motion - Slow", true},
};

constexpr const char* presetsForStillCameras[] = {"Rolling Bands (default)", "Rolling Bands 2"};

constexpr Recipe recipes[] = {
    {RollingBands, stillCamera}, {ExposureDrift, stillCamera}, {FilmPulse, stillCamera},
    {RollingBands, {0.05, 1}},   {RollingBands, {0.07, 8}},
};
static_assert(std::size(kinds) == std::size(recipes));

template <class Sample>
void Store(std::uint8_t* row, int column, const Colour& colour, float white, float rounding) {
    Sample* const pixel = reinterpret_cast<Sample*>(row) + static_cast<std::ptrdiff_t>(column) * 4;
    for (std::size_t channel = 0; channel < 3; ++channel) {
        pixel[channel] = static_cast<Sample>(std::clamp(colour[channel], 0.0f, 1.0f) * white + rounding);
    }
    pixel[3] = static_cast<Sample>(white);
}

/// Makes a picture out of `colourAt(x, y)`.
template <class ColourAt>
PicturePointer MakePicture(const DemoFormat& format, const ColourAt& colourAt) {
    const auto picture = std::make_shared<Picture>(format.width, format.height, format.depth);
    for (int y = 0; y < format.height; ++y) {
        std::uint8_t* const row = picture->Row(y);
        for (int x = 0; x < format.width; ++x) {
            const Colour colour = colourAt(x, y);
            switch (format.depth) {
                case SampleDepth::Byte:
                    Store<std::uint8_t>(row, x, colour, 255, 0.5f);
                    break;
                case SampleDepth::Short:
                    Store<std::uint16_t>(row, x, colour, 65535, 0.5f);
                    break;
                case SampleDepth::Float:
                    Store<float>(row, x, colour, 1, 0);
                    break;
            }
        }
    }
    return picture;
}

}  // namespace

std::span<const DemoKind> DemoKinds() {
    return kinds;
}

std::span<const char* const> PresetsForStillCameras() {
    return presetsForStillCameras;
}

const DemoKind* FindDemoKind(std::string_view name) {
    const auto found = std::find_if(std::begin(kinds), std::end(kinds),
                                    [&](const DemoKind& kind) { return kind.name == name; });
    return found == std::end(kinds) ? nullptr : found;
}

DemoFormat FormatOf(const DemoKind& kind) {
    DemoFormat format;
    if (kind.moves) {
        format.width = 640;
        format.height = 360;
        format.frames = 48;
    }
    return format;
}

struct DemoClip::Implementation {
    Recipe recipe;
    Scene scene;
};

DemoClip::DemoClip(const DemoKind& kind, const DemoFormat& format) : _kind(kind), _format(format) {
    if (format.width < 1 || format.height < 1 || format.frames < 1) {
        throw std::invalid_argument("A demonstration clip has at least one pixel and one frame.");
    }
    const Recipe& recipe = recipes[&kind - kinds];
    _implementation.reset(new Implementation{recipe, Scene(format.width, format.height, recipe.motion)});
}

DemoClip::~DemoClip() = default;

PicturePointer DemoClip::Truth(int time) {
    const Frame& frame = _implementation->scene.Render(time);
    return MakePicture(_format, [&](int x, int y) { return frame.At(x, y); });
}

PicturePointer DemoClip::Before(int time) {
    const Frame& frame = _implementation->scene.Render(time);
    const FrameFlicker flicker = _implementation->recipe.flicker(time, _format.width, _format.height);
    constexpr float pivot = FrameFlicker::pivot;
    return MakePicture(_format, [&](int x, int y) {
        const auto row = static_cast<std::size_t>(y);
        const float uneven = 1 + flicker.columnWave[static_cast<std::size_t>(x)] * flicker.rowWave[row];
        Colour colour = frame.At(x, y);
        for (std::size_t channel = 0; channel < 3; ++channel) {
            const double n = NormalRandom(Hash(noiseSeed + channel, x, y, time));
            const float contrasted = pivot + (colour[channel] - pivot) * flicker.contrast;
            colour[channel] =
                contrasted * flicker.rows[row][channel] * uneven + flicker.noise * static_cast<float>(n);
        }
        return colour;
    });
}

}  // namespace TQ::App
