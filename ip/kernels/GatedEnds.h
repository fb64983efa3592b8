#pragma once

// Where GatedSum's steps take the sums from that arrive, and where those of the last step go. Included by the
// level files only; see Vector.h.

#include <type_traits>

#include "ip/kernels/GatedTiles.h"
#include "ip/kernels/StreamStores.h"

namespace TQ::IP::TQ_LEVEL {
namespace {

/// The sums that arrive at a step, where the step before has left them.
class SumsInTile {
  public:
    SumsInTile(const GatedStep& step, int block, const SumTile& tile)
        : _step(step), _block(block), _tile(tile) {}

    /// Those of the blocks from block i of the tile on, in rows of the batch.
    template <class Format, int Blocks>
    class Compared {
      public:
        TQ_INLINE Compared(const SumsInTile& s, int i, int /*x*/) : _place(s._step.place + motionReach) {
            for (int b = 0; b < Blocks; ++b) {
                _sums[b] = s._tile.Block(i + 1 + b);
            }
        }

        template <bool Opaque>
        TQ_INLINE Pixel Load(int r, int v) const {
            return _sums[v / gatedBlock][_place[r]].Load(v % gatedBlock);
        }
        TQ_INLINE void Fetch(int /*r*/, int /*v*/) const {}

      private:
        const SumCell* _sums[Blocks];
        const int* const _place;
    };

    /// Those of the blocks from the one before on, in rows from two above the batch on. These two arrived
    /// with the batch before, the block before the first one with the tile before. `inPlace` is where the
    /// gated sum goes.
    class Gated {
      public:
        TQ_INLINE Gated(const SumsInTile& s, int i, const BlockPixels& /*first*/)
            : _kept(&s._step.blocks[s._block + i - 1]) {}

        template <bool Opaque>
        TQ_INLINE Pixel LoadUpper(int r, int v, const SumCell& /*inPlace*/) const {
            return _kept[v / gatedBlock].sums[r].Load(v % gatedBlock);
        }
        template <bool Opaque>
        TQ_INLINE Pixel LoadLower(int /*r*/, int v, const SumCell& inPlace) const {
            return inPlace.Load(v % gatedBlock);
        }
        TQ_INLINE void Keep(int r, int block, const SumCell& sums) const { _kept[block].sums[r] = sums; }

      private:
        KeptBlock* const _kept;
    };

    static bool Covers(int /*x*/) { return true; }
    static BlockPixels Frame(int /*x*/) { return {}; }
    /// Sums have weights of their own, so that nothing hinders pixels from being taken as opaque.
    template <int Blocks = 1>
    static bool AreOpaque(const BlockPixels& /*frame*/, const RowRange& /*rows*/) {
        return true;
    }

  private:
    const GatedStep& _step;
    const int _block;
    const SumTile& _tile;
};

/// A frame as the sum that a chain begins with.
template <class Frame, bool Opaque>
TQ_INLINE Pixel SumOfFrame(const unsigned char* pixels) {
    const Pixel codes = Frame::LoadCodes(pixels);
    if constexpr (Opaque) {
        return {codes.rgb, Splat(1)};
    }
    const F alpha = codes.a * Frame::unit;
    return {codes.rgb * alpha, alpha};
}

/// The sums that arrive at the second step of a chain: its first frame.
template <class Format>
class SumsOfFrame {
  public:
    explicit SumsOfFrame(const GatedStep& first) : _pixels(first) {}

    template <class, int>
    class Compared {
      public:
        TQ_INLINE Compared(SumsOfFrame& s, int /*i*/, int x) : _pixels(s._pixels.Block(x)) {}

        template <bool Opaque>
        TQ_INLINE Pixel Load(int r, int v) const {
            return SumOfFrame<Format, Opaque>(At(r, v));
        }
        TQ_INLINE void Fetch(int r, int v) const {
            FetchPixels<Format, Format::vectorBytes>(At(r, v) + bytesAheadOfFirst<Format>);
        }

      private:
        TQ_INLINE const unsigned char* At(int r, int v) const {
            return _pixels.Row(motionReach + r) + v * Format::pixelBytes;
        }

        const BlockPixels _pixels;
    };

    class Gated {
      public:
        TQ_INLINE Gated(const SumsOfFrame& /*s*/, int /*i*/, const BlockPixels& first) : _pixels(first) {}

        template <bool Opaque>
        TQ_INLINE Pixel LoadUpper(int r, int v, const SumCell& /*inPlace*/) const {
            return SumOfFrame<Format, Opaque>(_pixels.Row(r) + v * Format::pixelBytes);
        }
        template <bool Opaque>
        TQ_INLINE Pixel LoadLower(int r, int v, const SumCell& inPlace) const {
            return LoadUpper<Opaque>(r, v, inPlace);
        }
        void Keep(int /*r*/, int /*block*/, const SumCell& /*sums*/) const {}

      private:
        const BlockPixels _pixels;
    };

    bool Covers(int x) const { return _pixels.Covers(x); }
    BlockPixels Frame(int x) { return _pixels.Block(x); }
    template <int Blocks = 1>
    bool AreOpaque(const BlockPixels& frame, const RowRange& rows) const {
        return IsOpaque<Format, Blocks>(frame, rows);
    }

  private:
    BatchPixels<Format> _pixels;
};

/// Where the sums of the last step go.
template <class Format>
class SumOutput {
  public:
    SumOutput(const ImageView& view, const Bounds& band)
        : _view(view), _band(band), _stream(IsStreamed(view, Format::pixelBytes)) {}

    /// Whether all columns of the block at x are wanted.
    bool IsWhole(int x) const { return x >= _band.x1 && x + gatedBlock <= _band.x2; }

    TQ_INLINE unsigned char* At(int x, int y) const { return PixelAt(_view, x, y, Format::pixelBytes); }
    TQ_INLINE std::int64_t RowBytes() const { return _view.rowBytes; }

    /// A vector of pixels that are all wanted, past the caches where that pays.
    TQ_INLINE void Store(unsigned char* target, const Pixel& sums) const {
        StorePixels<Format>(target, sums, StoresOf<Format>(target, _stream));
    }

    /// What is wanted of a block at x.
    void StorePart(int x, int y, const unsigned char* pixels) const {
        const int first = x > _band.x1 ? x : _band.x1;
        const int end = Smaller(x + gatedBlock, _band.x2);
        if (first < end) {
            Copy(At(first, y), pixels + (first - x) * Format::pixelBytes, (end - first) * Format::pixelBytes);
        }
    }

  private:
    const ImageView& _view;
    const Bounds _band;
    const bool _stream;
};

}  // namespace
}  // namespace TQ::IP::TQ_LEVEL
