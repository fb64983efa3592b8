#pragma once

#include <opencv2/core.hpp>
#include <vector>

namespace TQ::Bench {

/// The default preset's mathematics written with OpenCV's calls, as somebody would who has no kernels of his
/// own: planes of floats, white at 1, and one call for each step of the formula. OpenCV spreads its calls
/// over threads where it knows how to.
class OpenCvDeflicker {
  public:
    /// `weights`: of the frames at distance 0 to the time radius. `sigma`: of the blur, in pixels.
    OpenCvDeflicker(std::vector<float> weights, double sigma) : _weights(std::move(weights)), _sigma(sigma) {}

    /// `frames`: 8-bit RGBA, from the far past to the far future, the current one in the middle.
    void Render(const std::vector<cv::Mat>& frames, cv::Mat& output);

  private:
    /// Weighted colours, and the weight.
    struct Sum {
        cv::Mat colors[3];
        cv::Mat weight;
        bool isEmpty = true;
    };

    void Split(const cv::Mat& frame);
    void FindMask(const Sum& sum);
    void Gate(Sum& sum);
    void Add(Sum& sum, const cv::Mat& frame, float weight);
    void Recombine(Sum& sum, const cv::Mat& frame, cv::Mat& output);

    std::vector<float> _weights;
    double _sigma;
    // Kept from frame to frame, so that nothing is allocated on the way.
    Sum _past, _future;
    cv::Mat _floats, _planes[4], _mask, _similarity, _product, _difference, _scaled, _low, _lowFloats,
        _lowPlanes[4];
};

}  // namespace TQ::Bench
