#pragma once

// One step of GatedSum over one tile: the sums that arrive are compared with a frame, gated by their
// similarity and added to the frame. Included by the level files only; see Vector.h.

#include "ip/kernels/GatedTiles.h"
#include "ip/kernels/PointKernels.h"

namespace TQ::IP::TQ_LEVEL {
namespace {

/// A frame's step: what the mask leaves of the sum, plus the frame. The mean is compared in code values, and
/// the similarity is the product of limit - min(|difference|, limit) over the colours, which leaves its
/// division by the limit's cube to the mask.
template <class Frame>
struct GateAndAdd {
    GateConstants gate;

    /// Of the weight of a sum.
    TQ_INLINE F Inverse(F weight) const { return Reciprocal(Max(weight, Splat(gate.leastWeight))); }
    TQ_INLINE F Similarity(const unsigned char* frame, const Color& sum, F inverse) const {
        const Color d = MultiplySubtract(sum, inverse, Frame::LoadCodes(frame).rgb);
        const F limit = Splat(gate.limit);
        return (limit - MinOfAbs(d.r, limit)) * (limit - MinOfAbs(d.g, limit)) *
               (limit - MinOfAbs(d.b, limit));
    }
    /// `Opaque`: alpha is white in all pixels.
    template <bool Opaque>
    TQ_INLINE Pixel At(const unsigned char* frame, const Pixel& sum, F window,
                       const Pixel& /*future*/) const {
        const F mask = window * gate.maskFactor;
        const Pixel codes = Frame::LoadCodes(frame);
        if constexpr (Opaque) {
            return {MultiplyAdd(sum.rgb, mask, codes.rgb), MultiplyAdd(sum.a, mask, Splat(1))};
        }
        const F alpha = codes.a * Frame::unit;
        return {MultiplyAdd(sum.rgb, mask, codes.rgb * alpha), MultiplyAdd(sum.a, mask, alpha)};
    }
};

/// The join of two halves: compares a frame with the mean of the past half as a picture in the frame's
/// format, with a mask in that format. What leaves is the sum itself.
template <class Frame>
struct GateAndJoin {
    float inverseLimit, pastWeight, futureWeight;

    TQ_INLINE F Inverse(F weight) const { return InverseWeight(weight) * Frame::unit; }
    TQ_INLINE F Similarity(const unsigned char* frame, const Color& past, F inverse) const {
        const Color mean = past * inverse;
        const Color stored{Frame::CodeAsStored(mean.r), Frame::CodeAsStored(mean.g),
                           Frame::CodeAsStored(mean.b)};
        return SimilarityOfColors<Frame>(Frame::LoadCodes(frame).rgb - stored, inverseLimit);
    }
    template <bool Opaque>
    TQ_INLINE Pixel At(const unsigned char* /*frame*/, const Pixel& past, F window,
                       const Pixel& future) const {
        const F mask = Frame::AsStored(window * motionMeanFactor) * pastWeight;
        return {MultiplyAdd(past.rgb, mask * Frame::unit, future.rgb * Splat(futureWeight * Frame::unit)),
                MultiplyAdd(past.a, mask, future.a * futureWeight)};
    }
};

/// The future half's sums, for the join.
struct FutureSums {
    SumTile tile;
    const int* place;  ///< of the rows in its blocks
};

/// A tile's way through one step.
template <class Frame, class Rule>
class StepOverTile {
  public:
    /// `block` and `y` are the first block and row of the sums that arrive in `tile`, `gridX` the x of
    /// block 0.
    StepOverTile(const GatedStep& step, const Rule& rule, int gridX, int block, int y, ColumnSums& columnSums,
                 const SumTile& tile, const FutureSums& future)
        : _step(step),
          _rule(rule),
          _gridX(gridX),
          _block(block),
          _topRow(step.arriving.y1 - y),
          _compared(step.arriving.y1, step.arriving.y2, y),
          _gated(step.domain.y1, step.domain.y2, y - motionReach),
          _columnSums(columnSums),
          _tile(tile),
          _future(future),
          _pixels(step) {}

