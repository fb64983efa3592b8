#pragma once

// GaussColumns: neighbouring samples of a row go down the picture together. A strip of columns keeps its
// states in the first-level cache, and each visit of a state takes stepRows rows, so that rows are read and
// written in whole cache lines. Included by the level files only; see Vector.h.

#include "ip/kernels/GaussKernels.h"
#include "ip/kernels/StreamStores.h"

namespace TQ::IP::TQ_LEVEL {
namespace {

constexpr int stepRows = gaussStepRows;  ///< divides GaussRestart
constexpr int stripSamples = 512;
constexpr int stripVectors = stripSamples / lanes;

/// The rows of one visit, from the first sample that is visited on.
struct ColumnRows {
    const unsigned char* leading[stepRows];
    const unsigned char* trailing[stepRows];
    const unsigned char* source[stepRows];
    unsigned char* output[stepRows];
};

/// Room for one vector of each row of a visit: stands in for the rows of a strip that is narrower than a
/// vector.
struct NarrowRows {
    alignas(64) unsigned char leading[stepRows][sizeof(F)];
    alignas(64) unsigned char trailing[stepRows][sizeof(F)];
    alignas(64) unsigned char source[stepRows][sizeof(F)];
    alignas(64) unsigned char output[stepRows][sizeof(F)];
};

/// Takes the states of `Vectors` neighbouring vectors of columns through the rows of one visit, side by side,
/// since each row waits for the one before it; `in` and `out` bytes from where rows begin. With `Streams`,
/// which takes whole vectors, past the caches.
template <class Storage, bool Subtract, int Vectors, bool Streams>
TQ_INLINE void WalkVectors(GaussState* states, const GaussConstants& constants, const ColumnRows& rows,
                           std::int64_t in, std::int64_t out) {
    constexpr int bytes = lanes * static_cast<int>(sizeof(typename Storage::Channel));
    constexpr int outputBytes = Subtract ? static_cast<int>(sizeof(F)) : bytes;
    GaussState state[Vectors];
#pragma GCC unroll 2
    for (int v = 0; v < Vectors; ++v) {
        state[v] = states[v];
    }
#pragma GCC unroll 16
    for (int r = 0; r < stepRows; ++r) {
        const unsigned char* const leading = rows.leading[r] + in;
        const unsigned char* const trailing = rows.trailing[r] + in;
        PrefetchNear<Vectors * bytes>(leading + Vectors * bytes);
        PrefetchNear<Vectors * bytes>(trailing + Vectors * bytes);
#pragma GCC unroll 2
        for (int v = 0; v < Vectors; ++v) {
            const F d = Storage::LoadDifference(leading + v * bytes, trailing + v * bytes);
            const F y = GaussStep(state[v], constants, d);
            unsigned char* const output = rows.output[r] + out + v * outputBytes;
            F result = y;
            if constexpr (Subtract) {
                const F source = Storage::LoadSamples(rows.source[r] + in + v * bytes);
                result = (source - y) * (1.0F / Storage::white);
            }
            if constexpr (Streams) {
                TQ_LEVEL::Stream(output, reinterpret_cast<Raw>(result));
            } else if constexpr (Subtract) {
                Write(output, result);
            } else {
                Storage::StoreSamples(output, result, constants.maximum);
            }
        }
    }
#pragma GCC unroll 2
    for (int v = 0; v < Vectors; ++v) {
        states[v] = state[v];
    }
}

/// Columns that go down the picture in vectors of neighbouring samples. With `Subtract` the output is the
/// source minus the blur, as floats with white at 1.
template <class StorageType, bool Subtract>
struct SampleColumns {
    using Storage = StorageType;
    static constexpr bool subtracts = Subtract;
    static constexpr int vectorBytes = lanes * static_cast<int>(sizeof(typename Storage::Channel));
    static constexpr int outputVectorBytes = Subtract ? static_cast<int>(sizeof(F)) : vectorBytes;
    /// Whether two vectors of the output are whole cache lines.
    static constexpr bool streams = outputVectorBytes == sizeof(F) && 2 * sizeof(F) % 64 == 0;

    /// Vector v of a row.
    TQ_INLINE static F Load(const unsigned char* row, int v) {
        return Storage::LoadSamples(row + v * vectorBytes);
    }

    /// Takes the states of `vectors` vectors through the rows of one visit, `in` bytes from where they begin;
    /// each row has room for whole vectors. The output goes to where its rows begin.
    [[gnu::noinline]] static void Walk(GaussState* states, int vectors, const GaussConstants& constantsOfPass,
                                       const ColumnRows& rows, std::int64_t in) {
        const GaussConstants constants = constantsOfPass;
        std::int64_t out = 0;
        int v = 0;
        for (; v + 2 <= vectors; v += 2, in += 2 * vectorBytes, out += 2 * outputVectorBytes) {
            WalkVectors<Storage, Subtract, 2, false>(states + v, constants, rows, in, out);
        }
        if (v < vectors) {
            WalkVectors<Storage, Subtract, 1, false>(states + v, constants, rows, in, out);
        }
    }

