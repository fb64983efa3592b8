#include "ip/kernels/FlowKernels.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

namespace TQ::IP {

namespace {

/// The planes of a level, with grey values that look random but are smooth enough for the search to move.
class TestLevel {
  public:
    TestLevel(int width, int height, int stride)
        : _level{},
          _width(width),
          _height(height),
          _columns((width - 8) / stride + 1),
          _rows((height - 8) / stride + 1) {
        const auto pixels = static_cast<std::size_t>(width * height);
        const auto patches = static_cast<std::size_t>(_columns * _rows);
        _gradients.resize(2 * pixels);
        _sums.resize(5 * patches);
        _floats.resize(2 * patches + 2 * pixels);
        FillGrey(_reference, 0.0, 0.0);
        FillGrey(_moved, 1.3, -0.7);
        std::mt19937 random(3);
        std::uniform_real_distribution<float> start(-3.0F, 3.0F);
        for (float& value : _floats) {
            value = start(random);
        }
        // Some start far outside, one nowhere.
        _floats[2 * patches + 4 * static_cast<std::size_t>(width) + 4] = 1e9F;
        _floats[2 * patches + pixels + 4 * static_cast<std::size_t>(width) + 7] = std::nanf("");
        Connect(stride);
    }
    TestLevel(const TestLevel&) = delete;

    /// Searches two bands of patch rows, `together` at once or one after the other.
    void Run(const FlowKernels& kernels, bool together) {
        for (int y = 0; y < _height; ++y) {
            kernels.sobelRow(_level, y);
        }
        for (int row = 0; row < _rows; ++row) {
            kernels.structureRow(_level, row);
        }
        const int half = _rows / 2;
        for (const bool forward : {true, false}) {
            for (int i = 0; i < _rows - half; ++i) {
                const int row = forward ? i : half - 1 - i;
                const int rows[] = {forward ? half + i : _rows - 1 - i, row};
                const int count = i < half ? 2 : 1;
                if (together) {
                    kernels.searchRows(_level, rows, count, forward, i > 0, 12);
                } else {
                    kernels.searchRows(_level, rows, 1, forward, i > 0, 12);
                    kernels.searchRows(_level, rows + 1, count - 1, forward, i > 0, 12);
                }
            }
        }
        std::vector<float> scratch(static_cast<std::size_t>(DensifyScratch(_width, _level.stride)));
        const int cut = _height / 2;  // two parts, which must fit together
        kernels.densifyRows(_level, 0, cut, scratch.data());
        kernels.densifyRows(_level, cut, _height, scratch.data());
    }

    bool operator==(const TestLevel& other) const {
        return _gradients == other._gradients && _sums == other._sums &&
               std::memcmp(_floats.data(), other._floats.data(), _floats.size() * sizeof(float)) == 0;
    }
    const FlowLevel& Level() const { return _level; }

  private:
    void FillGrey(std::vector<std::int16_t>& plane, double shiftX, double shiftY) {
        const int pitch = _width + 2 * flowBorder;
        for (int y = -flowBorder; y < _height + flowBorder; ++y) {
            for (int x = -flowBorder; x < pitch - flowBorder; ++x) {
                const double sx = std::min(std::max(x, 0), _width - 1) - shiftX;
                const double sy = std::min(std::max(y, 0), _height - 1) - shiftY;
                const double grey =
                    127.5 + 60 * std::sin(sx * 0.7 + sy * 0.2) + 67 * std::cos(sy * 0.9 - sx * sx * 0.01);
                plane.push_back(static_cast<std::int16_t>(std::lround(grey) * flowGreyScale));
            }
        }
    }
    void Connect(int stride) {
        const std::int64_t pitch = _width + 2 * flowBorder;
        const std::int64_t origin = flowBorder * pitch + flowBorder;
        const std::int64_t patches = std::int64_t{_columns} * _rows;
        const std::int64_t pixels = std::int64_t{_width} * _height;
        std::int32_t* sums = _sums.data();
        float* flow = _floats.data() + 2 * patches;
        _level = {_width,
                  _height,
                  _columns,
                  _rows,
                  stride,
                  _reference.data() + origin,
                  pitch,
                  _moved.data() + origin,
                  pitch,
                  _gradients.data(),
                  _gradients.data() + pixels,
                  _width,
                  sums,
                  sums + patches,
                  sums + 2 * patches,
                  sums + 3 * patches,
                  sums + 4 * patches,
                  _columns,
                  _floats.data(),
                  _floats.data() + patches,
                  flow,
                  flow + pixels,
                  _width};
    }

