#include "app/media/PixelConversion.h"

#include "app/media/MediaTesting.h"
#include "app/media/PictureTransform.h"

namespace TQ::App {
namespace {

class DirectFormat : public testing::TestWithParam<AVPixelFormat> {};

// Any samples, as many bits as the layout has, come back as they were (padding aside): samples -> picture ->
// samples
// -> picture gives the first picture, and picture values use the whole range.
TEST_P(DirectFormat, PassesWithoutLoss) {
    const AVPixelFormat format = GetParam();
    const SampleDepth depth = DepthOf(format);
    const int width = 37, height = 5;
    PixelConverter converter(format, width, height, {});
    const FramePointer samples = NewSamples(format, width, height);
    const PicturePointer picture = RandomPicture(width, height, depth, 7);
    converter.FromPicture(*picture, *samples);
    const PicturePointer first = converter.ToPicture(*samples, depth);
    if (format == AV_PIX_FMT_RGBA || format == AV_PIX_FMT_BGRA64LE || format == AV_PIX_FMT_GBRAPF32LE) {
        EXPECT_TRUE(SamePixels(*first, *picture));
    }
    const FramePointer again = NewSamples(format, width, height);
    converter.FromPicture(*first, *again);
    EXPECT_TRUE(SamePixels(*first, *converter.ToPicture(*again, depth)));
    EXPECT_TRUE(SameSamples(*samples, *again));

    auto white = std::make_shared<Picture>(width, height, depth);
    std::memset(white->Row(0), 0xff, white->Bytes());
    if (depth != SampleDepth::Float) {
        converter.FromPicture(*white, *samples);
        EXPECT_TRUE(SamePixels(*white, *converter.ToPicture(*samples, depth)));
    }
}

INSTANTIATE_TEST_SUITE_P(All, DirectFormat,
                         testing::Values(AV_PIX_FMT_RGBA, AV_PIX_FMT_BGRA, AV_PIX_FMT_ARGB, AV_PIX_FMT_RGB24,
                                         AV_PIX_FMT_BGR24, AV_PIX_FMT_BGR0, AV_PIX_FMT_0RGB, AV_PIX_FMT_GBRP,
                                         AV_PIX_FMT_GBRAP, AV_PIX_FMT_GRAY8, AV_PIX_FMT_YA8,
                                         AV_PIX_FMT_RGB565LE, AV_PIX_FMT_X2RGB10LE, AV_PIX_FMT_GBRP9LE,
                                         AV_PIX_FMT_GBRP10LE, AV_PIX_FMT_GBRP12BE, AV_PIX_FMT_GBRAP12LE,
                                         AV_PIX_FMT_GBRP14LE, AV_PIX_FMT_GBRP16LE, AV_PIX_FMT_RGB48LE,
                                         AV_PIX_FMT_RGB48BE, AV_PIX_FMT_RGBA64LE, AV_PIX_FMT_RGBA64BE,
                                         AV_PIX_FMT_BGRA64LE, AV_PIX_FMT_GRAY16BE, AV_PIX_FMT_GRAY10LE,
                                         AV_PIX_FMT_YA16LE, AV_PIX_FMT_GBRPF32LE, AV_PIX_FMT_GBRAPF32LE,
                                         AV_PIX_FMT_GBRAPF32BE, AV_PIX_FMT_GRAYF32LE),
                         [](const auto& row) { return std::string(av_get_pix_fmt_name(row.param)); });

TEST(PixelConversion, PaletteAndMissingAlphaAreUnderstood) {
    const FramePointer samples = NewSamples(AV_PIX_FMT_PAL8, 2, 1);
    reinterpret_cast<std::uint32_t*>(samples->data[1])[0] = 0x80102030;
    reinterpret_cast<std::uint32_t*>(samples->data[1])[1] = 0xffa0b0c0;
    samples->data[0][0] = 1;
    samples->data[0][1] = 0;
    const PicturePointer picture =
        PixelConverter(AV_PIX_FMT_PAL8, 2, 1, {}).ToPicture(*samples, SampleDepth::Byte);
    const std::uint8_t expected[] = {0xa0, 0xb0, 0xc0, 0xff, 0x10, 0x20, 0x30, 0x80};
    EXPECT_EQ(std::memcmp(picture->Row(0), expected, sizeof(expected)), 0);
}

struct YuvCase {
    AVPixelFormat format;
    AVColorSpace matrix;
    AVColorRange range;
};

class YuvRoundTrip : public testing::TestWithParam<YuvCase> {};

int Luma(const AVFrame& frame, int x, int y) {
    return DepthOf(static_cast<AVPixelFormat>(frame.format)) == SampleDepth::Byte
               ? frame.data[0][y * frame.linesize[0] + x]
               : reinterpret_cast<const std::uint16_t*>(frame.data[0] + y * frame.linesize[0])[x];
}

// Soft material inside the gamut: samples -> picture -> samples moves no luma by more than one code.
TEST_P(YuvRoundTrip, KeepsLumaWithinOneCode) {
    const YuvCase& row = GetParam();
    const int width = 66, height = 34;
    ColourTags tags;
    tags.matrix = row.matrix;
    tags.range = row.range;
    PixelConverter converter(row.format, width, height, tags);
    const SampleDepth depth = DepthOf(row.format);
    const FramePointer samples = NewSamples(row.format, width, height);
    converter.FromPicture(*SoftPicture(width, height, depth, 0), *samples);
    // Fine grain in the luma that no soft picture has.
    std::mt19937 random(3);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const int grain = static_cast<int>(random() % 9) - 4;
            if (depth == SampleDepth::Byte) {
                samples->data[0][y * samples->linesize[0] + x] =
                    static_cast<std::uint8_t>(Luma(*samples, x, y) + grain);
            } else {
                reinterpret_cast<std::uint16_t*>(samples->data[0] + y * samples->linesize[0])[x] =
                    static_cast<std::uint16_t>(Luma(*samples, x, y) + grain);
            }
        }
    }
    const FramePointer again = NewSamples(row.format, width, height);
    converter.FromPicture(*converter.ToPicture(*samples, depth), *again);
    int worst = 0;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            worst = std::max(worst, std::abs(Luma(*samples, x, y) - Luma(*again, x, y)));
        }
    }
    EXPECT_LE(worst, 1);
}

