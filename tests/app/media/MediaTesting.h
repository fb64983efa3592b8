#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <vector>

#include "app/PictureTesting.h"
#include "app/media/PixelConversion.h"
#include "app/media/VideoReader.h"
#include "app/media/VideoWriter.h"

extern "C" {
#include <libavutil/imgutils.h>
}

namespace TQ::App {

/// A folder that goes with the object.
class TemporaryFolder {
  public:
    TemporaryFolder() {
        std::random_device random;
        _path = std::filesystem::temp_directory_path() / ("steadylux-test-" + std::to_string(random()));
        std::filesystem::create_directories(_path);
    }
    ~TemporaryFolder() { std::filesystem::remove_all(_path); }
    std::filesystem::path operator/(const std::string& name) const { return _path / name; }
    std::vector<std::string> Names() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(_path)) {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

  private:
    std::filesystem::path _path;
};

inline FramePointer NewSamples(AVPixelFormat format, int width, int height) {
    FramePointer frame = NewFrame();
    frame->format = format;
    frame->width = width;
    frame->height = height;
    EXPECT_GE(av_frame_get_buffer(frame.get(), 0), 0);
    return frame;
}

/// Every picture is different and every channel varies; floats go beyond 0 to 1.
inline PicturePointer RandomPicture(int width, int height, SampleDepth depth, unsigned seed) {
    std::mt19937 random(seed);
    auto picture = std::make_shared<Picture>(width, height, depth);
    ForSamples(*picture, [&](int, int, int, auto& sample) {
        using Sample = std::decay_t<decltype(sample)>;
        const unsigned value = random();
        sample = std::is_same_v<Sample, float>
                     ? static_cast<Sample>(static_cast<float>(value) / 4e9f * 3.0f - 0.5f)
                     : static_cast<Sample>(value);
    });
    return picture;
}

/// A soft picture whose colours stay well inside what every matrix can say, alpha opaque.
inline PicturePointer SoftPicture(int width, int height, SampleDepth depth, double phase) {
    return MakePicture(width, height, depth, [phase](int x, int y, int c) {
        return c == 3 ? 1.0 : 0.5 + 0.2 * std::sin(0.13 * x + 0.07 * y * (c + 1) + phase + c);
    });
}

inline VideoOutput OutputOf(const std::filesystem::path& path, AVPixelFormat format, int width, int height,
                            int frames) {
    VideoOutput output;
    output.path = path;
    output.format.width = width;
    output.format.height = height;
    output.format.pixelFormat = format;
    output.format.frameCount = frames;
    return output;
}

/// Random pictures in the format's own depth, one frame per unit of time.
inline std::vector<PicturePointer> WriteRandomClip(const VideoOutput& output) {
    std::vector<PicturePointer> pictures;
    const auto writer = CreateVideo(output);
    for (int i = 0; i < output.format.frameCount; ++i) {
        pictures.push_back(RandomPicture(output.format.width, output.format.height,
                                         DepthOf(output.format.pixelFormat), static_cast<unsigned>(i)));
        writer->Write(*pictures.back(), {i, i, 1});
    }
    writer->Finish();
    return pictures;
}

inline std::vector<VideoFrame> ReadAll(VideoReader& reader) {
    std::vector<VideoFrame> frames;
    while (auto frame = reader.Next()) {
        frames.push_back(*frame);
    }
    return frames;
}

inline PicturePointer PictureOf(const VideoReader& reader, const VideoFrame& frame) {
    const VideoInfo& info = reader.Info();
    return PixelConverter(info.pixelFormat, info.width, info.height, info.colour)
        .ToPicture(*frame.samples, DepthOf(info.pixelFormat));
}

inline MediaFailure FailureOf(const std::function<void()>& call, std::string* text = nullptr) {
    try {
        call();
    } catch (const MediaError& error) {
        if (text) {
            *text = error.what();
        }
        return error.Failure();
    }
    ADD_FAILURE() << "nothing was thrown";
    return MediaFailure::Interrupt;
}

inline void WriteText(const std::filesystem::path& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

/// Same samples in all planes.
inline bool SameSamples(const AVFrame& a, const AVFrame& b) {
    const AVPixFmtDescriptor* layout = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(a.format));
    if (a.format != b.format || a.width != b.width || a.height != b.height) {
        return false;
    }
    for (int plane = 0; plane < 4 && a.data[plane]; ++plane) {
        const bool chroma = plane == 1 || plane == 2;
        const int rows = chroma ? AV_CEIL_RSHIFT(a.height, layout->log2_chroma_h) : a.height;
        const int bytes = av_image_get_linesize(static_cast<AVPixelFormat>(a.format), a.width, plane);
        for (int y = 0; y < rows; ++y) {
            if (std::memcmp(a.data[plane] + y * a.linesize[plane], b.data[plane] + y * b.linesize[plane],
                            static_cast<std::size_t>(bytes)) != 0) {
                return false;
            }
        }
    }
    return true;
}

}  // namespace TQ::App
