#pragma once

// GaussBlur and AddBlurredHighPass: both passes of the blur in one walk down a band of columns. Rows go
// through the row pass into a ring that holds the window of the column pass, so the picture between the
// passes never leaves the cache. Every value is that of the two passes one after the other. Included by the
// level files only; see Vector.h.

#include <type_traits>

#include "ip/kernels/GaussColumnKernel.h"
#include "ip/kernels/GaussRowKernel.h"
#include "ip/kernels/PointKernels.h"

namespace TQ::IP::TQ_LEVEL {
namespace {

/// Those of a step's rows from row y on that lie in a band.
struct StepRange {
    int first, end;
    StepRange(const Bounds& band, int y)
        : first(y < band.y1 ? Smaller(band.y1 - y, stepRows) : 0), end(Smaller(stepRows, band.y2 - y)) {}
};

/// The lines of a picture, where they lie.
class PictureLines {
  public:
    PictureLines(const ImageView& picture) : _picture(picture) {}
    const Bounds& Area() const { return _picture.bounds; }
    std::int64_t Ahead() const { return groupRows * _picture.rowBytes; }
    void Prepare(int /*first*/, int /*count*/) {}
    /// Line `first` + r, where `first` is that of the last Prepare.
    const unsigned char* Line(int first, int r) const {
        return RowAt(_picture, _picture.bounds.y1 + first + r);
    }
    const ImageView& Picture() const { return _picture; }

  private:
    ImageView _picture;
};

/// The blur of a band of columns, a step of stepRows rows at a time. `Columns` is SampleColumns or
/// ColorColumns; `Lines` gives the lines that are blurred, a group at a time.
template <class Columns, class Lines = PictureLines>
class BlurStream {
  public:
    using Storage = typename Columns::Storage;
    static constexpr int outputPixelBytes = 4 * Columns::outputVectorBytes / lanes;

    /// Columns x1 to x2 of the lines, from row y1 of `band` on.
    BlurStream(const Lines& lines, const Bounds& band, const GaussBlurParameters& p)
        : _p(p),
          _lines(lines),
          _area(lines.Area()),
          _x1(band.x1),
          _x2(band.x2),
          _length(_area.y2 - _area.y1),
          _blocks((band.x2 - band.x1 + lanes - 1) / lanes),
          _ringRows(GaussRingRows(p.alongY.radius)),
          _rowBytes(GaussRowPitch(std::int64_t{_blocks} * lanes * pixelBytes)),
          _resultRowBytes(GaussRowPitch(std::int64_t{_blocks} * lanes * outputPixelBytes)),
          _states(reinterpret_cast<GaussState*>(p.scratch)),
          _results(p.scratch + std::int64_t{_blocks} * 4 * static_cast<std::int64_t>(sizeof(GaussState))),
          _ring(_results + stepRows * _resultRowBytes),
          _constants(MakeGaussConstants(p.alongY, Columns::subtracts ? 0.0F : Storage::rounding)) {
        if ((_x2 - _x1) % lanes != 0) {
            // The last block of a row is not whole.
            __builtin_memset(_ring, 0, static_cast<std::uint64_t>(_ringRows * _rowBytes));
        }
        const int restart = GaussRestart(p.alongY.radius, _length);
        _next = (band.y1 - _area.y1) / restart * restart;
        _filled = _next > p.alongY.radius + 1 ? _next - p.alongY.radius - 1 : 0;
    }

    /// The first row of the next step.
    int NextRow() const { return _area.y1 + _next; }
    /// Blocks of `lanes` pixels from x1 on, the last of which may reach beyond x2.
    int Blocks() const { return _blocks; }

    /// Makes all ready for the next step.
    void StartStep() {
        const int y = _next;
        FillRing(y + stepRows + _p.alongY.radius);
        if (y % GaussRestart(_p.alongY.radius, _length) == 0) {
            StartColumns(y);
        }
        for (int r = 0; r < stepRows; ++r) {
            _rows.leading[r] = RingRow(y + r + _p.alongY.radius + 1);
            _rows.trailing[r] = RingRow(y + r - _p.alongY.radius);
            if constexpr (Columns::subtracts) {
                _rows.source[r] = SourceRow(y + r, r);
            } else {
                _rows.source[r] = nullptr;
            }
            _rows.output[r] = Result(r);
        }
        _next += stepRows;
    }

    /// The step's rows of `count` blocks from block `first` on, to the beginning of their places.
    void Walk(int first, int count) {
        Columns::Walk(_states + 4 * first, 4 * count, _constants, _rows,
                      std::int64_t{first} * lanes * pixelBytes);
    }

