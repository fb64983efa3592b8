#include "ip/filters/GaussCoefficients.h"

#include <cmath>
#include <numbers>

namespace TQ::IP {

namespace {

constexpr double pi = std::numbers::pi;

/// How far the two errors of a window of n samples are apart: that of cutting the Gaussian off at the
/// window's ends, and that of cutting its series off after two terms. Both shrink like exp(-t^2) * t, one
/// with the window and the other against it.
double ErrorImbalance(double n, double sigma) {
    const double space = n / (2 * sigma);
    const double frequency = 5 * pi * sigma / n;
    return std::fabs(std::exp(-space * space) * space - std::exp(-frequency * frequency) * frequency);
}

/// Weight of cosine term k of the Gaussian's derivative of `order`, w the window's base frequency.
double SeriesCoefficient(int k, double w, double sigma, int order) {
    return 2 * std::pow(k * w, order) * std::exp(-0.5 * (k * w * sigma) * (k * w * sigma));
}

}  // namespace

int GaussRadius(double sigma) {
    auto low = static_cast<int>(std::ceil(2 * sigma));
    auto high = static_cast<int>(std::ceil(4 * sigma));
    while (high - low > 1) {
        const int middle = (low + high) / 2;
        const bool pastBalance =
            ErrorImbalance(2 * middle + 3, sigma) > ErrorImbalance(2 * middle + 1, sigma);
        (pastBalance ? high : low) = middle;
    }
    const bool takeHigh = ErrorImbalance(2 * high + 1, sigma) < ErrorImbalance(2 * low + 1, sigma);
    const int radius = takeHigh ? high : low;
    return radius < 1 ? 1 : radius;
}

GaussCoefficients MakeGaussCoefficients(double sigma, int order) {
    GaussCoefficients result;
    result.order = order;
    result.radius = GaussRadius(sigma);
    result.table.resize(2 * static_cast<std::size_t>(result.radius) + 2);
    // The kernels slide in single precision, so the base frequency is one that single precision holds.
    const double w = static_cast<float>(2 * pi / (2 * result.radius + 1));
    for (int k = 1; k <= 2; ++k) {
        const double coefficient = SeriesCoefficient(k, w, sigma, order);
        const auto basis = [&](int j) { return order == 1 ? std::sin(j * k * w) : std::cos(j * k * w); };
        const auto term = static_cast<std::size_t>(k - 1);
        for (int j = 0; j <= result.radius; ++j) {
            result.table[2 * static_cast<std::size_t>(j) + term] = static_cast<float>(coefficient * basis(j));
        }
        result.cfA[term] = static_cast<float>(2 * basis(1));
        result.cfB[term] = static_cast<float>(coefficient * basis(result.radius));
    }
    return result;
}

}  // namespace TQ::IP
