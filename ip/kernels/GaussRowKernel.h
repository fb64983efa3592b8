#pragma once

// GaussRows: the four channels of a pixel go through the recurrence in one vector, and as many rows as fit
// with them. Rows are taken apart into chunks in which the rows' pixels alternate, so that each step is one
// load. (With one lane every channel is a line of its own.) Included by the level files only; see Vector.h.

#include "ip/kernels/GaussKernels.h"

namespace TQ::IP::TQ_LEVEL {
namespace {

constexpr int groupRows = lanes < 4 ? 1 : lanes / 4;
constexpr int groupChannels = lanes < 4 ? 1 : 4;
constexpr int chunkLength = 64;  ///< divides GaussRestart

/// A group of rows that are blurred together; where fewer are left the last one stands in for the missing.
struct RowGroup {
    const unsigned char* input[groupRows];  ///< the first sample of the line
    std::int64_t ahead;                     ///< from there to the line that a later group takes in its place
    int length;
    unsigned char* output[groupRows];  ///< where sample `firstOutput` goes
    int firstOutput, endOutput;        ///< the samples that are stored
    int rows;                          ///< that are stored, 1 to groupRows
};

template <class Storage>
struct Chunk {
    static constexpr int sampleBytes = sizeof(typename Storage::Channel);
    static constexpr int pixelBytes = 4 * sampleBytes;
    static constexpr int stepBytes = lanes * sampleBytes;
    static constexpr int partBytes = groupChannels * sampleBytes;  ///< of one row in a step

    alignas(64) unsigned char data[chunkLength * stepBytes];

    TQ_INLINE const unsigned char* Step(int i) const { return data + i * stepBytes; }
    TQ_INLINE unsigned char* Step(int i) { return data + i * stepBytes; }

    /// `length` samples of the lines, or up to a vector's pixels more, from sample x on; beyond their ends
    /// the end sample. With `Fetches` those of a later group are fetched.
    template <bool Fetches>
    void Gather(const RowGroup& group, int x, int length = chunkLength) {
        int done = 0;
        if constexpr (groupChannels == 4) {
            const int first = x < 0 ? Vectors(-x) : 0;
            const int end = Smaller(Vectors(length), (group.length - x) / pixelsOfVector * pixelsOfVector);
            if (first < end) {
                GatherEach(group, x, 0, first);
                GatherInside<Fetches>(group, x, first, end);
                done = end;
            }
        }
        GatherEach(group, x, done, length);
    }

    /// Stores what falls into the group's output; the chunk starts at sample x.
    void Scatter(const RowGroup& group, int x) const {
        if (groupChannels == 4 && x >= group.firstOutput && x + chunkLength <= group.endOutput &&
            group.rows == groupRows) {
            ScatterInside(group, x);
            return;
        }
        const int first = x < group.firstOutput ? group.firstOutput - x : 0;
        const int end = Smaller(chunkLength, group.endOutput - x);
        for (int i = first; i < end; ++i) {
            const std::int64_t offset = static_cast<std::int64_t>(x + i - group.firstOutput) * pixelBytes;
            for (int r = 0; r < group.rows; ++r) {
                __builtin_memcpy(group.output[r] + offset, Step(i) + r * partBytes, partBytes);
            }
        }
    }

  private:
    static constexpr int pixelsOfVector = sizeof(F) / pixelBytes;  ///< divides chunkLength

    /// The samples of as many vectors as hold `samples` samples.
    static int Vectors(int samples) {
        return (samples + pixelsOfVector - 1) / pixelsOfVector * pixelsOfVector;
    }

    /// Samples i to end - 1 of the chunk at x.
    void GatherEach(const RowGroup& group, int x, int i, int end) {
        for (; i < end; ++i) {
            const std::int64_t sample = Clamp(x + i, 0, group.length - 1);
            for (int r = 0; r < groupRows; ++r) {
                __builtin_memcpy(Step(i) + r * partBytes, group.input[r] + sample * pixelBytes, partBytes);
            }
        }
    }

    template <bool Fetches>
    void GatherInside(const RowGroup& group, int x, int first, int end) {
        const std::int64_t start = static_cast<std::int64_t>(x) * pixelBytes;
        for (int offset = first * pixelBytes; offset < end * pixelBytes; offset += sizeof(F)) {
            F rows[groupRows];
            F columns[groupRows];
            for (int r = 0; r < groupRows; ++r) {
                const unsigned char* const input = group.input[r] + start + offset;
                if constexpr (Fetches) {
                    PrefetchNear<sizeof(F)>(input + group.ahead);
                }
                rows[r] = Read<F>(input);
            }
            InterleaveRows<pixelBytes>(rows, columns);
            for (int r = 0; r < groupRows; ++r) {
                Write(data + offset * groupRows + r * sizeof(F), columns[r]);
            }
        }
    }

