#pragma once

// AffineSimilarityOfHighPasses: products of two mean-free pictures, their blurs and the similarity that these
// give, in one walk down a band of columns; neither products nor moments are stored. Every value is that of
// the kernels one after the other. Included by the level files only; see Vector.h.

#include "ip/kernels/GaussBlurKernel.h"
#include "ip/kernels/SimilarityKernels.h"

namespace TQ::IP::TQ_LEVEL {
namespace {

/// The products of two float pictures, channel by channel, as far as a band's row pass reads them.
class ProductLines {
  public:
    /// Both pictures have the same bounds. `room` is of GaussProductBytes.
    ProductLines(const ImageView& x, const ImageView& y, const Bounds& band, const GaussParameters& alongX,
                 unsigned char* room)
        : _x(x), _y(y), _room(room) {
        const int length = x.bounds.x2 - x.bounds.x1;
        const int restart = GaussRestart(alongX.radius, length);
        const int start = (band.x1 - x.bounds.x1) / restart * restart;
        const int chunks = (band.x2 - x.bounds.x1 - start + chunkLength - 1) / chunkLength;
        // The row pass takes whole vectors.
        const int end = start + chunks * chunkLength + alongX.radius + 1 + groupRows;
        _first = start > alongX.radius + 1 ? start - alongX.radius - 1 : 0;
        _count = 4 * (Smaller(end, length) - _first);
        _pitch = GaussProductPitch(alongX.radius, length);
    }

    const Bounds& Area() const { return _x.bounds; }
    /// Nothing is fetched by the row pass: the next lines are not formed yet.
    std::int64_t Ahead() const { return 0; }

    /// Forms lines `first` to `first + count - 1`.
    void Prepare(int first, int count) {
        for (int r = 0; r < count; ++r) {
            const unsigned char* const x =
                PixelAt(_x, _x.bounds.x1 + _first, _x.bounds.y1 + first + r, pixelBytes);
            const unsigned char* const y =
                PixelAt(_y, _y.bounds.x1 + _first, _y.bounds.y1 + first + r, pixelBytes);
            Multiply(_room + r * _pitch, x, y);
        }
    }

    /// Where sample 0 would lie: only those of the band are there.
    const unsigned char* Line(int /*first*/, int r) const {
        return _room + r * _pitch - static_cast<std::int64_t>(_first) * pixelBytes;
    }

  private:
    static constexpr int pixelBytes = 4 * sizeof(float);

    void Multiply(unsigned char* product, const unsigned char* x, const unsigned char* y) const {
        const std::int64_t bytes = _count * static_cast<std::int64_t>(sizeof(float));
        const std::int64_t aheadX = groupRows * _x.rowBytes;
        const std::int64_t aheadY = groupRows * _y.rowBytes;
        std::int64_t at = 0;
        for (; at + static_cast<std::int64_t>(sizeof(F)) <= bytes; at += sizeof(F)) {
            PrefetchNear<sizeof(F)>(x + at + aheadX);
            PrefetchNear<sizeof(F)>(y + at + aheadY);
            Write(product + at, Read<F>(x + at) * Read<F>(y + at));
        }
        for (; at < bytes; at += sizeof(float)) {
            Write(product + at, Read<float>(x + at) * Read<float>(y + at));
        }
    }

    ImageView _x, _y;
    unsigned char* _room;
    int _first;  ///< sample of the lines
    int _count;  ///< of floats
    std::int64_t _pitch;
};

template <class Frame>
bool RunAffineSimilarityOfHighPasses(const ImageView& output, const ImageView* inputs, const Bounds& band,
                                     const void* parameters, Image::Progress& progress) {
    using Body = AffineSimilarityExp3<Frame>;
    using Stream = BlurStream<SampleColumns<FloatStorage, false>, ProductLines>;
    const auto& p = *static_cast<const HighPassSimilarityParameters*>(parameters);
    const auto products = [&](int x, int y) {
        return ProductLines(inputs[x], inputs[y], band, p.covariance.alongX, p.products);
    };
    Stream varianceA(products(0, 0), band, p.varianceA);
    Stream varianceB(products(1, 1), band, p.varianceB);
    Stream covariance(products(0, 1), band, p.covariance);
    const RowStores stores = StoresOfBand<Frame>(output, band);
    while (covariance.NextRow() < band.y2) {
        const int y = covariance.NextRow();
        varianceA.StartStep();
        varianceB.StartStep();
        covariance.StartStep();
        const StepRange rows(band, y);
        for (int block = 0; block < covariance.Blocks(); ++block) {
            varianceA.Walk(block, 1);
            varianceB.Walk(block, 1);
            covariance.Walk(block, 1);
            const int x = band.x1 + block * lanes;
            const PointInputs moments{
                {varianceA.Result(rows.first), varianceB.Result(rows.first), covariance.Result(rows.first)},
                {varianceA.ResultRowBytes(), varianceB.ResultRowBytes(), covariance.ResultRowBytes()}};
            RunPointColumn<Body>(PixelAt(output, x, y + rows.first, Frame::pixelBytes), output.rowBytes,
                                 moments, Smaller(lanes, band.x2 - x), rows.end - rows.first, stores,
                                 p.similarity);
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
