#pragma once

// What GatedSum's walk works on: tiles of sums, what its steps keep between batches and tiles, and the pixels
// of their frames. Included by the level files only; see Vector.h.

#include "ip/kernels/MotionKernels.h"

namespace TQ::IP::TQ_LEVEL {
namespace {

constexpr int batchRows = gatedBatchRows;
/// Fewer where a block takes so little time that what the first-level cache has no room for shows.
constexpr int tileBlocks = lanes == gatedBlock ? 6 : gatedMostTileBlocks;
/// From a block of a chain's first frame to the one whose pixels are fetched; fewer where they take more
/// room.
template <class Format>
constexpr std::int64_t bytesAheadOfFirst =
    std::int64_t{Format::pixelBytes > 8 ? 2 : 4} * gatedBlock* Format::pixelBytes;
constexpr int historyRows = motionWindow - 1;
constexpr int arrivingRows = motionReach + batchRows;
static_assert(gatedBlock % lanes == 0 && gatedBlock >= motionReach);
static_assert(batchRows >= historyRows && historyRows == 4);
static_assert(tileBlocks >= 2 && tileBlocks <= gatedMostTileBlocks);

/// The sums of a block's pixels in one row, one plane per channel.
struct alignas(64) SumCell {
    float plane[4][gatedBlock];

    TQ_INLINE Pixel Load(int i) const {
        return {{Read<F>(plane[0] + i), Read<F>(plane[1] + i), Read<F>(plane[2] + i)}, Read<F>(plane[3] + i)};
    }
    TQ_INLINE void Store(int i, const Pixel& pixel) {
        Write(plane[0] + i, pixel.rgb.r);
        Write(plane[1] + i, pixel.rgb.g);
        Write(plane[2] + i, pixel.rgb.b);
        Write(plane[3] + i, pixel.a);
    }
};

/// What a step does with a sum, apart from the frame. In a tile a sum counts the frames' code values, in
/// units of the weight of the frame that was added last, so that the next one is added as it is.
struct GateConstants {
    float limit;       ///< the difference in code values at which one channel alone is not similar at all
    float maskFactor;  ///< from the 25 products of limit - difference to the mask, and to the unit of the sum
    float leastWeight;  ///< that the sum is divided by
};

/// The places of rows in a block. Each step leaves its sums two rows higher, in place: what is row r + 2 for
/// it is row r for the next one, and the two first rows come round to the end.
struct RowPlaces {
    static constexpr int turns = arrivingRows / motionReach;
    static_assert(arrivingRows % motionReach == 0);

    int place[turns][arrivingRows];

    constexpr RowPlaces() : place() {
        for (int turn = 0; turn < turns; ++turn) {
            for (int r = 0; r < arrivingRows; ++r) {
                place[turn][r] = (r + (turns - turn) * motionReach) % arrivingRows;
            }
        }
    }
    /// After so many steps.
    const int* After(int steps) const { return place[steps % turns]; }
};
constexpr RowPlaces rowPlaces;

/// A block's sums: two rows above a batch, and the batch.
struct SumBlock {
    SumCell rows[arrivingRows];
};

/// The sums that a step works on: blocks that arrive, and to their left one that arrived with the tile before
/// and that the step kept. The step leaves its own sums one block further left, in place, and keeps the last
/// block, which it has not come to yet. So blocks change hands, and nothing is copied.
class SumTile {
  public:
    /// `blocks` is the room for a tile.
    explicit SumTile(SumBlock* blocks) {
        for (int i = 1; i <= tileBlocks; ++i) {
            _blocks[i] = blocks + i - 1;
        }
    }
    /// The sums of the first block are those that the step kept, the others those that arrive.
    void Enter(SumBlock* kept) { _blocks[0] = kept; }
    /// What the step has left becomes what arrives at the next one. Returns the block to be kept.
    SumBlock* Leave() {
        SumBlock* const last = _blocks[tileBlocks];
        for (int i = tileBlocks; i > 0; --i) {
            _blocks[i] = _blocks[i - 1];
        }
        return last;
    }
    TQ_INLINE SumCell* Block(int i) const { return _blocks[i]->rows; }

