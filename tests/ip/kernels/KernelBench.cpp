#include "ip/kernels/KernelBench.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace TQ::IP::Test {
namespace {

constexpr int guardBytes = 24;
constexpr float weights[] = {0.3F, 0.7F, 0.5F};

}  // namespace

Storage StorageOf(KernelFormat format) {
    constexpr Storage table[kernelFormatCount] = {
        {8, 255, 3, false},    {8, 255, 0, false},   {8, 255, 3, true},     {8, 255, 0, true},
        {16, 32768, 0, false}, {16, 32768, 3, true}, {16, 16384, 3, false}, {16, 16384, 0, false},
        {16, 16384, 3, true},  {16, 16384, 0, true}, {16, 65535, 3, false}, {32, 1, 3, false},
        {32, 1, 0, false},     {32, 1, 3, true},     {32, 1, 0, true},
    };
    return table[static_cast<int>(format)];
}

Storage AsFloat(Storage storage) {
    return {32, 1, storage.alpha, storage.blueFirst};
}

std::string FormatName(KernelFormat format) {
    const Storage s = StorageOf(format);
    return std::to_string(s.bits) + "bit" + std::to_string(s.white) + (s.alpha == 0 ? "_A" : "_") +
           (s.blueFirst ? "BGR" : "RGB") + (s.alpha == 3 ? "A" : "");
}

TestImage::TestImage(const Storage& storage, const Bounds& bounds, bool bottomUp, unsigned char guard)
    : _storage(storage) {
    const int width = bounds.x2 - bounds.x1;
    const int height = bounds.y2 - bounds.y1;
    const std::int64_t rowBytes = static_cast<std::int64_t>(width) * storage.PixelBytes() + guardBytes;
    _bytes.assign(static_cast<std::size_t>(rowBytes * height - guardBytes), guard);
    _view = {bounds, _bytes.data() + (bottomUp ? rowBytes * (height - 1) : 0),
             bottomUp ? -rowBytes : rowBytes};
}

TestImage::TestImage(const TestImage& other)
    : _storage(other._storage), _bytes(other._bytes), _view(other._view) {
    _view.data = _bytes.data() + (other._view.data - other._bytes.data());
}

void TestImage::Cover(const Bounds& band, unsigned char value) {
    for (int y = band.y1; y < band.y2; ++y) {
        std::memset(At(band.x1, y, 0), value,
                    static_cast<std::size_t>((band.x2 - band.x1) * _storage.PixelBytes()));
    }
}

void TestImage::Fill(Content content, std::mt19937& random, double leastAlpha) {
    std::uniform_real_distribution<double> unit(0, 1);
    for (int y = _view.bounds.y1; y < _view.bounds.y2; ++y) {
        for (int x = _view.bounds.x1; x < _view.bounds.x2; ++x) {
            // Weights of accumulators: none, next to none, and sums of a few frames.
            const double kind = unit(random);
            const double weight =
                std::max(leastAlpha, kind < 0.1 ? 0 : (kind < 0.2 ? 5e-5 : 4 * unit(random)));
            for (int c = 0; c < 4; ++c) {
                double value = unit(random);
                if (c == _storage.alpha) {
                    const bool opaque = (x - _view.bounds.x1) / 40 % 2 == 1;  // in whole blocks of a kernel
                    value = opaque ? 1 : leastAlpha + (1 - leastAlpha) * value;
                }
                if (content == Content::Accumulator) {
                    value = c == _storage.alpha ? weight : weight * value;
                } else if (_storage.bits == 32 && c != _storage.alpha) {
                    value = 1.4 * value - 0.2;
                }
                Set(x, y, c, content == Content::Zero ? 0 : value * _storage.white);
            }
        }
    }
}

unsigned char* TestImage::At(int x, int y, int channel) const {
    return _view.data + (y - _view.bounds.y1) * _view.rowBytes +
           (x - _view.bounds.x1) * _storage.PixelBytes() + channel * _storage.bits / 8;
}