std::vector<YuvCase> YuvCases() {
    std::vector<YuvCase> cases;
    for (const AVPixelFormat format :
         {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUV444P, AV_PIX_FMT_NV12, AV_PIX_FMT_YUV420P10LE,
          AV_PIX_FMT_YUV422P10LE, AV_PIX_FMT_YUV444P12LE}) {
        for (const AVColorSpace matrix : {AVCOL_SPC_SMPTE170M, AVCOL_SPC_BT709, AVCOL_SPC_BT2020_NCL}) {
            for (const AVColorRange range : {AVCOL_RANGE_MPEG, AVCOL_RANGE_JPEG}) {
                cases.push_back({format, matrix, range});
            }
        }
    }
    return cases;
}

INSTANTIATE_TEST_SUITE_P(All, YuvRoundTrip, testing::ValuesIn(YuvCases()), [](const auto& row) {
    std::string name = av_get_pix_fmt_name(row.param.format);
    name +=
        std::string("_") + av_color_space_name(row.param.matrix) + "_" + av_color_range_name(row.param.range);
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
});

// The same samples with chroma in one plane or in two take different ways to the picture: the two differ in
// the first rows only, where libswscale weights the chroma beyond the edge otherwise.
TEST(PixelConversion, PlanarChromaGivesWhatInterleavedChromaGives) {
    constexpr int width = 38, height = 22, edge = 4;
    const std::pair<AVPixelFormat, AVPixelFormat> layouts[] = {{AV_PIX_FMT_YUV420P, AV_PIX_FMT_NV12},
                                                               {AV_PIX_FMT_YUV444P, AV_PIX_FMT_NV24}};
    for (const auto& [planar, interleaved] : layouts) {
        const AVPixFmtDescriptor& layout = *av_pix_fmt_desc_get(planar);
        const FramePointer three = NewSamples(planar, width, height);
        const FramePointer two = NewSamples(interleaved, width, height);
        std::mt19937 random(1);
        for (int plane = 0; plane < 3; ++plane) {
            for (int y = 0; y < (plane ? height >> layout.log2_chroma_h : height); ++y) {
                for (int x = 0; x < (plane ? width >> layout.log2_chroma_w : width); ++x) {
                    const auto sample = static_cast<std::uint8_t>(80 + random() % 96);
                    three->data[plane][y * three->linesize[plane] + x] = sample;
                    const int place = plane ? 2 * x + plane - 1 : x;
                    two->data[plane > 0][y * two->linesize[plane > 0] + place] = sample;
                }
            }
        }
        for (const AVChromaLocation location :
             {AVCHROMA_LOC_LEFT, AVCHROMA_LOC_CENTER, AVCHROMA_LOC_TOPLEFT, AVCHROMA_LOC_BOTTOM}) {
            for (const AVColorRange range : {AVCOL_RANGE_MPEG, AVCOL_RANGE_JPEG}) {
                const ColourTags tags{{}, {}, AVCOL_SPC_BT709, range, location};
                const auto a =
                    PixelConverter(planar, width, height, tags).ToPicture(*three, SampleDepth::Byte);
                const auto b =
                    PixelConverter(interleaved, width, height, tags).ToPicture(*two, SampleDepth::Byte);
                int worst = 0;
                ForSamples(*a, [&](int x, int y, int c, int sample) {
                    const bool isInside = y >= edge && y < height - edge;
                    worst = std::max(worst, isInside ? std::abs(sample - b->Row(y)[4 * x + c]) : 0);
                });
                EXPECT_LE(worst, 3) << layout.name << " " << location << " " << range;
            }
        }
    }
}

