#pragma once

#include <opencv2/core.hpp>

namespace TQ::Bench {

/// The local similarity of two pictures up to gain and offset, written with OpenCV's calls: Gaussian means of
/// products of their high-passes, and from them the variance that no such map explains.
class OpenCvSimilarity {
  public:
    /// `window` in pixels; `sigma` of the falloff, where white is 1.
    OpenCvSimilarity(double window, double sigma) : _window(window), _sigma(sigma) {}

    /// Four channels of 8 bits or floats; `output` gets their format.
    void Compare(const cv::Mat& a, const cv::Mat& b, cv::Mat& output);

  private:
    void Blur(const cv::Mat& source, cv::Mat& target) const;
    void HighPass(const cv::Mat& source, cv::Mat& target);
    void MeanProduct(const cv::Mat& x, const cv::Mat& y, cv::Mat& target);

    double _window, _sigma;
    // Kept from picture to picture, so that nothing is allocated on the way.
    cv::Mat _floats, _work, _highA, _highB, _varianceA, _varianceB, _covariance, _larger, _weight;
};

}  // namespace TQ::Bench