    /// An even number of them, past the caches. The output's rows lie at whole cache lines.
    [[gnu::noinline]] static void Stream(GaussState* states, int vectors,
                                         const GaussConstants& constantsOfPass, const ColumnRows& rows) {
        const GaussConstants constants = constantsOfPass;
        for (int v = 0; v < vectors; v += 2) {
            WalkVectors<Storage, Subtract, 2, true>(states + v, constants, rows,
                                                    std::int64_t{v} * vectorBytes,
                                                    std::int64_t{v} * outputVectorBytes);
        }
    }
};

/// Columns of 8-bit pixels with alpha at `Alpha`, in vectors of one channel of `lanes` pixels each. Alpha is
/// left out: it is stored as 0.
template <int Alpha>
struct ColorColumns {
    using Storage = ByteStorage;
    static constexpr bool subtracts = false;
    static constexpr int vectorBytes = lanes;
    static constexpr int outputVectorBytes = lanes;
    static constexpr bool streams = false;

    TQ_INLINE static F Load(const unsigned char* row, int v) {
        return ToFloat(ByteOf(Read<I>(row + v / 4 * sizeof(I)), v % 4));
    }

    /// Of as many vectors as make whole pixels.
    [[gnu::noinline]] static void Walk(GaussState* states, int vectors, const GaussConstants& constantsOfPass,
                                       const ColumnRows& rows, std::int64_t in) {
        const GaussConstants constants = constantsOfPass;
        for (int v = 0; v < vectors; v += 4) {
            const std::int64_t out = std::int64_t{v} * vectorBytes;
            WalkPixels(states + v, constants, rows, in + out, out);
        }
    }

  private:
    TQ_INLINE static void WalkPixels(GaussState* states, const GaussConstants& constants,
                                     const ColumnRows& rows, std::int64_t in, std::int64_t out) {
        constexpr int first = Pixels<ByteStorage, Alpha>::firstColor;
        // One by one: a loop becomes a copy in memory.
        GaussState state[3] = {states[first], states[first + 1], states[first + 2]};
#pragma GCC unroll 16
        for (int r = 0; r < stepRows; ++r) {
            PrefetchNear<sizeof(I)>(rows.leading[r] + in + sizeof(I));
            PrefetchNear<sizeof(I)>(rows.trailing[r] + in + sizeof(I));
            const I leading = Read<I>(rows.leading[r] + in);
            const I trailing = Read<I>(rows.trailing[r] + in);
            I codes[4]{};
#pragma GCC unroll 3
            for (int i = 0; i < 3; ++i) {
                const F d = ToFloat(ByteOf(leading, first + i) - ByteOf(trailing, first + i));
                codes[first + i] = Truncate(GaussStep(state[i], constants, d));
            }
            Write(rows.output[r] + out, PackBytes(codes));
        }
        states[first] = state[0];
        states[first + 1] = state[1];
        states[first + 2] = state[2];
    }
};

/// One strip of columns; `StorageType` is what input and source are stored as. With `Subtract` the output is
/// the source minus the blur, as floats with white at 1.
template <class StorageType, bool Subtract>
class ColumnStrip {
  public:
    using Storage = StorageType;
    static constexpr int sampleBytes = sizeof(typename Storage::Channel);
    static constexpr int pixelBytes = 4 * sampleBytes;
    static constexpr int outputSampleBytes = Subtract ? sizeof(float) : sampleBytes;
    static constexpr int outputPixelBytes = 4 * outputSampleBytes;

    /// `samples` samples from column x1 on: a multiple of `lanes`, or less than `lanes`.
    ColumnStrip(const ImageView& output, const ImageView* inputs, const Bounds& band,
                const GaussParameters& p, int x1, int firstSample, int samples)
        : _p(p),
          _constants(MakeGaussConstants(p, Subtract ? 0.0F : Storage::rounding)),
          _input(RowAt(inputs[0], inputs[0].bounds.y1) + Offset(inputs[0], x1, firstSample, sampleBytes)),
          _inputRowBytes(inputs[0].rowBytes),
          _length(inputs[0].bounds.y2 - inputs[0].bounds.y1),
          _output(RowAt(output, band.y1) + Offset(output, x1, firstSample, outputSampleBytes)),
          _outputRowBytes(output.rowBytes),
          _firstOutput(band.y1 - inputs[0].bounds.y1),
          _endOutput(band.y2 - inputs[0].bounds.y1),
          _samples(samples),
          _vectors((samples + lanes - 1) / lanes) {
        if constexpr (Subtract) {
            _source = RowAt(inputs[1], band.y1) + Offset(inputs[1], x1, firstSample, sampleBytes);
            _sourceRowBytes = inputs[1].rowBytes;
        }
    }

    void Run(RowsWalked& walked) {
        for (int y = 0; y < _endOutput; y += stepRows) {
            if (y % GaussRestart(_p.radius, _length) == 0) {
                Start(y);
            }
            Visit(y);
            const int end = Smaller(y + stepRows, _endOutput);
            for (int row = y < _firstOutput ? _firstOutput : y; row < end; ++row) {
                walked.AddRow();
            }
        }
    }

