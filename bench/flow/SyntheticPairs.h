#pragma once

#include <cstdint>
#include <vector>

namespace TQ::Bench {

/// Two 8-bit RGBA pictures of one textured scene, and the true motion: pixel (x, y) of the reference is seen
/// at (x + u, y + v) of the moved picture.
struct SyntheticPair {
    const char* name;
    int width, height;
    std::vector<std::uint8_t> reference, moved;  ///< 4 bytes a pixel, rows without gaps
    std::vector<float> u, v;
};

/// The motion of a scene, and how the brightness of the moved picture differs.
struct SyntheticMotion {
    const char* name;
    double shiftX, shiftY;
    double zoom;            ///< about the centre
    double degrees;         ///< of rotation about the centre
    double frontX, frontY;  ///< shift of a disc in front; 0, 0: there is none
    double gain, offset;    ///< moved = gain * scene + offset, in grey levels
};

/// The motions that the flow is judged by.
const std::vector<SyntheticMotion>& SyntheticMotions();

SyntheticPair MakePair(const SyntheticMotion& motion, int width, int height);

}  // namespace TQ::Bench
