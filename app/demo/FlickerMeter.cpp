#include "app/demo/FlickerMeter.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numeric>
#include <stdexcept>

namespace TQ::App {

namespace {

constexpr int colours = 3;

template <class Sample>
void ReadRow(const std::uint8_t* row, int width, double scale, std::vector<double>& values) {
    const Sample* const samples = reinterpret_cast<const Sample*>(row);
    for (int x = 0; x < width; ++x) {
        for (int channel = 0; channel < colours; ++channel) {
            values[static_cast<std::size_t>(x * colours + channel)] =
                static_cast<double>(samples[x * 4 + channel]) * scale;
        }
    }
}

/// The colours of a row in 8-bit code values.
void ReadRow(const Picture& picture, int y, std::vector<double>& values) {
    switch (picture.Depth()) {
        case SampleDepth::Byte:
            return ReadRow<std::uint8_t>(picture.Row(y), picture.Width(), 1, values);
        case SampleDepth::Short:
            return ReadRow<std::uint16_t>(picture.Row(y), picture.Width(), 255.0 / 65535, values);
        case SampleDepth::Float:
            return ReadRow<float>(picture.Row(y), picture.Width(), 255, values);
    }
}

double Mean(const double* values, std::size_t count) {
    return std::accumulate(values, values + count, 0.0) / static_cast<double>(count);
}

std::vector<double> FrameMeans(const std::vector<double>& rowMeans, int rows) {
    std::vector<double> means;
    for (std::size_t row = 0; row < rowMeans.size(); row += static_cast<std::size_t>(rows)) {
        means.push_back(Mean(&rowMeans[row], static_cast<std::size_t>(rows)));
    }
    return means;
}

}  // namespace

void FlickerMeter::Add(const Picture& before, const Picture& after, const Picture& truth) {
    if (_frames == 0) {
        _width = truth.Width();
        _rows = truth.Height();
    }
    for (const Picture* picture : {&before, &after, &truth}) {
        if (picture->Width() != _width || picture->Height() != _rows) {
            throw std::invalid_argument("The frames to be measured differ in size.");
        }
    }
    const std::size_t samples = static_cast<std::size_t>(_width) * colours;
    std::vector<double> truthRow(samples);
    std::vector<double> row(samples);
    for (int y = 0; y < _rows; ++y) {
        ReadRow(truth, y, truthRow);
        _truthRowMeans.push_back(Mean(truthRow.data(), samples));
        const auto add = [&](Record& record, const Picture& picture) {
            ReadRow(picture, y, row);
            record.rowMeans.push_back(Mean(row.data(), samples));
            for (std::size_t i = 0; i < samples; ++i) {
                record.squaredError += (row[i] - truthRow[i]) * (row[i] - truthRow[i]);
            }
        };
        add(_before, before);
        add(_after, after);
    }
    ++_frames;
}

ClipMeasure FlickerMeter::Measure(const Record& record) const {
    constexpr double white = 255;
    ClipMeasure measure;
    measure.brightness = FrameMeans(record.rowMeans, _rows);
    for (std::size_t i = 0; i < record.rowMeans.size(); ++i) {
        measure.rowRatio.push_back(
            _truthRowMeans[i] > 0 ? static_cast<float>(record.rowMeans[i] / _truthRowMeans[i]) : 1.0f);
    }
    const std::size_t rows = static_cast<std::size_t>(_rows);
    for (std::size_t row = 0; row < rows; ++row) {
        double sum = 0;
        double squares = 0;
        for (std::size_t i = row; i < record.rowMeans.size(); i += rows) {
            const double error = record.rowMeans[i] - _truthRowMeans[i];
            sum += error;
            squares += error * error;
        }
        const double mean = sum / _frames;
        measure.residualFlicker += std::sqrt(std::max(0.0, squares / _frames - mean * mean)) / _rows;
    }
    const double samples = static_cast<double>(_truthRowMeans.size()) * _width * colours;
    measure.psnr = record.squaredError > 0 ? 10 * std::log10(white * white * samples / record.squaredError)
                                           : std::numeric_limits<double>::infinity();
    return measure;
}

FlickerReport FlickerMeter::Report() const {
    FlickerReport report;
    report.rows = _rows;
    report.frames = _frames;
    if (_frames > 0) {
        report.before = Measure(_before);
        report.after = Measure(_after);
        report.truthBrightness = FrameMeans(_truthRowMeans, _rows);
    }
    return report;
}

}  // namespace TQ::App
