#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TestFilters.h"
#include "ip/records/Exception.h"

namespace TQ::Test {
namespace {

using IP::FilterBase;
using IP::FilterLayer;
using IP::unsetBounds;
using testing::ElementsAre;

constexpr Bounds frame{0, 0, 64, 48};

std::shared_ptr<FilterLayer> Placeholder() {
    return std::make_shared<FilterLayer>(frame);
}

std::shared_ptr<AddConstant> Add(const Handle& input, double value, int margin = 0) {
    return std::make_shared<AddConstant>(input, value, margin);
}

TEST(Connections, ConsumersHoldOneEntryPerEdge) {
    const auto a = Placeholder();
    const auto b = Placeholder();
    auto sum = std::make_shared<Sum>(a, a);
    sum->AddInput(nullptr);
    EXPECT_THAT(a->consumers, ElementsAre(sum.get(), sum.get()));

    sum->ReplaceInput(b, 0);
    sum->ReplaceInput(b, 0);
    EXPECT_THAT(sum->inputs, ElementsAre(b, a));
    EXPECT_THAT(a->consumers, ElementsAre(sum.get()));
    EXPECT_THAT(b->consumers, ElementsAre(sum.get()));

    a->ReplaceBy(b);
    EXPECT_THAT(sum->inputs, ElementsAre(b, b));
    EXPECT_THAT(b->consumers, ElementsAre(sum.get(), sum.get()));
    EXPECT_TRUE(a->consumers.empty());

    sum.reset();
    EXPECT_TRUE(b->consumers.empty());
}

TEST(Regions, TwoConsumersAskForTheUnion) {
    const auto source = Placeholder();
    const auto sum = std::make_shared<Sum>(Add(source, 1, 2), Add(source, 2, 5));
    sum->SetRegion({10, 10, 20, 20}, {});
    EXPECT_EQ(source->region, (Bounds{5, 5, 25, 25}));

    sum->SetRegion({12, 12, 14, 14}, {});
    EXPECT_EQ(sum->region, (Bounds{10, 10, 20, 20}));
    sum->SetRegion({18, 0, 30, 15}, {});
    EXPECT_EQ(sum->region, (Bounds{10, 0, 30, 20}));
    EXPECT_EQ(source->region, (Bounds{5, 0, 35, 25})) << "limited to the picture";
}

TEST(Regions, DryRunLeavesTheNeedInLeavesWithoutPixels) {
    MemoryHost host;
    const auto current = Placeholder();
    const auto neighbour = Placeholder();
    const Handle identity = Add(Add(neighbour, 1, 4), 0);
    const auto sink = std::make_shared<Sum>(current, identity);
    const Bounds wanted{20, 20, 40, 46};
    sink->DryRun(host, wanted, {});
    EXPECT_EQ(current->region, wanted);
    EXPECT_EQ(neighbour->region, (Bounds{16, 16, 44, 48}));
    EXPECT_EQ(host.counters->allocations, 0);
    EXPECT_TRUE(sink->consumers.empty());
}

TEST(Formats, FollowInputZeroUnlessAFormatSourceIsSet) {
    MemoryHost host;
    const auto bytes = std::make_shared<Source>(host, frame, 8);
    const auto floats = std::make_shared<Source>(host, frame, 32);
    const auto sum = std::make_shared<Sum>(bytes, floats);
    EXPECT_EQ(sum->GetFormat().depth, IP::PixelDepth::Unsigned8);
    sum->formatSource = floats;
    sum->SetFormat(bytes->GetFormat());
    EXPECT_EQ(sum->format.depth, IP::PixelDepth::Float);

    const auto generator = std::make_shared<Root>();
    generator->SetFormat(floats->GetFormat());
    EXPECT_EQ(generator->GetFormat(), floats->GetFormat()) << "a filter without inputs takes what is asked";
    EXPECT_TRUE(IP::IsInfinite(generator->GetBounds()));
    EXPECT_EQ(generator->GetBoundsExpression(), "infinite");
    EXPECT_EQ(sum->GetBoundsExpression(), "bounds1");
}

std::string MessageOf(const FilterBase& filter, const std::vector<IP::RenderResult>& results) {
    try {
        filter.CheckInputs(results);
    } catch (const Exception& e) {
        return e.Message();
    }
    return "";
}

TEST(Inputs, AreCheckedBeforeARun) {
    MemoryHost host;
    const auto source = Placeholder();
    const auto filter = Add(source, 1);
    std::vector<IP::RenderResult> results;
    EXPECT_EQ(MessageOf(*filter, results), "Missing inputs.");
    results.resize(1);
    EXPECT_EQ(MessageOf(*filter, results), "Missing input.");
    results[0].layer = MakeLayer(host, {0, 0, 8, 8}, 8);
    EXPECT_EQ(MessageOf(*filter, results), "") << "no region was asked for";
    source->region = {0, 0, 8, 9};
    EXPECT_EQ(MessageOf(*filter, results), "Input region mismatch.");
    source->region = IP::infiniteBounds;
    EXPECT_EQ(MessageOf(*filter, results), "");
}

TEST(Optimizer, MergesEqualSourcesAndWhatIsComputedFromThem) {
    MemoryHost host;
    const auto picture = MakeLayer(host, frame, 8);
    const auto leaf = [&] { return std::make_shared<FilterLayer>(picture.get()); };
    // The two sums become equal only after the additions below them have been merged, two levels up.
    const auto branch = [&] { return std::make_shared<Sum>(leaf(), Add(Add(leaf(), 1), 2)); };
    const auto root = RootOver(std::make_shared<Sum>(branch(), branch()));
    IP::OptimizeGraph(*root);
    EXPECT_EQ(IP::WalkInputs(*root).size(), 6U) << "root, sum, sum, add, add, leaf";
    const FilterBase& sink = *root->inputs[0];
    EXPECT_EQ(sink.inputs[0], sink.inputs[1]);
    EXPECT_EQ(sink.inputs[0]->consumers.size(), 2U);

    const auto different = RootOver(std::make_shared<Sum>(Add(leaf(), 1), Add(leaf(), 2)));
    IP::OptimizeGraph(*different);
    EXPECT_EQ(IP::WalkInputs(*different).size(), 5U);
    EXPECT_FALSE(Placeholder()->IsEqual(*Placeholder())) << "images that are not known yet";
}

TEST(Optimizer, RemovesIdentitiesUpToTheSource) {
    const auto source = Placeholder();
    const auto root = RootOver(Add(Add(Add(source, 0), 0), 0));
    IP::OptimizeGraph(*root);
    EXPECT_EQ(root->inputs[0], source);
    EXPECT_THAT(source->consumers, ElementsAre(root.get()));
}

std::shared_ptr<AddConstant> Merging(const Handle& input, double value) {
    auto filter = Add(input, value);
    filter->merges = true;
    return filter;
}

TEST(Optimizer, AbsorbsAWholeChainButNoSharedInput) {
    const auto source = Placeholder();
    const auto sink = Merging(Merging(Merging(source, 1), 2), 4);
    const auto root = RootOver(sink);
    IP::OptimizeGraph(*root);
    EXPECT_EQ(root->inputs[0], sink);
    EXPECT_EQ(sink->value, 7);
    EXPECT_THAT(sink->inputs, ElementsAre(source));
    EXPECT_THAT(source->consumers, ElementsAre(sink.get()));

    const auto shared = Merging(Placeholder(), 1);
    const auto first = Merging(shared, 2);
    const auto second = Merging(shared, 3);
    const auto both = RootOver(std::make_shared<Sum>(first, second));
    IP::OptimizeGraph(*both);
    EXPECT_EQ(first->value, 2);
    EXPECT_THAT(first->inputs, ElementsAre(shared));
}

TEST(Optimizer, KeepsTheCountsRightWhenAPartWasEvaluatedBefore) {
    const auto source = Placeholder();
    const Handle part = Add(source, 1);
    const auto sink = std::make_shared<Sum>(part, Add(source, 2));
    {
        const auto root = RootOver(part);
        IP::RemoveStaleConsumers(*root);
        EXPECT_THAT(part->consumers, ElementsAre(root.get()));
        EXPECT_THAT(source->consumers, ElementsAre(part.get()));
    }
    const auto root = RootOver(sink);
    IP::RemoveStaleConsumers(*root);
    EXPECT_THAT(part->consumers, ElementsAre(sink.get()));
    EXPECT_EQ(source->consumers.size(), 2U);
}

}  // namespace
}  // namespace TQ::Test