    void ScatterInside(const RowGroup& group, int x) const {
        const std::int64_t start = static_cast<std::int64_t>(x - group.firstOutput) * pixelBytes;
        for (int offset = 0; offset < chunkLength * pixelBytes; offset += sizeof(F)) {
            F rows[groupRows];
            F columns[groupRows];
            for (int r = 0; r < groupRows; ++r) {
                columns[r] = Read<F>(data + offset * groupRows + r * sizeof(F));
            }
            SeparateRows<pixelBytes>(columns, rows);
            for (int r = 0; r < groupRows; ++r) {
                Write(group.output[r] + start + offset, rows[r]);
            }
        }
    }
};

/// The sums over the windows at sample x.
template <class Storage>
GaussState StartRows(const RowGroup& group, const GaussParameters& p, int x) {
    GaussState state{};
    Chunk<Storage> chunk;
    for (int j = -p.radius - 1; j <= p.radius; j += chunkLength) {
        const int count = Smaller(chunkLength, p.radius + 1 - j);
        chunk.template Gather<true>(group, x + j, count);
        for (int i = 0; i < count; ++i) {
            const int offset = j + i;
            const F sample = Storage::LoadSamples(chunk.Step(i));
            if (offset > -p.radius - 1 && offset < p.radius) {
                AddInsideWindow(state, p, offset, sample);
            } else {
                AddToStart(state, MakeStartWeights(p, offset), sample);
            }
        }
    }
    return state;
}

#if TQ_LANES >= 4
/// Where a chunk's samples of each row are read and stored.
template <class Storage>
struct ChunkRows {
    const unsigned char* input[groupRows];
    std::int64_t ahead;
    unsigned char* output[groupRows];