double TestImage::Code(int x, int y, int channel) const {
    const unsigned char* at = At(x, y, channel);
    if (_storage.bits == 8) {
        return *at;
    }
    std::uint16_t code = 0;
    float value = 0;
    std::memcpy(&code, at, sizeof(code));
    if (_storage.bits == 16) {
        return code;
    }
    std::memcpy(&value, at, sizeof(value));
    return value;
}

double TestImage::Get(int x, int y, int channel) const {
    return Code(x, y, channel) / _storage.white;
}

double TestImage::Clamped(int x, int y, int channel) const {
    const Bounds& b = _view.bounds;
    return Get(std::clamp(x, b.x1, b.x2 - 1), std::clamp(y, b.y1, b.y2 - 1), channel);
}

void TestImage::Set(int x, int y, int channel, double code) {
    unsigned char* at = At(x, y, channel);
    if (_storage.bits == 8) {
        *at = static_cast<unsigned char>(std::lround(code));
    } else if (_storage.bits == 16) {
        const auto rounded = static_cast<std::uint16_t>(std::lround(code));
        std::memcpy(at, &rounded, sizeof(rounded));
    } else {
        const auto value = static_cast<float>(code);
        std::memcpy(at, &value, sizeof(value));
    }
}

Blur::Blur(double sigma, int radius, bool subtract, float storeMaximum) {
    const double w = static_cast<float>(2 * M_PI / (2 * radius + 1));
    parameters.radius = radius;
    parameters.storeMaximum = storeMaximum;
    parameters.subtractFromSource = subtract;
    table.resize(2 * static_cast<std::size_t>(radius) + 2);
    for (int k = 1; k <= 2; ++k) {
        const double c = 2 * std::exp(-0.5 * std::pow(k * w * sigma, 2));
        for (int j = 0; j <= radius; ++j) {
            table[static_cast<std::size_t>(2 * j + k - 1)] = static_cast<float>(c * std::cos(j * k * w));
        }
        parameters.cfA[k - 1] = static_cast<float>(2 * std::cos(k * w));
        parameters.cfB[k - 1] = table[static_cast<std::size_t>(2 * radius + k - 1)];
    }
    parameters.table = table.data();
}

