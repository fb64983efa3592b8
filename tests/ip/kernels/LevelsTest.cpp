// Every kernel, at every level that this processor runs and in every format, against the baseline: odd
// widths, bands within the output, inputs larger than and offset from it, rows in either direction, guarded
// edges.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <memory>

#include "ip/kernels/KernelBench.h"

namespace TQ::IP::Test {
namespace {

std::vector<IsaLevel> UsableLevels() {
    std::vector<IsaLevel> levels;
    for (int level = 0; level < isaLevelCount; ++level) {
        if (IsLevelUsable(static_cast<IsaLevel>(level))) {
            levels.push_back(static_cast<IsaLevel>(level));
        }
    }
    return levels;
}

/// One set of pictures for a kernel.
struct Scene {
    Scene(const KernelRow& row, KernelFormat format, int width, int height, unsigned seed,
          unsigned char guard)
        : storage(StorageOf(format)), bounds{-3, 5, -3 + width, 5 + height} {
        std::mt19937 random(seed);
        std::uniform_int_distribution<int> margin(0, 5);
        for (const Pixels kind : row.inputs) {
            if (kind == Pixels::None) {
                break;
            }
            Bounds b = {bounds.x1 - margin(random), bounds.y1 - margin(random), bounds.x2 + margin(random),
                        bounds.y2 + margin(random)};
            if (row.id == KernelId::GaussRows) {  // the rows of the output are those of the line
                b.y1 = bounds.y1, b.y2 = bounds.y2;
            }
            const bool coversLess =  // than another input
                row.id != KernelId::GatedSum && row.id != KernelId::AffineSimilarityOfHighPasses;
            if (!coversLess && !images.empty()) {
                b = images[0]->View().bounds;
            }
            const bool isFloat = kind == Pixels::Float;
            images.push_back(std::make_unique<TestImage>(isFloat ? AsFloat(storage) : storage, b,
                                                         margin(random) % 2 == 0, guard));
            images.back()->Fill(isFloat ? Content::Accumulator : Content::Frame, random, row.leastAlpha);
            views.push_back(images.back()->View());
        }
        outputStorage = row.output == Pixels::Float ? AsFloat(storage) : storage;
        bottomUp = margin(random) % 2 == 0;
    }

    TestImage MakeOutput(unsigned char guard) const { return {outputStorage, bounds, bottomUp, guard}; }

