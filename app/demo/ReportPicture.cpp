#include "app/demo/ReportPicture.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <stdexcept>
#include <string>
#include <vector>

#include "app/demo/Canvas.h"
#include "app/demo/Font.h"
#include "app/demo/Numbers.h"

namespace TQ::App {

namespace {

constexpr Colour paper{0.985f, 0.985f, 0.975f};
constexpr Colour ink{0.13f, 0.14f, 0.17f};
constexpr Colour quietInk{0.42f, 0.44f, 0.48f};
constexpr Colour gridColour{0.88f, 0.88f, 0.87f};
constexpr Colour beforeColour{0.85f, 0.37f, 0.10f};
constexpr Colour afterColour{0.08f, 0.38f, 0.70f};
constexpr Colour truthColour{0.66f, 0.68f, 0.70f};

constexpr int textScale = 2;
constexpr int titleScale = 4;
constexpr int capHeight = 7 * textScale;
constexpr int tickLength = 6;

constexpr Box chart{104, 150, 1240, 430};
constexpr Box beforeMap{104, 540, 600, 810};
constexpr Box afterMap{664, 540, 1160, 810};
constexpr Box colourBar{1184, 540, 1204, 810};

struct Range {
    double low;
    double high;
};

/// 1, 2 or 5 times a power of ten: the smallest that divides `span` into at most `most` parts.
double NiceStep(double span, int most) {
    double power = 1;
    while (power * most > span) {
        power /= 10;
    }
    while (true) {
        for (const double digit : {1.0, 2.0, 5.0}) {
            if (power * digit * most >= span) {
                return power * digit;
            }
        }
        power *= 10;
    }
}

/// A number with as many decimals as steps of that size need.
std::string Number(double value, double step) {
    int decimals = 0;
    for (double size = step; size < 0.999 && decimals < 6; size *= 10) {
        ++decimals;
    }
    char text[64];
    const auto end =
        std::to_chars(std::begin(text), std::end(text), value, std::chars_format::fixed, decimals);
    return std::string(text, end.ptr);
}

void LabelRows(Canvas& canvas, const Box& box, const std::string& text, int y) {
    canvas.FillBox({box.left - tickLength, y, box.left, y + 1}, quietInk);
    canvas.DrawText(box.left - tickLength - 6, y - capHeight / 2, text, textScale, quietInk,
                    TextAlign::Right);
}

/// Frame `frame` stands in the middle of its share of the box's width.
double FrameX(const Box& box, int frame, int frames) {
    return box.left + (frame + 0.5) * box.Width() / frames;
}

void DrawFrameAxis(Canvas& canvas, const Box& box, int frames) {
    const int mostTicks = box.Width() / 90;
    const int step = static_cast<int>(std::max(1.0, NiceStep(frames, mostTicks)));
    for (int frame = 0; frame < frames; frame += step) {
        const int x = static_cast<int>(FrameX(box, frame, frames));
        canvas.FillBox({x, box.bottom, x + 1, box.bottom + tickLength}, quietInk);
        canvas.DrawText(x, box.bottom + tickLength + 5, std::to_string(frame), textScale, quietInk,
                        TextAlign::Centre);
    }
    canvas.DrawText((box.left + box.right) / 2, box.bottom + 32, "frame", textScale, quietInk,
                    TextAlign::Centre);
}

Range BrightnessRange(const FlickerReport& report, double step) {
    Range range{report.truthBrightness.front(), report.truthBrightness.front()};
    for (const auto* values :
         {&report.truthBrightness, &report.before.brightness, &report.after.brightness}) {
        const auto [low, high] = std::minmax_element(values->begin(), values->end());
        range = {std::min(range.low, *low), std::max(range.high, *high)};
    }
    return step > 0 ? Range{std::floor(range.low / step) * step, std::ceil(range.high / step) * step} : range;
}

void DrawBrightness(Canvas& canvas, const FlickerReport& report) {
    constexpr int mostSteps = 6;
    const Range values = BrightnessRange(report, 0);
    // At least two code values high, or a steady clip would fill the chart with its last decimals.
    const double step = NiceStep(std::max(2.0, values.high - values.low), mostSteps);
    Range range = BrightnessRange(report, step);
    if (range.high - range.low < 2 * step) {
        range = {range.low - step, range.high + step};
    }
    const auto toY = [&](double value) {
        return chart.bottom - (value - range.low) / (range.high - range.low) * chart.Height();
    };
    const int steps = static_cast<int>(std::lround((range.high - range.low) / step));
    for (int tick = 0; tick <= steps; ++tick) {
        const double value = range.low + tick * step;
        const int y = std::min(chart.bottom - 1, static_cast<int>(toY(value)));
        canvas.FillBox({chart.left, y, chart.right, y + 1}, gridColour);
        LabelRows(canvas, chart, Number(value, step), y);
    }
    const auto draw = [&](const std::vector<double>& brightness, double thickness, const Colour& colour) {
        std::vector<Point> points;
        for (int frame = 0; frame < report.frames; ++frame) {
            points.push_back(
                {FrameX(chart, frame, report.frames), toY(brightness[static_cast<std::size_t>(frame)])});
        }
        canvas.DrawCurve(points, thickness, colour);
    };
    draw(report.truthBrightness, 7, truthColour);
    draw(report.before.brightness, 2, beforeColour);
    draw(report.after.brightness, 2.5, afterColour);
    canvas.FrameBox(chart, quietInk);
    DrawFrameAxis(canvas, chart, report.frames);
}

void DrawLegend(Canvas& canvas) {
    struct Entry {
        const char* text;
        Colour colour;
        int thickness;
    };
    constexpr Entry entries[] = {
        {"before", beforeColour, 3}, {"after", afterColour, 3}, {"truth", truthColour, 7}};
    constexpr int dash = 36;
    constexpr int gap = 30;
    const int top = chart.top - 26;
    int right = chart.right;
    for (auto entry = std::rbegin(entries); entry != std::rend(entries); ++entry) {
        canvas.DrawText(right, top, entry->text, textScale, ink, TextAlign::Right);
        right -= TextWidth(entry->text) * textScale + 10;
        const int middle = top + capHeight / 2;
        canvas.FillBox(
            {right - dash, middle - entry->thickness / 2, right, middle + (entry->thickness + 1) / 2},
            entry->colour);
        right -= dash + gap;
    }
    canvas.DrawText(chart.left, top, "Mean brightness of each frame (8-bit code values)", textScale, ink);
}

/// -1 is blue, 0 nearly white, 1 red, with even steps of darkness to both sides.
Colour MapColour(double value) {
    constexpr Colour low{0.05f, 0.23f, 0.60f};
    constexpr Colour lowMiddle{0.42f, 0.66f, 0.88f};
    constexpr Colour middle{0.97f, 0.97f, 0.95f};
    constexpr Colour highMiddle{0.96f, 0.64f, 0.42f};
    constexpr Colour high{0.66f, 0.08f, 0.12f};
    const double share = 2 * Clamp01(std::abs(value));
    const Colour& half = value < 0 ? lowMiddle : highMiddle;
    return share < 1 ? Blend(middle, half, share) : Blend(half, value < 0 ? low : high, share - 1);
}

/// How far from 1 the colours of both maps reach: beyond all but a hundredth of the ratios before.
double MapReach(const FlickerReport& report) {
    constexpr double smallest = 0.01;
    std::vector<float> distances;
    for (const float ratio : report.before.rowRatio) {
        distances.push_back(std::abs(ratio - 1));
    }
    const auto nth = distances.begin() + static_cast<std::ptrdiff_t>((distances.size() - 1) * 99 / 100);
    std::nth_element(distances.begin(), nth, distances.end());
    const double reach = std::max<double>(smallest, *nth);
    const double step = NiceStep(reach, 5);
    return std::ceil(reach / step) * step;
}

/// The mean of the rows that fall on each line of the box, so that nothing aliases.
void DrawMap(Canvas& canvas, const Box& box, const FlickerReport& report, const ClipMeasure& clip,
             double reach) {
    for (int line = 0; line < box.Height(); ++line) {
        const int first = line * report.rows / box.Height();
        const int last = std::max(first + 1, (line + 1) * report.rows / box.Height());
        for (int frame = 0; frame < report.frames; ++frame) {
            double sum = 0;
            for (int row = first; row < last; ++row) {
                sum += clip.rowRatio[static_cast<std::size_t>(frame) * static_cast<std::size_t>(report.rows) +
                                     static_cast<std::size_t>(row)];
            }
            const double ratio = sum / (last - first);
            const int left = box.left + frame * box.Width() / report.frames;
            const int right = box.left + (frame + 1) * box.Width() / report.frames;
            canvas.FillBox({left, box.top + line, std::max(right, left + 1), box.top + line + 1},
                           MapColour((ratio - 1) / reach));
        }
    }
    canvas.FrameBox(box, quietInk);
    DrawFrameAxis(canvas, box, report.frames);
    const int step = static_cast<int>(std::max(1.0, NiceStep(report.rows, 4)));
    for (int row = 0; row < report.rows; row += step) {
        LabelRows(canvas, box, std::to_string(row), box.top + row * box.Height() / report.rows);
    }
}

void DrawColourBar(Canvas& canvas, double reach) {
    for (int y = colourBar.top; y < colourBar.bottom; ++y) {
        const double value = 1 - 2 * (y - colourBar.top + 0.5) / colourBar.Height();
        canvas.FillBox({colourBar.left, y, colourBar.right, y + 1}, MapColour(value));
    }
    canvas.FrameBox(colourBar, quietInk);
    const int steps = 4;
    for (int tick = 0; tick <= steps; ++tick) {
        const double value = reach * (1 - 2.0 * tick / steps);
        const int y = std::min(colourBar.bottom - 1, colourBar.top + tick * colourBar.Height() / steps);
        canvas.FillBox({colourBar.right, y, colourBar.right + tickLength, y + 1}, quietInk);
        canvas.DrawText(colourBar.right + tickLength + 5, y - capHeight / 2, Number(1 + value, 0.01),
                        textScale, quietInk);
    }
}

std::string Figures(const ClipMeasure& clip) {
    return "flicker " + Number(clip.residualFlicker, 0.01) + ", PSNR " +
           (std::isfinite(clip.psnr) ? Number(clip.psnr, 0.1) + " dB" : "infinite");
}

void DrawMaps(Canvas& canvas, const FlickerReport& report) {
    const double reach = MapReach(report);
    constexpr int above = 26;
    constexpr int captionTop = 540 - 56;
    canvas.DrawText(chart.left, captionTop, "Row's mean over the same row's mean in truth, row by time",
                    textScale, ink);
    const auto draw = [&](const Box& box, const char* name, const ClipMeasure& clip, const Colour& colour) {
        canvas.DrawText(box.left, box.top - above, name, textScale, colour);
        canvas.DrawText(box.right, box.top - above, Figures(clip), textScale, ink, TextAlign::Right);
        DrawMap(canvas, box, report, clip, reach);
    };
    draw(beforeMap, "before", report.before, beforeColour);
    draw(afterMap, "after", report.after, afterColour);
    DrawColourBar(canvas, reach);
}

}  // namespace

PicturePointer DrawReport(const DemoKind& kind, const FlickerReport& report) {
    if (report.frames < 1) {
        throw std::invalid_argument("A report without frames cannot be drawn.");
    }
    Canvas canvas(reportWidth, reportHeight, paper);
    constexpr int left = 40;
    canvas.DrawText(left, 28, kind.title, titleScale, ink);
    canvas.DrawText(left, 74, kind.description, textScale, quietInk);
    canvas.DrawText(chart.right, 28 + 2 * titleScale, "preset \"" + std::string(kind.presetName) + "\"",
                    textScale, ink, TextAlign::Right);
    DrawLegend(canvas);
    DrawBrightness(canvas, report);
    DrawMaps(canvas, report);
    return canvas.Drawing();
}

}  // namespace TQ::App
