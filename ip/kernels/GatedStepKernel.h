#pragma once

// One step of GatedSum over one tile: the sums that arrive are compared with a frame, gated by their
// similarity and added to the frame. Included by the level files only; see Vector.h.

#include "ip/kernels/GatedEnds.h"
#include "ip/kernels/PointKernels.h"

namespace TQ::IP::TQ_LEVEL {
namespace {

/// The similarity of a frame to the mean of a sum in code values, without its division by the limit's cube.
struct Gate {
    GateConstants gate;

    /// Whether the mask's factor is in the similarities already, which saves a product and takes registers.
    static constexpr bool factorIsInSimilarity = lanes == gatedBlock;

    /// Of the weight of a sum.
    TQ_INLINE F Inverse(F weight) const { return Reciprocal(Max(weight, Splat(gate.leastWeight))); }
    TQ_INLINE F SimilarityOf(const Color& difference) const {
        const F limit = Splat(gate.limit);
        const F distance = MinOfAbs(difference.r, limit);
        const F red = factorIsInSimilarity ? SubtractProduct(Splat(gate.limit * gate.maskFactor), distance,
                                                             Splat(gate.maskFactor))
                                           : limit - distance;
        return red * (limit - MinOfAbs(difference.g, limit)) * (limit - MinOfAbs(difference.b, limit));
    }
    /// From the sum of a window.
    TQ_INLINE F Mask(F window) const { return factorIsInSimilarity ? window : window * gate.maskFactor; }
};

/// A frame's step: what the mask leaves of the sum, plus the frame.
template <class Frame>
struct GateAndAdd : Gate {
    static constexpr bool isLast = false;

    TQ_INLINE F Similarity(const unsigned char* frame, const Color& sum, F inverse) const {
        return SimilarityOf(MultiplySubtract(sum, inverse, Frame::LoadCodes(frame).rgb));
    }
    /// `Opaque`: alpha is taken as white in all pixels.
    template <bool Opaque>
    TQ_INLINE Pixel At(const unsigned char* frame, const Pixel& sum, F window,
                       const Pixel& /*future*/) const {
        const F mask = Mask(window);
        const Pixel codes = Frame::LoadCodes(frame);
        if constexpr (MayBeOpaque<Frame>) {
            const Pixel result{MultiplyAdd(sum.rgb, mask, codes.rgb), MultiplyAdd(sum.a, mask, Splat(1))};
            return Opaque ? result : WithAlpha(result, codes);
        }
        const F alpha = codes.a * Frame::unit;
        return {MultiplyAdd(sum.rgb, mask, codes.rgb * alpha), MultiplyAdd(sum.a, mask, alpha)};
    }
    /// What was added as if it were opaque, as it is: the same to the last bit where it is opaque, and
    /// otherwise to the rounding of an opaque pixel.
    TQ_INLINE static Pixel WithAlpha(const Pixel& sum, const Pixel& codes) {
        const F more = codes.a * Frame::unit - Splat(1);
        return {MultiplyAdd(codes.rgb, more, sum.rgb), sum.a + more};
    }
};

/// The join of two halves: compares a frame with the mean of the past half as a picture in the frame's
/// format, with a mask in that format. What leaves is the sum itself, and goes to the output where a block is
/// wanted as a whole.
template <class Frame>
struct GateAndJoin : Gate {
    static constexpr bool isLast = true;

    const SumOutput<Pixels<FloatStorage, Frame::alpha>>& output;
    float pastWeight, futureWeight;

