#include "bench/OpenCvSimilarity.h"

#include <array>
#include <opencv2/imgproc.hpp>

namespace TQ::Bench {

namespace {

constexpr double smallestProduct = 1e-30;

double WhiteOf(int depth) {
    return depth == CV_8U ? 255.0 : 1.0;
}

}  // namespace

void OpenCvSimilarity::Blur(const cv::Mat& source, cv::Mat& target) const {
    cv::GaussianBlur(source, target, cv::Size(0, 0), _window, _window, cv::BORDER_REPLICATE);
}

void OpenCvSimilarity::HighPass(const cv::Mat& source, cv::Mat& target) {
    source.convertTo(_floats, CV_32F, 1.0 / WhiteOf(source.depth()));
    Blur(_floats, _work);
    cv::subtract(_floats, _work, target);
}

void OpenCvSimilarity::MeanProduct(const cv::Mat& x, const cv::Mat& y, cv::Mat& target) {
    cv::multiply(x, y, _work);
    Blur(_work, target);
}

void OpenCvSimilarity::Compare(const cv::Mat& a, const cv::Mat& b, cv::Mat& output) {
    HighPass(a, _highA);
    HighPass(b, _highB);
    MeanProduct(_highA, _highA, _varianceA);
    MeanProduct(_highB, _highB, _varianceB);
    MeanProduct(_highA, _highB, _covariance);
    cv::max(_varianceA, _varianceB, _larger);
    // The squared correlation, none where the covariance is negative.
    cv::multiply(_varianceA, _varianceB, _work);
    cv::max(_work, cv::Scalar::all(smallestProduct), _work);
    cv::max(_covariance, cv::Scalar::all(0.0), _covariance);
    cv::multiply(_covariance, _covariance, _covariance);
    cv::divide(_covariance, _work, _work);
    cv::min(_work, cv::Scalar::all(1.0), _work);
    // What it leaves of the larger variance, of all channels together.
    cv::multiply(_larger, _work, _work);
    cv::subtract(_larger, _work, _larger);
    cv::transform(_larger, _weight, cv::Mat(1, 4, CV_32F, cv::Scalar(1.0)));
    cv::multiply(_weight, -1.0 / (_sigma * _sigma), _weight);
    cv::exp(_weight, _weight);
    _weight.convertTo(_work, a.depth(), WhiteOf(a.depth()));
    const std::array<cv::Mat, 4> channels{_work, _work, _work, _work};
    cv::merge(channels.data(), channels.size(), output);
}

}  // namespace TQ::Bench