  private:
    SumBlock* _blocks[1 + tileBlocks];
};

/// What a step keeps of a block from batch to batch.
struct KeptBlock {
    SumCell sums[motionReach];
    float history[historyRows][gatedBlock];
};

/// What a step keeps from tile to tile.
struct KeptColumns {
    SumBlock sums;  ///< the first ones; they change places with others
    float columnSums[batchRows * 2 * gatedBlock];
};

/// What the steps work on in turn.
struct GatedWork {
    SumBlock past[tileBlocks], future[tileBlocks];
    alignas(64) float columnSums[batchRows * (2 + tileBlocks) * gatedBlock];
};

static_assert(sizeof(GatedWork) <= gatedWorkFloats * sizeof(float));
static_assert(gatedMostBlocks * sizeof(KeptBlock) + sizeof(KeptColumns) == gatedStepFloats * sizeof(float));
// The columns of a band, what all steps reach beyond it on both sides, and parts of blocks at both ends.
static_assert(gatedMostColumns + 2 * motionReach * (gatedMostFrames / 2 + 1) + 2 * gatedBlock <=
              gatedMostBlocks * gatedBlock);

/// The sums of the five similarities above each other, of the blocks of a tile from -2 on: of the two blocks
/// before it they were kept, those of its last two are to be kept. Where a block is several vectors its rows
/// go on in the next block, so that windows are read across the blocks.
template <bool BlockIsVector>
class ColumnSums {
  public:
    static constexpr int rowFloats = (2 + tileBlocks) * gatedBlock;

    ColumnSums(float* work, KeptColumns& kept) : _work(work), _kept(kept.columnSums) {
        for (int r = 0; r < batchRows; ++r) {
            __builtin_memcpy(_work + r * rowFloats, _kept + r * 2 * gatedBlock,
                             2 * gatedBlock * sizeof(float));
        }
    }
    void Keep() const {
        for (int r = 0; r < batchRows; ++r) {
            __builtin_memcpy(_kept + r * 2 * gatedBlock, _work + r * rowFloats + tileBlocks * gatedBlock,
                             2 * gatedBlock * sizeof(float));
        }
    }
    /// Block i of the tile, rows rowFloats apart.
    TQ_INLINE float* Block(int i) const { return _work + (i + 2) * gatedBlock; }
    /// From there to column v of the row.
    static constexpr int Column(int v) { return v; }

  private:
    float* const _work;
    float* const _kept;
};

template <>
class ColumnSums<true> {
  public:
    static constexpr int rowFloats = gatedBlock;

    ColumnSums(float* work, KeptColumns& kept) : _work(work), _kept(kept.columnSums) {}
    void Keep() const {}
    TQ_INLINE float* Block(int i) const {
        const int last = i - (tileBlocks - 2);
        return last >= 0 ? _kept + last * blockFloats
                         : (i < 0 ? _kept + (i + 2) * blockFloats : _work + i * blockFloats);
    }
    /// The next block follows where i is even.
    static constexpr int Column(int v) { return v / gatedBlock * blockFloats + v % gatedBlock; }

  private:
    static constexpr int blockFloats = batchRows * gatedBlock;
    static_assert(tileBlocks >= 4 && tileBlocks % 2 == 0,
                  "what was kept has been read when its place is written, also two blocks at a time");

    float* const _work;
    float* const _kept;
};

/// From the pixels of a block to others that will be needed, in bytes.
struct Ahead {
    std::int64_t inNextStep;  ///< those that the step after this one reads at the same place of the tile
    std::int64_t near;        ///< those of the blocks after the next ones
};

/// One step of a chain and what it keeps.
struct GatedStep {
    const ImageView* input;  ///< a frame, or the sum that a chain starts from
    float weight;            ///< of the frame; of a sum, what counts as 1 in the tile
    GateConstants gate;
    int lag;           ///< by how many blocks and pairs of rows its sums lie behind those of a step without
    Bounds arriving;   ///< the pixels that exist of the sum before it
    Bounds domain;     ///< the pixels that are wanted of it
    const int* place;  ///< of the rows in the blocks that arrive
    KeptBlock* blocks;
    KeptColumns* columns;
    SumBlock* leftBlock;                      ///< that arrived with the tile before
    const unsigned char* rows[arrivingRows];  ///< of the input, from motionReach rows above the batch on
    std::int64_t toNextStep = 0;              ///< Ahead::inNextStep
    bool wasOpaque = false;                   ///< the input in the blocks that were added last

