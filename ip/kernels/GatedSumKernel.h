#pragma once

// GatedSum: a whole chain of TemporalMultAddDetectMotion steps, and the comparison that joins two of them, in
// one walk over the frames. Included by the level files only; see Vector.h.
//
// A tile of columns is walked downwards. Every step keeps the last three rows that it produced and the last
// five rows of its similarities, and takes rows from the step before it as it needs them; so no sum but the
// last one leaves the cache. Rows in between lie plane by plane, which spares each step from taking pixels
// apart and putting them together.

#include "ip/kernels/MotionKernels.h"
#include "ip/kernels/PointKernels.h"

namespace TQ::IP::TQ_LEVEL {
namespace {

constexpr int keptRows = motionReach + 1;  ///< of a step's output: the row in work and those compared ahead
static_assert(gatedStepFloats == (keptRows * 4 + motionWindow) * gatedRowFloats);
static_assert(gatedTileColumns + 2 * motionReach * (gatedMostFrames / 2 + 2) + 2 * 16 <= gatedRowFloats);

/// A row of an accumulator on the tile's grid of columns, one plane per channel.
struct SumRow {
    float* plane;

    TQ_INLINE Pixel Load(int column) const {
        return {{Read<F>(plane + column), Read<F>(plane + gatedRowFloats + column),
                 Read<F>(plane + 2 * gatedRowFloats + column)},
                Read<F>(plane + 3 * gatedRowFloats + column)};
    }
    TQ_INLINE void Store(int column, const Pixel& pixel) const {
        Write(plane + column, pixel.rgb.r);
        Write(plane + gatedRowFloats + column, pixel.rgb.g);
        Write(plane + 2 * gatedRowFloats + column, pixel.rgb.b);
        Write(plane + 3 * gatedRowFloats + column, pixel.a);
    }
    /// Columns before `first` and from `end` on, as far as a neighbourhood reaches, get the value of the
    /// nearest column between them.
    void RepeatEdges(int first, int end) const {
        for (int c = 0; c < 4; ++c) {
            float* row = plane + c * gatedRowFloats;
            for (int i = 1; i <= motionReach; ++i) {
                row[first - i] = row[first];
                row[end - 1 + i] = row[end - 1];
            }
        }
    }
};

/// One step of a chain and what it keeps.
struct GatedStep {
    const ImageView* input;  ///< a frame, or the sum that a chain starts from
    float weight;
    int before;           ///< the step whose sum is gated, or noStep
    bool startsSum;       ///< `input` is a sum
    Bounds domain;        ///< the pixels that are wanted of this step
    int produced;         ///< the last row of the domain that exists
    int compared;         ///< the last row of similarities that exists
    float* sums;          ///< keptRows rows of four planes
    float* similarities;  ///< motionWindow rows
};

/// The similarity of a frame to the mean of the past half, where that is a picture in the frame's format.
template <class Frame>
TQ_INLINE F SimilarityToPicture(const DetectMotionParameters& p, const unsigned char* frame,
                                const Pixel& sum) {
    const Color mean = sum.rgb * InverseWeight(sum.a);
    const Color stored{Frame::AsStored(mean.r), Frame::AsStored(mean.g), Frame::AsStored(mean.b)};
    return ColorSimilarity(Frame::Load(frame).rgb, stored, Splat(p.inverseLimit));
}

/// A tile of the output: walks down its rows, and takes those of each step when the one after it needs them.
template <class Frame>
class GatedTile {
  public:
    using Sum = Pixels<FloatStorage, Frame::alpha>;

    /// `tile` is at most gatedTileColumns wide.
    GatedTile(const ImageView& output, const ImageView* inputs, const Bounds& tile,
              const GatedSumParameters& p)
        : _p(p), _output(output), _tile(tile), _stream(IsStreamed(output, Sum::pixelBytes)), _steps(0) {
        const int frames = p.pastFrames + p.futureFrames;
        _gridX = tile.x1 - motionReach * (Longest(p) + 2);
        float* room = p.scratch + 2 * gatedMargin + gatedRowFloats;
        for (int i = 0; i < frames; ++i) {
            const bool first = i == 0 || i == p.pastFrames;
            GatedStep& step = _step[_steps++];
            step.input = &inputs[i];
            step.weight = p.weights[i];
            step.before = first ? noStep : i - 1;
            step.startsSum = first && p.startsFromSum[i == 0 && p.pastFrames > 0 ? 0 : 1];
            step.sums = room;
            step.similarities = room + keptRows * 4 * gatedRowFloats;
            room += gatedStepFloats;
        }
        _future = frames - 1;
        if (p.pastFrames > 0) {
            _past = p.pastFrames - 1;
            GatedStep& join = _step[_steps++];
            join.input = &inputs[p.joinFrame];
            join.before = _past;
            join.startsSum = false;
            join.similarities = room;
            SetDomain(join, tile);
            SpreadDomains(_past, GrownBy(join, _past));
        }
        SpreadDomains(_future, tile);
    }

    void Run(RowsWalked& walked) {
        for (int y = _tile.y1; y < _tile.y2; ++y) {
            walked.Add(1);
            if (_past == noStep) {
                Interleave(RowOf(_future, y), y);
            } else {
                Join(y);
            }
        }
    }

