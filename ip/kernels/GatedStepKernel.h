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

    TQ_INLINE F Similarity(const unsigned char* frame, const Pixel& sum) const {
        const Color d = MultiplySubtract(sum.rgb, Reciprocal(Max(sum.a, Splat(gate.leastWeight))),
                                         Frame::LoadCodes(frame).rgb);
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

    TQ_INLINE F Similarity(const unsigned char* frame, const Pixel& past) const {
        const Color mean = past.rgb * (InverseWeight(past.a) * Frame::unit);
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

/// A tile's way through one step.
template <class Frame, class Rule>
class StepOverTile {
  public:
    /// `block` and `y` are the first block and row of the sums that arrive in `tile`, `gridX` the x of
    /// block 0.
    StepOverTile(const GatedStep& step, const Rule& rule, int gridX, int block, int y, GatedWork& work,
                 SumTile& tile)
        : _step(step),
          _rule(rule),
          _gridX(gridX),
          _block(block),
          _topRow(step.arriving.y1 - y),
          _compared(step.arriving.y1, step.arriving.y2, y),
          _gated(step.domain.y1, step.domain.y2, y - motionReach),
          _work(work),
          _tile(tile),
          _pixels(step) {
        for (int r = 0; r < arrivingRows; ++r) {
            _place[r] = tile.Place(r);
        }
    }

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
            __builtin_memcpy(_work.columnSums[r], kept.columnSums[r], sizeof(kept.columnSums[r]));
        }
        const auto isCompared = [&](int i) {
            return i < tileBlocks && _block + i >= firstArriving && _block + i <= lastArriving;
        };
        const auto isGated = [&](int i) {
            return i >= 0 && _block + i - 1 >= firstGated && _block + i - 1 <= lastGated;
        };
        for (int i = 0; i <= tileBlocks; ++i) {
            const int block = _block + i;
            const std::int64_t ahead = _step.template Ahead<Frame>(block, firstArriving, lastArriving);
            if (isCompared(i) && isGated(i - 1) && AreWhole(i)) {
                CompareAndGate(i, ahead);
            } else {
                if (isCompared(i)) {
                    Compare(i, ahead);
                }
                if (isGated(i - 1)) {
                    Gate(i - 1);
                }
            }
            if (i < tileBlocks && block == firstArriving) {
                RepeatLeft(ColumnOf(_step.arriving.x1));
            }
            if (i < tileBlocks && (block == lastArriving || block == lastArriving + 1)) {
                RepeatRight(i, ColumnOf(_step.arriving.x2 - 1));
            }
        }
        const SumCell* last = _tile.Block(tileBlocks);
        for (int r = motionReach; r < arrivingRows; ++r) {
            kept.sums[r] = last[_place[r]];
        }
        for (int r = 0; r < batchRows; ++r) {
            __builtin_memcpy(kept.columnSums[r], _work.columnSums[r] + tileBlocks * gatedBlock,
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
        for (auto& row : _work.columnSums) {
            row[first - 1] = row[first - 2] = row[first];
        }
    }

    /// So are those after the last one, as far as they lie in block i of the tile.
    void RepeatRight(int i, int last) {
        for (auto& row : _work.columnSums) {
            for (int c = last + 1; c <= last + motionReach; ++c) {
                if (c / gatedBlock == i + 2) {
                    row[c] = row[last];
                }
            }
        }
    }

    /// Whether block i is compared, and block i - 1 gated, in all rows of the batch, and their pixels exist.
    /// (With fewer registers than AVX-512 has it is faster to do the one after the other everywhere.)
    bool AreWhole(int i) const {
        return lanes == gatedBlock && _compared.IsWhole() && _gated.IsWhole() && _topRow < 0 &&
               _pixels.Covers(XOf(i)) && _pixels.Covers(XOf(i - 2));
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
              _place(s._place + motionReach),
              _columnSums(s._work.columnSums[0] + (i + 2) * gatedBlock),
              _rows(s._compared),
              _topRow(s._topRow),
              _ahead(ahead),
              _history(_kept.similarities) {
            for (int r = 0; r < motionReach; ++r) {
                Prefetch<gatedBlock * Frame::pixelBytes>(_frame.Row(r) + ahead);
            }
        }

        template <bool Whole>
        TQ_INLINE void Row(int r) {
            const unsigned char* pixels = _frame.Row(motionReach + r);
            const SumCell& sum = _sums[_place[r]];
            for (int v = 0; v < gatedBlock; v += lanes, pixels += Frame::vectorBytes) {
                F s = _history.Last(r, v);  // below the last row that exists
                if (Whole || r < _rows.end) {
                    Prefetch<Frame::vectorBytes>(pixels + _ahead);
                    s = _rule.Similarity(pixels, sum.Load(v));
                }
                if (!Whole && r == _topRow) {
                    _history.RepeatUpwards(r, v, s);
                }
                Write(_columnSums + r * columnSumsOfRow + v, _history.Add(r, v, s));
            }
        }

        TQ_INLINE void Finish() { _history.Keep(_kept.similarities); }

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
        for (int r = _compared.first; r < batchRows; ++r) {
            comparison.template Row<false>(r);
        }
        comparison.Finish();
    }

    /// Calls row(r, sum) for the rows of the block before block i of the tile, with the sum that arrived: two
    /// rows with the batch before, the first block with the tile before. Then keeps the last rows.
    template <class Row>
    TQ_INLINE void ForArrived(int i, const RowRange& rows, Row row) {
        KeptBlock& kept = _step.blocks[_block + i - 1];
        const SumCell* const arrived = i == 0 ? _step.columns->sums : _tile.Block(i);
        const int* const place = i == 0 ? rowsInOrder.place : _place;
        int r = rows.first;
        for (; r < Smaller(motionReach, rows.end); ++r) {
            row(r, kept.sums[r]);
        }
        for (; r < rows.end; ++r) {
            row(r, arrived[place[r]]);
        }
        for (r = 0; r < motionReach; ++r) {
            kept.sums[r] = arrived[place[batchRows + r]];
        }
    }

    /// The gated sums of the block before block i of the tile, in its place.
    template <bool Opaque>
    class Gating {
      public:
        TQ_INLINE Gating(StepOverTile& s, int i, const BlockPixels& frame)
            : _rule(s._rule),
              _frame(frame),
              _place(s._place),
              _sums(s._tile.Block(i)),
              _windows(s._work.columnSums[0] + (i + 1) * gatedBlock),
              _futureTile(s._work.future),
              _future(s._work.future.Block(i + 1)) {}

        TQ_INLINE void Row(int r, const SumCell& from) {
            SumCell& to = _sums[_place[r]];
            const SumCell& future = _future[_futureTile.Place(motionReach + r)];
            const unsigned char* pixels = _frame.Row(r);
            const float* window = _windows + r * columnSumsOfRow;
            for (int v = 0; v < gatedBlock; v += lanes, pixels += Frame::vectorBytes) {
                to.Store(v, _rule.template At<Opaque>(pixels, from.Load(v), SumOfWindow(window + v),
                                                      future.Load(v)));
            }
        }

      private:
        const Rule _rule;
        const BlockPixels _frame;
        const int* const _place;
        SumCell* const _sums;
        const float* const _windows;
        const SumTile& _futureTile;
        const SumCell* const _future;
    };

    template <bool Opaque>
    TQ_INLINE void GateRows(int i, const BlockPixels& frame) {
        Gating<Opaque> gating(*this, i, frame);
        ForArrived(
            i,
            _gated, [&](int r, const SumCell& from) __attribute__((always_inline)) { gating.Row(r, from); });
    }

    [[gnu::noinline]] void Gate(int i) {
        const BlockPixels frame = _pixels.Block(XOf(i - 1));
        if (IsOpaque<Frame>(frame, _gated)) {
            GateRows<true>(i, frame);
        } else {
            GateRows<false>(i, frame);
        }
    }

    template <bool Opaque>
    TQ_INLINE void CompareAndGateRows(int i, std::int64_t ahead, const BlockPixels& frame) {
        Comparison comparison(*this, i, ahead);
        Gating<Opaque> gating(*this, i - 1, frame);
        ForArrived(
            i - 1, _gated, [&](int r, const SumCell& from) __attribute__((always_inline)) {
                comparison.template Row<true>(r);
                gating.Row(r, from);
            });
        comparison.Finish();
    }

    /// Compares block i and gates the block before block i - 1, row by row together, since the one is more
    /// arithmetic and the other more traffic.
    [[gnu::noinline]] void CompareAndGate(int i, std::int64_t ahead) {
        const BlockPixels frame = _pixels.Block(XOf(i - 2));
        if (IsOpaque<Frame>(frame, RowRange())) {
            CompareAndGateRows<true>(i, ahead, frame);
        } else {
            CompareAndGateRows<false>(i, ahead, frame);
        }
    }

    const GatedStep& _step;
    const Rule _rule;
    const int _gridX, _block;
    const int _topRow;  ///< of the sums that exist, counted from the batch
    const RowRange _compared, _gated;
    GatedWork& _work;
    SumTile& _tile;
    BatchPixels<Frame> _pixels;
    int _place[arrivingRows];  ///< of the tile's rows
};

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
