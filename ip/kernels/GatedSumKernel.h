#pragma once

// GatedSum: a whole chain of TemporalMultAddDetectMotion steps, and the comparison that joins two of them, in
// one walk over the frames. Included by the level files only; see Vector.h.
//
// The picture is walked in batches of rows, and each batch from left to right in tiles of blocks of columns.
// All steps take a tile in turn and in place: what arrives is the sum before a step, what leaves is the sum
// after it. The window of a step reaches two pixels in each direction, so what leaves lies two rows higher
// and one block further left than what arrived. Thus nothing is computed twice, each step keeps only the last
// rows of a batch and the last columns of a tile, and a tile stays in the first-level cache.

#include "ip/kernels/GatedStepKernel.h"
#include "ip/records/RowClaims.h"

namespace TQ::IP::TQ_LEVEL {
namespace {

/// The walk over a band of the output.
template <class Frame>
class GatedWalk {
  public:
    using Sum = Pixels<FloatStorage, Frame::alpha>;

    /// `band` is at most gatedMostColumns wide.
    GatedWalk(const ImageView& output, const ImageView* inputs, const Bounds& band,
              const GatedSumParameters& p)
        : _p(p),
          _output(output, band),
          _band(band),
          _joins(p.pastFrames > 0),
          _work(*reinterpret_cast<GatedWork*>(p.scratch)),
          _past(_work.past),
          _future{SumTile(_work.future), rowPlaces.After(p.futureFrames - 1)} {
        const int pastLag = _joins ? p.pastFrames : 0;  // of the join
        const int futureLag = p.futureFrames - 1;
        _lag = pastLag > futureLag ? pastLag : futureLag;
        float* room = p.scratch + gatedWorkFloats;
        const auto add = [&](const ImageView& input, float weight, int lag, int stepsBefore) {
            GatedStep& step = _step[_steps++];
            step.input = &input;
            step.weight = weight;
            step.lag = lag;
            step.place = rowPlaces.After(stepsBefore);
            step.blocks = reinterpret_cast<KeptBlock*>(room);
            step.columns = reinterpret_cast<KeptColumns*>(step.blocks + gatedMostBlocks);
            step.leftBlock = &step.columns->sums;
            room += gatedStepFloats;
        };
        for (int i = 0; i < p.pastFrames; ++i) {
            add(inputs[i], p.weights[i], _lag - pastLag + i, i == 0 ? 0 : i - 1);
        }
        for (int i = 0; i < p.futureFrames; ++i) {
            add(inputs[p.pastFrames + i], p.weights[p.pastFrames + i], _lag - futureLag + i,
                i == 0 ? 0 : i - 1);
        }
        SpreadDomains(p.pastFrames, p.futureFrames, band);
        if (_joins) {
            add(inputs[p.joinFrame], 0, _lag, p.pastFrames - 1);
            GatedStep& join = _step[_steps - 1];
            join.domain = band;
            join.arriving = GrownWithin(band, inputs[p.pastFrames - 1].bounds);
            SpreadDomains(0, p.pastFrames, join.arriving);
            SetGates(0, p.pastFrames);
            join.gate = MakeGate(Frame::Storage::white, leastFullWeight);
        }
        SetGates(p.pastFrames, p.futureFrames);
    }

    /// `claims` may be null.
    void Run(RowsWalked& walked, RowClaims* claims) {
        const GatedStep& past = _step[0];
        const GatedStep& future = _step[_p.pastFrames];
        // Blocks begin where the band does, so that what leaves the band is whole.
        const int left = Smaller(past.domain.x1, future.domain.x1);
        _gridX = _band.x1 - (_band.x1 - left + gatedBlock - 1) / gatedBlock * gatedBlock;
        const int blocks = (_band.x2 - _gridX + gatedBlock - 1) / gatedBlock + _lag;
        int y = Smaller(past.domain.y1 + motionReach * past.lag, future.domain.y1 + motionReach * future.lag);
        for (int end = _band.y2; y - motionReach * _lag < end; y += batchRows) {
            if (claims != nullptr) {
                end = claims->Claim(y - motionReach * _lag + batchRows);
            }
            const RowRange finished(_band.y1, _band.y2, y - motionReach * _lag);
            for (int r = finished.first; r < finished.end; ++r) {
                walked.AddRow();
            }
            for (int i = 0; i < _steps; ++i) {
                _step[i].StartBatch(y - motionReach * LagBefore(i));
            }
            LinkSteps();
            for (int block = 0; block < blocks; block += tileBlocks) {
                RunTile(block, y);
            }
        }
    }