    TQ_INLINE F Similarity(const unsigned char* frame, const Color& past, F inverse) const {
        const Color mean = past * inverse;
        return SimilarityOf(Frame::LoadCodes(frame).rgb - Color{Frame::MeanAsStored(mean.r),
                                                                Frame::MeanAsStored(mean.g),
                                                                Frame::MeanAsStored(mean.b)});
    }
    template <bool Opaque>
    TQ_INLINE Pixel At(const unsigned char* /*frame*/, const Pixel& past, F window,
                       const Pixel& future) const {
        const F mask = Frame::MeanAsStored(Mask(window));
        const float unitOfPast = pastWeight * Frame::unit;
        return {MultiplyAdd(past.rgb, mask * (unitOfPast * Frame::unit),
                            future.rgb * Splat(futureWeight * Frame::unit)),
                MultiplyAdd(past.a, mask * unitOfPast, future.a * futureWeight)};
    }
};

/// The future half's sums, for the join.
struct FutureSums {
    SumTile tile;
    const int* place;  ///< of the rows in its blocks
};

/// A tile's way through one step. `Arriving` gives the sums that arrive; what leaves goes to the tile.
template <class Frame, class Rule, class Arriving>
class StepOverTile {
  public:
    /// `block` and `y` are the first block and row that arrive, `gridX` the x of block 0.
    StepOverTile(GatedStep& step, const Rule& rule, int gridX, int block, int y, float* columnSums,
                 Arriving& arriving, const SumTile& tile, const FutureSums& future)
        : _step(step),
          _rule(rule),
          _gridX(gridX),
          _block(block),
          _y(y),
          _topRow(step.arriving.y1 - y),
          _compared(step.arriving.y1, step.arriving.y2, y),
          _gated(step.domain.y1, step.domain.y2, y - motionReach),
          _columnSums(columnSums, *step.columns),
          _arriving(arriving),
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
        // The blocks that are compared as a whole while the one before is gated as a whole. (With fewer
        // registers than AVX-512 has it is faster to do the one after the other everywhere.)
        int firstWhole = firstArriving > firstGated ? firstArriving : firstGated + 1;
        int lastWhole = lanes == gatedBlock && AreRowsWhole() ? Smaller(lastArriving - 1, lastGated + 1) : -1;
        while (firstWhole <= lastWhole && !IsCovered(firstWhole)) {
            ++firstWhole;
        }
        while (firstWhole <= lastWhole && !IsCovered(lastWhole)) {
            --lastWhole;
        }
        for (int i = 0; i < tileBlocks; ++i) {
            const int block = _block + i;
            const Ahead ahead = _step.AheadOf<Frame>(i);
            if (block >= firstWhole && block <= lastWhole) {
                if (i % 2 == 0 && block < lastWhole && CompareAndGateTwo(i, ahead)) {
                    ++i;
                } else {
                    CompareAndGate(i, ahead);
                }
                continue;
            }
            const bool isCompared = block >= firstArriving && block <= lastArriving;
            const bool isGated = block > firstGated && block <= lastGated + 1;
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
        _columnSums.Keep();
    }

  private:
    using Columns = ColumnSums<lanes == gatedBlock>;

    int BlockOf(int x) const { return (x - _gridX) / gatedBlock; }
    /// Counted from the column that block -2 of the tile begins with.
    int ColumnOf(int x) const { return x - _gridX + (2 - _block) * gatedBlock; }

    void RepeatColumn(int from, int to) {
        const float* const source = _columnSums.Block(from / gatedBlock - 2) + from % gatedBlock;
        float* const target = _columnSums.Block(to / gatedBlock - 2) + to % gatedBlock;
        for (int r = 0; r < batchRows; ++r) {
            target[r * Columns::rowFloats] = source[r * Columns::rowFloats];
        }
    }

    /// Columns before the first one that exists, as far as a window reaches, are like it.
    void RepeatLeft(int first) {
        for (int c = 1; c <= motionReach; ++c) {
            RepeatColumn(first, first - c);
        }
    }

    /// So are those after the last one, as far as they lie in block i of the tile.
    void RepeatRight(int i, int last) {
        for (int c = last + 1; c <= last + motionReach; ++c) {
            if (c / gatedBlock == i + 2) {
                RepeatColumn(last, c);
            }
        }
    }

    /// Whether blocks are compared and gated in all rows of the batch.
    bool AreRowsWhole() const { return _compared.IsWhole() && _gated.IsWhole() && _topRow < 0; }

    /// Whether the pixels of a block, counted in the band, and of the one before it exist.
    bool IsCovered(int block) const {
        const int x = _gridX + block * gatedBlock;
        return _pixels.Covers(x) && _pixels.Covers(x - gatedBlock) && _arriving.Covers(x) &&
               _arriving.Covers(x - gatedBlock);
    }

    int XOf(int i) const { return _gridX + (_block + i) * gatedBlock; }

    /// Similarities of the frame to the sums that arrive in the blocks from block i of the tile on, added up
    /// in columns of five.
    template <bool Opaque, int Blocks>
    class Comparison {
      public:
        TQ_INLINE Comparison(StepOverTile& s, int i, const Ahead& ahead)
            : _rule(s._rule),
              _kept(&s._step.blocks[s._block + i]),
              _frame(s._pixels.Block(s.XOf(i))),
              _sums(s._arriving, i, s.XOf(i)),
              _columnSums(s._columnSums.Block(i)),
              _rows(s._compared),
              _topRow(s._topRow),
              _ahead(ahead),
              _history(_kept) {
            for (int r = 0; r < motionReach; ++r) {
                Fetch<Blocks * gatedBlock * Frame::pixelBytes>(_frame.Row(r));
            }
        }

