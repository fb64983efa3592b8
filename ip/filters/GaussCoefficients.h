#pragma once

#include <vector>

namespace TQ::IP {

/// What one axis of the sliding Gaussian needs: the Gaussian as a constant and two cosine terms over a window
/// of 2 * radius + 1 samples (K. Sugimoto and S. Kamata, "Efficient constant-time Gaussian filtering with
/// sliding DCT/DST-5 and dual-domain error minimization", ITE Transactions on Media Technology and
/// Applications 3 (1), 2015). From a sigma of 0.75 on no weight of the window is further from the Gaussian
/// than 2.5 % of its peak.
struct GaussCoefficients {
    int order = 0;   ///< of the derivative
    int radius = 1;  ///< N, at least 1
    /// 2 * N + 2 entries: term k = 1, 2 at offset j = 0..N stands at 2 * j + k - 1.
    std::vector<float> table;
    float cfA[2] = {0, 0};  ///< factor of a term's last value in its recurrence
    float cfB[2] = {0, 0};  ///< factor of the samples that enter and leave the window
};

/// The window's radius for `sigma` in pixels: the one between 2 and 4 sigma where cutting the Gaussian at the
/// window's ends costs as much as cutting its cosine series after two terms. At least 1.
int GaussRadius(double sigma);

/// `sigma` is finite and not negative, `order` 0, 1 or 2.
GaussCoefficients MakeGaussCoefficients(double sigma, int order);

}  // namespace TQ::IP