  private:
    static Bounds GrownWithin(const Bounds& b, const Bounds& limit) {
        return {b.x1 - motionReach > limit.x1 ? b.x1 - motionReach : limit.x1,
                b.y1 - motionReach > limit.y1 ? b.y1 - motionReach : limit.y1,
                Smaller(b.x2 + motionReach, limit.x2), Smaller(b.y2 + motionReach, limit.y2)};
    }

    /// What each of a half's steps must produce for the one after it, as far as there are pixels.
    void SpreadDomains(int first, int count, const Bounds& wanted) {
        _step[first + count - 1].domain = wanted;
        for (int i = first + count - 1; i > first; --i) {
            _step[i].arriving = GrownWithin(_step[i].domain, _step[i - 1].input->bounds);
            _step[i - 1].domain = _step[i].arriving;
        }
    }

    /// What the steps of a half do, from their weights.
    void SetGates(int first, int count) {
        if (_p.startsFromSum[first == 0 && _joins ? 0 : 1]) {
            _step[first].weight = count > 1 ? _step[first + 1].weight : 1.0F;
        }
        for (int i = first + 1; i < first + count; ++i) {
            _step[i].gate =
                MakeGate(_step[i - 1].weight / _step[i].weight, leastSumWeight / _step[i - 1].weight);
        }
    }
    GateConstants MakeGate(float unitOfMask, float leastWeight) const {
        const float limit = Frame::Storage::white / _p.inverseLimit;
        const float cube = limit * limit * limit;
        constexpr float leastCube = 1e-30F;  // below it nothing is similar
        return {limit, cube > leastCube ? motionMeanFactor / cube * unitOfMask : 0.0F, leastWeight};
    }

    /// Tells each step where the one that takes the tile next reads its pixels; the last one is followed by
    /// the first one in the next tile. Rows of different lengths only make what is fetched useless.
    void LinkSteps() {
        int order[gatedMostFrames + 1];
        int count = 0;
        for (int i = _p.pastFrames + 1; i < _p.pastFrames + _p.futureFrames; ++i) {
            order[count++] = i;
        }
        for (int i = 1; i < _p.pastFrames; ++i) {
            order[count++] = i;
        }
        if (_joins) {
            order[count++] = _steps - 1;
        }
        for (int k = 0; k < count; ++k) {
            const bool isLast = k + 1 == count;
            const int next = order[isLast ? 0 : k + 1];
            _step[order[k]].toNextStep = PlaceOf(next) - PlaceOf(order[k]) +
                                         (isLast ? tileBlocks * gatedBlock * Frame::pixelBytes : 0);
        }
    }
    /// The address of the pixels that a step compares in the first row of the batch and in block 0 of the
    /// first tile.
    std::int64_t PlaceOf(int i) const {
        const std::int64_t x = std::int64_t{_gridX} - LagBefore(i) * gatedBlock - _step[i].input->bounds.x1;
        return reinterpret_cast<std::intptr_t>(_step[i].rows[motionReach]) + x * Frame::pixelBytes;
    }

    /// The first step of a half has no sum before it, and itself no lag to what arrives.
    int LagBefore(int i) const { return i == 0 || i == _p.pastFrames ? _step[i].lag : _step[i].lag - 1; }

    /// A batch from row y on, of the tile from `block` on.
    void RunTile(int block, int y) {
        RunHalf(_p.pastFrames, _p.futureFrames, _p.startsFromSum[1], block, y, _future.tile);
        if (_joins) {
            RunHalf(0, _p.pastFrames, _p.startsFromSum[0], block, y, _past);
            const GateAndJoin<Frame> rule{
                {_step[_steps - 1].gate}, _output, _step[_p.pastFrames - 1].weight, _step[_steps - 2].weight};
            RunStep(rule, _steps - 1, block, y, _past);
        }
        StoreTile(block - _lag, y - motionReach * _lag);
    }

    void RunHalf(int first, int count, bool startsFromSum, int block, int y, SumTile& tile) {
        int next = first + 1;
        if (startsFromSum) {
            const float scale = 1.0F / _step[first].weight;
            Start<Sum>(_step[first], block, y, tile, [scale](const unsigned char* sum) {
                const Pixel s = Sum::Load(sum);
                return Pixel{s.rgb * Splat(scale * Frame::Storage::white), s.a * scale};
            });
        } else if (count == 1) {
            Start<Frame>(_step[first], block, y, tile,
                         [](const unsigned char* frame) { return SumOfFrame<Frame, false>(frame); });
        } else {
            SumsOfFrame<Frame> sums(_step[first]);
            RunStep(GateAndAdd<Frame>{_step[next].gate}, next, block, y, tile, sums);
            ++next;
        }
        for (; next < first + count; ++next) {
            RunStep(GateAndAdd<Frame>{_step[next].gate}, next, block, y, tile);
        }
    }

