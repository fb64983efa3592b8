#pragma once

// Operations for each pixel of the output that cannot be left out, counted roughly from the formulas:
// additions, multiplications, minima, divisions and comparisons count as one each, a multiply-add as two,
// conversions, loads, stores and absolute values as none. They are for four channels at full speed in single
// precision, so divided by the machine's peak they give a least time.

namespace TQ::Bench::Operations {

constexpr double addFrame = 4;      ///< q, and the frame times q
constexpr double addToSum = 8;      ///< the same, added
constexpr double gateAndAdd = 12;   ///< the sum times the mask first
constexpr double addGatedSum = 12;  ///< two sums, each times a factor
constexpr double blend = 13;
constexpr double divideByWeight = 4;
constexpr double exchangeLow = 6;          ///< a difference and a sum for each colour
constexpr double limitCorrection = 22;     ///< squares, a multiplication, the exponential (12), the products
constexpr double similarityOfChannel = 4;  ///< difference, scale, minimum, complement
constexpr double meanOf25 = 9;             ///< five rows, then five columns, and the scale
constexpr double detectMotion = 4 * similarityOfChannel + 3 + meanOf25;
/// Mean of the sum, three channels compared, the gated sum.
constexpr double gatedStep = 5 + 3 * similarityOfChannel + 2 + meanOf25 + gateAndAdd;
constexpr double blurSample = 14;  ///< one step of the recurrence: two cosine terms and the box
constexpr double blur = 2 * 4 * blurSample;
constexpr double highPass = blur + 4;
constexpr double product = 4;
constexpr double unexplained = 4 * 11 + 3;  ///< of four channels, from two variances and the covariance
constexpr double exponential = 14;
constexpr double similarity = 2 * highPass + 3 * (product + blur) + unexplained + exponential;
constexpr double ramp = 20;
constexpr double warp = 2 * 10 + 3 * 4 * 3;  ///< two positions, three interpolations of four channels
/// Eight taps an axis; two rows are resampled along x for each row of the output.
constexpr double halve = 4 * 2 * 8 * (2 + 1);
/// Patches of 64 pixels every 3 pixels of a picture at half size, and a third more for the coarser levels.
/// Each is compared at least eight times, at 16 operations a pixel; how often above that depends on the
/// pictures.
constexpr double flow = 0.25 * (4.0 / 3.0) / 9.0 * 64 * 8 * 16;

}  // namespace TQ::Bench::Operations