        /// Of the weight of the sum in row r.
        TQ_INLINE F Inverse(int r, int v) const { return _rule.Inverse(_sums.template Load<Opaque>(r, v).a); }

        TQ_INLINE F Similarity(int r, int v, F inverse) const {
            const unsigned char* const pixels = _frame.Row(motionReach + r) + v * Frame::pixelBytes;
            Fetch<Frame::vectorBytes>(pixels);
            _sums.Fetch(r, v);
            return _rule.Similarity(pixels, _sums.template Load<Opaque>(r, v).rgb, inverse);
        }

        /// Returns the sums of the columns of five that end with row r, whose similarity is s.
        TQ_INLINE F AddRow(int r, int v, F s) {
            const F sums = _history.Add(r, v, s);
            Write(_columnSums + r * Columns::rowFloats + Columns::Column(v), sums);
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

        TQ_INLINE void Finish() { _history.Keep(_kept); }

      private:
        /// A processor may drop what it is asked to fetch while too many lines are on their way. So pixels
        /// are asked for twice: long before they are needed, and again when they still may come in time.
        template <int Bytes>
        TQ_INLINE void Fetch(const unsigned char* pixels) const {
            Prefetch<Bytes>(pixels + _ahead.inNextStep);
            PrefetchNear<Bytes>(pixels + _ahead.near);
        }

        const Rule _rule;
        KeptBlock* const _kept;
        const BlockPixels _frame;
        const typename Arriving::template Compared<Frame, Blocks> _sums;
        float* const _columnSums;
        const RowRange _rows;
        const int _topRow;
        const Ahead _ahead;
        History<lanes == gatedBlock, Blocks> _history;
    };

    [[gnu::noinline]] void Compare(int i, const Ahead& ahead) {
        Comparison<false, 1> comparison(*this, i, ahead);
        comparison.AddRows();
        comparison.Finish();
    }

    /// What a step may leave out: the products with alpha where all pixels are opaque, or the tile where its
    /// sums are the last.
    enum class Way { General, Opaque, Last };

    /// The gated sums of the blocks from the one before block i of the tile on, in their places.
    template <Way way, int Blocks>
    class Gating {
      public:
        static constexpr bool isOpaque = way == Way::Opaque;

        /// `frame` and `first` are the blocks' pixels in the frame, and where the sums are a frame, in that.
        TQ_INLINE Gating(const StepOverTile& s, int i, const BlockPixels& frame, const BlockPixels& first)
            : _rule(s._rule),
              _frame(frame),
              _arriving(s._arriving, i, first),
              _place(s._step.place),
              _futurePlace(s._future.place) {
            for (int b = 0; b < Blocks; ++b) {
                _sums[b] = s._tile.Block(i + b);
                _future[b] = s._future.tile.Block(i + 1 + b);
            }
            if constexpr (way == Way::Last) {
                _output = _rule.output.At(s.XOf(i - 1), s._y - motionReach);
                _outputRowBytes = _rule.output.RowBytes();
            }
        }

        /// One of the two first rows, and one of the others. `window` gives the sum of the windows from a
        /// pixel on.
        template <class Window>
        TQ_INLINE void UpperRow(int r, Window window) {
            Row(
                r, window, [&](int v, const SumCell& inPlace) __attribute__((always_inline)) {
                    return _arriving.template LoadUpper<isOpaque>(r, v, inPlace);
                });
        }
        template <class Window>
        TQ_INLINE void LowerRow(int r, Window window) {
            Row(
                r, window, [&](int v, const SumCell& inPlace) __attribute__((always_inline)) {
                    return _arriving.template LoadLower<isOpaque>(r, v, inPlace);
                });
        }

        /// Keeps the last rows for the next batch. `rows` were gated.
        TQ_INLINE void Finish(GatedStep& step, const RowRange& rows) {
            if constexpr (isOpaque) {
                if (!_opacity.IsWhole()) {
                    step.wasOpaque = false;
                    AddAlpha(rows);
                }
            }
            for (int b = 0; b < Blocks; ++b) {
                for (int r = 0; r < motionReach; ++r) {
                    _arriving.Keep(r, b, _sums[b][_place[batchRows + r]]);
                }
            }
        }

      private:
        [[gnu::noinline]] void AddAlpha(const RowRange& rows) {
            for (int r = rows.first; r < rows.end; ++r) {
                const unsigned char* pixels = _frame.Row(r);
                for (int v = 0; v < Blocks * gatedBlock; v += lanes, pixels += Frame::vectorBytes) {
                    SumCell& sum = _sums[v / gatedBlock][_place[r]];
                    sum.Store(v % gatedBlock,
                              Rule::WithAlpha(sum.Load(v % gatedBlock), Frame::LoadCodes(pixels)));
                }
            }
        }