    template <class Rule>
    void RunStep(const Rule& rule, int index, int block, int y, SumTile& tile) {
        const SumsInTile sums(_step[index], block - LagBefore(index), tile);
        RunStep(rule, index, block, y, tile, sums);
    }

    template <class Rule, class Arriving>
    void RunStep(const Rule& rule, int index, int block, int y, SumTile& tile, Arriving& arriving) {
        const int lag = LagBefore(index);
        GatedStep& step = _step[index];
        tile.Enter(step.leftBlock);
        StepOverTile<Frame, Rule, Arriving>(step, rule, _gridX, block - lag, y - motionReach * lag,
                                            _work.columnSums, arriving, tile, _future)
            .Run();
        step.leftBlock = tile.Leave();
    }

    template <class Format, class At>
    void Start(const GatedStep& step, int tileBlock, int batchY, const SumTile& tile, At at) const {
        BatchPixels<Format> pixels(step);
        const RowRange rows(step.domain.y1, step.domain.y2, batchY - motionReach * step.lag);
        const int firstBlock = (step.domain.x1 - _gridX) / gatedBlock;
        const int lastBlock = (step.domain.x2 - 1 - _gridX) / gatedBlock;
        for (int i = 0; i < tileBlocks; ++i) {
            const int block = tileBlock - step.lag + i;
            if (block < firstBlock || block > lastBlock) {
                continue;
            }
            const BlockPixels source = pixels.Block(_gridX + block * gatedBlock);
            SumCell* const sums = tile.Block(i + 1);
            for (int r = rows.first; r < rows.end; ++r) {
                const unsigned char* row = source.Row(motionReach + r);
                for (int v = 0; v < gatedBlock; v += lanes, row += Format::vectorBytes) {
                    FetchPixels<Format, Format::vectorBytes>(row + bytesAheadOfFirst<Format>);
                    sums[rowPlaces.After(0)[motionReach + r]].Store(v, at(row));
                }
            }
        }
    }

    /// The sums of the last step, of the tile from `block` and row y on. A join has stored whole blocks.
    void StoreTile(int block, int y) const {
        const SumTile& tile = _joins ? _past : _future.tile;
        const int* const places = _joins ? rowPlaces.After(_p.pastFrames) : _future.place;
        const RowRange rows(_band.y1, _band.y2, y);
        const F weight = Splat(_joins ? 1.0F : _step[_steps - 1].weight);
        const F color = _joins ? weight : weight * Frame::unit;
        for (int i = 0; i < tileBlocks; ++i) {
            const int x = _gridX + (block + i) * gatedBlock;
            const bool isWhole = _output.IsWhole(x);
            if ((isWhole && _joins) || x >= _band.x2 || x + gatedBlock <= _band.x1) {
                continue;
            }
            for (int r = rows.first; r < rows.end; ++r) {
                alignas(64) unsigned char part[gatedBlock * Sum::pixelBytes];
                for (int v = 0; v < gatedBlock; v += lanes) {
                    const Pixel sum = tile.Block(i + 1)[places[motionReach + r]].Load(v);
                    const Pixel result{sum.rgb * color, sum.a * weight};
                    if (isWhole) {
                        _output.Store(_output.At(x + v, y + r), result);
                    } else {
                        Sum::Store(part + v * Sum::pixelBytes, result);
                    }
                }
                if (!isWhole) {
                    _output.StorePart(x, y + r, part);
                }
            }
        }
    }

    const GatedSumParameters& _p;
    const SumOutput<Sum> _output;
    const Bounds _band;
    const bool _joins;  ///< there is a past half, and the last step joins it to the future half
    GatedWork& _work;
    SumTile _past;
    FutureSums _future;
    GatedStep _step[gatedMostFrames + 1];
    int _steps = 0;
    int _lag;        ///< of the last step
    int _gridX = 0;  ///< the x of block 0
};

template <class Frame>
bool RunGatedSum(const ImageView& output, const ImageView* inputs, const Bounds& band, const void* parameters,
                 Image::Progress& progress) {
    const auto& p = *static_cast<const GatedSumParameters*>(parameters);
    if (band.y2 <= band.y1) {
        return true;
    }
    const int parts = (band.x2 - band.x1 + gatedMostColumns - 1) / gatedMostColumns;
    RowsWalked walked(progress, band.y2 - band.y1, parts);
    for (int i = 0; i < parts; ++i) {
        const auto cut = [&](int at) {
            return static_cast<std::int32_t>(band.x1 +
                                             static_cast<std::int64_t>(band.x2 - band.x1) * at / parts);
        };
        GatedWalk<Frame>(output, inputs, {cut(i), band.y1, cut(i + 1), band.y2}, p)
            .Run(walked, parts == 1 ? p.claims : nullptr);
    }
    EndStream();
    return true;
}

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