    /// Those of the first `count` blocks to a picture, past the caches: `rows` from `target` on, which lie at
    /// whole cache lines.
    void Stream(int count, unsigned char* target, std::int64_t rowBytes, const StepRange& rows) {
        ColumnRows places = _rows;
        for (int r = rows.first; r < rows.end; ++r, target += rowBytes) {
            places.output[r] = target;
        }
        Columns::Stream(_states, 4 * count, _constants, places);
    }

    /// Row r of what was walked last, with room for all blocks.
    unsigned char* Result(int r) const { return _results + r * _resultRowBytes; }
    std::int64_t ResultRowBytes() const { return _resultRowBytes; }

  private:
    static constexpr int sampleBytes = sizeof(typename Storage::Channel);
    static constexpr int pixelBytes = 4 * sampleBytes;
    static constexpr int startRows = 16;  ///< that a state takes on each visit when it is formed

    const unsigned char* RingRow(int y) const {
        return _ring + Clamp(y, 0, _length - 1) % _ringRows * _rowBytes;
    }

    /// Puts the rows up to y through the row pass.
    void FillRing(int y) {
        const int last = Smaller(y, _length - 1);
        while (_filled <= last) {
            RowGroup group{};
            group.ahead = _lines.Ahead();
            group.length = _area.x2 - _area.x1;
            group.firstOutput = _x1 - _area.x1;
            group.endOutput = _x2 - _area.x1;
            group.rows = Smaller(groupRows, _length - _filled);
            _lines.Prepare(_filled, group.rows);
            for (int channel = 0; channel < 4; channel += groupChannels) {
                for (int r = 0; r < groupRows; ++r) {
                    const int line = Smaller(r, group.rows - 1);
                    group.input[r] = _lines.Line(_filled, line) + channel * sampleBytes;
                    group.output[r] =
                        _ring + (_filled + line) % _ringRows * _rowBytes + channel * sampleBytes;
                }
                BlurRows<Storage>(group, _p.alongX);
            }
            _filled += group.rows;
        }
    }

    void StartColumns(int y) {
        const int vectors = 4 * _blocks;
        for (int v = 0; v < vectors; ++v) {
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
            for (int v = 0; v < vectors; ++v) {
                GaussState state = _states[v];
                const auto sample = [&](int r) __attribute__((always_inline)) {
                    return Columns::Load(rows[r], v);
                };
                if (firstInside > 0) {
                    AddToStart(state, weights[0], sample(0));
                }
                for (int r = firstInside; r < endInside; ++r) {
                    AddInsideWindow(state, weights[r], sample(r));
                }
                if (endInside < count) {
                    AddToStart(state, weights[endInside], sample(endInside));
                    FinishStart(state, _constants);
                }
                _states[v] = state;
            }
        }
    }

    /// The unblurred picture, with room for whole blocks: where the last one is not whole, at the end of the
    /// result's place, where each vector is read before the result reaches it.
    const unsigned char* SourceRow(int y, int r) {
        const unsigned char* const picture =
            PixelAt(_lines.Picture(), _x1, _area.y1 + Smaller(y, _length - 1), pixelBytes);
        if ((_x2 - _x1) % lanes == 0) {
            return picture;
        }
        unsigned char* row = Result(r) + std::int64_t{_blocks} * lanes * (outputPixelBytes - pixelBytes);
        Copy(row, picture, (_x2 - _x1) * pixelBytes);
        return row;
    }

