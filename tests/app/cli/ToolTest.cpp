#include <chrono>
#include <nlohmann/json.hpp>

#include "app/cli/ToolTesting.h"

namespace TQ::App {
namespace {

std::vector<PicturePointer> PicturesOf(const std::filesystem::path& path) {
    const auto reader = OpenVideo(path);
    std::vector<PicturePointer> pictures;
    for (const VideoFrame& frame : ReadAll(*reader)) {
        pictures.push_back(PictureOf(*reader, frame));
    }
    return pictures;
}

void ExpectSameClips(const std::filesystem::path& a, const std::filesystem::path& b) {
    const auto first = PicturesOf(a), second = PicturesOf(b);
    ASSERT_EQ(first.size(), second.size());
    for (std::size_t i = 0; i < first.size(); ++i) {
        EXPECT_TRUE(SamePixels(*first[i], *second[i])) << "frame " << i;
    }
}

TEST(Tool, BadInputEndsWithItsOwnStatusAndOneSentence) {
    const TemporaryFolder folder;
    WriteFlicker(folder / "clip.mkv", AV_PIX_FMT_YUV420P, 16, 16, 3, "ffv1");
    WriteText(folder / "empty.mp4", "");
    WriteText(folder / "text.mp4", "This is a text and no video at all.");
    WriteText(folder / "taken.mkv", "mine");
    WriteText(folder / "text.ofx", "no module");
    std::filesystem::create_directories(folder / "Hollow.ofx.bundle");
    const struct {
        int status;
        const char* arguments;
        const char* text;
    } rows[] = {
        {2, "", "subcommand"},
        {2, "rendr a b", "rendr"},
        {2, "render clip.mkv", "OUTPUT"},
        {2, "render clip.mkv o.mkv --sharpen", "--sharpen"},
        {2, "render clip.mkv o.mkv --scale 0", "--scale"},
        {2, "render clip.mkv o.mkv --jobs 0", "--jobs"},
        {2, "render clip.mkv o.mkv --depth 12", "--depth"},
        {2, "render clip.mkv o.mkv --frames 2-1", "--frames"},
        {2, "render clip.mkv o.mkv --frames 0-3", "0-2"},
        {2, "render clip.mkv o.mkv --set sensitivity", "name=value"},
        {2, "render clip.mkv clip.mkv --overwrite", "input itself"},
        {2, "render clip.mkv o.mkv --fps 24", "images"},
        {2, "render clip.mkv o.mkv --fps none", "--fps"},
        {2, "render clip.mkv o.mkv --fps 0", "--fps"},
        {2, "demo nosuchkind", "nosuchkind"},
        {3, "render missing.mkv o.mkv", "does not exist"},
        {3, "render empty.mp4 o.mkv", "empty"},
        {3, "render text.mp4 o.mkv", "text.mp4"},
        {5, "render clip.mkv taken.mkv", "--overwrite"},
        {5, "render clip.mkv o.mkv --stats taken.mkv", "--overwrite"},
        {6, "render clip.mkv Hollow.ofx.bundle", "is a folder"},
        {10, "render clip.mkv o", "'o' does not end"},
        {6, "render clip.mkv no/such/folder/o.mkv", "no/such/folder"},
        {8, "render clip.mkv o.mkv --plugin nowhere.ofx.bundle", "nowhere"},
        {8, "render clip.mkv o.mkv --plugin text.ofx", "text.ofx"},
        {8, "describe --plugin Hollow.ofx.bundle", "Hollow"},
        {9, "render clip.mkv o.mkv --preset Sunshine", "Sunshine"},
        {9, "render clip.mkv o.mkv --preset 99", "99"},
        {9, "render clip.mkv o.mkv --set colour=3", "colour"},
        {9, "render clip.mkv o.mkv --set timeRadius=11", "timeRadius"},
        {9, "render clip.mkv o.mkv --set sensitivity=much", "sensitivity"},
        {10, "render clip.mkv o.mkv --codec nosuchcodec", "nosuchcodec"},
        {10, "render clip.mkv o.mp4 --codec-options crf", "name=value"},
        {10, "render clip.mkv o.mp4 --codec-options crf=20:sharpness=3", "'sharpness'"},
        {10, "render clip.mkv o.xyz", ".xyz"},
        {10, "render clip.mkv o.png", "%04d"},
    };
    const std::vector<std::string> names = folder.Names();
    for (const auto& row : rows) {
        const ToolResult result = RunTool(folder, row.arguments);
        EXPECT_EQ(result.status, row.status) << row.arguments << "\n" << result.error;
        EXPECT_EQ(result.error.rfind("steadylux: ", 0), 0u) << row.arguments << "\n" << result.error;
        EXPECT_EQ(std::count(result.error.begin(), result.error.end(), '\n'), 1) << result.error;
        EXPECT_NE(result.error.find(row.text), std::string::npos) << row.arguments << "\n" << result.error;
        EXPECT_EQ(folder.Names(), names) << "left by: " << row.arguments;
    }
    EXPECT_EQ(Content(folder / "taken.mkv"), "mine");
    const std::string help = RunTool(folder, "--help").output;
    for (const char* status : {"  3  ", "  8  ", "130  "}) {
        EXPECT_NE(help.find(status), std::string::npos);
    }
}

TEST(Tool, RadiusZeroLeavesEveryPixelAlone) {
    const TemporaryFolder folder;
    const struct {
        const char* input;
        const char* output;
        AVPixelFormat format;
    } rows[] = {{"a.%02d.png", "o.%02d.png", AV_PIX_FMT_RGBA},
                {"b.%02d.png", "p.%02d.png", AV_PIX_FMT_RGBA64LE},
                {"c.%02d.exr", "q.%02d.exr", AV_PIX_FMT_GBRAPF32LE},
                {"d.mkv", "r.mkv --codec ffv1", AV_PIX_FMT_YUV420P},
                {"e.mkv", "s.mkv --codec ffv1 --frames 0-1", AV_PIX_FMT_YUV422P10LE}};
    for (const auto& row : rows) {
        VideoOutput source = OutputOf(folder / row.input, row.format, 23, 9, 2);
        source.codec = std::string(row.input).find("mkv") != std::string::npos ? "ffv1" : "";
        WriteRandomClip(source);
        const std::string output = row.output;
        const ToolResult result =
            RunTool(folder, std::string("render --set timeRadius=0 ") + row.input + " " + output);
        ASSERT_EQ(result.status, 0) << result.error;
        EXPECT_EQ(result.error, "");  // no bar when nobody watches
        ExpectSameClips(folder / row.input, folder / output.substr(0, output.find(' ')));
    }
}

TEST(Tool, SequencesHaveTheRateThatIsSaid) {
    const TemporaryFolder folder;
    WriteFlicker(folder / "a.%d.png", AV_PIX_FMT_RGB24, 16, 8, 3);
    const struct {
        const char* option;
        AVRational rate;
    } rows[] = {{"", {25, 1}},
                {"--fps 24", {24, 1}},
                {"--fps 23.976", {24000, 1001}},
                {"--fps 30000/1001", {30000, 1001}},
                {"--fps 12.5", {25, 2}}};
    for (const auto& row : rows) {
        const ToolResult result =
            RunTool(folder, std::string("render a.%d.png o.mov --overwrite ") + row.option);
        ASSERT_EQ(result.status, 0) << result.error;
        const auto reader = OpenVideo(folder / "o.mov");
        EXPECT_EQ(av_cmp_q(reader->Info().frameRate, row.rate), 0) << row.option;
        EXPECT_EQ(av_compare_ts(reader->TimeOf(2), reader->Info().timeBase, 2, av_inv_q(row.rate)), 0);
    }
}

TEST(Tool, PiecesJobsAndThreadsGiveTheSameBytes) {
    const TemporaryFolder folder;
    WriteFlicker(folder / "clip.mkv", AV_PIX_FMT_YUV420P10LE, 40, 24, 30, "ffv1");
    ASSERT_EQ(RunTool(folder, "render clip.mkv w%02d.png").status, 0);
    for (const char* arguments : {"p%02d.png --frames 0-9", "p%02d.png --frames 10-28 --jobs 3",
                                  "p%02d.png --frames 29-29 --threads 1", "j%02d.png --jobs 4 --threads 3"}) {
        ASSERT_EQ(RunTool(folder, std::string("render clip.mkv ") + arguments).status, 0) << arguments;
    }
    for (int i = 0; i < 30; ++i) {
        char name[16];
        std::snprintf(name, sizeof(name), "%02d.png", i);
        const std::string whole = Content(folder / (std::string("w") + name));
        ASSERT_FALSE(whole.empty());
        EXPECT_EQ(whole, Content(folder / (std::string("p") + name))) << name;
        EXPECT_EQ(whole, Content(folder / (std::string("j") + name))) << name;
    }
    EXPECT_NE(Content(folder / "w05.png"), Content(folder / "w06.png"));
}

TEST(Tool, EverySizeScaleDepthAndContextRenders) {
    const TemporaryFolder folder;
    const auto render = [&](const std::string& arguments) {
        const ToolResult result = RunTool(folder, "render --overwrite --quiet " + arguments);
        EXPECT_EQ(result.status, 0) << arguments << "\n" << result.error;
        EXPECT_EQ(result.output, "");
    };
    for (const auto& [width, height] : {std::pair(1, 1), {3, 2}, {33, 21}}) {
        WriteFlicker(folder / "a.png", AV_PIX_FMT_RGB24, width, height, 1);
        render("a.png b.png");
        EXPECT_EQ(OpenVideo(folder / "b.png")->Info().width, width);
        WriteFlicker(folder / "c.%d.png", AV_PIX_FMT_RGB24, width, height, 3);
        render("c.%d.png d.mp4 --jobs 8");
        EXPECT_EQ(OpenVideo(folder / "d.mp4")->Info().frameCount, 3);
        for (const char* name : {"a.png", "c.0.png", "c.1.png", "c.2.png"}) {
            std::filesystem::remove(folder / name);
        }
    }
    WriteFlicker(folder / "e.mkv", AV_PIX_FMT_YUV420P, 50, 30, 4, "ffv1");
    render("e.mkv f.mp4 --scale 0.5");
    EXPECT_EQ(OpenVideo(folder / "f.mp4")->Info().width, 24);  // 25 would cost the chroma subsampling
    const auto size = std::filesystem::file_size(folder / "f.mp4");
    render("e.mkv f.mp4 --scale 0.5 --codec-options crf=40:preset=medium");
    EXPECT_LT(std::filesystem::file_size(folder / "f.mp4"), size);
    render("e.mkv f.%d.png --scale 0.1");
    EXPECT_EQ(OpenVideo(folder / "f.%d.png")->Info().width, 5);
    for (const char* arguments :
         {"--depth float", "--depth 16", "--depth 8 --context general", "--preset 8"}) {
        render(std::string("e.mkv g.mkv ") + arguments);
        EXPECT_EQ(OpenVideo(folder / "g.mkv")->Info().pixelFormat, AV_PIX_FMT_YUV420P);
    }
}

TEST(Tool, AStoppedRenderLeavesNothing) {
    const TemporaryFolder folder;
    const PicturePointer picture = SoftPicture(1280, 720, SampleDepth::Byte, 0);
    VideoOutput output = OutputOf(folder / "long.mkv", AV_PIX_FMT_YUV420P, 1280, 720, 250);
    output.codec = "mpeg4";
    const auto writer = CreateVideo(output);
    for (int i = 0; i < 250; ++i) {
        writer->Write(*picture, {i, i, 1});
    }
    writer->Finish();
    for (const char* target : {"o.mp4", "o.%03d.png"}) {
        const auto begin = std::chrono::steady_clock::now();
        const ToolResult result =
            RunTool(folder, std::string("render long.mkv --set timeRadius=10 ") + target,
                    "timeout --foreground --preserve-status -s INT 0.5");
        const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
        EXPECT_EQ(result.status, 130);
        EXPECT_EQ(result.error, "steadylux: interrupted\n");
        EXPECT_LT(elapsed.count(), 2.5);  // one second, and room for a busy machine
        EXPECT_EQ(folder.Names(), std::vector<std::string>{"long.mkv"});
    }
}

TEST(Tool, ABreakOrAFullDiskLeavesNothing) {
    const TemporaryFolder folder;
    WriteRandomClip(OutputOf(folder / "c.%02d.png", AV_PIX_FMT_RGB24, 64, 48, 30));
    const ToolResult full = RunTool(folder, "render c.%02d.png o.mkv", "trap '' XFSZ; ulimit -f 32;");
    EXPECT_EQ(full.status, 7) << full.error;
    EXPECT_NE(full.error.find("disk is full"), std::string::npos);
    WriteText(folder / "c.20.png", Content(folder / "c.20.png").substr(0, 500));
    std::vector<std::string> names = folder.Names();
    const ToolResult broken = RunTool(folder, "render c.%02d.png o.mkv");
    EXPECT_EQ(broken.status, 4) << broken.error;
    EXPECT_NE(broken.error.find("--frames 0-11 "), std::string::npos) << broken.error;
    EXPECT_EQ(folder.Names(), names);
    EXPECT_EQ(RunTool(folder, "render c.%02d.png o.mkv --frames 0-11").status, 0);
}

TEST(Tool, StatisticsTellWhatWasRendered) {
    const TemporaryFolder folder;
    WriteFlicker(folder / "clip.mkv", AV_PIX_FMT_YUV420P, 32, 16, 5, "ffv1");
    const ToolResult result =
        RunTool(folder, "render clip.mkv o.mkv --preset 'time lapse' --set sensitivity=12.5 --stats s.json");
    ASSERT_EQ(result.status, 0) << result.error;
    const auto json = nlohmann::json::parse(Content(folder / "s.json"));
    EXPECT_EQ(json["frames"], 5);
    EXPECT_GT(json["seconds"], 0.0);
    EXPECT_GT(json["framesPerSecond"], 0.0);
    EXPECT_GT(json["peakMemoryBytes"], 1000000);
    EXPECT_FALSE(json["instructionSet"].get<std::string>().empty());
    EXPECT_EQ(json["preset"]["name"], "Custom");  // a hand edit leaves the preset
    EXPECT_EQ(json["parameters"]["sensitivity"], 12.5);
    EXPECT_EQ(json["parameters"]["threshold"], 20.0);
}

TEST(Tool, TellsWhatThePluginIs) {
    const TemporaryFolder folder;
    const std::string presets = RunTool(folder, "presets").output;
    EXPECT_NE(presets.find("  3 Time Lapse\n"), std::string::npos) << presets;
    EXPECT_NE(presets.find("    --- Faster ---\n"), std::string::npos) << presets;
    const auto json = nlohmann::json::parse(RunTool(folder, "describe --json").output);
    EXPECT_EQ(json["identifier"], "com.marrowgate.SteadyLux");
    EXPECT_EQ(json["contexts"].size(), 2u);
    EXPECT_EQ(json["depths"].size(), 3u);
    EXPECT_EQ(json["parameters"][1]["name"], "sensitivity");
    EXPECT_EQ(json["parameters"][1]["maximum"], 100.0);
    EXPECT_NE(RunTool(folder, "describe").output.find("timeRadius"), std::string::npos);
    EXPECT_EQ(RunTool(folder, "version").output.rfind("steadylux 2.1", 0), 0u);
}

TEST(Tool, RealClipsKeepAudioAndRotation) {
    const std::filesystem::path footage = STEADYLUX_FOOTAGE;
    if (!std::filesystem::exists(footage / "bigbuckbunny.mp4")) {
        GTEST_SKIP() << "no footage beside the project";
    }
    const TemporaryFolder folder;
    const ToolResult cut = RunTool(folder, "render '" + (footage / "bigbuckbunny.mp4").string() +
                                               "' o.mp4 --frames 50-59 --scale 0.2 --preset 4");
    ASSERT_EQ(cut.status, 0) << cut.error;
    AVFormatContext* input = nullptr;
    ASSERT_GE(avformat_open_input(&input, (folder / "o.mp4").c_str(), nullptr, nullptr), 0);
    EXPECT_EQ(input->nb_streams, 2u);
    EXPECT_NEAR(static_cast<double>(input->duration) / AV_TIME_BASE, 0.4, 0.05);
    avformat_close_input(&input);
    ASSERT_EQ(RunTool(folder, "render '" + (footage / "video_90.mov").string() + "' r.mov").status, 0);
    EXPECT_EQ(OpenVideo(folder / "r.mov")->Info().rotation,
              OpenVideo(footage / "video_90.mov")->Info().rotation);
    ASSERT_EQ(RunTool(folder, "render '" + (footage / "video_90.mov").string() + "' r.%d.png").status, 0);
    EXPECT_EQ(OpenVideo(folder / "r.%d.png")->Info().width, 320);
}

}  // namespace
}  // namespace TQ::App
