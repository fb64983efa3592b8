#include "ip/filters/TemporalUnmultFilter.h"

#include "ip/filters/FilterTest.h"
#include "ip/filters/TemporalAddFilter.h"

namespace TQ::Test {
namespace {

constexpr IP::Bounds area{0, 0, 21, 6};

TEST(TemporalUnmultFilter, KeepsTheSumWhereThereIsNoWeight) {
    FilterBench bench(byteFormat);
    const auto frame = bench.Leaf(area, [](int, int, int channel) { return channel == 3 ? 0.4 : 0.7; });
    const auto empty = std::make_shared<IP::TemporalAddFilter>(frame, 0.0F);
    const auto mean = std::make_shared<IP::TemporalUnmultFilter>(frame, empty);
    EXPECT_EQ(
        bench.Error(bench.Render(mean, area), [](int, int, int channel) { return channel == 3 ? 0.4 : 0.0; }),
        0.0);
}

}  // namespace
}  // namespace TQ::Test
