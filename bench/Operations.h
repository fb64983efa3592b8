#pragma once

// Operations for each pixel of the output that cannot be left out, counted from the formulas as the vector
// instructions that they take, for one of a vector's elements each. Whatever such an instruction does, it
// takes one place among those that a processor can start: an addition, a minimum or a conversion as much as a
// multiply-add. So divided by the rate of multiply-adds they give a least time.
//
// 8-bit pixels add what takes them apart and puts them together. Loads, stores, absolute values, the order of
// interleaved floats, channels that stay as they are and whatever is the same for all pixels count as
// nothing. A division is an estimate of the reciprocal, a step of Newton's method and a product.

namespace TQ::Bench::Operations {

/// By how pixels are stored.
struct Count {
    double ofFloats, of8Bits;

    constexpr double For(int bits) const { return bits == 8 ? of8Bits : ofFloats; }
    friend constexpr Count operator+(Count a, Count b) {
        return {a.ofFloats + b.ofFloats, a.of8Bits + b.of8Bits};
    }
    friend constexpr Count operator*(double times, Count a) {
        return {times * a.ofFloats, times * a.of8Bits};
    }
};

/// A formula that takes and stores that many channels of 8-bit pixels, if they are such.
constexpr Count Formula(double operations, double taken = 0, double stored = 0) {
    constexpr double take = 2;   // out of its pixel, and converted
    constexpr double store = 3;  // limited, converted, and joined with its neighbours
    return {operations, operations + take * taken + store * stored};
}

constexpr double reciprocal = 3;
constexpr double quotient = reciprocal + 1;
constexpr double exponential = 10;  ///< three split off a power of two, five terms, two for its exponent

constexpr Count nothing{};
constexpr Count addFrame = Formula(4, 4);   ///< q, and the frame times q
constexpr Count addToSum = Formula(5, 4);   ///< the same, added
constexpr Count addMasked = Formula(8, 4);  ///< the frame times q, and the sum times a mask added
constexpr Count gateAndAdd = addMasked + Formula(0, 1);  ///< with a mask that is a picture
constexpr Count addGatedSum = Formula(8, 1);             ///< two sums, each times a factor
constexpr Count blend = Formula(1 + 3 * 3, 4);           ///< of the mask and the frame's colours
constexpr double inverseWeight = reciprocal + 2;         ///< 1 where there is none
constexpr Count divideByWeight = Formula(inverseWeight + 3, 0, 3);
/// A difference and a sum for each colour; the weight goes into the difference.
constexpr Count exchangeLow = Formula(2 * 3, 6, 3);
constexpr Count exchangeLowOfSum = exchangeLow + Formula(inverseWeight);
constexpr Count limitCorrection = Formula(3 + 1 + exponential);  ///< squares, their factor
constexpr double similarityOfChannel = 4;                        ///< difference, scale, minimum, product
constexpr double meanOf25 = 9;  ///< five rows, then five columns, and the scale
/// Four channels of a difference, which bytes allow as they are; one value stored.
constexpr Count detectMotion = Formula(4 * similarityOfChannel + meanOf25, 4, 1);
/// The factor of the sum, three channels compared, the gated sum.
constexpr Count gatedStep = Formula(1 + reciprocal + 1 + 3 * similarityOfChannel + meanOf25) + addMasked;
/// The same in a chain, of opaque frames: weights are in the factors and the mask's scale in the
/// similarities, the divider forms the reciprocal, the frame is added as it is, and sums of two rows serve
/// twice.
constexpr Count gatedStepOfChain = Formula(1 + 1 + 3 * similarityOfChannel - 1 + meanOf25 - 2 + 4, 3);
/// A step of the recurrence: differences, two cosine terms, the box, and their sum.
constexpr double blurSample = 2 + 4 + 1 + 2;
constexpr Count blur = Formula(2 * 4 * blurSample, 4, 4);
constexpr Count highPass = Formula(2 * 4 * blurSample + 4, 4);  ///< the difference of the last pass
constexpr Count product = Formula(4, 8, 4);
/// Of four channels: both quotients of the covariance, where a variance is 0 by 1, their product and its
/// sign; the larger variance times what is left of 1, within limits.
constexpr double unexplained = 4 * (2 * quotient + 4 + 1 + 2 + 1 + 3 + 1) + 3;
constexpr Count finalSimilarity = Formula(unexplained);
constexpr Count similarity =
    2 * highPass + Formula(3 * (4 + 2 * 4 * blurSample) + unexplained + exponential, 0, 1);
constexpr Count ramp = Formula(4);  ///< a step along the line; in 8 bits two channels are one integer
/// Two positions, taken into whole and fraction, and where that is; three interpolations of four channels,
/// which in 8 bits are one multiply-add of pairs each.
constexpr Count warp{8 + 3 * 4 * 2, 8 + 3 * 4};
/// Eight taps an axis; two rows are resampled along x for each row of the output.
constexpr Count halve = Formula(4 * 8 * (2 + 1), 4 * 4, 4);
/// Patches of 64 pixels every 3 pixels of a picture at half size, and a third more for the coarser levels.
/// Each is compared at least eight times, at 16 operations for two pixels; how often above that depends on
/// the pictures.
constexpr Count flow = Formula(0.25 * (4.0 / 3.0) / 9.0 * 64 * 8 * 16 / 2);

}  // namespace TQ::Bench::Operations