    const GaussBlurParameters& _p;
    Lines _lines;
    Bounds _area;  ///< of the lines
    int _x1, _x2;
    int _length;  ///< of the columns
    int _blocks;  ///< of a row of the band
    int _ringRows;
    std::int64_t _rowBytes;        ///< from row to row of the ring
    std::int64_t _resultRowBytes;  ///< from row to row of a step's results
    GaussState* _states;
    unsigned char* _results;  ///< stepRows rows
    unsigned char* _ring;
    GaussConstants _constants;
    ColumnRows _rows;  ///< of the step
    int _filled;       ///< rows up to here have been through the row pass
    int _next;         ///< row of the next step
};

template <class Columns>
void RunBlurStream(const ImageView& output, const ImageView& input, const Bounds& band,
                   const GaussBlurParameters& p, Image::Progress& progress) {
    constexpr int pixelBytes = BlurStream<Columns>::outputPixelBytes;
    constexpr int lineBytes = 64;
    constexpr int blocksOfLine = lanes * pixelBytes < lineBytes ? lineBytes / (lanes * pixelBytes) : 1;
    BlurStream<Columns> stream(input, band, p);
    const bool pastCaches = IsStreamed(output, pixelBytes);
    const bool areRowsLines =
        pastCaches && AreRowsAligned(output, PixelAt(output, band.x1, band.y1, pixelBytes), lineBytes);
    const int streamed = Columns::streams && areRowsLines ? (band.x2 - band.x1) / lanes : 0;
    // Results for which the first-level cache has no room go line by line to their places.
    constexpr std::int64_t roomOfCache = 24 << 10;
    const bool inLines = areRowsLines && stepRows * stream.ResultRowBytes() > roomOfCache;
    const int count = inLines ? blocksOfLine : stream.Blocks();
    while (stream.NextRow() < band.y2) {
        const int y = stream.NextRow();
        stream.StartStep();
        const StepRange rows(band, y);
        if constexpr (Columns::streams) {
            if (streamed > 0) {
                unsigned char* const first = PixelAt(output, band.x1, y + rows.first, pixelBytes);
                stream.Stream(streamed, first, output.rowBytes, rows);
            }
        }
        for (int block = streamed; block < stream.Blocks(); block += count) {
            const int blocks = Smaller(count, stream.Blocks() - block);
            stream.Walk(block, blocks);
            const int x = band.x1 + block * lanes;
            const int bytes = Smaller(blocks * lanes, band.x2 - x) * pixelBytes;
            for (int r = rows.first; r < rows.end; ++r) {
                CopyOrStream(PixelAt(output, x, y + r, pixelBytes), stream.Result(r), bytes, pastCaches);
            }
        }
        for (int r = rows.first; r < rows.end; ++r) {
            ReportRow(progress, band, y + r);
        }
    }
    EndStream();
}

template <class Storage>
bool RunGaussBlur(const ImageView& output, const ImageView* inputs, const Bounds& band,
                  const void* parameters, Image::Progress& progress) {
    const auto& p = *static_cast<const GaussBlurParameters*>(parameters);
    if (p.alongY.subtractFromSource) {
        RunBlurStream<SampleColumns<Storage, true>>(output, inputs[0], band, p, progress);
    } else {
        RunBlurStream<SampleColumns<Storage, false>>(output, inputs[0], band, p, progress);
    }
    return true;
}

/// The columns of a frame's blur as AddHighPass reads it.
template <class Frame>
using LowColumns =
    std::conditional_t<std::is_same_v<typename Frame::Storage, ByteStorage>, ColorColumns<Frame::alpha>,
                       SampleColumns<typename Frame::Storage, false>>;

/// How RunPointColumn stores a band's columns: past the caches where the picture is large and aligned.
template <class Frame>
RowStores StoresOfBand(const ImageView& output, const Bounds& band) {
    const unsigned char* const first = PixelAt(output, band.x1, band.y1, Frame::pixelBytes);
    const bool streams =
        IsStreamed(output, Frame::pixelBytes) && AreRowsAligned(output, first, static_cast<int>(sizeof(Raw)));
    return StoresOf<Frame>(first, streams);
}

/// The picture, its blur, and the blur of the sum, as AddHighPass takes them. One block goes through all
/// three after the other, so that both blurs stay in the first-level cache.
template <class Frame, bool Threshold>
bool RunAddBlurredHighPass(const ImageView& output, const ImageView* inputs, const Bounds& band,
                           const void* parameters, Image::Progress& progress) {
    using Body = AddHighPass<Frame, true, Threshold>;
    const auto& p = *static_cast<const BlurredHighPassParameters*>(parameters);
    typename Body::Parameters record{};
    if constexpr (Threshold) {
        record = p.highPass;
    }
    BlurStream<LowColumns<Frame>> low(inputs[1], band, p.low);
    BlurStream<SampleColumns<FloatStorage, false>> target(inputs[2], band, p.target);
    const RowStores stores = StoresOfBand<Frame>(output, band);
    while (low.NextRow() < band.y2) {
        const int y = low.NextRow();
        low.StartStep();
        target.StartStep();
        const StepRange rows(band, y);
        for (int block = 0; block < low.Blocks(); ++block) {
            low.Walk(block, 1);
            target.Walk(block, 1);
            const int x = band.x1 + block * lanes;
            const PointInputs pixels{{PixelAt(inputs[0], x, y + rows.first, Frame::pixelBytes),
                                      low.Result(rows.first), target.Result(rows.first)},
                                     {inputs[0].rowBytes, low.ResultRowBytes(), target.ResultRowBytes()}};
            RunPointColumn<Body>(PixelAt(output, x, y + rows.first, Frame::pixelBytes), output.rowBytes,
                                 pixels, Smaller(lanes, band.x2 - x), rows.end - rows.first, stores, record);
        }
        for (int r = rows.first; r < rows.end; ++r) {
            ReportRow(progress, band, y + r);
        }
    }
    EndStream();
    return true;
}

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