    void Run() {
        const int firstArriving = BlockOf(_step.arriving.x1);
        const int lastArriving = BlockOf(_step.arriving.x2 - 1);
        const int firstGated = BlockOf(_step.domain.x1);
        const int lastGated = BlockOf(_step.domain.x2 - 1);
        if ((_compared.IsEmpty() && _gated.IsEmpty()) || _block + tileBlocks <= firstArriving ||
            _block > lastGated + 1) {
            return;
        }
        KeptColumns& kept = *_step.columns;
        for (int r = 0; r < batchRows; ++r) {
            __builtin_memcpy(_columnSums[r], kept.columnSums[r], sizeof(kept.columnSums[r]));
        }
        for (int i = 0; i < tileBlocks; ++i) {
            const int block = _block + i;
            const bool isCompared = block >= firstArriving && block <= lastArriving;
            const bool isGated = block > firstGated && block <= lastGated + 1;
            const std::int64_t ahead = _step.template Ahead<Frame>(block, firstArriving, lastArriving);
            if (isCompared && isGated && block < lastArriving && AreWhole(i)) {
                CompareAndGate(i, ahead);
                continue;
            }
            if (isCompared) {
                Compare(i, ahead);
            }
            if (block == firstArriving) {
                RepeatLeft(ColumnOf(_step.arriving.x1));
            }
            if (block == lastArriving || block == lastArriving + 1) {
                RepeatRight(i, ColumnOf(_step.arriving.x2 - 1));
            }
            if (isGated) {
                Gate(i);
            }
        }
        for (int r = 0; r < batchRows; ++r) {
            __builtin_memcpy(kept.columnSums[r], _columnSums[r] + tileBlocks * gatedBlock,
                             sizeof(kept.columnSums[r]));
        }
    }

  private:
    static constexpr int columnSumsOfRow = (2 + tileBlocks) * gatedBlock;

    int BlockOf(int x) const { return (x - _gridX) / gatedBlock; }
    /// The index in a row of the column sums.
    int ColumnOf(int x) const { return x - _gridX + (2 - _block) * gatedBlock; }

    /// Columns before the first one that exists, as far as a window reaches, are like it.
    void RepeatLeft(int first) {
        for (auto& row : _columnSums) {
            row[first - 1] = row[first - 2] = row[first];
        }
    }

    /// So are those after the last one, as far as they lie in block i of the tile.
    void RepeatRight(int i, int last) {
        for (auto& row : _columnSums) {
            for (int c = last + 1; c <= last + motionReach; ++c) {
                if (c / gatedBlock == i + 2) {
                    row[c] = row[last];
                }
            }
        }
    }

    /// Whether block i is compared, and the block before it gated, in all rows of the batch, and their pixels
    /// exist. (With fewer registers than AVX-512 has it is faster to do the one after the other everywhere.)
    bool AreWhole(int i) const {
        return lanes == gatedBlock && _compared.IsWhole() && _gated.IsWhole() && _topRow < 0 &&
               _pixels.Covers(XOf(i)) && _pixels.Covers(XOf(i - 1));
    }

    int XOf(int i) const { return _gridX + (_block + i) * gatedBlock; }

    /// Similarities of the frame to the sums that arrive in block i of the tile, added up in columns of five.
    class Comparison {
      public:
        TQ_INLINE Comparison(StepOverTile& s, int i, std::int64_t ahead)
            : _rule(s._rule),
              _kept(s._step.blocks[s._block + i]),
              _frame(s._pixels.Block(s.XOf(i))),
              _sums(s._tile.Block(i + 1)),
              _place(s._step.place + motionReach),
              _columnSums(s._columnSums[0] + (i + 2) * gatedBlock),
              _rows(s._compared),
              _topRow(s._topRow),
              _ahead(ahead),
              _history(_kept.history) {
            for (int r = 0; r < motionReach; ++r) {
                Prefetch<gatedBlock * Frame::pixelBytes>(_frame.Row(r) + ahead);
            }
        }

