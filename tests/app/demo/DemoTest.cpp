#include "app/demo/Demo.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <string>

#include "app/demo/FlickerMeter.h"
#include "app/demo/ReportPicture.h"

namespace TQ::App {
namespace {

constexpr DemoFormat small{96, 54, 8, 25, SampleDepth::Byte};

std::string BytesOf(const Picture& picture) {
    std::string bytes;
    for (int y = 0; y < picture.Height(); ++y) {
        bytes.append(reinterpret_cast<const char*>(picture.Row(y)),
                     static_cast<std::size_t>(picture.Width()) * 4);
    }
    return bytes;
}

PicturePointer Grey(int width, int height, const std::function<int(int y)>& value) {
    auto picture = std::make_shared<Picture>(width, height, SampleDepth::Byte);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            std::memset(picture->Row(y) + 4 * x, value(y), 3);
            picture->Row(y)[4 * x + 3] = 255;
        }
    }
    return picture;
}

TEST(DemoClip, FramesAreTheSameWheneverTheyAreAskedFor) {
    for (const DemoKind& kind : DemoKinds()) {
        DemoClip clip(kind, small);
        DemoClip other(kind, small);
        const std::string truth = BytesOf(*clip.Truth(3));
        const std::string before = BytesOf(*clip.Before(3));
        clip.Truth(6);
        EXPECT_EQ(BytesOf(*clip.Truth(3)), truth) << kind.name;
        EXPECT_EQ(BytesOf(*other.Before(3)), before) << kind.name;
        EXPECT_NE(truth, before) << kind.name;
        EXPECT_EQ(FindDemoKind(kind.name), &kind);
    }
    EXPECT_EQ(FindDemoKind("nothing"), nullptr);
}

TEST(DemoClip, OnlyTheSubjectsMoveUnderAStillCameraAndAllMovesUnderAPan) {
    const auto changedShare = [](const char* kind) {
        DemoClip clip(*FindDemoKind(kind), small);
        const std::string first = BytesOf(*clip.Truth(0));
        const std::string later = BytesOf(*clip.Truth(5));
        double changed = 0;
        for (std::size_t i = 0; i < first.size(); ++i) {
            changed += first[i] != later[i] ? 1 : 0;
        }
        return changed / static_cast<double>(first.size());
    };
    EXPECT_GT(changedShare("bands"), 0.002);
    EXPECT_LT(changedShare("bands"), 0.25);
    EXPECT_GT(changedShare("pan"), 0.4);
}

TEST(FlickerMeter, MeasuresConstructedClips) {
    FlickerMeter meter;
    // Before swings by 6 codes around a truth of 100; after is 2 codes too bright throughout.
    for (int time = 0; time < 10; ++time) {
        const int swing = time % 2 == 0 ? 6 : -6;
        meter.Add(*Grey(8, 5, [swing](int) { return 100 + swing; }), *Grey(8, 5, [](int) { return 102; }),
                  *Grey(8, 5, [](int) { return 100; }));
    }
    const FlickerReport report = meter.Report();
    EXPECT_NEAR(report.before.residualFlicker, 6.0, 0.4);
    EXPECT_NEAR(report.after.residualFlicker, 0.0, 1e-9);
    EXPECT_NEAR(report.before.psnr, 10 * std::log10(255.0 * 255 / 36), 1e-6);
    EXPECT_NEAR(report.after.psnr, 10 * std::log10(255.0 * 255 / 4), 1e-6);
    EXPECT_NEAR(report.before.brightness.at(1), 94, 1e-9);
    EXPECT_NEAR(report.before.rowRatio.at(0), 1.06, 1e-6);
    FlickerMeter exact;
    const auto grey = Grey(8, 5, [](int y) { return 10 * y; });
    exact.Add(*grey, *grey, *grey);
    EXPECT_EQ(exact.Report().after.psnr, std::numeric_limits<double>::infinity());
    EXPECT_THROW(exact.Add(*grey, *grey, *Grey(8, 4, [](int) { return 0; })), std::invalid_argument);
}

TEST(ReportPicture, ShowsTheFlickerThatWasMeasured) {
    const auto report = [](int amplitude) {
        FlickerMeter meter;
        for (int time = 0; time < 20; ++time) {
            const int swing = time % 2 == 0 ? amplitude : -amplitude;
            const auto truth = Grey(8, 60, [](int) { return 100; });
            meter.Add(*Grey(8, 60, [swing](int) { return 100 + swing; }), *truth, *truth);
        }
        return DrawReport(DemoKinds()[0], meter.Report());
    };
    const PicturePointer strong = report(20);
    const PicturePointer weak = report(1);
    EXPECT_EQ(strong->Width(), reportWidth);
    EXPECT_EQ(strong->Height(), reportHeight);
    EXPECT_NE(BytesOf(*strong), BytesOf(*weak));
    EXPECT_THROW(DrawReport(DemoKinds()[0], FlickerReport{}), std::invalid_argument);
}

}  // namespace
}  // namespace TQ::App
