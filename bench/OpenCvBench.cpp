// OpenCV's nearest functions, over the same pictures and with the same number of threads. Where both compute
// the same, the largest difference between the two is printed first.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <opencv2/imgproc.hpp>
#include <opencv2/video/tracking.hpp>
#include <string>
#include <vector>

#include "bench/OpenCvDeflicker.h"
#include "bench/OpenCvSimilarity.h"
#include "bench/Options.h"
#include "bench/Pictures.h"
#include "bench/Subjects.h"
#include "bench/Window.h"
#include "effect/Presets.h"
#include "ip/Evaluation.h"
#include "ip/filters/AffineSimilarityFilter.h"
#include "ip/filters/GaussianBlurFilter.h"
#include "ip/filters/WarpFilter.h"

namespace TQ::Bench {

namespace {

constexpr std::array<int, 2> allBits{8, 32};
constexpr std::array<int, 3> sigmas{3, 10, 30};

IP::Bounds FullSize() {
    return {0, 0, GetOptions().Width(), GetOptions().Height()};
}

PictureRing& FullRing(int bits, Content content) {
    return RingOf(FullSize(), bits, content);
}

/// The layer's pixels, not copied.
cv::Mat MatOf(IP::Layer& layer) {
    return {layer.Height(), layer.Width(), layer.ChannelBits() == 8 ? CV_8UC4 : CV_32FC4, layer.Data(),
            static_cast<std::size_t>(layer.RowBytes())};
}

/// The frame's brightness, as OpenCV's flow takes it.
cv::Mat GreyOf(IP::Layer& layer) {
    cv::Mat grey;
    cv::cvtColor(MatOf(layer), grey, cv::COLOR_RGBA2GRAY);
    return grey;
}

std::string PeerName(const std::string& function, int bits) {
    return "OpenCV " + function + (bits == 8 ? ", 8-bit" : ", float");
}

void PrintDifference(const std::string& what, const cv::Mat& ours, const cv::Mat& theirs, int margin) {
    const cv::Rect inside(margin, margin, ours.cols - 2 * margin, ours.rows - 2 * margin);
    cv::Mat difference;
    cv::absdiff(ours(inside), theirs(inside), difference);
    const double unit = ours.depth() == CV_8U ? 1.0 : 1.0 / 255.0;
    const double values = static_cast<double>(difference.total()) * difference.channels();
    std::printf("%-40s largest difference %6.3f, mean %6.4f code values of 255\n", what.c_str(),
                cv::norm(difference, cv::NORM_INF) / unit, cv::norm(difference, cv::NORM_L1) / values / unit);
}

void BlurOpenCv(const cv::Mat& source, const cv::Mat& target, double sigma) {
    cv::GaussianBlur(source, target, cv::Size(0, 0), sigma, sigma, cv::BORDER_REPLICATE);
}

void CompareBlur(int bits, int sigma) {
    const int threads = GetOptions().threads;
    PooledHost& host = HostWith(threads);
    IP::Layer& source = FullRing(bits, Content::Frame).First();
    IP::Layer output(host);
    output.AllocateRegionLike(source, source.Bounds());
    const auto radius = static_cast<float>(sigma);
    const auto filter = std::make_shared<IP::GaussianBlurFilter>(std::make_shared<IP::FilterLayer>(&source),
                                                                 IP::BlurSigma{radius, radius, 0.0F}, 0, 0);
    filter->RunHost(host, output, {&source});
    cv::Mat theirs(output.Height(), output.Width(), MatOf(output).type());
    BlurOpenCv(MatOf(source), theirs, sigma);
    PrintDifference("GaussianBlur sigma " + std::to_string(sigma) + (bits == 8 ? ", 8-bit" : ", float"),
                    MatOf(output), theirs, 0);
}

void RegisterBlur(int bits, int sigma) {
    const std::string number = std::to_string(sigma);
    const std::string name = PeerName("GaussianBlur sigma " + number, bits);
    RegisterTimed(name, [=](benchmark::State& state) {
        PictureRing& sources = FullRing(bits, Content::Frame);
        PictureRing& targets = FullRing(bits, Content::Output);
        for (auto _ : state) {
            BlurOpenCv(MatOf(sources.Next()), MatOf(targets.Next()), sigma);
        }
    });
    ComparePair(NameOf("filter", "GaussianBlur sigma " + number, bits, GetOptions().threads), name);
}

/// The flow as the absolute positions that remap takes.
cv::Mat MapOf(IP::Layer& flow) {
    cv::Mat map(flow.Height(), flow.Width(), CV_32FC2);
    for (int y = 0; y < map.rows; ++y) {
        for (int x = 0; x < map.cols; ++x) {
            const auto* displacement = reinterpret_cast<const float*>(flow.PixelAddress(x, y));
            map.at<cv::Vec2f>(y, x) = {static_cast<float>(x) + displacement[0],
                                       static_cast<float>(y) + displacement[1]};
        }
    }
    return map;
}

void RemapOpenCv(const cv::Mat& source, const cv::Mat& target, const cv::Mat& map) {
    cv::remap(source, target, map, cv::noArray(), cv::INTER_LINEAR, cv::BORDER_REPLICATE);
}

void CompareWarp(int bits) {
    PooledHost& host = HostWith(GetOptions().threads);
    IP::Layer& source = FullRing(bits, Content::Frame).First();
    IP::Layer& flow = FullRing(32, Content::Flow).First();
    IP::Layer output(host);
    output.AllocateRegionLike(source, source.Bounds());
    const auto filter = std::make_shared<IP::WarpFilter>(std::make_shared<IP::FilterLayer>(&source),
                                                         std::make_shared<IP::FilterLayer>(&flow));
    filter->RunHost(host, output, {&source, &flow});
    cv::Mat theirs(output.Height(), output.Width(), MatOf(output).type());
    RemapOpenCv(MatOf(source), theirs, MapOf(flow));
    PrintDifference(std::string("Warp") + (bits == 8 ? ", 8-bit" : ", float"), MatOf(output), theirs, 0);
}

/// `isFixed`: the map made integers beforehand, which is not in the time.
void RegisterWarp(int bits, bool isFixed) {
    const std::string name = PeerName(isFixed ? "remap linear, integer map" : "remap linear", bits);
    RegisterTimed(name, [=](benchmark::State& state) {
        PictureRing& sources = FullRing(bits, Content::Frame);
        PictureRing& targets = FullRing(bits, Content::Output);
        cv::Mat map = MapOf(FullRing(32, Content::Flow).First());
        cv::Mat fractions;
        if (isFixed) {
            const cv::Mat positions = map.clone();
            cv::convertMaps(positions, cv::noArray(), map, fractions, CV_16SC2);
        }
        for (auto _ : state) {
            cv::remap(MatOf(sources.Next()), MatOf(targets.Next()), map, fractions, cv::INTER_LINEAR,
                      cv::BORDER_REPLICATE);
        }
    });
    ComparePair(NameOf("filter", "Warp", bits, GetOptions().threads), name);
}

/// Ours has eight taps when it halves, as Lanczos has; the cubic has four, and so aliases.
void RegisterHalve(int bits, const std::string& function, int interpolation) {
    const std::string name = PeerName("resize " + function + " to half", bits);
    RegisterTimed(name, [=](benchmark::State& state) {
        const IP::Bounds half{0, 0, GetOptions().Width() / 2, GetOptions().Height() / 2};
        PictureRing& sources = FullRing(bits, Content::Frame);
        PictureRing& targets = RingOf(half, bits, Content::Output);
        for (auto _ : state) {
            const cv::Mat target = MatOf(targets.Next());
            cv::resize(MatOf(sources.Next()), target, target.size(), 0, 0, interpolation);
        }
    });
    ComparePair(NameOf("filter", "Halve", bits, GetOptions().threads), name);
}

// As the filter's row has them.
constexpr float similarityWindow = 2.0F;
constexpr float similaritySigma = 0.1F;

void CompareSimilarity(int bits) {
    PooledHost& host = HostWith(GetOptions().threads);
    IP::Layer& a = FullRing(bits, Content::Frame).First();
    IP::Layer& b = FullRing(bits, Content::MovedFrame).First();
    const auto filter = std::make_shared<IP::AffineSimilarityFilter>(
        std::make_shared<IP::FilterLayer>(&a), std::make_shared<IP::FilterLayer>(&b),
        IP::AffineSimilarityParams::Make(similarityWindow, similarityWindow, similaritySigma), false);
    IP::Layer& target = FullRing(bits, Content::Output).First();
    const auto output = std::make_shared<IP::Layer>(host);
    output->ShareRegion(target, target.Bounds());
    IP::RenderGraph(filter, host, output);
    cv::Mat theirs;
    OpenCvSimilarity(similarityWindow, similaritySigma).Compare(MatOf(a), MatOf(b), theirs);
    PrintDifference(std::string("AffineSimilarity") + (bits == 8 ? ", 8-bit" : ", float"), MatOf(target),
                    theirs, 0);
}

void RegisterSimilarity(int bits) {
    const std::string name = PeerName("similarity of its calls", bits);
    RegisterTimed(name, [=](benchmark::State& state) {
        PictureRing& sources = FullRing(bits, Content::Frame);
        PictureRing& others = FullRing(bits, Content::MovedFrame);
        PictureRing& targets = FullRing(bits, Content::Output);
        OpenCvSimilarity similarity(similarityWindow, similaritySigma);
        for (auto _ : state) {
            cv::Mat target = MatOf(targets.Next());
            similarity.Compare(MatOf(sources.Next()), MatOf(others.Next()), target);
        }
    });
    ComparePair(NameOf("filter", "AffineSimilarity", bits, GetOptions().threads), name);
}

/// With the settings of our flow, on grey pictures that are there already.
void RegisterFlow() {
    const std::string name = PeerName("DIS flow", 8);
    RegisterTimed(name, [](benchmark::State& state) {
        const cv::Mat reference = GreyOf(FullRing(8, Content::Frame).First());
        const cv::Mat moved = GreyOf(FullRing(8, Content::MovedFrame).First());
        const auto dis = cv::DISOpticalFlow::create(cv::DISOpticalFlow::PRESET_MEDIUM);
        dis->setFinestScale(1);
        dis->setPatchSize(8);
        dis->setPatchStride(3);
        dis->setGradientDescentIterations(25);
        dis->setVariationalRefinementIterations(0);
        dis->setUseMeanNormalization(true);
        dis->setUseSpatialPropagation(true);
        cv::Mat flow;
        for (auto _ : state) {
            dis->calc(reference, moved, flow);
        }
    });
    ComparePair(NameOf("filter", "DISFilter", 8, GetOptions().threads), name);
}

/// The default preset over one window, by OpenCV.
class FramePeer {
  public:
    explicit FramePeer(Window& window) : _deflicker(MakeWeights(), Settings().sensitivityPixels) {
        const int radius = Settings().timeRadius;
        for (int offset = -radius; offset <= radius; ++offset) {
            _frames.push_back(MatOf(window.Frame(offset)));
        }
    }
    const cv::Mat& Render() {
        _deflicker.Render(_frames, _output);
        return _output;
    }
    static Effect::DeflickerSettings Settings() { return SettingsOfPreset(Effect::presetDefault); }
    static Window& Frames() { return WindowOf(FullSize(), 8, Settings().timeRadius); }