// Reference values from the matrices' own equations: a full red of each standard's luma weight.
TEST(PixelConversion, UsesTheStreamsMatrixAndRange) {
    const struct {
        AVColorSpace matrix;
        AVColorRange range;
        int height;
        double redWeight;
    } rows[] = {{AVCOL_SPC_BT709, AVCOL_RANGE_MPEG, 8, 0.2126},
                {AVCOL_SPC_SMPTE170M, AVCOL_RANGE_JPEG, 8, 0.299},
                {AVCOL_SPC_BT2020_NCL, AVCOL_RANGE_MPEG, 8, 0.2627},
                {AVCOL_SPC_UNSPECIFIED, AVCOL_RANGE_UNSPECIFIED, 8, 0.299},
                {AVCOL_SPC_UNSPECIFIED, AVCOL_RANGE_UNSPECIFIED, 720, 0.2126}};
    for (const auto& row : rows) {
        ColourTags tags;
        tags.matrix = row.matrix;
        tags.range = row.range;
        PixelConverter converter(AV_PIX_FMT_YUV444P, 8, row.height, tags);
        Picture red(8, row.height, SampleDepth::Byte);
        for (int y = 0; y < row.height; ++y) {
            for (int x = 0; x < 8; ++x) {
                const std::uint8_t pixel[] = {255, 0, 0, 255};
                std::memcpy(red.Row(y) + 4 * x, pixel, 4);
            }
        }
        const FramePointer samples = NewSamples(AV_PIX_FMT_YUV444P, 8, row.height);
        converter.FromPicture(red, *samples);
        const bool full = row.range == AVCOL_RANGE_JPEG;
        EXPECT_NEAR(Luma(*samples, 3, 3), full ? 255 * row.redWeight : 16 + 219 * row.redWeight, 1.0);
    }
}

TEST(PixelConversion, WhiteOfDeepLumaIsWhiteOfDeepPictures) {
    for (const AVPixelFormat format : {AV_PIX_FMT_YUV422P10LE, AV_PIX_FMT_YUV422P10BE}) {
        const bool isForeign = format == AV_PIX_FMT_YUV422P10BE;
        PixelConverter converter(format, 16, 8, {});
        const FramePointer samples = NewSamples(format, 16, 8);
        Picture white(16, 8, SampleDepth::Short);
        std::memset(white.Row(0), 0xff, white.Bytes());
        converter.FromPicture(white, *samples);
        const int luma = Luma(*samples, 5, 3);
        EXPECT_NEAR(isForeign ? (luma >> 8) | ((luma & 255) << 8) : luma, 940, 1);
        const PicturePointer back = converter.ToPicture(*samples, SampleDepth::Short);
        EXPECT_NEAR(reinterpret_cast<const std::uint16_t*>(back->Row(3))[21], 65535, 32);
    }
}

TEST(PixelConversion, TransparencyBesideYuvIsKept) {
    for (const AVPixelFormat format : {AV_PIX_FMT_YUVA420P, AV_PIX_FMT_YUVA444P10LE}) {
        PixelConverter converter(format, 18, 6, {});
        const SampleDepth depth = DepthOf(format);
        const FramePointer samples = NewSamples(format, 18, 6);
        converter.FromPicture(*RandomPicture(18, 6, depth, 5), *samples);
        const FramePointer again = NewSamples(format, 18, 6);
        converter.FromPicture(*converter.ToPicture(*samples, depth), *again);
        for (int y = 0; y < 6; ++y) {
            EXPECT_EQ(
                std::memcmp(samples->data[3] + y * samples->linesize[3],
                            again->data[3] + y * again->linesize[3], depth == SampleDepth::Byte ? 18 : 36),
                0);
        }
    }
}