    Storage storage;
    Storage outputStorage;
    Bounds bounds;
    bool bottomUp;
    std::vector<std::unique_ptr<TestImage>> images;
    std::vector<ImageView> views;
};

/// Runs one level on a fresh output; checks that it touched the band only and reported its progress.
TestImage RunLevel(IsaLevel level, const KernelRow& row, KernelFormat format, const Scene& scene,
                   const Bounds& band, int radius) {
    constexpr unsigned char guard = 0x5A;
    TestImage output = scene.MakeOutput(guard);
    const Parameters parameters(row, scene.storage, radius);
    RecordingProgress progress;
    const Kernel kernel = FindKernel(level, row.id, format);
    EXPECT_TRUE(kernel(output.View(), scene.views.data(), band, parameters.Get(), progress));

    TestImage covered = output;
    covered.Cover(band, guard);
    EXPECT_EQ(std::count(covered.Bytes().begin(), covered.Bytes().end(), guard),
              static_cast<std::ptrdiff_t>(covered.Bytes().size()))
        << "wrote outside the band";
    const auto height = static_cast<std::uint64_t>(band.y2 - band.y1);
    EXPECT_EQ(progress.calls.size(), (height + 31) / 32);
    for (std::size_t i = 0; i < progress.calls.size(); ++i) {
        EXPECT_NEAR(static_cast<double>(progress.calls[i].done), 32.0 * static_cast<double>(i), 4);
        EXPECT_EQ(progress.calls[i].total, height);
    }
    return output;
}

/// The largest difference over the band, in units of what is allowed for pictures with that white.
double Excess(const KernelRow& row, double white, const TestImage& image, const TestImage& reference,
              const Bounds& band) {
    double worst = 0;
    for (int y = band.y1; y < band.y2; ++y) {
        for (int x = band.x1; x < band.x2; ++x) {
            for (int c = 0; c < 4; ++c) {
                const double expected = reference.Code(x, y, c);
                const double allowed = image.Format().bits == 32
                                           ? row.tolerance * std::max(1.0, std::abs(expected)) +
                                                 (white > 1 ? row.roundings / white : 0.0)
                                           : 1.0 + row.roundings;
                const double difference = std::abs(image.Code(x, y, c) - expected);
                worst = std::max(worst, difference == 0 ? 0 : difference / allowed);
            }
        }
    }
    return worst;
}

bool SameBytes(const TestImage& a, const TestImage& b, const Bounds& band) {
    for (int y = band.y1; y < band.y2; ++y) {
        for (int x = band.x1; x < band.x2; ++x) {
            for (int c = 0; c < 4; ++c) {
                if (a.Code(x, y, c) != b.Code(x, y, c)) {
                    return false;
                }
            }
        }
    }
    return true;
}

class EveryKernel : public testing::TestWithParam<KernelRow> {
  protected:
    template <class Check>
    void ForEachInstance(Check check) {
        for (int f = 0; f < kernelFormatCount; ++f) {
            const auto format = static_cast<KernelFormat>(f);
            ASSERT_NE(FindKernel(IsaLevel::Baseline, GetParam().id, format), nullptr);
            for (const IsaLevel level : UsableLevels()) {
                if (FindKernel(level, GetParam().id, format) != nullptr) {
                    SCOPED_TRACE(std::string(LevelName(level)) + " " + FormatName(format));
                    check(level, format);
                }
            }
        }
    }
};

TEST_P(EveryKernel, AgreesWithTheBaseline) {
    const KernelRow& row = GetParam();
    unsigned seed = 1;
    ForEachInstance([&](IsaLevel level, KernelFormat format) {
        for (const int width : {1, 2, 3, 5, 8, 13, 16, 17, 31, 70}) {
            const int height = width == 70 ? 37 : 3 + width % 5;
            const Scene scene(row, format, width, height, ++seed, 0xFF);
            // Other bytes around the pixels change nothing, so nothing around them is read for a result.
            const Scene otherGuard(row, format, width, height, seed, 0x11);
            Bounds band = scene.bounds;
            band.y1 += height > 4 ? 1 : 0;
            band.x1 += width > 30 ? 3 : 0;
            const TestImage reference = RunLevel(IsaLevel::Baseline, row, format, scene, band, width / 3 + 1);
            const TestImage image = RunLevel(level, row, format, scene, band, width / 3 + 1);
            EXPECT_LE(Excess(row, scene.storage.white, image, reference, band), 1) << "width " << width;
            EXPECT_TRUE(SameBytes(image, RunLevel(level, row, format, otherGuard, band, width / 3 + 1), band))
                << "width " << width;
        }
    });
}

TEST_P(EveryKernel, GivesAPixelTheSameValueInEveryBand) {
    const KernelRow& row = GetParam();
    ForEachInstance([&](IsaLevel level, KernelFormat format) {
        const Scene scene(row, format, 61, 23, 99, 0xFF);
        const TestImage whole = RunLevel(level, row, format, scene, scene.bounds, 4);
        const Bounds bands[] = {
            {-3, 5, 58, 6}, {-3, 10, 58, 17}, {-2, 7, 15, 28}, {20, 5, 58, 28}, {4, 9, 5, 10}};
        for (const Bounds& band : bands) {
            EXPECT_TRUE(SameBytes(RunLevel(level, row, format, scene, band, 4), whole, band))
                << band.x1 << " " << band.y1;
        }
    });
}

class KernelInStrips : public EveryKernel {};

// Wide enough for a second strip of columns, which begins elsewhere in another band.
TEST_P(KernelInStrips, GivesAPixelTheSameValueInEveryStrip) {
    const KernelRow& row = GetParam();
    ForEachInstance([&](IsaLevel level, KernelFormat format) {
        const Scene scene(row, format, 2111, 6, 98, 0xFF);
        const TestImage whole = RunLevel(level, row, format, scene, scene.bounds, 4);
        Bounds band = scene.bounds;
        band.x1 += 37;
        EXPECT_TRUE(SameBytes(RunLevel(level, row, format, scene, band, 4), whole, band));
    });
}

TEST_P(EveryKernel, LeavesAnEmptyBandAlone) {
    const KernelRow& row = GetParam();
    ForEachInstance([&](IsaLevel level, KernelFormat format) {
        const Scene scene(row, format, 9, 9, 5, 0xFF);
        RunLevel(level, row, format, scene, {-3, 8, 6, 8}, 2);
    });
}

// Large outputs are stored in another way, as far as the places of the pixels allow it.
TEST_P(EveryKernel, GivesALargeImageTheSamePixels) {
    const KernelRow& row = GetParam();
    constexpr std::int64_t farRow = 1 << 20;
    std::vector<unsigned char> large(8 * farRow + 4096);
    unsigned char* aligned = large.data() + 64 - reinterpret_cast<std::uintptr_t>(large.data()) % 64;
    ForEachInstance([&](IsaLevel level, KernelFormat format) {
        const Scene scene(row, format, 61, 9, 7, 0xFF);
        const TestImage expected = RunLevel(level, row, format, scene, scene.bounds, 4);
        const std::int64_t bytes = 61 * expected.Format().PixelBytes();
        const Parameters parameters(row, scene.storage, 4);
        RecordingProgress progress;
        for (const std::int64_t shift : {0, 4, 16}) {
            const ImageView view{scene.bounds, aligned + shift, farRow};
            FindKernel(level, row.id, format)(view, scene.views.data(), scene.bounds, parameters.Get(),
                                              progress);
            for (int y = 0; y < 9; ++y) {
                const unsigned char* got = view.data + y * farRow;
                const unsigned char* wanted = expected.View().data + y * expected.View().rowBytes;
                EXPECT_TRUE(std::equal(got, got + bytes, wanted)) << "row " << y << ", shift " << shift;
                EXPECT_TRUE(got[-1] == 0 && got[bytes] == 0) << "wrote outside";
                std::fill_n(view.data + y * farRow, bytes, 0);
            }
        }
    });
}

std::string NameOfRow(const testing::TestParamInfo<KernelRow>& row) {
    return row.param.name;
}

/// The kernels that cut wide bands into strips.
std::vector<KernelRow> RowsInStrips() {
    std::vector<KernelRow> rows;
    std::copy_if(kernelRows.begin(), kernelRows.end(), std::back_inserter(rows), [](const KernelRow& row) {
        return row.id == KernelId::DetectMotion || row.id == KernelId::TemporalMultAddDetectMotion ||
               row.id == KernelId::GatedSum;
    });
    return rows;
}

INSTANTIATE_TEST_SUITE_P(Kernels, EveryKernel, testing::ValuesIn(kernelRows), NameOfRow);
INSTANTIATE_TEST_SUITE_P(Kernels, KernelInStrips, testing::ValuesIn(RowsInStrips()), NameOfRow);

}  // namespace
}  // namespace TQ::IP::Test