  private:
    static constexpr int noStep = -1;

    static int Longest(const GatedSumParameters& p) {
        return p.pastFrames > p.futureFrames ? p.pastFrames : p.futureFrames;
    }

    // Domains: what a step must produce for the one after it, as far as there are pixels. Rows and columns
    // beyond repeat.

    static void SetDomain(GatedStep& step, const Bounds& wanted) {
        step.domain = wanted;
        step.produced = wanted.y1 - 1;
        step.compared = wanted.y1 - motionReach - 1;
    }

    Bounds GrownBy(const GatedStep& step, int before) const {
        const Bounds& limit = _step[before].input->bounds;
        const Bounds& d = step.domain;
        return {d.x1 - motionReach > limit.x1 ? d.x1 - motionReach : limit.x1,
                d.y1 - motionReach > limit.y1 ? d.y1 - motionReach : limit.y1,
                Smaller(d.x2 + motionReach, limit.x2), Smaller(d.y2 + motionReach, limit.y2)};
    }

    void SpreadDomains(int last, const Bounds& wanted) {
        SetDomain(_step[last], wanted);
        for (int i = last; _step[i].before != noStep; i = _step[i].before) {
            SetDomain(_step[_step[i].before], GrownBy(_step[i], _step[i].before));
        }
    }

    // Columns of the grid, in whole vectors.

    int FirstColumn(int x) const { return (x - _gridX) / lanes * lanes; }
    int EndColumn(int x) const { return (x - _gridX + lanes - 1) / lanes * lanes; }

    /// Calls at(column, pixels, count) for runs of `count` vectors that cover columns x1 to x2, with the
    /// address of the row's pixels there; beyond the row its end pixels repeat.
    template <class Format, class At>
    TQ_INLINE void ForColumns(const ImageView& view, int y, int x1, int x2, At at) const {
        const ClampedRow<Format> row(view, y);
        const int end = EndColumn(x2) + _gridX;
        const auto direct = [&](int x, int vectors) { at(x - _gridX, row.At(x), vectors); };
        const auto staged = [&](int x) {
            unsigned char buffer[Format::vectorBytes];
            row.CopyTo(buffer, x);
            at(x - _gridX, buffer, 1);
        };
        SplitColumns(row, row, FirstColumn(x1) + _gridX, end, direct, staged);
    }

    SumRow SlotOf(const GatedStep& step, int y) const {
        return {step.sums + (y - step.domain.y1) % keptRows * 4 * gatedRowFloats};
    }

    float* SimilarityOf(const GatedStep& step, int y) const {
        return step.similarities + (y - step.domain.y1 + motionReach) % motionWindow * gatedRowFloats;
    }

    /// Row y of a step's sum. It stays until keptRows rows further down are asked for.
    SumRow RowOf(int index, int y) {
        GatedStep& step = _step[index];
        const int row = Clamp(y, step.domain.y1, step.domain.y2 - 1);
        while (step.produced < row) {
            Produce(step, ++step.produced);
        }
        return SlotOf(step, row);
    }

    void Produce(GatedStep& step, int y) {
        const SumRow target = SlotOf(step, y);
        if (step.startsSum) {
            StartFromSum(step, y, target);
        } else if (step.before == noStep) {
            StartFromFrame(step, y, target);
        } else {
            const float* sums = Compare<false>(step, y);
            Gate(step, y, sums, RowOf(step.before, y), target);
        }
        target.RepeatEdges(step.domain.x1 - _gridX, step.domain.x2 - _gridX);
    }

    void StartFromSum(const GatedStep& step, int y, SumRow target) const {
        ForColumns<Sum>(*step.input, y, step.domain.x1, step.domain.x2,
                        [&](int column, const unsigned char* sum, int vectors) {
                            for (int i = 0; i < vectors; ++i) {
                                target.Store(column + i * lanes, Sum::Load(sum + i * Sum::vectorBytes));
                            }
                        });
    }

    void StartFromFrame(const GatedStep& step, int y, SumRow target) const {
        const WeightParameters p{step.weight};
        ForColumns<Frame>(*step.input, y, step.domain.x1, step.domain.x2,
                          [&](int column, const unsigned char* frame, int vectors) {
                              for (int i = 0; i < vectors; ++i, frame += Frame::vectorBytes) {
                                  Prefetch<Frame::vectorBytes>(frame + prefetchRows * step.input->rowBytes);
                                  target.Store(
                                      column + i * lanes,
                                      TemporalAdd1<Frame>::At(p, Frame::Load(frame), Pixel{}, Pixel{}));
                              }
                          });
    }

    /// Similarities of the frame to the mean of the sum before it, for the rows around y; returns the sum of
    /// the five of each column, that of grid column 0 first.
    template <bool Joins>
    const float* Compare(GatedStep& step, int y) {
        while (step.compared < y + motionReach - 1) {
            ++step.compared;
            CompareRow<Joins, false>(step, step.compared, RowOf(step.before, step.compared));
        }
        step.compared = y + motionReach;
        CompareRow<Joins, true>(step, step.compared, RowOf(step.before, step.compared));
        return ColumnSums();
    }

