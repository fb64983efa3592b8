#pragma once

// GaussBlur and AddBlurredHighPass: both passes of the blur in one walk down a band of columns. Rows go
// through the row pass into a ring that holds the window of the column pass, so the picture between the
// passes never leaves the cache. Every value is that of the two passes one after the other. Included by the
// level files only; see Vector.h.

#include "ip/kernels/GaussColumnKernel.h"
#include "ip/kernels/GaussRowKernel.h"
#include "ip/kernels/PointKernels.h"

namespace TQ::IP::TQ_LEVEL {
namespace {

/// The blur of a band of columns, row by row. With `Subtract` it is the picture minus its blur, as floats
/// with white at 1.
template <class StorageType, bool Subtract>
class BlurStream {
  public:
    using Storage = StorageType;
    static constexpr int sampleBytes = sizeof(typename Storage::Channel);
    static constexpr int outputSampleBytes = Subtract ? sizeof(float) : sampleBytes;

    /// Columns x1 to x2 of `input`, from row y1 of `band` on.
    BlurStream(const ImageView& input, const Bounds& band, const GaussBlurParameters& p)
        : _p(p),
          _input(input),
          _x1(band.x1),
          _x2(band.x2),
          _length(input.bounds.y2 - input.bounds.y1),
          _vectors((4 * (band.x2 - band.x1) + lanes - 1) / lanes),
          _ringRows(GaussRingRows(p.alongY.radius)),
          _rowBytes(GaussRowPitch(std::int64_t{_vectors} * lanes * sampleBytes)),
          _outputRowBytes(GaussRowPitch(std::int64_t{_vectors} * lanes * outputSampleBytes)),
          _states(reinterpret_cast<GaussState*>(p.scratch)),
          _output(p.scratch + static_cast<std::int64_t>(_vectors) * sizeof(GaussState)),
          _ring(_output + stepRows * _outputRowBytes),
          _constants(MakeGaussConstants(p.alongY, Subtract ? 0.0F : Storage::rounding)) {
        if (4 * (_x2 - _x1) % lanes != 0) {
            // The last vector of a row is not whole.
            __builtin_memset(_ring, 0, static_cast<std::uint64_t>(_ringRows * _rowBytes));
        }
        const int restart = GaussRestart(p.alongY.radius, _length);
        _done = (band.y1 - input.bounds.y1) / restart * restart;
        _filled = _done > p.alongY.radius + 1 ? _done - p.alongY.radius - 1 : 0;
    }

    /// Row y of the result; y does not decrease from call to call. Valid until the next call.
    const unsigned char* Row(int y) {
        const int row = y - _input.bounds.y1;
        for (; _done <= row; _done += stepRows) {
            Step(_done);
        }
        return _output + row % stepRows * _outputRowBytes;
    }

  private:
    static constexpr int startRows = 16;  ///< that a state takes on each visit when it is formed

    const unsigned char* RingRow(int y) const {
        return _ring + Clamp(y, 0, _length - 1) % _ringRows * _rowBytes;
    }

    /// Puts the rows up to y through the row pass.
    void FillRing(int y) {
        const int last = Smaller(y, _length - 1);
        while (_filled <= last) {
            RowGroup group{};
            group.ahead = groupRows * _input.rowBytes;
            group.length = _input.bounds.x2 - _input.bounds.x1;
            group.firstOutput = _x1 - _input.bounds.x1;
            group.endOutput = _x2 - _input.bounds.x1;
            group.rows = Smaller(groupRows, _length - _filled);
            for (int channel = 0; channel < 4; channel += groupChannels) {
                for (int r = 0; r < groupRows; ++r) {
                    const int row = _filled + Smaller(r, group.rows - 1);
                    group.input[r] = RowAt(_input, _input.bounds.y1 + row) + channel * sampleBytes;
                    group.output[r] = _ring + row % _ringRows * _rowBytes + channel * sampleBytes;
                }
                BlurRows<Storage>(group, _p.alongX);
            }
            _filled += group.rows;
        }
    }

    /// Rows y to y + stepRows - 1 of the result.
    void Step(int y) {
        FillRing(y + stepRows + _p.alongY.radius);
        if (y % GaussRestart(_p.alongY.radius, _length) == 0) {
            StartColumns(y);
        }
        ColumnRows rows;
        for (int r = 0; r < stepRows; ++r) {
            rows.leading[r] = RingRow(y + r + _p.alongY.radius + 1);
            rows.trailing[r] = RingRow(y + r - _p.alongY.radius);
            rows.source[r] = Subtract ? SourceRow(y + r, r) : nullptr;
            rows.output[r] = _output + r * _outputRowBytes;
        }
        WalkColumns<Storage, Subtract>(_states, _vectors, _constants, rows);
    }