        template <class Window, class Load>
        TQ_INLINE void Row(int r, Window window, Load load) {
            const unsigned char* pixels = _frame.Row(r);
#pragma GCC unroll 2
            for (int v = 0; v < Blocks * gatedBlock; v += lanes, pixels += Frame::vectorBytes) {
                if constexpr (isOpaque) {
                    _opacity.Look(pixels);
                }
                SumCell& to = _sums[v / gatedBlock][_place[r]];
                const SumCell& future = _future[v / gatedBlock][_futurePlace[motionReach + r]];
                const Pixel sum =
                    _rule.template At<isOpaque>(pixels, load(v, to), window(v), future.Load(v % gatedBlock));
                if constexpr (way == Way::Last) {
                    _rule.output.Store(
                        _output + r * _outputRowBytes + v * 4 * static_cast<int>(sizeof(float)), sum);
                } else {
                    to.Store(v % gatedBlock, sum);
                }
            }
        }

        const Rule _rule;
        const BlockPixels _frame;
        const typename Arriving::Gated _arriving;
        const int* const _place;
        SumCell* _sums[Blocks];
        const int* const _futurePlace;
        const SumCell* _future[Blocks];
        Opacity<Frame> _opacity;
        unsigned char* _output = nullptr;  ///< of the block's first pixel
        std::int64_t _outputRowBytes = 0;
    };

    /// The way of the rows of block i - 1, whose pixels are those of Gating.
    Way WayOf(int i, const BlockPixels& frame, const BlockPixels& first, const RowRange& rows) const {
        if constexpr (Rule::isLast) {
            return _rule.output.IsWhole(XOf(i - 1)) ? Way::Last : Way::General;
        } else {
            return TakesAsOpaque<1>(frame, rows) && _arriving.AreOpaque(first, rows) ? Way::Opaque
                                                                                     : Way::General;
        }
    }
    /// Pixels are not looked at where those before were opaque; Gating::Finish adds what they are not.
    template <int Blocks>
    TQ_INLINE bool TakesAsOpaque(const BlockPixels& frame, const RowRange& rows) const {
        _step.wasOpaque = _step.wasOpaque || IsOpaque<Frame, Blocks>(frame, rows);
        return _step.wasOpaque;
    }
    static constexpr Way otherWay = Rule::isLast ? Way::Last : Way::Opaque;

    template <Way way>
    TQ_INLINE void GateRows(int i, const BlockPixels& frame, const BlockPixels& first) {
        Gating<way, 1> gating(*this, i, frame, first);
        const float* const sums = _columnSums.Block(i - 1);
#if TQ_LANES == 16
        const float* const before = _columnSums.Block(i - 2);
        const float* const after = _columnSums.Block(i);
        const auto window = [=](int r) {
            return [ =, row = r * Columns::rowFloats ](int) __attribute__((always_inline)) {
                const F here = Read<F>(sums + row);
                const F next = Read<F>(after + row);
                return SumOfWindow(SumsOfTwo(Read<F>(before + row), here), SumsOfTwo(here, next), here, next);
            };
        };
#else
        const auto window = [=](int r) {
            return [row = sums + r * Columns::rowFloats](int v) __attribute__((always_inline)) {
                return SumOfWindow(row + v);
            };
        };
#endif
        int r = _gated.first;
        for (; r < Smaller(motionReach, _gated.end); ++r) {
            gating.UpperRow(r, window(r));
        }
        for (; r < _gated.end; ++r) {
            gating.LowerRow(r, window(r));
        }
        gating.Finish(_step, _gated);
    }

