#include "app/media/MediaTesting.h"
#include "app/media/PictureTransform.h"

// libx265 keeps a little memory of its own when it closes.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libx265";
}

namespace TQ::App {
namespace {

struct LosslessCase {
    const char* name;  // with the place for the number
    AVPixelFormat format;
    const char* codec;
};

class LosslessClip : public testing::TestWithParam<LosslessCase> {};

TEST_P(LosslessClip, ComesBackPixelByPixel) {
    const TemporaryFolder folder;
    VideoOutput output = OutputOf(folder / GetParam().name, GetParam().format, 21, 11, 3);
    output.codec = GetParam().codec;
    const std::vector<PicturePointer> written = WriteRandomClip(output);
    const auto reader = OpenVideo(output.path);
    ASSERT_EQ(reader->Info().frameCount, 3);
    EXPECT_EQ(DepthOf(reader->Info().pixelFormat), DepthOf(output.format.pixelFormat));
    const std::vector<VideoFrame> frames = ReadAll(*reader);
    ASSERT_EQ(frames.size(), 3u);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(frames[i].stamp.index, static_cast<int>(i));
        PicturePointer expected = written[i];
        if (!HasAlpha(output.format.pixelFormat)) {
            PixelConverter converter(output.format.pixelFormat, 21, 11, {});
            const FramePointer samples = NewSamples(output.format.pixelFormat, 21, 11);
            converter.FromPicture(*expected, *samples);
            expected = converter.ToPicture(*samples, expected->Depth());
        }
        EXPECT_TRUE(SamePixels(*PictureOf(*reader, frames[i]), *expected)) << "frame " << i;
    }
    for (const std::string& name : folder.Names()) {
        EXPECT_NE(name[0], '.') << "a temporary file stayed: " << name;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, LosslessClip,
    testing::Values(
        LosslessCase{"a.%04d.png", AV_PIX_FMT_RGBA, ""}, LosslessCase{"a.##.png", AV_PIX_FMT_RGBA64LE, ""},
        LosslessCase{"a.%d.png", AV_PIX_FMT_RGB24, ""}, LosslessCase{"a%03d.png", AV_PIX_FMT_GRAY16LE, ""},
        LosslessCase{"a.%04d.tiff", AV_PIX_FMT_RGBA64LE, ""}, LosslessCase{"a.%04d.tif", AV_PIX_FMT_RGBA, ""},
        LosslessCase{"a.%04d.dpx", AV_PIX_FMT_GBRP10LE, ""},
        LosslessCase{"a.%04d.dpx", AV_PIX_FMT_RGB48LE, ""},
        LosslessCase{"a.%04d.exr", AV_PIX_FMT_GBRAPF32LE, ""}, LosslessCase{"a.mkv", AV_PIX_FMT_BGRA, ""},
        LosslessCase{"b.mkv", AV_PIX_FMT_RGBA64LE, ""}, LosslessCase{"c.mkv", AV_PIX_FMT_RGB24, "ffv1"},
        LosslessCase{"a.mov", AV_PIX_FMT_RGBA64LE, ""}, LosslessCase{"a.mp4", AV_PIX_FMT_RGB24, ""}),
    [](const auto& row) {
        std::string name = std::string(row.param.name) + "_" + av_get_pix_fmt_name(row.param.format);
        std::erase_if(name, [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); });
        return name;
    });

VideoOutput YuvClip(const std::filesystem::path& path, int frames, const char* codec = "") {
    VideoOutput output = OutputOf(path, AV_PIX_FMT_YUV420P, 48, 32, frames);
    output.codec = codec;
    return output;
}

TEST(VideoFiles, TheDefaultCodecKeepsDepthAndFamily) {
    const TemporaryFolder folder;
    const struct {
        const char* name;
        AVPixelFormat source;
        int width;
        AVPixelFormat expected;
    } rows[] = {{"a.mp4", AV_PIX_FMT_YUV420P, 32, AV_PIX_FMT_YUV420P},
                {"b.mp4", AV_PIX_FMT_YUV422P10LE, 32, AV_PIX_FMT_YUV422P10LE},
                {"c.mkv", AV_PIX_FMT_YUV420P12LE, 32, AV_PIX_FMT_YUV420P12LE},
                {"d.mkv", AV_PIX_FMT_YUVA420P, 32, AV_PIX_FMT_YUVA420P},
                {"e.mkv", AV_PIX_FMT_GRAY8, 32, AV_PIX_FMT_GRAY8},
                {"f.mp4", AV_PIX_FMT_YUV420P, 31, AV_PIX_FMT_YUV444P},  // odd: H.264 cannot subsample
                {"%d.png", AV_PIX_FMT_YUV420P10LE, 31, AV_PIX_FMT_RGB48BE}};
    for (const auto& row : rows) {
        const auto writer = CreateVideo(OutputOf(folder / row.name, row.source, row.width, 16, 1));
        EXPECT_STREQ(av_get_pix_fmt_name(writer->PixelFormat()), av_get_pix_fmt_name(row.expected))
            << row.name;
        EXPECT_EQ(writer->Warning(), "") << row.name;
    }
    const auto lossy = [&](const char* codec) {
        VideoOutput output = OutputOf(folder / "g.mp4", AV_PIX_FMT_RGBA64LE, 32, 16, 1);
        output.codec = codec;
        return CreateVideo(output);
    };
    EXPECT_EQ(FailureOf([&] { lossy(""); }), MediaFailure::Codec);
    EXPECT_NE(lossy("h264")->Warning(), "");  // the user's own choice
    EXPECT_EQ(FailureOf([&] { lossy("nosuchcodec"); }), MediaFailure::Codec);
    VideoOutput cropped = OutputOf(folder / "h.mp4", AV_PIX_FMT_YUV420P, 31, 17, 1);
    CropForChroma(cropped);
    EXPECT_EQ(cropped.format.width, 30);
    EXPECT_EQ(cropped.format.height, 16);
}

TEST(VideoFiles, LargePicturesHaveASetUpOfTheirOwn) {
    const TemporaryFolder folder;
    const VideoOutput output = OutputOf(folder / "a.mp4", AV_PIX_FMT_YUV420P, 3072, 2048, 1);
    const auto writer = CreateVideo(output);
    writer->Write(Picture(3072, 2048, SampleDepth::Byte), {0, 0, 1});
    writer->Finish();
    EXPECT_EQ(ReadAll(*OpenVideo(output.path)).size(), 1U);
}

TEST(VideoFiles, TagsRatesAndVariableTimeStampsAreKept) {
    const TemporaryFolder folder;
    for (const char* name : {"a.mp4", "a.mov", "a.mkv"}) {
        VideoOutput output = YuvClip(folder / name, 6);
        output.format.pixelFormat = AV_PIX_FMT_YUV420P10LE;
        output.format.colour = {AVCOL_PRI_BT2020, AVCOL_TRC_SMPTE2084, AVCOL_SPC_BT2020_NCL, AVCOL_RANGE_MPEG,
                                AVCHROMA_LOC_LEFT};
        output.format.frameRate = {25, 1};
        output.format.timeBase = {1, 1000};
        output.format.sampleAspect = {4, 3};
        DisplayMatrix matrix;
        av_display_rotation_set(matrix.data(), 90);
        output.format.rotation = matrix;
        const std::int64_t times[] = {0, 40, 70, 130, 131, 200, 240};
        const auto writer = CreateVideo(output);
        for (int i = 0; i < 6; ++i) {
            writer->Write(*SoftPicture(48, 32, SampleDepth::Short, i),
                          {i, times[i], times[i + 1] - times[i]});
        }
        writer->Finish();
        const auto reader = OpenVideo(output.path);
        const VideoInfo& info = reader->Info();
        EXPECT_EQ(info.pixelFormat, AV_PIX_FMT_YUV420P10LE);
        EXPECT_EQ(info.colour.primaries, output.format.colour.primaries);
        EXPECT_EQ(info.colour.transfer, output.format.colour.transfer);
        EXPECT_EQ(info.colour.matrix, output.format.colour.matrix);
        EXPECT_EQ(info.colour.range, output.format.colour.range);
        EXPECT_EQ(info.colour.chromaLocation, output.format.colour.chromaLocation);
        const bool keepsRotation = std::string(name) != "a.mkv";
        EXPECT_EQ(info.rotation.has_value(), keepsRotation);
        EXPECT_EQ(info.width, keepsRotation ? 48 : 32);  // else the pixels are turned
        EXPECT_EQ(av_cmp_q(info.sampleAspect, keepsRotation ? AVRational{4, 3} : AVRational{3, 4}), 0);
        const std::vector<VideoFrame> frames = ReadAll(*reader);
        ASSERT_EQ(frames.size(), 6u) << name;
        for (std::size_t i = 0; i < 6; ++i) {
            EXPECT_EQ(av_compare_ts(frames[i].stamp.time, info.timeBase, times[i], {1, 1000}), 0)
                << name << i;
            if (i == 5) {
                break;  // MP4 holds durations in decoding order: the picture shown last has none of its own
            }
            EXPECT_EQ(
                av_compare_ts(frames[i].stamp.duration, info.timeBase, times[i + 1] - times[i], {1, 1000}), 0)
                << name << i;
        }
    }
}

TEST(VideoFiles, UntouchedSamplesKeepEveryCode) {
    const TemporaryFolder folder;
    const VideoOutput output = YuvClip(folder / "a.mkv", 3, "ffv1");
    const FramePointer samples = NewSamples(AV_PIX_FMT_YUV420P, 48, 32);
    for (int plane = 0; plane < 3; ++plane) {
        for (int i = 0; i < samples->linesize[plane] * (plane ? 16 : 32); ++i) {
            samples->data[plane][i] =
                static_cast<std::uint8_t>(i * 7 + plane);  // also far outside the legal range
        }
    }
    const auto writer = CreateVideo(output);
    ASSERT_TRUE(writer->Accepts(*samples));
    EXPECT_FALSE(writer->Accepts(*NewSamples(AV_PIX_FMT_YUV422P, 48, 32)));
    writer->WriteUntouched(*samples, {0, 0, 1});
    writer->Finish();
    EXPECT_TRUE(SameSamples(*samples, *ReadAll(*OpenVideo(output.path)).at(0).samples));
}

// One second of PCM beside the pictures.
void MuxWithAudio(const std::filesystem::path& path, const std::filesystem::path& video, int streams) {
    AVFormatContext* source = nullptr;
    ASSERT_GE(avformat_open_input(&source, video.c_str(), nullptr, nullptr), 0);
    ASSERT_GE(avformat_find_stream_info(source, nullptr), 0);
    AVFormatContext* target = nullptr;
    ASSERT_GE(avformat_alloc_output_context2(&target, nullptr, nullptr, path.c_str()), 0);
    avcodec_parameters_copy(avformat_new_stream(target, nullptr)->codecpar, source->streams[0]->codecpar);
    for (int i = 0; i < streams; ++i) {
        AVStream* audio = avformat_new_stream(target, nullptr);
        audio->codecpar->codec_type = AVMEDIA_TYPE_AUDIO;
        audio->codecpar->codec_id = AV_CODEC_ID_PCM_S16LE;
        audio->codecpar->sample_rate = 8000;
        audio->codecpar->ch_layout = AV_CHANNEL_LAYOUT_MONO;
        audio->codecpar->format = AV_SAMPLE_FMT_S16;
        audio->time_base = {1, 8000};
    }
    av_dict_set(&target->metadata, "title", "A clip", 0);
    ASSERT_GE(avio_open(&target->pb, path.c_str(), AVIO_FLAG_WRITE), 0);
    ASSERT_GE(avformat_write_header(target, nullptr), 0);
    const PacketPointer packet = NewPacket();
    while (av_read_frame(source, packet.get()) >= 0) {
        av_packet_rescale_ts(packet.get(), source->streams[0]->time_base, target->streams[0]->time_base);
        av_interleaved_write_frame(target, packet.get());
    }
    for (int block = 0; block < 25; ++block) {
        for (int i = 0; i < streams; ++i) {
            av_new_packet(packet.get(), 640);
            std::memset(packet->data, block + 50 * i, 640);
            packet->stream_index = i + 1;
            packet->pts = packet->dts =
                av_rescale_q(block * 320, {1, 8000}, target->streams[i + 1]->time_base);
            packet->duration = av_rescale_q(320, {1, 8000}, target->streams[i + 1]->time_base);
            av_interleaved_write_frame(target, packet.get());
        }
    }
    av_write_trailer(target);
    avio_closep(&target->pb);
    avformat_free_context(target);
    avformat_close_input(&source);
}

// First byte and time in milliseconds of every audio packet, by stream.
std::vector<std::vector<std::pair<int, std::int64_t>>> AudioOf(const std::filesystem::path& path,
                                                               std::string* title) {
    std::vector<std::vector<std::pair<int, std::int64_t>>> streams;
    AVFormatContext* input = nullptr;
    EXPECT_GE(avformat_open_input(&input, path.c_str(), nullptr, nullptr), 0);
    EXPECT_GE(avformat_find_stream_info(input, nullptr), 0);
    if (const AVDictionaryEntry* entry = av_dict_get(input->metadata, "title", nullptr, 0)) {
        *title = entry->value;
    }
    streams.resize(input->nb_streams);
    const PacketPointer packet = NewPacket();
    while (av_read_frame(input, packet.get()) >= 0) {
        const AVStream* stream = input->streams[packet->stream_index];
        if (stream->codecpar->codec_type == AVMEDIA_TYPE_AUDIO) {
            for (int at = 0; at < packet->size; at += 640) {  // readers may join blocks
                streams[static_cast<std::size_t>(packet->stream_index)].push_back(
                    {packet->data[at], av_rescale_q(packet->pts, stream->time_base, {1, 1000}) + at / 16});
            }
        }
        av_packet_unref(packet.get());
    }
    avformat_close_input(&input);
    streams.erase(streams.begin());
    return streams;
}

TEST(VideoFiles, AudioStreamsAndMetadataAreCopied) {
    const TemporaryFolder folder;
    WriteRandomClip(YuvClip(folder / "pictures.mkv", 25, "ffv1"));
    MuxWithAudio(folder / "source.mkv", folder / "pictures.mkv", 2);
    for (const bool trim : {false, true}) {
        const auto reader = OpenVideo(folder / "source.mkv");
        VideoOutput output;
        output.path = folder / (trim ? "part.mkv" : "whole.mkv");
        output.format = reader->Info();
        output.companions = folder / "source.mkv";
        output.trim = trim;
        const std::int64_t first = trim ? 10 : 0, last = trim ? 14 : 24;
        output.startTime = reader->TimeOf(first);
        output.endTime = reader->TimeOf(last + 1);
        const auto writer = CreateVideo(output);
        reader->Start(first);
        for (std::int64_t i = first; i <= last; ++i) {
            const auto frame = reader->Next();
            writer->WriteUntouched(*frame->samples, frame->stamp);
        }
        writer->Finish();
        std::string title;
        const auto audio = AudioOf(output.path, &title);
        EXPECT_EQ(title, "A clip");
        ASSERT_EQ(audio.size(), 2u);
        for (std::size_t stream = 0; stream < 2; ++stream) {
            ASSERT_EQ(audio[stream].size(), static_cast<std::size_t>(last - first + 1));
            for (std::int64_t i = first; i <= last; ++i) {
                const auto& [byte, time] = audio[stream][static_cast<std::size_t>(i - first)];
                EXPECT_EQ(byte, i + 50 * static_cast<int>(stream));
                EXPECT_EQ(time, 40 * (i - first));
            }
        }
        const auto result = OpenVideo(output.path);
        EXPECT_EQ(result->Info().frameCount, last - first + 1);
        EXPECT_EQ(result->TimeOf(0), 0);
    }
}

TEST(VideoFiles, AnyStartGivesTheFramesOfAWholeDecode) {
    const TemporaryFolder folder;
    const VideoOutput output = YuvClip(folder / "a.mp4", 60);
    const auto writer = CreateVideo(output);
    for (int i = 0; i < 60; ++i) {  // a cut every 12 frames brings a key frame
        writer->Write(*RandomPicture(48, 32, SampleDepth::Byte, static_cast<unsigned>(i / 12)), {i, i, 1});
    }
    writer->Finish();
    const auto reader = OpenVideo(output.path);
    const std::vector<VideoFrame> all = ReadAll(*reader);
    ASSERT_EQ(all.size(), 60u);
    for (const int start : {59, 37, 36, 35, 12, 1, 0}) {
        reader->Start(start);
        for (int i = start; i < std::min(start + 3, 60); ++i) {
            const auto frame = reader->Next();
            ASSERT_TRUE(frame);
            EXPECT_EQ(frame->stamp.index, i);
            EXPECT_EQ(frame->stamp.time, all[static_cast<std::size_t>(i)].stamp.time);
            EXPECT_TRUE(SameSamples(*frame->samples, *all[static_cast<std::size_t>(i)].samples)) << i;
        }
    }
}

TEST(VideoFiles, UnreadableInputsAreToldApart) {
    const TemporaryFolder folder;
    WriteText(folder / "empty.mp4", "");
    WriteText(folder / "noise.mp4", std::string(5000, 'x'));
    WriteText(folder / "noise.png", std::string(5000, 'x'));
    std::filesystem::create_directories(folder / "nothing");
    const struct {
        const char* name;
        const char* text;
    } rows[] = {{"missing.mp4", "does not exist"}, {"empty.mp4", "is empty"},
                {"noise.mp4", "cannot be read"},   {"noise.png", "damaged"},
                {"nothing", "no numbered images"}, {"none.%04d.png", "no file matches"}};
    for (const auto& row : rows) {
        std::string text;
        EXPECT_EQ(FailureOf([&] { OpenVideo(folder / row.name); }, &text), MediaFailure::Input) << row.name;
        EXPECT_NE(text.find(row.text), std::string::npos) << text;
    }
}

TEST(VideoFiles, SequencesWithGapsOrOtherSizesAreRefused) {
    const TemporaryFolder folder;
    VideoOutput output = OutputOf(folder / "a.%04d.png", AV_PIX_FMT_RGB24, 8, 8, 3);
    output.format.firstNumber = 1000;
    WriteRandomClip(output);
    EXPECT_EQ(OpenVideo(folder / "")->Info().firstNumber, 1000);
    WriteRandomClip(OutputOf(folder / "a.1003.png", AV_PIX_FMT_RGB24, 8, 9, 1));
    const auto reader = OpenVideo(folder / "a.####.png");
    EXPECT_EQ(reader->Info().frameCount, 4);
    std::string text;
    EXPECT_EQ(FailureOf([&] { ReadAll(*reader); }, &text), MediaFailure::BrokenStream);
    EXPECT_NE(text.find("8x9"), std::string::npos) << text;
    std::filesystem::remove(folder / "a.1001.png");
    EXPECT_EQ(FailureOf([&] { OpenVideo(folder / "a.%04d.png"); }, &text), MediaFailure::Input);
    EXPECT_NE(text.find("a.1001.png"), std::string::npos) << text;
}

std::string Bytes(const std::filesystem::path& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

TEST(VideoFiles, AStreamThatBreaksNamesTheFrame) {
    const TemporaryFolder folder;
    WriteRandomClip(YuvClip(folder / "a.mkv", 40, "mpeg4"));
    const std::string whole = Bytes(folder / "a.mkv");
    std::string damaged = whole;
    std::mt19937 random(1);
    std::generate_n(damaged.begin() + static_cast<std::ptrdiff_t>(whole.size() / 2), 300,
                    [&] { return static_cast<char>(random()); });
    WriteText(folder / "damaged.mkv", damaged);
    const auto reader = OpenVideo(folder / "damaged.mkv");
    std::int64_t frames = 0;
    try {
        while (reader->Next()) {
            ++frames;
        }
        ADD_FAILURE() << "the damage was not seen";
    } catch (const MediaError& error) {
        EXPECT_EQ(error.Failure(), MediaFailure::BrokenStream);
        EXPECT_EQ(error.Frame(), frames);
        EXPECT_NEAR(static_cast<double>(frames), 20, 3);
    }
    // What lies behind the damage can be reached.
    reader->Start(30);
    EXPECT_EQ(ReadAll(*reader).size(), 10u);
}

TEST(VideoFiles, AnOutputAppearsOnlyWhenItIsWhole) {
    const TemporaryFolder folder;
    for (const char* name : {"a.mkv", "a.%d.png"}) {
        VideoOutput output = OutputOf(folder / name, AV_PIX_FMT_RGB24, 8, 8, 2);
        {
            const auto writer = CreateVideo(output);
            writer->Write(*RandomPicture(8, 8, SampleDepth::Byte, 1), {0, 0, 1});
        }
        EXPECT_TRUE(folder.Names().empty()) << "left by a writer that did not finish";
        WriteRandomClip(output);
        EXPECT_EQ(FailureOf([&] { CreateVideo(output); }), MediaFailure::OutputExists);
        output.overwrite = true;
        WriteRandomClip(output);
        for (const std::string& file : folder.Names()) {
            std::filesystem::remove(folder / file);
        }
        output.path = folder / (std::string("no/such/") + name);
        EXPECT_EQ(FailureOf([&] { CreateVideo(output); }), MediaFailure::OutputUnwritable);
    }
    EXPECT_EQ(FailureOf([&] { CreateVideo(OutputOf(folder / "a.xyz", AV_PIX_FMT_RGB24, 8, 8, 1)); }),
              MediaFailure::Codec);
    EXPECT_EQ(FailureOf([&] { CreateVideo(OutputOf(folder / "a.png", AV_PIX_FMT_RGB24, 8, 8, 2)); }),
              MediaFailure::Codec);
}

std::filesystem::path Footage(const char* name) {
    return std::filesystem::path(STEADYLUX_FOOTAGE) / name;
}

TEST(RealFootage, BreaksAndRotationAreSeen) {
    if (!std::filesystem::exists(Footage("corrupted.mp4"))) {
        GTEST_SKIP() << "no footage beside the project";
    }
    const auto broken = OpenVideo(Footage("corrupted.mp4"));
    EXPECT_EQ(FailureOf([&] { ReadAll(*broken); }), MediaFailure::BrokenStream);
    const auto turned = OpenVideo(Footage("video_90.mov"));
    ASSERT_TRUE(turned->Info().rotation);
    EXPECT_TRUE(OrientationOf(*turned->Info().rotation).swapAxes);
}

}  // namespace
}  // namespace TQ::App
