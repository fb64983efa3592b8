#include "bench/flow/SyntheticPairs.h"

#include <algorithm>
#include <cmath>
#include <thread>

namespace TQ::Bench {

namespace {

constexpr double pi = 3.14159265358979323846;

double LatticeValue(std::int64_t x, std::int64_t y, std::uint32_t seed) {
    auto h = static_cast<std::uint32_t>(x) * 0x9E3779B1U ^ static_cast<std::uint32_t>(y) * 0x85EBCA77U ^
             seed * 0xC2B2AE3DU;
    h = (h ^ (h >> 15)) * 0x2C1B3C6DU;
    h = (h ^ (h >> 12)) * 0x297A2D39U;
    return static_cast<double>(h ^ (h >> 15)) / 4294967295.0 - 0.5;
}

/// Uniform cubic B-spline weights: smooth, so that a scene between pixels is well defined.
void SplineWeights(double t, double (&w)[4]) {
    w[0] = (1 - t) * (1 - t) * (1 - t) / 6;
    w[1] = (3 * t * t * t - 6 * t * t + 4) / 6;
    w[2] = (-3 * t * t * t + 3 * t * t + 3 * t + 1) / 6;
    w[3] = t * t * t / 6;
}

double SmoothNoise(double x, double y, std::uint32_t seed) {
    const double fx = std::floor(x);
    const double fy = std::floor(y);
    double wx[4], wy[4];
    SplineWeights(x - fx, wx);
    SplineWeights(y - fy, wy);
    double sum = 0;
    for (int j = 0; j < 4; ++j) {
        for (int i = 0; i < 4; ++i) {
            sum += wx[i] * wy[j] *
                   LatticeValue(static_cast<std::int64_t>(fx) + i, static_cast<std::int64_t>(fy) + j, seed);
        }
    }
    return sum;
}

/// Grey of a scene: octaves of noise, about as strong at each scale as photographed and rendered footage is.
double Texture(double x, double y, std::uint32_t seed) {
    double value = 0;
    double period = 2;
    double strength = 50;
    for (std::uint32_t octave = 0; octave < 7; ++octave) {
        value += strength * SmoothNoise(x / period, y / period, seed * 31 + octave);
        period *= 2;
        strength *= 1.15;
    }
    return 118 + value;
}

struct Point {
    double x, y;
};

/// The scene of a motion, seen before and after it.
class Scene {
  public:
    Scene(const SyntheticMotion& motion, int width, int height)
        : _m(motion), _centre{(width - 1) * 0.5, (height - 1) * 0.5}, _radius(height * 0.28) {
        _cos = std::cos(motion.degrees * pi / 180) * motion.zoom;
        _sin = std::sin(motion.degrees * pi / 180) * motion.zoom;
    }

    /// Where a point of the background goes.
    Point Move(Point p) const {
        const double x = p.x - _centre.x;
        const double y = p.y - _centre.y;
        return {_centre.x + _cos * x - _sin * y + _m.shiftX, _centre.y + _sin * x + _cos * y + _m.shiftY};
    }
    Point MoveBack(Point p) const {
        const double x = p.x - _centre.x - _m.shiftX;
        const double y = p.y - _centre.y - _m.shiftY;
        const double scale = 1 / (_cos * _cos + _sin * _sin);
        return {_centre.x + scale * (_cos * x + _sin * y), _centre.y + scale * (_cos * y - _sin * x)};
    }
    Point Flow(Point p) const {
        if (IsFront(p)) {
            return {_m.frontX, _m.frontY};
        }
        const Point q = Move(p);
        return {q.x - p.x, q.y - p.y};
    }
    double Before(Point p) const { return IsFront(p) ? Texture(p.x, p.y, 7) : Texture(p.x, p.y, 1); }
    double After(Point p) const {
        const Point front{p.x - _m.frontX, p.y - _m.frontY};
        const double grey = IsFront(front) ? Texture(front.x, front.y, 7) : BackgroundAfter(p);
        return grey * _m.gain + _m.offset;
    }

  private:
    bool IsFront(Point p) const {
        const bool exists = _m.frontX != 0 || _m.frontY != 0;
        return exists && std::hypot(p.x - _centre.x, p.y - _centre.y) < _radius;
    }
    double BackgroundAfter(Point p) const {
        const Point source = MoveBack(p);
        return Texture(source.x, source.y, 1);
    }

    const SyntheticMotion& _m;
    Point _centre;
    double _radius;
    double _cos, _sin;
};

void StoreGrey(std::uint8_t* pixel, double grey) {
    const auto value = static_cast<std::uint8_t>(std::clamp(grey, 0.0, 255.0) + 0.5);
    pixel[0] = pixel[1] = pixel[2] = value;
    pixel[3] = 255;
}

void FillRows(SyntheticPair& pair, const Scene& scene, int y1, int y2) {
    for (int y = y1; y < y2; ++y) {
        for (int x = 0; x < pair.width; ++x) {
            const auto i = static_cast<std::size_t>(y) * static_cast<std::size_t>(pair.width) +
                           static_cast<std::size_t>(x);
            const Point p{static_cast<double>(x), static_cast<double>(y)};
            StoreGrey(&pair.reference[4 * i], scene.Before(p));
            StoreGrey(&pair.moved[4 * i], scene.After(p));
            const Point flow = scene.Flow(p);
            pair.u[i] = static_cast<float>(flow.x);
            pair.v[i] = static_cast<float>(flow.y);
        }
    }
}

}  // namespace

const std::vector<SyntheticMotion>& SyntheticMotions() {
    static const std::vector<SyntheticMotion> motions = {
        {"shift (0.37, -0.62)", 0.37, -0.62, 1, 0, 0, 0, 1, 0},
        {"shift (13.3, 4.7)", 13.3, 4.7, 1, 0, 0, 0, 1, 0},
        {"shift (-41.6, 22.2)", -41.6, 22.2, 1, 0, 0, 0, 1, 0},
        {"zoom 1.03", 1.3, 0.4, 1.03, 0, 0, 0, 1, 0},
        {"rotation 2 degrees", 0.6, -1.2, 1, 2, 0, 0, 1, 0},
        {"two layers", 2.4, 1.1, 1, 0, -7.3, 3.6, 1, 0},
        {"shift, gain 0.85 offset 6", 3.3, -2.7, 1, 0, 0, 0, 0.85, 6},
        {"shift, gain 1.1 offset -12", 3.3, -2.7, 1, 0, 0, 0, 1.1, -12},
        {"zoom and layers, gain 0.9", 2.4, 1.1, 1.02, 0, -7.3, 3.6, 0.9, 4},
    };
    return motions;
}

SyntheticPair MakePair(const SyntheticMotion& motion, int width, int height) {
    const auto pixels = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    SyntheticPair pair{motion.name, width, height, {}, {}, {}, {}};
    pair.reference.resize(4 * pixels);
    pair.moved.resize(4 * pixels);
    pair.u.resize(pixels);
    pair.v.resize(pixels);
    const Scene scene(motion, width, height);
    std::thread upper([&] { FillRows(pair, scene, 0, height / 2); });
    FillRows(pair, scene, height / 2, height);
    upper.join();
    return pair;
}

}  // namespace TQ::Bench