        /// Of the weight of the sum in row r.
        TQ_INLINE F Inverse(int r, int v) const {
            return _rule.Inverse(Read<F>(_sums[_place[r]].plane[3] + v));
        }

        TQ_INLINE F Similarity(int r, int v, F inverse) const {
            const unsigned char* const pixels = _frame.Row(motionReach + r) + v * Frame::pixelBytes;
            Prefetch<Frame::vectorBytes>(pixels + _ahead);
            return _rule.Similarity(pixels, _sums[_place[r]].Load(v).rgb, inverse);
        }

        /// Returns the sums of the columns of five that end with row r, whose similarity is s.
        TQ_INLINE F AddRow(int r, int v, F s) {
            const F sums = _history.Add(r, v, s);
            Write(_columnSums + r * columnSumsOfRow + v, sums);
            return sums;
        }

        /// Rows from the first one that exists on, to the end of the batch. Beyond those that exist the last
        /// one repeats, and the first one above it.
        TQ_INLINE void AddRows() {
            for (int r = _rows.first; r < batchRows; ++r) {
                for (int v = 0; v < gatedBlock; v += lanes) {
                    const F s = r < _rows.end ? Similarity(r, v, Inverse(r, v)) : _history.Last(r, v);
                    if (r == _topRow) {
                        _history.RepeatUpwards(r, v, s);
                    }
                    AddRow(r, v, s);
                }
            }
        }

        TQ_INLINE void Finish() { _history.Keep(_kept.history); }

      private:
        const Rule _rule;
        KeptBlock& _kept;
        const BlockPixels _frame;
        const SumCell* const _sums;
        const int* const _place;
        float* const _columnSums;
        const RowRange _rows;
        const int _topRow;
        const std::int64_t _ahead;
        History<lanes == gatedBlock> _history;
    };

    [[gnu::noinline]] void Compare(int i, std::int64_t ahead) {
        Comparison comparison(*this, i, ahead);
        comparison.AddRows();
        comparison.Finish();
    }

    /// The gated sums of the block before block i of the tile, in their places. The first two rows arrived
    /// with the batch before, the block before the first one with the tile before.
    template <bool Opaque>
    class Gating {
      public:
        TQ_INLINE Gating(const StepOverTile& s, int i, const BlockPixels& frame)
            : _rule(s._rule),
              _kept(s._step.blocks[s._block + i - 1]),
              _frame(frame),
              _place(s._step.place),
              _sums(s._tile.Block(i)),
              _columnSums(s._columnSums[0] + (i + 1) * gatedBlock),
              _futurePlace(s._future.place),
              _future(s._future.tile.Block(i + 1)) {}

        /// The sums of the columns around the pixel, in row r.
        TQ_INLINE const float* ColumnSums(int r) const { return _columnSums + r * columnSumsOfRow; }

        /// One of the two first rows, and one of the others. `window` gives the sum of the windows from a
        /// pixel on.
        template <class Window>
        TQ_INLINE void UpperRow(int r, Window window) {
            Row(r, _kept.sums[r], window);
        }
        template <class Window>
        TQ_INLINE void LowerRow(int r, Window window) {
            Row(r, _sums[_place[r]], window);
        }

        /// Keeps the last rows for the next batch.
        TQ_INLINE void Finish() {
            for (int r = 0; r < motionReach; ++r) {
                _kept.sums[r] = _sums[_place[batchRows + r]];
            }
        }

      private:
        template <class Window>
        TQ_INLINE void Row(int r, const SumCell& from, Window window) {
            SumCell& to = _sums[_place[r]];
            const SumCell& future = _future[_futurePlace[motionReach + r]];
            const unsigned char* pixels = _frame.Row(r);
            for (int v = 0; v < gatedBlock; v += lanes, pixels += Frame::vectorBytes) {
                to.Store(v, _rule.template At<Opaque>(pixels, from.Load(v), window(v), future.Load(v)));
            }
        }

