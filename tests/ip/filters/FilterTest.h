#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "ip/Evaluation.h"
#include "support/MemoryHost.h"

namespace TQ::Test {

using FilterHandle = std::shared_ptr<IP::FilterBase>;
using LayerHandle = std::shared_ptr<IP::Layer>;

/// Channel 0 to 3 is red, green, blue, alpha; white is 1.
using PictureFunction = std::function<double(int x, int y, int channel)>;

struct PictureFormat {
    const char* name;
    int bits;
    double white;
    LayerStyle style;
    /// Rounding of a stored value; for floats of a value near 1 after some arithmetic.
    double Tolerance() const { return bits == 32 ? 2e-6 : 0.51 / white; }
};

inline void PrintTo(const PictureFormat& format, std::ostream* out) {
    *out << format.name;
}

inline const PictureFormat byteFormat{"Byte", 8, 255, {{2, 1, 0, 3}}};
inline const PictureFormat shortFormat{"Short", 16, 65535, {}};
inline const PictureFormat short32768Format{"Short32768", 16, 32768, {{1, 2, 3, 0}, 32768}};
inline const PictureFormat floatFormat{"Float", 32, 1, {}};

/// A value in 0..1 that looks random and depends on its arguments only.
inline double Noise(int x, int y, int channel, int seed = 0) {
    const auto scatter = [](int value, std::uint32_t prime) {
        return static_cast<std::uint32_t>(value) * prime;
    };
    std::uint32_t bits = scatter(x, 73856093U) ^ scatter(y, 19349663U) ^ scatter(channel, 83492791U) ^
                         scatter(seed, 2971215073U);
    bits = (bits ^ (bits >> 15)) * 2246822519U;
    bits = (bits ^ (bits >> 13)) * 3266489917U;
    return (bits ^ (bits >> 16)) / 4294967295.0;
}

/// A host whose layers have one format, pictures in it and graphs over them.
class FilterBench {
  public:
    explicit FilterBench(const PictureFormat& format, int threads = 1) : host(threads), _format(format) {
        host.style = format.style;
    }

    LayerHandle Picture(const IP::Bounds& bounds, const PictureFunction& value) {
        LayerHandle layer = MakeLayer(host, bounds, _format.bits);
        const auto& order = _format.style.channelOrder;
        for (int y = bounds.y1; y < bounds.y2; ++y) {
            for (int x = bounds.x1; x < bounds.x2; ++x) {
                for (int channel = 0; channel < 4; ++channel) {
                    const double stored = value(x, y, channel) * _format.white;
                    SetValue(*layer, x, y, order[channel], _format.bits == 32 ? stored : std::round(stored));
                }
            }
        }
        _pictures.push_back(layer);
        return layer;
    }

    FilterHandle Leaf(const IP::Bounds& bounds, const PictureFunction& value) {
        return Leaf(Picture(bounds, value));
    }
    static FilterHandle Leaf(const LayerHandle& layer) {
        return std::make_shared<IP::FilterLayer>(layer.get());
    }

    /// `bits` 0: the bench's format.
    LayerHandle Render(const FilterHandle& sink, const IP::Bounds& bounds, int bits = 0) {
        LayerHandle output = MakeLayer(host, bounds, bits != 0 ? bits : _format.bits);
        IP::RenderGraph(sink, host, output);
        return output;
    }

    double At(const LayerHandle& layer, int x, int y, int channel) const {
        return GetValue(*layer, x, y, _format.style.channelOrder[channel]) / layer->WhiteLevel();
    }

    /// The largest difference between the layer and a function, over all pixels and channels.
    double Error(const LayerHandle& layer, const PictureFunction& expected) const {
        const IP::Bounds& bounds = layer->Bounds();
        double error = 0;
        for (int y = bounds.y1; y < bounds.y2; ++y) {
            for (int x = bounds.x1; x < bounds.x2; ++x) {
                for (int channel = 0; channel < 4; ++channel) {
                    const double difference = std::fabs(At(layer, x, y, channel) - expected(x, y, channel));
                    error = difference <= error ? error : difference;  // takes what is not a number
                }
            }
        }
        return error;
    }
    double Error(const LayerHandle& layer, const LayerHandle& expected) const {
        return Error(layer, [&](int x, int y, int channel) { return At(expected, x, y, channel); });
    }

    MemoryHost host;

  private:
    PictureFormat _format;
    std::vector<LayerHandle> _pictures;
};

/// What the optimiser makes of a graph.
class OptimizedGraph {
  public:
    explicit OptimizedGraph(const FilterHandle& sink) : _root(std::make_shared<Root>()) {
        _root->AddInput(sink);
        IP::OptimizeGraph(*_root);
    }
    FilterHandle Sink() const { return _root->inputs[0]; }

  private:
    struct Root : IP::FilterBase {
        const char* GetName() const override { return "root"; }
    };
    FilterHandle _root;
};

/// A test for each of the four storage types, among them every order in which alpha can stand.
class EveryFormat : public testing::TestWithParam<PictureFormat> {};

inline std::string FormatName(const testing::TestParamInfo<PictureFormat>& info) {
    return info.param.name;
}

}  // namespace TQ::Test