  private:
    static std::vector<float> MakeWeights() {
        std::vector<float> weights;
        for (int distance = 0; distance <= Settings().timeRadius; ++distance) {
            weights.push_back(Settings().Weight(distance));
        }
        return weights;
    }
    OpenCvDeflicker _deflicker;
    std::vector<cv::Mat> _frames;
    cv::Mat _output;
};

void CompareFrame() {
    Window& window = FramePeer::Frames();
    PooledHost host(GetOptions().threads);
    window.Render(host, FramePeer::Settings());
    FramePeer peer(window);
    PrintDifference("whole frame, default preset, 8-bit", MatOf(window.Output()), peer.Render(), 0);
}

void RegisterFrame() {
    const std::string name = PeerName("whole frame, default preset", 8);
    RepeatOften(RegisterTimed(name, [](benchmark::State& state) {
        FramePeer peer(FramePeer::Frames());
        if (!GetOptions().quick) {
            peer.Render();
        }
        for (auto _ : state) {
            peer.Render();
        }
    }));
    ComparePair(NameOf("frame", "Rolling Bands", 8, GetOptions().threads), name);
}

}  // namespace

void RegisterOpenCv() {
    cv::setNumThreads(GetOptions().threads);
    for (const int bits : allBits) {
        for (const int sigma : sigmas) {
            CompareBlur(bits, sigma);
            RegisterBlur(bits, sigma);
        }
        CompareWarp(bits);
        RegisterWarp(bits, false);
        RegisterWarp(bits, true);
        RegisterHalve(bits, "cubic", cv::INTER_CUBIC);
        RegisterHalve(bits, "Lanczos", cv::INTER_LANCZOS4);
        CompareSimilarity(bits);
        RegisterSimilarity(bits);
    }
    RegisterFlow();
    CompareFrame();
    RegisterFrame();
}

}  // namespace TQ::Bench
