#pragma once

// Random numbers and a sine out of additions and multiplications alone. The standard library's own may differ
// in the last bit from one system to the next; these do not, so that a demonstration is the same bytes on
// every machine.

#include <cmath>
#include <cstdint>

namespace TQ::App {

/// The mixing step of SplitMix64 (Steele, Lea, Flood: Fast splittable pseudorandom number generators, 2014).
inline std::uint64_t Mix(std::uint64_t value) {
    value += 0x9e3779b97f4a7c15u;
    value = (value ^ (value >> 30)) * 0xbf58476d1ce4e5b9u;
    value = (value ^ (value >> 27)) * 0x94d049bb133111ebu;
    return value ^ (value >> 31);
}

/// 64 random bits for up to three whole numbers of at most 32 bits and a seed.
inline std::uint64_t Hash(std::uint64_t seed, std::int64_t a, std::int64_t b = 0, std::int64_t c = 0) {
    const std::uint64_t low =
        static_cast<std::uint32_t>(a) | static_cast<std::uint64_t>(static_cast<std::uint32_t>(b)) << 32;
    return Mix(Mix(low ^ seed << 48) + static_cast<std::uint64_t>(c));
}

/// Evenly spread over 0 (in) to 1 (out).
inline double UnitRandom(std::uint64_t bits) {
    return static_cast<double>(bits >> 11) * 0x1p-53;
}

/// About normal with mean 0 and deviation 1: the sum of four even numbers, so never beyond 3.5.
inline double NormalRandom(std::uint64_t bits) {
    const std::uint64_t sum = (bits & 0xffff) + (bits >> 16 & 0xffff) + (bits >> 32 & 0xffff) + (bits >> 48);
    constexpr double rootOfThree = 1.7320508075688772;
    return (static_cast<double>(sum) * 0x1p-16 - 2.0) * rootOfThree;
}

/// sin(2 pi turns), within 1e-9.
inline double SineOfTurns(double turns) {
    double t = turns - std::floor(turns + 0.5);
    // The second and third quarter are the mirror of the first and fourth.
    t = t > 0.25 ? 0.5 - t : t < -0.25 ? -0.5 - t : t;
    const double x = t * 6.283185307179586;
    const double s = x * x;
    return x * (1 + s * (-1.0 / 6 +
                         s * (1.0 / 120 +
                              s * (-1.0 / 5040 +
                                   s * (1.0 / 362880 + s * (-1.0 / 39916800 + s * (1.0 / 6227020800.0)))))));
}

inline double CosineOfTurns(double turns) {
    return SineOfTurns(turns + 0.25);
}

inline double Clamp01(double value) {
    return value < 0 ? 0 : value > 1 ? 1 : value;
}

/// 0 below `low`, 1 above `high`, smooth between.
inline double SmoothStep(double low, double high, double value) {
    const double t = Clamp01((value - low) / (high - low));
    return t * t * (3 - 2 * t);
}

}  // namespace TQ::App
