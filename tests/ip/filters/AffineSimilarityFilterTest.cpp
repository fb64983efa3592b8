#include "ip/filters/AffineSimilarityFilter.h"

#include <algorithm>
#include <cmath>

#include "ip/filters/FilterTest.h"
#include "ip/filters/GaussCoefficients.h"

namespace TQ::Test {
namespace {

constexpr IP::Bounds area{0, 0, 33, 26};

double Texture(int x, int y, int c) {
    return c == 3 ? 1.0 : 0.3 + 0.15 * std::sin(0.8 * x + c) * std::cos(0.6 * y) + 0.1 * Noise(x, y, c);
}

LayerHandle Weight(FilterBench& bench, const PictureFunction& a, const PictureFunction& b,
                   const IP::AffineSimilarityParams& params) {
    return bench.Render(
        std::make_shared<IP::AffineSimilarityFilter>(bench.Leaf(area, a), bench.Leaf(area, b), params, false),
        area);
}

const auto params = IP::AffineSimilarityParams::Make(3, 3, 0.05F);

TEST(AffineSimilarity, ForgivesGainAndOffsetButNotAnInversionOrAnotherPicture) {
    FilterBench bench(floatFormat);
    const LayerHandle same = Weight(bench, Texture, Texture, params);
    EXPECT_EQ(bench.Error(same, [](int, int, int) { return 1.0; }), 0.0);
    const LayerHandle brighter = Weight(
        bench, Texture, [](int x, int y, int c) { return c == 3 ? 1.0 : 2 * Texture(x, y, c) + 0.1; },
        params);
    EXPECT_LE(bench.Error(brighter, [](int, int, int) { return 1.0; }), 1e-3);
    const LayerHandle inverted = Weight(
        bench, Texture, [](int x, int y, int c) { return c == 3 ? 1.0 : 1 - Texture(x, y, c); }, params);
    const LayerHandle other = Weight(
        bench, Texture, [](int x, int y, int c) { return Texture(y + 90, x - 7, c); }, params);
    EXPECT_LT(bench.At(inverted, 16, 13, 0), 0.1);
    EXPECT_LT(bench.At(other, 16, 13, 0), 0.3);
    // Even areas have nothing that could differ.
    const LayerHandle even = Weight(
        bench, [](int, int, int) { return 0.3; }, [](int, int, int) { return 0.7; }, params);
    EXPECT_LE(bench.Error(even, [](int, int, int) { return 1.0; }), 1e-4);
}

/// The Gaussian of the system as a direct window sum, edges repeated.
using Plane = std::vector<double>;
Plane Blur(const Plane& plane, double sigma) {
    const IP::GaussCoefficients axis = IP::MakeGaussCoefficients(sigma, 0);
    const auto pass = [&axis](const Plane& from, int dx, int dy) {
        Plane to(from.size());
        for (int y = 0; y < area.y2; ++y) {
            for (int x = 0; x < area.x2; ++x) {
                double sum = 0;
                for (int j = -axis.radius; j <= axis.radius; ++j) {
                    const auto at = static_cast<std::size_t>(2 * std::abs(j));
                    const int sx = std::clamp(x + j * dx, 0, area.x2 - 1);
                    const int sy = std::clamp(y + j * dy, 0, area.y2 - 1);
                    sum += (1.0 + axis.table[at] + axis.table[at + 1]) *
                           from[static_cast<std::size_t>(sy * area.x2 + sx)];
                }
                to[static_cast<std::size_t>(y * area.x2 + x)] = sum / (2 * axis.radius + 1);
            }
        }
        return to;
    };
    return pass(pass(plane, 1, 0), 0, 1);
}

Plane HighPass(const PictureFunction& picture, int channel, double sigma) {
    Plane plane;
    for (int y = 0; y < area.y2; ++y) {
        for (int x = 0; x < area.x2; ++x) {
            plane.push_back(picture(x, y, channel));
        }
    }
    const Plane low = Blur(plane, sigma);
    std::transform(plane.begin(), plane.end(), low.begin(), plane.begin(), std::minus<>());
    return plane;
}

Plane Moment(const Plane& x, const Plane& y, double sigma) {
    Plane product(x.size());
    std::transform(x.begin(), x.end(), y.begin(), product.begin(), std::multiplies<>());
    return Blur(product, sigma);
}

/// Unexplained variance, summed over the colours (alpha is even).
Plane Dissimilarity(const PictureFunction& a, const PictureFunction& b, double sigma) {
    Plane total(static_cast<std::size_t>(area.x2 * area.y2));
    for (int c = 0; c < 3; ++c) {
        const Plane highA = HighPass(a, c, sigma);
        const Plane highB = HighPass(b, c, sigma);
        const Plane varianceA = Moment(highA, highA, sigma);
        const Plane varianceB = Moment(highB, highB, sigma);
        const Plane covariance = Moment(highA, highB, sigma);
        for (std::size_t i = 0; i < total.size(); ++i) {
            const double r = covariance[i] * std::abs(covariance[i]) / varianceA[i] / varianceB[i];
            total[i] += std::max(varianceA[i], varianceB[i]) * std::clamp(1 - r, 0.0, 1.0);
        }
    }
    return total;
}

TEST(AffineSimilarity, EqualsItsFormulaWithAndWithoutSmoothing) {
    const auto other = [](int x, int y, int c) {
        return c == 3 ? 1.0 : 0.8 * Texture(x, y, c) + (x > 15 ? 0.2 * Noise(x, y, c, 9) : 0.05);
    };
    for (const float smooth : {0.0F, 2.0F}) {
        Plane expected = Dissimilarity(Texture, other, 3.0);
        if (smooth > 0) {
            expected = Blur(expected, smooth);
        }
        const auto weight = [&](int x, int y, int) {
            return std::exp(-std::abs(expected[static_cast<std::size_t>(y * area.x2 + x)]) / (0.05 * 0.05));
        };
        for (const PictureFormat& format : {floatFormat, shortFormat}) {
            FilterBench bench(format);
            const LayerHandle result = Weight(bench, Texture, other, {3, 3, smooth, smooth, 0.05F});
            EXPECT_LE(bench.Error(result, weight), 5e-3) << format.name << ' ' << smooth;
        }
    }
}

TEST(AffineSimilarity, AHighPassIsSharedByAllComparisonsOfOneFrame) {
    FilterBench bench(floatFormat);
    const FilterHandle frame = bench.Leaf(area, Texture);
    const FilterHandle other = bench.Leaf(area, [](int x, int y, int c) { return Texture(y, x, c); });
    const auto sink = std::make_shared<IP::AffineSimilarityFilter>(frame, other, params, false);
    sink->ExpandGraph(bench.host, nullptr, {});
    const OptimizedGraph graph(sink);
    int highPasses = 0;
    for (const IP::FilterBase* filter : IP::WalkInputs(*graph.Sink())) {
        highPasses += std::string(filter->GetName()) == "hiPass" ? 1 : 0;
    }
    EXPECT_EQ(highPasses, 2);
}

}  // namespace
}  // namespace TQ::Test