  private:
    static std::int64_t Offset(const ImageView& view, int x, int sample, int bytesPerSample) {
        return (static_cast<std::int64_t>(x - view.bounds.x1) * 4 + sample) * bytesPerSample;
    }

    const unsigned char* InputRow(int y) const { return _input + Clamp(y, 0, _length - 1) * _inputRowBytes; }
    bool IsNarrow() const { return _samples < lanes; }

    /// The states at row y, from the sums over their windows.
    void Start(int y) {
        for (int v = 0; v < _vectors; ++v) {
            _states[v] = GaussState{};
        }
        for (int j = -_p.radius - 1; j <= _p.radius; ++j) {
            const GaussStartWeights weights = MakeStartWeights(_p, j);
            const unsigned char* row = InputRow(y + j);
            if (IsNarrow()) {
                Copy(_narrow.leading[0], row, _samples * sampleBytes);
                row = _narrow.leading[0];
            }
            for (int v = 0; v < _vectors; ++v) {
                AddToStart(_states[v], weights, Storage::LoadSamples(row + v * lanes * sampleBytes));
            }
        }
        for (int v = 0; v < _vectors; ++v) {
            FinishStart(_states[v], _constants);
        }
    }

    /// Rows y to y + stepRows - 1. Those outside the output are computed and go to a row that nobody reads.
    void Visit(int y) {
        ColumnRows rows;
        for (int r = 0; r < stepRows; ++r) {
            const int output = Clamp(y + r, _firstOutput, _endOutput - 1);
            rows.leading[r] = InputRow(y + r + _p.radius + 1);
            rows.trailing[r] = InputRow(y + r - _p.radius);
            rows.source[r] = Subtract ? _source + (output - _firstOutput) * _sourceRowBytes : nullptr;
            rows.output[r] = output == y + r ? _output + (output - _firstOutput) * _outputRowBytes : _unread;
        }
        if (!IsNarrow()) {
            SampleColumns<Storage, Subtract>::Walk(_states, _vectors, _constants, rows, 0);
            return;
        }
        ColumnRows narrow;
        for (int r = 0; r < stepRows; ++r) {
            Copy(_narrow.leading[r], rows.leading[r], _samples * sampleBytes);
            Copy(_narrow.trailing[r], rows.trailing[r], _samples * sampleBytes);
            if (Subtract) {
                Copy(_narrow.source[r], rows.source[r], _samples * sampleBytes);
            }
            narrow.leading[r] = _narrow.leading[r];
            narrow.trailing[r] = _narrow.trailing[r];
            narrow.source[r] = _narrow.source[r];
            narrow.output[r] = _narrow.output[r];
        }
        SampleColumns<Storage, Subtract>::Walk(_states, _vectors, _constants, narrow, 0);
        for (int r = 0; r < stepRows; ++r) {
            Copy(rows.output[r], _narrow.output[r], _samples * outputSampleBytes);
        }
    }

    const GaussParameters& _p;
    const GaussConstants _constants;
    const unsigned char* _input;
    std::int64_t _inputRowBytes;
    int _length;
    const unsigned char* _source = nullptr;
    std::int64_t _sourceRowBytes = 0;
    unsigned char* _output;
    std::int64_t _outputRowBytes;
    int _firstOutput, _endOutput;  ///< rows, counted from the line's first
    int _samples, _vectors;
    GaussState _states[stripVectors];
    NarrowRows _narrow{};
    unsigned char _unread[stripSamples * sizeof(float)];
};

template <class Storage, bool Subtract>
void RunColumnStrips(const ImageView& output, const ImageView* inputs, const Bounds& band,
                     const GaussParameters& p, Image::Progress& progress) {
    const int samples = 4 * (band.x2 - band.x1);
    const int wholeVectors = samples / lanes * lanes;
    const int strips = (wholeVectors + stripSamples - 1) / stripSamples + (samples > wholeVectors ? 1 : 0);
    RowsWalked walked(progress, band.y2 - band.y1, strips);
    for (int first = 0; first < samples;) {
        const int count =
            first < wholeVectors ? Smaller(stripSamples, wholeVectors - first) : samples - first;
        ColumnStrip<Storage, Subtract>(output, inputs, band, p, band.x1, first, count).Run(walked);
        first += count;
    }
}

template <class Storage>
bool RunGaussColumns(const ImageView& output, const ImageView* inputs, const Bounds& band,
                     const void* parameters, Image::Progress& progress) {
    const auto& p = *static_cast<const GaussParameters*>(parameters);
    if (band.y2 <= band.y1) {
        return true;
    }
    if (p.subtractFromSource) {
        RunColumnStrips<Storage, true>(output, inputs, band, p, progress);
    } else {
        RunColumnStrips<Storage, false>(output, inputs, band, p, progress);
    }
    return true;
}

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