const std::vector<KernelRow> kernelRows = {
    {KernelId::TemporalAdd1, "TemporalAdd1", Pixels::Float, {Pixels::Frame}, 1e-6},
    {KernelId::TemporalAdd2, "TemporalAdd2", Pixels::Float, {Pixels::Frame, Pixels::Float}, 1e-6},
    {KernelId::TemporalMultAddMask,
     "TemporalMultAddMask",
     Pixels::Float,
     {Pixels::Frame, Pixels::Float, Pixels::Frame},
     1e-6},
    {KernelId::TemporalAddMask,
     "TemporalAddMask",
     Pixels::Float,
     {Pixels::Float, Pixels::Float, Pixels::Frame},
     1e-6},
    {KernelId::TemporalBlend,
     "TemporalBlend",
     Pixels::Float,
     {Pixels::Frame, Pixels::Float, Pixels::Frame},
     1e-6},
    {KernelId::TemporalUnmult, "TemporalUnmult", Pixels::Frame, {Pixels::Frame, Pixels::Float}, 1e-6},
    {KernelId::AddHighPass,
     "AddHighPass",
     Pixels::Frame,
     {Pixels::Frame, Pixels::Frame, Pixels::Float},
     1e-6},
    {KernelId::AddHighPassN,
     "AddHighPassN",
     Pixels::Frame,
     {Pixels::Frame, Pixels::Frame, Pixels::Float},
     1e-6},
    {KernelId::AddHighPassThreshold,
     "AddHighPassThreshold",
     Pixels::Frame,
     {Pixels::Frame, Pixels::Frame, Pixels::Float},
     2e-6},
    {KernelId::AddHighPassThresholdN,
     "AddHighPassThresholdN",
     Pixels::Frame,
     {Pixels::Frame, Pixels::Frame, Pixels::Float},
     2e-6},
    {KernelId::DetectMotion, "DetectMotion", Pixels::Frame, {Pixels::Frame, Pixels::Frame}, 2e-6},
    {KernelId::TemporalMultAddDetectMotion,
     "TemporalMultAddDetectMotion",
     Pixels::Float,
     {Pixels::Frame, Pixels::Float},
     1e-5},
    {KernelId::WeightedSum,
     "WeightedSum",
     Pixels::Float,
     {Pixels::Frame, Pixels::Frame, Pixels::Frame},
     1e-6},
    {KernelId::WeightedSum,
     "WeightedSumFromSum",
     Pixels::Float,
     {Pixels::Float, Pixels::Frame, Pixels::Frame},
     1e-6,
     true},
    {KernelId::GatedSum,
     "GatedSum",
     Pixels::Float,
     {Pixels::Frame, Pixels::Frame, Pixels::Frame},
     1e-5,
     false,
     0.3,
     2},
    {KernelId::GatedSum,
     "GatedSumFromSum",
     Pixels::Float,
     {Pixels::Float, Pixels::Frame, Pixels::Frame},
     1e-5,
     true,
     0.3},
    {KernelId::GaussRows, "GaussRows", Pixels::Frame, {Pixels::Frame}, 1e-5},
    {KernelId::GaussColumns, "GaussColumns", Pixels::Frame, {Pixels::Frame}, 1e-5},
    {KernelId::GaussColumns,
     "GaussColumnsSubtract",
     Pixels::Float,
     {Pixels::Frame, Pixels::Frame},
     1e-5,
     true},
    {KernelId::GaussBlur, "GaussBlur", Pixels::Frame, {Pixels::Frame}, 1e-5, false, 0, 1},
    {KernelId::GaussBlur, "GaussBlurSubtract", Pixels::Float, {Pixels::Frame}, 1e-5, true, 0, 1},
    {KernelId::AddBlurredHighPass,
     "AddBlurredHighPass",
     Pixels::Frame,
     {Pixels::Frame, Pixels::Frame, Pixels::Float},
     5e-5,
     false,
     0.3,
     2},
    {KernelId::AddBlurredHighPassThreshold,
     "AddBlurredHighPassThreshold",
     Pixels::Frame,
     {Pixels::Frame, Pixels::Frame, Pixels::Float},
     5e-5,
     false,
     0.3,
     2},
    {KernelId::Solid, "Solid", Pixels::Frame, {}, 0},
    {KernelId::Ramp, "Ramp", Pixels::Frame, {}, 1e-6},
    {KernelId::CopyAlpha, "CopyAlpha", Pixels::Frame, {Pixels::Frame, Pixels::Frame}, 0},
    {KernelId::GuidedCorrelation2, "GuidedCorrelation2", Pixels::Frame, {Pixels::Frame, Pixels::Frame}, 1e-6},
    {KernelId::AffineSimilarity,
     "AffineSimilarity",
     Pixels::Float,
     {Pixels::Float, Pixels::Float, Pixels::Float},
     1e-5},
    {KernelId::AffineSimilarityExp, "AffineSimilarityExp", Pixels::Frame, {Pixels::Float}, 1e-6},
    {KernelId::AffineSimilarityExp3,
     "AffineSimilarityExp3",
     Pixels::Frame,
     {Pixels::Float, Pixels::Float, Pixels::Float},
     1e-5},
    {KernelId::AffineSimilarityOfHighPasses,
     "AffineSimilarityOfHighPasses",
     Pixels::Frame,
     {Pixels::Float, Pixels::Float},
     5e-5},
    {KernelId::Warp, "Warp", Pixels::Frame, {Pixels::Frame, Pixels::Float}, 0},
};