    float* ColumnSums() const { return _p.scratch + gatedMargin; }

    /// The similarities of row y; with `Adds` also the sums of the columns of the window that ends with it.
    template <bool Joins, bool Adds>
    [[gnu::noinline]] void CompareRow(const GatedStep& step, int y, SumRow sums) const {
        const DetectMotionParameters p{_p.inverseLimit, 0};
        float* similarity = SimilarityOf(step, y);
        const float* above[motionWindow - 1];
        for (int r = 0; Adds && r < motionWindow - 1; ++r) {
            above[r] = SimilarityOf(step, y - motionWindow + 1 + r);
        }
        float* columnSums = ColumnSums();
        ForColumns<Frame>(*step.input, y, step.domain.x1 - motionReach, step.domain.x2 + motionReach,
                          [&](int column, const unsigned char* frame, int vectors) {
                              for (int i = 0; i < vectors;
                                   ++i, column += lanes, frame += Frame::vectorBytes) {
                                  Prefetch<Frame::vectorBytes>(frame + prefetchRows * step.input->rowBytes);
                                  const Pixel sum = sums.Load(column);
                                  F s;
                                  if constexpr (Joins) {
                                      s = SimilarityToPicture<Frame>(p, frame, sum);
                                  } else {
                                      s = SimilarityToMean<Frame>(p, frame, sum);
                                  }
                                  Write(similarity + column, s);
                                  if constexpr (Adds) {
                                      F total = Read<F>(above[0] + column);
                                      for (int r = 1; r < motionWindow - 1; ++r) {
                                          total += Read<F>(above[r] + column);
                                      }
                                      Write(columnSums + column, total + s);
                                  }
                              }
                          });
    }

    [[gnu::noinline]] void Gate(const GatedStep& step, int y, const float* sums, SumRow before,
                                SumRow target) const {
        ForColumns<Frame>(
            *step.input, y, step.domain.x1, step.domain.x2,
            [&](int column, const unsigned char* frame, int vectors) {
                for (int i = 0; i < vectors; ++i, column += lanes, frame += Frame::vectorBytes) {
                    const F m = MeanOfWindow(sums + column);
                    target.Store(column, AddGated<Frame>(step.weight, frame, before.Load(column), m));
                }
            });
    }

    void Join(int y) {
        GatedStep& join = _step[_steps - 1];
        const SumRow future = RowOf(_future, y);
        const float* sums = Compare<true>(join, y);
        JoinRows(y, sums, RowOf(_past, y), future);
    }

    [[gnu::noinline]] void JoinRows(int y, const float* sums, SumRow past, SumRow future) const {
        StoreRow(y, [&](int column) {
            const F m = Frame::AsStored(MeanOfWindow(sums + column));
            return TemporalAddMask<Frame>::At({1.0F}, future.Load(column), past.Load(column),
                                              Pixel{{m, m, m}, m});
        });
    }

    [[gnu::noinline]] void Interleave(SumRow sum, int y) const {
        StoreRow(y, [&](int column) { return sum.Load(column); });
    }

    /// Through a buffer, since nothing reads the row soon.
    template <class At>
    TQ_INLINE void StoreRow(int y, At at) const {
        unsigned char* target = PixelAt(_output, _tile.x1, y, Sum::pixelBytes);
        const int width = _tile.x2 - _tile.x1;
        const int first = _tile.x1 - _gridX;
        constexpr int most = 16 * lanes;
        alignas(64) unsigned char buffer[most * Sum::pixelBytes];
        for (int x = 0; x < width; x += most) {
            const int count = Smaller(most, width - x);
            for (int i = 0; i < count; i += lanes) {
                Sum::Store(buffer + i * Sum::pixelBytes, at(first + x + i));
            }
            CopyOrStream(target + x * Sum::pixelBytes, buffer, count * Sum::pixelBytes, _stream);
        }
    }

    const GatedSumParameters& _p;
    const ImageView& _output;
    Bounds _tile;
    bool _stream;  ///< the output goes past the caches
    int _gridX;    ///< the x of grid column 0
    GatedStep _step[gatedMostFrames + 1];
    int _steps;
    int _past = noStep;
    int _future = noStep;
};

template <class Frame>
bool RunGatedSum(const ImageView& output, const ImageView* inputs, const Bounds& band, const void* parameters,
                 Image::Progress& progress) {
    const auto& p = *static_cast<const GatedSumParameters*>(parameters);
    const int tiles = (band.x2 - band.x1 + gatedTileColumns - 1) / gatedTileColumns;
    RowsWalked walked(progress, band.y2 - band.y1, tiles);
    for (int i = 0; i < tiles; ++i) {
        const auto cut = [&](int at) {
            return static_cast<std::int32_t>(band.x1 +
                                             static_cast<std::int64_t>(band.x2 - band.x1) * at / tiles);
        };
        const Bounds tile{cut(i), band.y1, cut(i + 1), band.y2};
        GatedTile<Frame>(output, inputs, tile, p).Run(walked);
    }
    EndStream();
    return true;
}

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