    FlowLevel _level;
    int _width, _height, _columns, _rows;
    std::vector<std::int16_t> _reference, _moved, _gradients;
    std::vector<std::int32_t> _sums;
    std::vector<float> _floats;
};

class EveryFlowLevel : public testing::TestWithParam<IsaLevel> {
  protected:
    void SetUp() override {
        if (!IsLevelUsable(GetParam())) {
            GTEST_SKIP() << "this processor has no " << LevelName(GetParam());
        }
    }
    const FlowKernels& kernels = FlowKernelsOf(GetParam());
    const FlowKernels& reference = FlowKernelsOf(IsaLevel::Baseline);
};

/// Runs `kernel(kernels, target)` at both levels; the targets must agree byte for byte, and beyond `count`
/// both be untouched.
template <class Value, class Kernel>
void ExpectSame(const FlowKernels& kernels, const FlowKernels& reference, int count, const Kernel& kernel) {
    constexpr int guard = 16;
    std::vector<Value> expected(static_cast<std::size_t>(count + guard), Value(77));
    std::vector<Value> actual = expected;
    kernel(reference, expected.data());
    kernel(kernels, actual.data());
    EXPECT_EQ(std::memcmp(expected.data(), actual.data(), expected.size() * sizeof(Value)), 0) << count;
    for (int i = count; i < count + guard; ++i) {
        ASSERT_EQ(actual[static_cast<std::size_t>(i)], Value(77)) << count;
    }
}

}  // namespace

// The sums of the search are integers and all else is computed element by element, so that not even an
// iteration more or less is allowed: the levels agree in every byte.
TEST_P(EveryFlowLevel, FlowOfALevelEqualsTheScalarForm) {
    for (const auto& [width, height, stride] :
         {std::array{61, 43, 3}, {8, 8, 3}, {9, 40, 4}, {77, 9, 8}, {30, 25, 1}}) {
        TestLevel expected(width, height, stride);
        TestLevel actual(width, height, stride);
        expected.Run(reference, false);
        actual.Run(kernels, true);
        EXPECT_TRUE(actual == expected) << width << " x " << height << ", stride " << stride;
    }
}

TEST_P(EveryFlowLevel, RowsEqualTheScalarForm) {
    std::mt19937 random(5);
    std::vector<unsigned char> bytes(4 * 4 * 96);
    std::vector<float> floats(4 * 96);
    for (unsigned char& byte : bytes) {
        byte = static_cast<unsigned char>(random());
    }
    for (float& value : floats) {
        value = static_cast<float>(random() % 3000) / 1000.0F - 1.0F;
    }
    const auto* floatBytes = reinterpret_cast<const unsigned char*>(floats.data());
    const unsigned char* sources[] = {bytes.data(), bytes.data(), floatBytes};
    const float whites[] = {255, 16384, 1};
    const float* rows[] = {floats.data(), floats.data() + 100, floats.data() + 201};
    const float weights[] = {200.25F, -30.5F, 90.125F};
    for (const int count : {1, 3, 16, 19, 64, 90}) {
        for (int storage = 0; storage < sampleStorageCount; ++storage) {
            const float white = whites[storage];
            const GreyParameters grey{{2, 1, 0}, {76.5F / white, 153.0F / white, 28.05F / white}, white};
            ExpectSame<std::int16_t>(kernels, reference, count,
                                     [&](const FlowKernels& k, std::int16_t* target) {
                                         k.greyRow[storage](target, sources[storage], count, grey);
                                     });
            bool inside[2];
            int run = 0;
            ExpectSame<std::int16_t>(
                kernels, reference, count, [&](const FlowKernels& k, std::int16_t* target) {
                    inside[run++] = k.fineGreyRow[storage](target, sources[storage], count, grey);
                });
            EXPECT_EQ(inside[0], inside[1]);
            EXPECT_EQ(inside[0], storage == 0);
            ExpectSame<float>(kernels, reference, count, [&](const FlowKernels& k, float* target) {
                k.loadSamples[storage](target, sources[storage], count);
            });
        }
        const auto sum = [&](auto zero, SampleStorage storage) {
            using Value = decltype(zero);
            ExpectSame<Value>(kernels, reference, count, [&](const FlowKernels& k, Value* target) {
                k.sumRows[static_cast<int>(storage)](reinterpret_cast<unsigned char*>(target), rows, weights,
                                                     3, count, sizeof(Value) == 1 ? 255.0F : 300.0F);
            });
        };
        sum(std::uint8_t{}, SampleStorage::Byte);
        sum(std::uint16_t{}, SampleStorage::Short);
        sum(float{}, SampleStorage::Float);
        for (const int factor : {1, 2, 4}) {
            ExpectSame<float>(kernels, reference, count, [&](const FlowKernels& k, float* target) {
                k.enlargeRow(target, 3, count, rows[0], rows[1], 0.375F, 40, factor);
            });
        }
        ExpectSame<float>(kernels, reference, 4 * count, [&](const FlowKernels& k, float* target) {
            k.storeFlow(reinterpret_cast<unsigned char*>(target), rows[0], rows[1], count);
        });
        const HalvingWeights halving{{-243, -384, 4199, 12812, 12812, 4199, -384, -243}};
        const auto* fine = reinterpret_cast<const std::int16_t*>(floats.data());
        ExpectSame<std::int32_t>(kernels, reference, count, [&](const FlowKernels& k, std::int32_t* target) {
            k.halveColumns(target, fine + 10, fine + 300, count, halving);
        });
        const std::int32_t* pairs[4];
        for (int i = 0; i < 4; ++i) {
            pairs[i] = reinterpret_cast<const std::int32_t*>(floats.data()) + 50 * i;
        }
        ExpectSame<std::int16_t>(kernels, reference, 2 * count,
                                 [&](const FlowKernels& k, std::int16_t* target) {
                                     k.halveRows(target, target + count, pairs, count, halving);
                                 });
        std::vector<ResizePosition> positions;
        for (int x = 0; x < count; ++x) {
            positions.push_back({x * 2 / 3, x % 3});
        }
        ExpectSame<float>(kernels, reference, 4 * count, [&](const FlowKernels& k, float* target) {
            k.filterRow(target, floats.data(), positions.data(), count, floats.data() + 7, 8);
        });
    }
}

INSTANTIATE_TEST_SUITE_P(Levels, EveryFlowLevel,
                         testing::Values(IsaLevel::SSE2, IsaLevel::SSE41, IsaLevel::AVX2, IsaLevel::AVX512));

// The scalar form itself, against the formulas with the values as they stand.
TEST(FlowKernels, EnlargedRowsLieBetweenTheirNeighbours) {
    const float above[] = {1, 3, 7};
    const float below[] = {2, 6, 14};
    for (const int factor : {1, 2, 8}) {
        float row[4 * 8];
        const int count = 3 * factor + factor - 1;
        BestFlowKernels().enlargeRow(row, 0, count, above, below, 0.25F, 3, factor);
        for (int x = 0; x < count; ++x) {
            const double at = std::min(std::max((x + 0.5) / factor - 0.5, 0.0), 2.0);
            const int left = std::min(static_cast<int>(at), 1);
            const double a = above[left] * 1.25;
            const double b = above[left + 1] * 1.25;
            EXPECT_NEAR(row[x], (a + (b - a) * (at - left)) * factor, 1e-4) << x << " of " << factor;
        }
    }
}

TEST(FlowKernels, StructureSumsAreThoseOfTheSobelGradients) {
    TestLevel test(23, 19, 3);
    test.Run(BestFlowKernels(), true);
    const FlowLevel& level = test.Level();
    const auto grey = [&](int x, int y) {
        return level.reference[y * level.referencePitch + x] / flowGreyScale;
    };
    const int row = 2;
    const int column = 4;
    int sums[5] = {};
    for (int y = row * 3; y < row * 3 + 8; ++y) {
        for (int x = column * 3; x < column * 3 + 8; ++x) {
            const int gx = grey(x + 1, y - 1) + 2 * grey(x + 1, y) + grey(x + 1, y + 1) - grey(x - 1, y - 1) -
                           2 * grey(x - 1, y) - grey(x - 1, y + 1);
            const int gy = grey(x - 1, y + 1) + 2 * grey(x, y + 1) + grey(x + 1, y + 1) - grey(x - 1, y - 1) -
                           2 * grey(x, y - 1) - grey(x + 1, y - 1);
            const int terms[5] = {gx * gx, gy * gy, gx * gy, gx, gy};
            for (int i = 0; i < 5; ++i) {
                sums[i] += terms[i];
            }
        }
    }
    const int index = row * level.columns + column;
    EXPECT_EQ(level.sumXX[index], sums[0]);
    EXPECT_EQ(level.sumYY[index], sums[1]);
    EXPECT_EQ(level.sumXY[index], sums[2]);
    EXPECT_EQ(level.sumX[index], sums[3]);
    EXPECT_EQ(level.sumY[index], sums[4]);
}

}  // namespace TQ::IP