TEST(PixelConversion, TinyAndOddPicturesConvert) {
    for (const auto& [width, height] : {std::pair(1, 1), {3, 2}, {2, 3}, {5, 7}}) {
        for (const AVPixelFormat format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV420P10LE, AV_PIX_FMT_YUV444P}) {
            PixelConverter converter(format, width, height, {});
            const FramePointer samples = NewSamples(format, width, height);
            const SampleDepth depth = DepthOf(format);
            converter.FromPicture(*SoftPicture(width, height, depth, 1), *samples);
            const FramePointer again = NewSamples(format, width, height);
            converter.FromPicture(*converter.ToPicture(*samples, depth), *again);
            EXPECT_NEAR(Luma(*samples, width - 1, height - 1), Luma(*again, width - 1, height - 1), 1)
                << width << "x" << height;
        }
    }
}

TEST(PictureTransform, DepthsConvertThereAndBack) {
    const PicturePointer bytes = RandomPicture(9, 3, SampleDepth::Byte, 2);
    const PicturePointer shorts = RandomPicture(9, 3, SampleDepth::Short, 2);
    EXPECT_TRUE(
        SamePixels(*bytes, *ConvertDepth(*ConvertDepth(*bytes, SampleDepth::Short), SampleDepth::Byte)));
    EXPECT_TRUE(
        SamePixels(*bytes, *ConvertDepth(*ConvertDepth(*bytes, SampleDepth::Float), SampleDepth::Byte)));
    EXPECT_TRUE(
        SamePixels(*shorts, *ConvertDepth(*ConvertDepth(*shorts, SampleDepth::Float), SampleDepth::Short)));
    Picture wild(1, 1, SampleDepth::Float);
    const float values[] = {-1.0f, 2.0f, std::nanf(""), 0.5f};
    std::memcpy(wild.Row(0), values, sizeof(values));
    const std::uint8_t clipped[] = {0, 255, 0, 128};
    EXPECT_EQ(std::memcmp(ConvertDepth(wild, SampleDepth::Byte)->Row(0), clipped, 4), 0);
}

TEST(PictureTransform, ScalingTakesTheMeanOfTheAreaCovered) {
    Picture row(5, 2, SampleDepth::Byte);
    for (int y = 0; y < 2; ++y) {
        for (int i = 0; i < 20; ++i) {
            row.Row(y)[i] = static_cast<std::uint8_t>(10 * (i / 4) + 100 * y);
        }
    }
    const PicturePointer half = ScalePicture(row, 2, 1);
    // Columns 0, 1 and half of 2: (0 + 10 + 0.5 * 20) / 2.5 = 8; the rows' mean adds 50.
    EXPECT_EQ(half->Row(0)[0], 58);
    EXPECT_EQ(half->Row(0)[4], 82);
    EXPECT_TRUE(SamePixels(row, *ScalePicture(row, 5, 2)));
}

TEST(PictureTransform, TurnsAsTheDisplayMatrixSays) {
    Picture picture(3, 2, SampleDepth::Byte);
    for (int i = 0; i < 24; ++i) {
        picture.Row(i / 12)[i % 12] = static_cast<std::uint8_t>(i / 4);  // 0 1 2 / 3 4 5
    }
    const auto turned = [&](double degrees, bool mirror) {
        DisplayMatrix matrix;
        av_display_rotation_set(matrix.data(), degrees);
        av_display_matrix_flip(matrix.data(), mirror, 0);
        const PicturePointer result = TurnPicture(picture, OrientationOf(matrix));
        std::string text;
        for (int y = 0; y < result->Height(); ++y) {
            for (int x = 0; x < result->Width(); ++x) {
                text += static_cast<char>('0' + result->Row(y)[4 * x]);
            }
            text += '/';
        }
        return text;
    };
    EXPECT_EQ(turned(0, false), "012/345/");
    EXPECT_EQ(turned(90, false), "30/41/52/");
    EXPECT_EQ(turned(180, false), "543/210/");
    EXPECT_EQ(turned(-90, false), "25/14/03/");
    EXPECT_EQ(turned(0, true), "210/543/");
}

}  // namespace
}  // namespace TQ::App