    void StartColumns(int y) {
        for (int v = 0; v < _vectors; ++v) {
            _states[v] = GaussState{};
        }
        for (int j = -_p.alongY.radius - 1; j <= _p.alongY.radius; j += startRows) {
            const int count = Smaller(startRows, _p.alongY.radius + 1 - j);
            GaussStartWeights weights[startRows];
            const unsigned char* rows[startRows];
            for (int r = 0; r < count; ++r) {
                weights[r] = MakeStartWeights(_p.alongY, j + r);
                rows[r] = RingRow(y + j + r);
            }
            const int firstInside = j == -_p.alongY.radius - 1 ? 1 : 0;
            const int endInside = j + count - 1 == _p.alongY.radius ? count - 1 : count;
            for (int v = 0; v < _vectors; ++v) {
                GaussState state = _states[v];
                const auto sample = [&](int r) __attribute__((always_inline)) {
                    return Storage::LoadSamples(rows[r] + v * lanes * sampleBytes);
                };
                if (firstInside > 0) {
                    AddToStart(state, weights[0], sample(0));
                }
                for (int r = firstInside; r < endInside; ++r) {
                    AddInsideWindow(state, weights[r], sample(r));
                }
                if (endInside < count) {
                    AddToStart(state, weights[endInside], sample(endInside));
                }
                _states[v] = state;
            }
        }
    }

    /// The unblurred picture, with room for whole vectors: at the end of the output's place, where each
    /// vector is read before the output reaches it.
    const unsigned char* SourceRow(int y, int r) {
        unsigned char* row = _output + r * _outputRowBytes +
                             std::int64_t{_vectors} * lanes * (outputSampleBytes - sampleBytes);
        Copy(row, PixelAt(_input, _x1, _input.bounds.y1 + Smaller(y, _length - 1), 4 * sampleBytes),
             (_x2 - _x1) * 4 * sampleBytes);
        return row;
    }

    const GaussBlurParameters& _p;
    const ImageView& _input;
    int _x1, _x2;
    int _length;   ///< of the columns
    int _vectors;  ///< of a row of the band
    int _ringRows;
    std::int64_t _rowBytes;        ///< from row to row of the ring
    std::int64_t _outputRowBytes;  ///< from row to row of the output
    GaussState* _states;
    unsigned char* _output;  ///< stepRows rows
    unsigned char* _ring;
    GaussConstants _constants;
    int _filled;  ///< rows up to here have been through the row pass
    int _done;    ///< rows of the result
};

template <class Storage, bool Subtract>
void RunBlurStream(const ImageView& output, const ImageView& input, const Bounds& band,
                   const GaussBlurParameters& p, Image::Progress& progress) {
    constexpr int outputPixelBytes = 4 * BlurStream<Storage, Subtract>::outputSampleBytes;
    BlurStream<Storage, Subtract> stream(input, band, p);
    const bool pastCaches = IsStreamed(output, outputPixelBytes);
    for (int y = band.y1; y < band.y2; ++y) {
        ReportRow(progress, band, y);
        CopyOrStream(PixelAt(output, band.x1, y, outputPixelBytes), stream.Row(y),
                     (band.x2 - band.x1) * outputPixelBytes, pastCaches);
    }
    EndStream();
}

template <class Storage>
bool RunGaussBlur(const ImageView& output, const ImageView* inputs, const Bounds& band,
                  const void* parameters, Image::Progress& progress) {
    const auto& p = *static_cast<const GaussBlurParameters*>(parameters);
    if (p.alongY.subtractFromSource) {
        RunBlurStream<Storage, true>(output, inputs[0], band, p, progress);
    } else {
        RunBlurStream<Storage, false>(output, inputs[0], band, p, progress);
    }
    return true;
}

/// The picture, its blur, and the blur of the sum, as AddHighPass takes them.
template <class Frame, bool Threshold>
bool RunAddBlurredHighPass(const ImageView& output, const ImageView* inputs, const Bounds& band,
                           const void* parameters, Image::Progress& progress) {
    using Body = AddHighPass<Frame, true, Threshold>;
    const auto& p = *static_cast<const BlurredHighPassParameters*>(parameters);
    BlurStream<typename Frame::Storage, false> low(inputs[1], band, p.low);
    BlurStream<FloatStorage, false> target(inputs[2], band, p.target);
    const bool stream = IsStreamed(output, Frame::pixelBytes);
    for (int y = band.y1; y < band.y2; ++y) {
        ReportRow(progress, band, y);
        const PointInputs rows{{PixelAt(inputs[0], band.x1, y, Frame::pixelBytes), low.Row(y), target.Row(y)},
                               {inputs[0].rowBytes, 0, 0}};
        typename Body::Parameters record{};
        if constexpr (Threshold) {
            record = p.highPass;
        }
        RunPointRow<Body>(PixelAt(output, band.x1, y, Frame::pixelBytes), rows, band.x2 - band.x1, stream,
                          record);
    }
    EndStream();
    return true;
}

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