    ChunkRows(const RowGroup& group, int x) : ahead(group.ahead) {
        for (int r = 0; r < groupRows; ++r) {
            input[r] = group.input[r] + static_cast<std::int64_t>(x) * Chunk<Storage>::pixelBytes;
            output[r] = group.output[r] +
                        (static_cast<std::int64_t>(x) - group.firstOutput) * Chunk<Storage>::pixelBytes;
        }
    }
};

/// `length` samples of floats whose windows lie inside the lines, taken apart and put together in registers.
TQ_INLINE void BlurFloats(const ChunkRows<FloatStorage>& chunkRows, int length, int radius,
                          const GaussConstants& constants, GaussState& state) {
    constexpr int pixelBytes = Chunk<FloatStorage>::pixelBytes;
    const std::int64_t leading = (static_cast<std::int64_t>(radius) + 1) * pixelBytes;
    const std::int64_t trailing = -static_cast<std::int64_t>(radius) * pixelBytes;
    const std::int64_t lastAt = (std::int64_t{length} - groupRows) * pixelBytes;
    // Copies, which the stores cannot change.
    const ChunkRows<FloatStorage> rows = chunkRows;
    const GaussConstants c = constants;
    GaussState s = state;
    F next[groupRows];
    const auto load = [&](std::int64_t at) __attribute__((always_inline)) {
        F lines[groupRows];
        for (int r = 0; r < groupRows; ++r) {
            const unsigned char* const input = rows.input[r] + at;
            PrefetchNear<sizeof(F)>(input + leading + rows.ahead);
            lines[r] = Read<F>(input + leading) - Read<F>(input + trailing);
        }
        InterleaveRows<pixelBytes>(lines, next);
    };
    // Taken apart before the samples ahead of them are through, which wait for each other.
    load(0);
    for (std::int64_t at = 0; at <= lastAt; at += sizeof(F)) {
        F samples[groupRows];
        for (int r = 0; r < groupRows; ++r) {
            samples[r] = next[r];
        }
        load(at < lastAt ? at + static_cast<std::int64_t>(sizeof(F)) : at);
        for (F& sample : samples) {
            sample = GaussStep(s, c, sample);
        }
        F lines[groupRows];
        SeparateRows<pixelBytes>(samples, lines);
        for (int r = 0; r < groupRows; ++r) {
            Write(rows.output[r] + at, lines[r]);
        }
    }
    state = s;
}

/// A chunk of bytes: four samples of the result of each row fill a vector.
TQ_INLINE void BlurBytes(const ChunkRows<ByteStorage>& rows, const Chunk<ByteStorage>& leading,
                         const Chunk<ByteStorage>& trailing, const GaussConstants& constants,
                         GaussState& state) {
    const GaussConstants c = constants;
    GaussState s = state;
    F next[4];
    const auto load = [&](int i) __attribute__((always_inline)) {
        for (int k = 0; k < 4; ++k) {
            next[k] = ByteStorage::LoadDifference(leading.Step(i + k), trailing.Step(i + k));
        }
    };
    load(0);
    for (int i = 0; i < chunkLength; i += 4 * groupRows) {
        F blurred[groupRows];  // four pixels of each row
#pragma GCC unroll 4
        for (int r = 0; r < groupRows; ++r) {
            F samples[4];
            for (int k = 0; k < 4; ++k) {
                samples[k] = next[k];
            }
            load(Smaller(i + 4 * (r + 1), chunkLength - 4));
            I codes[4];
            for (int k = 0; k < 4; ++k) {
                codes[k] = Truncate(GaussStep(s, c, samples[k]));
            }
            blurred[r] = reinterpret_cast<F>(JoinBytes(codes));
        }
        F lines[groupRows];
        SeparateRows<16>(blurred, lines);
        for (int r = 0; r < groupRows; ++r) {
            Write(rows.output[r] + i * Chunk<ByteStorage>::pixelBytes, lines[r]);
        }
    }
    state = s;
}
#endif

template <class Storage>
[[gnu::noinline]] void BlurRows(const RowGroup& group, const GaussParameters& p) {
    const GaussConstants constants = MakeGaussConstants(p, Storage::rounding);
    GaussState state{};
    Chunk<Storage> leading;
    Chunk<Storage> trailing;
    Chunk<Storage> blurred;
    [[maybe_unused]] constexpr bool isFloat = Chunk<Storage>::sampleBytes == 4;
    [[maybe_unused]] constexpr bool isByte = Chunk<Storage>::sampleBytes == 1;
    const int restart = GaussRestart(p.radius, group.length);
    for (int x = group.firstOutput / restart * restart; x < group.endOutput; x += chunkLength) {
        if (x % restart == 0) {
            state = StartRows<Storage>(group, p, x);
            FinishStart(state, constants);
        }
#if TQ_LANES >= 4
        const bool isStored =
            x >= group.firstOutput && x + chunkLength <= group.endOutput && group.rows == groupRows;
        if constexpr (isFloat) {
            const int end =
                Smaller(Smaller(group.endOutput, group.length - p.radius - 1), (x / restart + 1) * restart);
            const int length = (end - x) / chunkLength * chunkLength;
            if (isStored && x >= p.radius && length > 0) {
                BlurFloats({group, x}, length, p.radius, constants, state);
                x += length - chunkLength;
                continue;
            }
        }
#endif
        leading.template Gather<true>(group, x + p.radius + 1);
        trailing.template Gather<false>(group, x - p.radius);
#if TQ_LANES >= 4
        if constexpr (isByte) {
            if (isStored) {
                BlurBytes({group, x}, leading, trailing, constants, state);
                continue;
            }
        }
#endif
        for (int i = 0; i < chunkLength; ++i) {
            const F d = Storage::LoadDifference(leading.Step(i), trailing.Step(i));
            Storage::StoreSamples(blurred.Step(i), GaussStep(state, constants, d), constants.maximum);
        }
        blurred.Scatter(group, x);
    }
}

template <class Storage>
bool RunGaussRows(const ImageView& output, const ImageView* inputs, const Bounds& band,
                  const void* parameters, Image::Progress& progress) {
    using Group = Chunk<Storage>;
    const auto& p = *static_cast<const GaussParameters*>(parameters);
    const ImageView& input = inputs[0];
    RowGroup group{};
    group.ahead = groupRows * input.rowBytes;
    group.length = input.bounds.x2 - input.bounds.x1;
    group.firstOutput = band.x1 - input.bounds.x1;
    group.endOutput = band.x2 - input.bounds.x1;
    for (int y = band.y1; y < band.y2; y += groupRows) {
        group.rows = Smaller(groupRows, band.y2 - y);
        for (int channel = 0; channel < 4; channel += groupChannels) {
            for (int r = 0; r < groupRows; ++r) {
                const int row = y + Smaller(r, group.rows - 1);
                group.input[r] = RowAt(input, row) + channel * Group::sampleBytes;
                group.output[r] =
                    PixelAt(output, band.x1, row, Group::pixelBytes) + channel * Group::sampleBytes;
            }
            BlurRows<Storage>(group, p);
        }
        ReportRow(progress, band, y);
    }
    return true;
}

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