    /// `y` is the first row of the batch that arrives. Rows beyond the input repeat.
    void StartBatch(int y) {
        for (int r = 0; r < arrivingRows; ++r) {
            rows[r] = RowAt(*input, Clamp(y - motionReach + r, input->bounds.y1, input->bounds.y2 - 1));
        }
    }

    /// Of block i of a tile.
    template <class Frame>
    Ahead AheadOf(int i) const {
        constexpr int nearBlocks = 2;
        constexpr std::int64_t blockBytes = gatedBlock * Frame::pixelBytes;
        return {toNextStep, i + nearBlocks < tileBlocks
                                ? nearBlocks * blockBytes
                                : toNextStep + (nearBlocks - tileBlocks) * blockBytes};
    }
};

/// The next pixels of a frame, as near as there is room for them.
template <class Format, int Bytes>
TQ_INLINE void FetchPixels(const unsigned char* pixels) {
    if constexpr (Format::pixelBytes > 4) {
        Prefetch<Bytes>(pixels);
    } else {
        PrefetchNear<Bytes>(pixels);
    }
}

/// Where the rows of a block's pixels are.
struct BlockPixels {
    const unsigned char* const* rows;
    std::int64_t offset;
    TQ_INLINE const unsigned char* Row(int r) const { return rows[r] + offset; }
    TQ_INLINE BlockPixels FromRow(int r) const { return {rows + r, offset}; }
};

/// The pixels of a step's input in a batch. Columns beyond the picture repeat.
template <class Format>
class BatchPixels {
  public:
    explicit BatchPixels(const GatedStep& step) : _rows(step.rows), _bounds(step.input->bounds) {}

    /// Whether the picture covers all columns of the block at x.
    TQ_INLINE bool Covers(int x) const { return x >= _bounds.x1 && x + gatedBlock <= _bounds.x2; }

    /// Those of the block at x. They stay until the next call, or for ever where the picture covers the
    /// block.
    TQ_INLINE BlockPixels Block(int x) {
        if (Covers(x)) {
            return {_rows, (static_cast<std::int64_t>(x) - _bounds.x1) * Format::pixelBytes};
        }
        return Stage(x);
    }

  private:
    [[gnu::noinline]] BlockPixels Stage(int x) {
        for (int r = 0; r < arrivingRows; ++r) {
            for (int i = 0; i < gatedBlock; ++i) {
                const std::int64_t column = Clamp(x + i, _bounds.x1, _bounds.x2 - 1) - _bounds.x1;
                __builtin_memcpy(_staged[r] + i * Format::pixelBytes, _rows[r] + column * Format::pixelBytes,
                                 Format::pixelBytes);
            }
            _stagedRows[r] = _staged[r];
        }
        return {_stagedRows, 0};
    }

    const unsigned char* const* _rows;
    const Bounds _bounds;
    const unsigned char* _stagedRows[arrivingRows];
    unsigned char _staged[arrivingRows][gatedBlock * Format::pixelBytes];
};

/// Rows of a batch, counted from its first: those from y1 to y2 as far as they fall into the batch at y, or
/// all.
struct RowRange {
    int first, end;
    RowRange(int y1, int y2, int y)
        : first(y1 > y ? y1 - y : 0), end(Smaller(y2 > y ? y2 - y : 0, batchRows)) {}
    RowRange() : first(0), end(batchRows) {}
    bool IsEmpty() const { return first >= end; }
    bool IsWhole() const { return first == 0 && end == batchRows; }
};

/// Whether it pays to take opaque pixels, as those of most pictures are, in another way than others.
template <class Frame>
constexpr bool MayBeOpaque = sizeof(typename Frame::Storage::Channel) == 1;

/// Whether all of some pixels are opaque.
template <class Frame>
class Opacity {
  public:
    TQ_INLINE void Look(const unsigned char* pixels) { _all &= Read<I>(pixels); }
    TQ_INLINE bool IsWhole() const { return IsZero((_all & opaque) ^ opaque); }