    [[gnu::noinline]] void Gate(int i) {
        const BlockPixels frame = _pixels.Block(XOf(i - 1));
        const BlockPixels first = _arriving.Frame(XOf(i - 1));
        if (WayOf(i, frame, first, _gated) == otherWay) {
            GateRows<otherWay>(i, frame, first);
        } else {
            GateRows<Way::General>(i, frame, first);
        }
    }

#if TQ_LANES == 16
    /// Compares blocks from block i on, and gates as many from the one before on. Each row is gated while the
    /// next one is compared and the weight of the one after it inverted: so no operation waits for the one
    /// just before it.
    template <Way way, int Blocks>
    TQ_INLINE void CompareAndGateRows(int i, const Ahead& ahead, const BlockPixels& frame,
                                      const BlockPixels& first) {
        Comparison<way == Way::Opaque, Blocks> comparison(*this, i, ahead);
        Gating<way, Blocks> gating(*this, i, frame, first);
        const float* const before = _columnSums.Block(i - 2);
        const float* const sums = _columnSums.Block(i - 1);
        struct Row {
            F of[Blocks];
        };
        Row columns, inverse;
#pragma GCC unroll 2
        for (int b = 0; b < Blocks; ++b) {
            const int v = b * lanes;
            columns.of[b] = comparison.AddRow(0, v, comparison.Similarity(0, v, comparison.Inverse(0, v)));
            inverse.of[b] = comparison.Inverse(1, v);
        }
        const auto window = [&](int r) __attribute__((always_inline)) {
            const int row = r * Columns::rowFloats;
            const F here = Read<F>(sums + row);
            const F twoBefore = SumsOfTwo(Read<F>(before + row), here);
            const F two = SumsOfTwo(here, columns.of[0]);
            return [&, here, twoBefore, two ](int v) __attribute__((always_inline)) {
                if (v == 0) {
                    return SumOfWindow(twoBefore, two, here, columns.of[0]);
                }
                const F last = columns.of[v / lanes];
                return SumOfWindow(two, SumsOfTwo(columns.of[0], last), columns.of[0], last);
            };
        };
        const auto next = [&](int r) __attribute__((always_inline)) {
            Row result;
#pragma GCC unroll 2
            for (int b = 0; b < Blocks; ++b) {
                const int v = b * lanes;
                const F s = comparison.Similarity(r, v, inverse.of[b]);
                inverse.of[b] = comparison.Inverse(Smaller(r + 1, batchRows - 1), v);
                result.of[b] = comparison.AddRow(r, v, s);
            }
            return result;
        };
        for (int r = 0; r < motionReach; ++r) {
            const Row nextColumns = next(r + 1);
            gating.UpperRow(r, window(r));
            columns = nextColumns;
        }
        for (int r = motionReach; r < batchRows - 1; ++r) {
            const Row nextColumns = next(r + 1);
            gating.LowerRow(r, window(r));
            columns = nextColumns;
        }
        gating.LowerRow(batchRows - 1, window(batchRows - 1));
        gating.Finish(_step, _gated);
        comparison.Finish();
    }

    /// The way of the blocks from block i - 1 on while as many from block i on are compared, all as a whole.
    template <int Blocks>
    TQ_INLINE Way WayOfWhole(int i) {
        const RowRange all;
        if constexpr (Rule::isLast) {
            return WayOf(i, {}, {}, all);
        } else {
            const bool areOpaque =
                TakesAsOpaque<Blocks>(_pixels.Block(XOf(i - 1)), all) &&
                _arriving.template AreOpaque<Blocks>(_arriving.Frame(XOf(i - 1)), all) &&
                _arriving.template AreOpaque<Blocks>(_arriving.Frame(XOf(i)).FromRow(motionReach), all);
            return areOpaque ? Way::Opaque : Way::General;
        }
    }

    template <int Blocks>
    TQ_INLINE void CompareAndGateBlocks(int i, Way way, const Ahead& ahead) {
        const BlockPixels frame = _pixels.Block(XOf(i - 1));
        const BlockPixels first = _arriving.Frame(XOf(i - 1));
        if (way == otherWay) {
            CompareAndGateRows<otherWay, Blocks>(i, ahead, frame, first);
        } else {
            CompareAndGateRows<Way::General, Blocks>(i, ahead, frame, first);
        }
    }

    /// Compares block i and gates the block before it, since the one is more arithmetic and the other more
    /// traffic.
    [[gnu::noinline]] void CompareAndGate(int i, const Ahead& ahead) {
        CompareAndGateBlocks<1>(i, WayOfWhole<1>(i), ahead);
    }

    /// The same of blocks i and i + 1, where both go the same way: two rows of operations that do not wait
    /// for each other.
    [[gnu::noinline]] bool CompareAndGateTwo(int i, const Ahead& ahead) {
        const Way way = WayOfWhole<2>(i);
        if (Rule::isLast && WayOfWhole<2>(i + 1) != way) {
            return false;
        }
        CompareAndGateBlocks<2>(i, way, ahead);
        return true;
    }
#else
    // No block is one vector.
    void CompareAndGate(int /*i*/, const Ahead& /*ahead*/) {
    }
    bool CompareAndGateTwo(int /*i*/, const Ahead& /*ahead*/) {
        return false;
    }
#endif

    GatedStep& _step;
    const Rule _rule;
    const int _gridX, _block, _y;
    const int _topRow;  ///< of the sums that exist, counted from the batch
    const RowRange _compared, _gated;
    const Columns _columnSums;
    Arriving& _arriving;
    const SumTile& _tile;
    const FutureSums& _future;
    BatchPixels<Frame> _pixels;
};

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
