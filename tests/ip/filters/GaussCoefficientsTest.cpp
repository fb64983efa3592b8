#include "ip/filters/GaussCoefficients.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace TQ::Test {
namespace {

class GaussSeries : public testing::TestWithParam<double> {};
INSTANTIATE_TEST_SUITE_P(Sigmas, GaussSeries, testing::Values(0.75, 1.0, 3.0, 10.0, 30.0, 250.0));

TEST_P(GaussSeries, ComesCloseToTheGaussian) {
    const double sigma = GetParam();
    const IP::GaussCoefficients series = IP::MakeGaussCoefficients(sigma, 0);
    const double peak = 1 / (sigma * std::sqrt(2 * std::numbers::pi));
    const auto term = [&](int j, int k) {
        return static_cast<double>(series.table[static_cast<std::size_t>(2 * j + k - 1)]);
    };
    double largest = 0;
    double sum = 0;
    double spread = 0;
    for (int j = -series.radius; j <= series.radius; ++j) {
        const double weight = (1 + term(std::abs(j), 1) + term(std::abs(j), 2)) / (2 * series.radius + 1);
        largest = std::fmax(largest, std::fabs(weight - peak * std::exp(-0.5 * j * j / (sigma * sigma))));
        sum += weight;
        spread += weight * j * j;
    }
    EXPECT_LE(largest, 0.025 * peak);
    EXPECT_NEAR(sum, 1, 1e-5);
    EXPECT_NEAR(std::sqrt(spread), sigma, 0.025 * sigma);
    // The recurrence runs on the same angles.
    EXPECT_NEAR(series.cfA[1], 2 * std::cos(4 * std::numbers::pi / (2 * series.radius + 1)), 1e-6);
    EXPECT_FLOAT_EQ(series.cfB[0], static_cast<float>(term(series.radius, 1)));
}

TEST(GaussRadius, FollowsSigmaAndIsNeverBelowOne) {
    EXPECT_EQ(IP::GaussRadius(0.0), 1);
    EXPECT_EQ(IP::GaussRadius(0.001), 1);
    EXPECT_EQ(IP::GaussRadius(0.3), 1);
    // Both errors balance where the window is sqrt(10 pi) sigma long.
    for (const double sigma : {1.0, 3.0, 7.3, 30.0, 400.0}) {
        EXPECT_NEAR(IP::GaussRadius(sigma) + 0.5, std::sqrt(10 * std::numbers::pi) * sigma / 2, 1.0) << sigma;
    }
}

}  // namespace
}  // namespace TQ::Test