  private:
    // A pixel's value does not depend on its neighbours: with this alpha both ways give the same.
    static_assert(!MayBeOpaque<Frame> || Frame::Storage::white * Frame::unit == 1.0F);
    static constexpr std::int32_t opaque = static_cast<std::int32_t>(0xFFU << (8 * Frame::alpha));

    I _all = ~I{};
};

template <class Frame, int Blocks = 1>
TQ_INLINE bool IsOpaque(const BlockPixels& pixels, const RowRange& rows) {
    if constexpr (!MayBeOpaque<Frame>) {
        return false;
    }
    Opacity<Frame> opacity;
    for (int r = rows.first; r < rows.end; ++r) {
        for (int v = 0; v < Blocks * gatedBlock; v += lanes) {
            opacity.Look(pixels.Row(r) + v * Frame::pixelBytes);
        }
    }
    return opacity.IsWhole();
}

/// The last similarities of a block's columns, of which each row of a batch makes sums of five: those of the
/// first two rows and of the next two first, at every level. In memory, as most levels have too few registers
/// for them.
template <bool InRegisters, int Blocks>
class History {
  public:
    static_assert(Blocks == 1);

    explicit History(const KeptBlock* kept) { __builtin_memcpy(_rows, kept->history, sizeof(kept->history)); }
    /// That of the row before row r.
    TQ_INLINE F Last(int r, int i) const { return Read<F>(_rows[historyRows + r - 1] + i); }
    /// Gives all rows before row r the similarity of row r.
    TQ_INLINE void RepeatUpwards(int r, int i, F s) {
        for (int n = 0; n < historyRows; ++n) {
            Write(_rows[r + n] + i, s);
        }
    }
    /// Adds that of row r; returns the sum of the five rows that end with it.
    TQ_INLINE F Add(int r, int i, F s) {
        Write(_rows[historyRows + r] + i, s);
        const auto pair = [&](int n) { return Read<F>(_rows[r + n] + i) + Read<F>(_rows[r + n + 1] + i); };
        return pair(0) + pair(2) + s;
    }
    void Keep(KeptBlock* kept) const {
        __builtin_memcpy(kept->history, _rows[batchRows], sizeof(kept->history));
    }

  private:
    alignas(64) float _rows[historyRows + batchRows][gatedBlock];
};

/// The same where a block is one vector, of neighbouring blocks: the last similarity, and the last sums of
/// two, each of which serves twice.
template <int Blocks>
class History<true, Blocks> {
  public:
    TQ_INLINE explicit History(const KeptBlock* kept) {
        for (int b = 0; b < Blocks; ++b) {
            _last[b] = Read<F>(kept[b].history[0]);
            for (int n = 0; n < pairs; ++n) {
                _pair[n][b] = Read<F>(kept[b].history[1 + n]);
            }
        }
    }
    TQ_INLINE F Last(int /*r*/, int i) const { return _last[i / lanes]; }
    TQ_INLINE void RepeatUpwards(int /*r*/, int i, F s) {
        _last[i / lanes] = s;
        for (int n = 0; n < pairs; ++n) {
            _pair[n][i / lanes] = s + s;
        }
    }
    TQ_INLINE F Add(int /*r*/, int i, F s) {
        const int b = i / lanes;
        const F sum = _pair[0][b] + _pair[2][b] + s;
        _pair[0][b] = _pair[1][b];
        _pair[1][b] = _pair[2][b];
        _pair[2][b] = _last[b] + s;
        _last[b] = s;
        return sum;
    }
    TQ_INLINE void Keep(KeptBlock* kept) const {
        for (int b = 0; b < Blocks; ++b) {
            Write(kept[b].history[0], _last[b]);
            for (int n = 0; n < pairs; ++n) {
                Write(kept[b].history[1 + n], _pair[n][b]);
            }
        }
    }

  private:
    static constexpr int pairs = historyRows - 1;

    F _last[Blocks];
    F _pair[pairs][Blocks];  ///< the oldest first
};

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