template <class Value>
Value* Parameters::Scratch(std::int64_t count) {
    // Filled with what would show: a kernel relies on nothing that it has not written.
    const auto floats = static_cast<std::size_t>(count) * sizeof(Value) / sizeof(float) + 16;
    _scratch.push_back(std::make_unique<std::vector<float>>(floats, std::numeric_limits<float>::quiet_NaN()));
    void* address = _scratch.back()->data();
    std::size_t room = floats * sizeof(float);
    return static_cast<Value*>(
        std::align(64, static_cast<std::size_t>(count) * sizeof(Value), address, room));
}

GaussBlurParameters Parameters::BothAxes(const Blur& blur) {
    constexpr int mostColumns = 80;
    GaussParameters alongX = blur.parameters;
    alongX.subtractFromSource = false;
    return {alongX, blur.parameters,
            Scratch<unsigned char>(GaussStreamBytes(mostColumns, blur.parameters.radius))};
}

Parameters::Parameters(const KernelRow& row, const Storage& storage, int radius)
    : _ramp{0.3F,
            0.6F,
            {2, 1},
            {0.02F, 0.01F},
            {{0, 0.1F, 0.2F}, {1, 0.9F, 0}, {0.2F, 0.3F, 1}, {1, 0.5F, 0}}},
      _blur(radius / 3.5, radius, row.variant, static_cast<float>(storage.white)),
      _floatBlur(radius / 3.5, radius, false, 1) {
    switch (row.id) {
        case KernelId::AddHighPassThreshold:
        case KernelId::AddHighPassThresholdN:
            _record = &_highPass;
            break;
        case KernelId::DetectMotion:
        case KernelId::TemporalMultAddDetectMotion:
            _record = &_motion;
            break;
        case KernelId::WeightedSum:
            _weightedSum = {3, row.variant, weights};
            _record = &_weightedSum;
            break;
        case KernelId::GatedSum:
            // One frame in the past half, or a sum and two frames in the future half.
            _gatedSum = {_motion.inverseLimit,
                         row.variant ? 0 : 1,
                         row.variant ? 3 : 2,
                         2,
                         {false, row.variant},
                         weights,
                         Scratch<float>(GatedSumScratchFloats(3))};
            _record = &_gatedSum;
            break;
        case KernelId::GaussRows:
        case KernelId::GaussColumns:
            _record = &_blur.parameters;
            break;
        case KernelId::GaussBlur:
            _gaussBlur = BothAxes(_blur);
            _record = &_gaussBlur;
            break;
        case KernelId::AddBlurredHighPass:
        case KernelId::AddBlurredHighPassThreshold:
            _blurredHighPass = {BothAxes(_blur), BothAxes(_floatBlur), _highPass};
            _record = &_blurredHighPass;
            break;
        case KernelId::AffineSimilarityOfHighPasses: {
            constexpr int longestLine = 80;
            _highPassSimilarity = {
                BothAxes(_floatBlur), BothAxes(_floatBlur), BothAxes(_floatBlur),
                Scratch<unsigned char>(GaussProductBytes(_floatBlur.parameters.radius, longestLine)),
                _similarity};
            _record = &_highPassSimilarity;
            break;
        }
        case KernelId::Solid:
            _record = &_solid;
            break;
        case KernelId::Ramp:
            _record = &_ramp;
            break;
        case KernelId::TemporalAdd1:
        case KernelId::TemporalAdd2:
        case KernelId::TemporalMultAddMask:
        case KernelId::TemporalAddMask:
        case KernelId::TemporalBlend:
            _record = &_weight;
            break;
        case KernelId::AffineSimilarityExp:
        case KernelId::AffineSimilarityExp3:
            _record = &_similarity;
            break;
        default:
            _record = nullptr;
    }
}

}  // namespace TQ::IP::Test
