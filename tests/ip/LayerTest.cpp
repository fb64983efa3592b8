#include <gtest/gtest.h>

#include <cstdint>

#include "TestFilters.h"
#include "ip/records/Exception.h"

namespace TQ::Test {
namespace {

using IP::Contains;
using IP::Extend;
using IP::FormatOfLayer;
using IP::infiniteBounds;
using IP::Intersect;
using IP::IsEmpty;
using IP::PixelDepth;
using IP::PixelFormat;
using IP::unsetBounds;

constexpr Bounds frame{-3, 5, 30, 26};

TEST(BoundsRules, InfiniteUnsetAndEmpty) {
    EXPECT_EQ(Intersect(infiniteBounds, frame), frame);
    EXPECT_EQ(Intersect(frame, infiniteBounds), frame);
    EXPECT_EQ(Intersect(infiniteBounds, infiniteBounds), infiniteBounds);
    EXPECT_TRUE(IsEmpty(Intersect(frame, {100, 0, 120, 90})));
    EXPECT_EQ(Extend(unsetBounds, frame), frame);
    EXPECT_TRUE(IsEmpty(unsetBounds));
    EXPECT_TRUE(Contains(infiniteBounds, frame));
    EXPECT_FALSE(Contains(frame, {-4, 5, 30, 26}));

    const Bounds margin{-2, -1, 2, 1};
    EXPECT_EQ(Grow(frame, margin), (Bounds{-5, 4, 32, 27}));
    EXPECT_EQ(Grow(infiniteBounds, margin), infiniteBounds);
    EXPECT_EQ(Grow(frame, infiniteBounds), frame);
    const Bounds endless{INT32_MIN, 0, INT32_MAX, 10};
    EXPECT_EQ(Grow(endless, margin), (Bounds{INT32_MIN, -1, INT32_MAX, 11}));
    EXPECT_EQ(Width(endless), INT32_MAX);
    EXPECT_EQ(Width(unsetBounds), 0);
}

TEST(Formats, OfALayerFollowBitsWhiteOrderAndRows) {
    MemoryHost host;
    struct Row {
        int bits;
        LayerStyle style;
        PixelDepth depth;
        std::uint32_t white;
    };
    LayerStyle photoshop, below, half;
    photoshop.shortWhite = 32768;
    below.shortWhite = 32767;
    half.half = true;
    const Row rows[] = {
        {8, {}, PixelDepth::Unsigned8, 0},
        {16, {}, PixelDepth::Unsigned16, 65535},
        {16, photoshop, PixelDepth::Unsigned16, 32768},
        {16, below, PixelDepth::Unsigned15, 32767},
        {16, half, PixelDepth::Half, 0},
        {32, {}, PixelDepth::Float, 0},
    };
    for (const Row& row : rows) {
        const PixelFormat format = FormatOfLayer(*MakeLayer(host, frame, row.bits, row.style));
        EXPECT_EQ(format.depth, row.depth);
        EXPECT_EQ(format.whiteLevel, row.white);
        EXPECT_EQ(format.channels, 4);
        EXPECT_EQ(format.flags, IP::formatBottomUp);
    }

    LayerStyle bgraUpsideDown{{2, 1, 0, 3}};
    bgraUpsideDown.negativeRows = true;
    const auto layer = MakeLayer(host, frame, 8, bgraUpsideDown);
    EXPECT_LT(layer->RowBytes(), 0);
    EXPECT_EQ(FormatOfLayer(*layer).channelOrder, 2 * 64 + 1 * 16 + 0 * 4 + 3);
    EXPECT_EQ(FormatOfLayer(*layer).flags, 0U);
}

TEST(Layers, CopyAndClearTheOverlapWhateverTheRowOrder) {
    MemoryHost host;
    LayerStyle upsideDown;
    upsideDown.negativeRows = true;
    const auto source = MakeLayer(host, frame, 16, upsideDown);
    FillLayer(*source, Source::Value);
    const auto target = MakeLayer(host, {0, 0, 40, 10}, 16);
    FillLayer(*target, [](int, int, int) { return 1000; });
    target->CopyFrom(*source);
    target->Implement().Clear({2, 8, 99, 9});
    for (int y = 0; y < 10; ++y) {
        for (int x = 0; x < 40; ++x) {
            const bool cleared = x >= 2 && y == 8;
            const bool copied = x < 30 && y >= 5;
            ASSERT_EQ(GetValue(*target, x, y, 2), cleared ? 0 : copied ? Source::Value(x, y, 2) : 1000);
        }
    }
    EXPECT_THROW(target->CopyFrom(*MakeLayer(host, frame, 8)), Exception);
}

/// What AllocateOutput and AllocateLike make of a format.
struct Allocated {
    int bits, channels, white;
    bool operator==(const Allocated&) const = default;
};

Allocated Shape(const IP::Layer& layer) {
    return {layer.ChannelBits(), layer.Channels(), layer.WhiteLevel()};
}

TEST(Allocation, MapsFormatsToWhatHostMemoryKnows) {
    MemoryHost host;
    LayerStyle half, short32768;
    half.half = true;
    short32768.shortWhite = 32768;
    const auto halfLayer = MakeLayer(host, frame, 16, half);
    const auto shortLayer = MakeLayer(host, frame, 16, short32768);
    PixelFormat plane;
    plane.channels = 1;
    plane.depth = PixelDepth::Float;

    const auto filter = std::make_shared<AddConstant>(std::make_shared<IP::FilterLayer>(frame), 1);
    const auto output = [&](const PixelFormat& format, const IP::Layer* reuse) {
        IP::RenderResult result;
        result.layer = std::make_shared<IP::Layer>(host);
        filter->format = format;
        filter->AllocateOutput(result, reuse, {0, 0, 9, 7});
        EXPECT_EQ(result.layer->Bounds(), (Bounds{0, 0, 9, 7}));
        EXPECT_EQ(result.layer->ValidBounds(), frame);
        EXPECT_GT(result.layer->RowBytes(), 0);
        return Shape(*result.layer);
    };
    EXPECT_EQ(output(FormatOfLayer(*halfLayer), halfLayer.get()), (Allocated{32, 4, 1}));
    EXPECT_EQ(output(FormatOfLayer(*shortLayer), shortLayer.get()), (Allocated{16, 4, 32768}));
    EXPECT_EQ(output(FormatOfLayer(*shortLayer), halfLayer.get()), (Allocated{16, 4, 65535}));
    EXPECT_EQ(output(plane, shortLayer.get()), (Allocated{8, 4, 255}));
    EXPECT_EQ(output(AsFloatRGBA(FormatOfLayer(*shortLayer)), shortLayer.get()), (Allocated{32, 4, 1}));

    IP::RenderResult result;
    result.layer = std::make_shared<IP::Layer>(host);
    filter->AllocateLike(result, shortLayer.get(), FormatOfLayer(*shortLayer), unsetBounds);
    EXPECT_FALSE(result.layer->HasPixels());
    filter->AllocateLike(result, shortLayer.get(), PixelFormat{}, frame);
    EXPECT_EQ(Shape(*result.layer), (Allocated{16, 4, 32768})) << "the given layer decides";
    filter->AllocateLike(result, halfLayer.get(), FormatOfLayer(*halfLayer), frame);
    EXPECT_EQ(Shape(*result.layer), (Allocated{32, 4, 1}));
}

}  // namespace
}  // namespace TQ::Test