        const Rule _rule;
        KeptBlock& _kept;
        const BlockPixels _frame;
        const int* const _place;
        SumCell* const _sums;
        const float* const _columnSums;
        const int* const _futurePlace;
        const SumCell* const _future;
    };

    template <bool Opaque>
    TQ_INLINE void GateRows(int i, const BlockPixels& frame) {
        Gating<Opaque> gating(*this, i, frame);
        const auto window = [&gating](int r) {
            return [sums = gating.ColumnSums(r)](int v) __attribute__((always_inline)) {
                return SumOfWindow(sums + v);
            };
        };
        int r = _gated.first;
        for (; r < Smaller(motionReach, _gated.end); ++r) {
            gating.UpperRow(r, window(r));
        }
        for (; r < _gated.end; ++r) {
            gating.LowerRow(r, window(r));
        }
        gating.Finish();
    }

    [[gnu::noinline]] void Gate(int i) {
        const BlockPixels frame = _pixels.Block(XOf(i - 1));
        if (IsOpaque<Frame>(frame, _gated)) {
            GateRows<true>(i, frame);
        } else {
            GateRows<false>(i, frame);
        }
    }

#if TQ_LANES == 16
    /// Each row is gated while the next one is compared and the weight of the one after it inverted: so no
    /// operation waits for the one just before it.
    template <bool Opaque>
    TQ_INLINE void CompareAndGateRows(int i, std::int64_t ahead, const BlockPixels& frame) {
        Comparison comparison(*this, i, ahead);
        Gating<Opaque> gating(*this, i, frame);
        F columns = comparison.AddRow(0, 0, comparison.Similarity(0, 0, comparison.Inverse(0, 0)));
        F inverse = comparison.Inverse(1, 0);
        const auto window = [&](int r) __attribute__((always_inline)) {
            return [ at = gating.ColumnSums(r), columns ](int) __attribute__((always_inline)) {
                return SumOfWindow(Read<F>(at - lanes), Read<F>(at), columns);
            };
        };
        const auto next = [&](int r) __attribute__((always_inline)) {
            const F s = comparison.Similarity(r, 0, inverse);
            inverse = comparison.Inverse(Smaller(r + 1, batchRows - 1), 0);
            return comparison.AddRow(r, 0, s);
        };
        for (int r = 0; r < motionReach; ++r) {
            const F nextColumns = next(r + 1);
            gating.UpperRow(r, window(r));
            columns = nextColumns;
        }
        for (int r = motionReach; r < batchRows - 1; ++r) {
            const F nextColumns = next(r + 1);
            gating.LowerRow(r, window(r));
            columns = nextColumns;
        }
        gating.LowerRow(batchRows - 1, window(batchRows - 1));
        gating.Finish();
        comparison.Finish();
    }

    /// Compares block i and gates the block before it, since the one is more arithmetic and the other more
    /// traffic.
    [[gnu::noinline]] void CompareAndGate(int i, std::int64_t ahead) {
        const BlockPixels frame = _pixels.Block(XOf(i - 1));
        if (IsOpaque<Frame>(frame, RowRange())) {
            CompareAndGateRows<true>(i, ahead, frame);
        } else {
            CompareAndGateRows<false>(i, ahead, frame);
        }
    }
#else
    void CompareAndGate(int /*i*/, std::int64_t /*ahead*/) {
    }  // no block is one vector
#endif

    const GatedStep& _step;
    const Rule _rule;
    const int _gridX, _block;
    const int _topRow;  ///< of the sums that exist, counted from the batch
    const RowRange _compared, _gated;
    ColumnSums& _columnSums;
    const SumTile& _tile;
    const FutureSums& _future;
    BatchPixels<Frame> _pixels;
};

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
