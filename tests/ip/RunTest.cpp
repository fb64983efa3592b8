#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <mutex>

#include "TestFilters.h"
#include "ip/kernels/KernelParameters.h"
#include "ip/records/Exception.h"

namespace TQ::Test {
namespace {

using testing::ElementsAre;

/// Bands come in any order from several threads; they are noted from top left to bottom right.
void Note(std::vector<Bounds>& bands, const Bounds& band) {
    const auto isBefore = [](const Bounds& a, const Bounds& b) {
        return a.y1 != b.y1 ? a.y1 < b.y1 : a.x1 < b.x1;
    };
    bands.insert(std::upper_bound(bands.begin(), bands.end(), band, isBefore), band);
}

/// Notes the bands of its passes, and can run a kernel in each.
class Recording : public IP::FilterSeparable {
  public:
    explicit Recording(const Handle& input) { AddInput(input); }
    const char* GetName() const override { return "recording"; }
    Bounds GetInputRegion(const Bounds& wanted, int) const override {
        return IP::Intersect(IP::Grow(wanted, {-2, -3, 2, 3}), inputs[0]->GetBounds());
    }
    void SetGranularity(int rows) { bandGranularity = rows; }

    std::vector<Bounds> rowBands, columnBands;
    Bounds between{}, columnInput{};
    bool runKernel = false;

  protected:
    void RunHostRows(const Bounds& rows, int threadIndex) override {
        const std::lock_guard<std::mutex> guard(_lock);
        Note(rowBands, rows);
        between = output->Bounds();
        if (runKernel) {
            const IP::SolidParameters white{{1, 1, 1}};
            RunBand(IP::KernelId::Solid, *output, rows, &white, threadIndex);
        }
    }
    void RunHostColumns(const Bounds& columns, int) override {
        const std::lock_guard<std::mutex> guard(_lock);
        Note(columnBands, columns);
        columnInput = inputLayers[0]->Bounds();
    }

  private:
    std::mutex _lock;
};

TEST(Bands, CoverTheOutputOnceAlongRowsThenColumns) {
    MemoryHost host(3);
    const auto source = std::make_shared<Source>(host, Bounds{0, 0, 40, 30});
    const auto filter = std::make_shared<Recording>(source);
    const auto output = MakeLayer(host, {10, 5, 20, 15}, 8);
    RenderGraph(filter, host, output);
    EXPECT_THAT(filter->rowBands,
                ElementsAre(Bounds{10, 2, 20, 7}, Bounds{10, 7, 20, 12}, Bounds{10, 12, 20, 18}))
        << "the image between the passes has the rows that the second one reads";
    EXPECT_THAT(filter->columnBands,
                ElementsAre(Bounds{10, 5, 13, 15}, Bounds{13, 5, 16, 15}, Bounds{16, 5, 20, 15}));
    EXPECT_EQ(filter->between, filter->columnInput);
    EXPECT_EQ(host.GetProgressState().levels[0].current, 2U);
}

TEST(Bands, AreCutAtMultiplesOfTheGranularity) {
    MemoryHost host(3);
    const auto source = std::make_shared<Source>(host, Bounds{0, 5, 4, 105});
    const auto filter = std::make_shared<Recording>(source);
    filter->passMode = IP::FilterSeparable::PassMode::First;
    filter->SetGranularity(32);
    EXPECT_EQ(filter->ProgressSteps(), 1);
    RenderGraph(filter, host, MakeLayer(host, {0, 5, 4, 105}, 8));
    EXPECT_THAT(filter->rowBands,
                ElementsAre(Bounds{0, 5, 4, 37}, Bounds{0, 37, 4, 69}, Bounds{0, 69, 4, 105}));
    EXPECT_TRUE(filter->columnBands.empty());

    filter->rowBands.clear();
    RenderGraph(filter, host, MakeLayer(host, {0, 5, 4, 30}, 8));
    EXPECT_THAT(filter->rowBands, ElementsAre(Bounds{0, 5, 4, 30})) << "empty bands are not run";
}

TEST(Bands, RunTheKernelOfTheOutputFormat) {
    LayerStyle argb{{1, 2, 3, 0}}, half;
    argb.shortWhite = 32768;
    half.half = true;
    const Bounds bounds{-2, 3, 31, 40};
    MemoryHost host(2);
    host.style = argb;
    const auto source = std::make_shared<Source>(host, bounds, 16);
    const auto filter = std::make_shared<Recording>(source);
    filter->passMode = IP::FilterSeparable::PassMode::First;
    filter->runKernel = true;
    const auto output = MakeLayer(host, bounds, 16);
    RenderGraph(filter, host, output);
    EXPECT_EQ(GetValue(*output, -2, 3, 1), 32768);
    EXPECT_EQ(GetValue(*output, 30, 39, 0), 32768);
    EXPECT_THROW(RenderGraph(filter, host, MakeLayer(host, bounds, 16, half)), Exception);
}

}  // namespace
}  // namespace TQ::Test
