#include "bench/OpenCvDeflicker.h"

#include <opencv2/imgproc.hpp>

namespace TQ::Bench {

namespace {

constexpr double limit = 0.2;
constexpr double smallestWeight = 0.0001;
constexpr int maskSize = 5;
constexpr int alpha = 3;

}  // namespace

void OpenCvDeflicker::Split(const cv::Mat& frame) {
    frame.convertTo(_floats, CV_32F, 1.0 / 255.0);
    cv::split(_floats, _planes);
}

/// Compares the split frame with the mean of `sum`: the product of 1 - |difference| / limit over the colours,
/// then its mean over the neighbourhood.
void OpenCvDeflicker::FindMask(const Sum& sum) {
    cv::max(sum.weight, smallestWeight, _scaled);
    for (int c = 0; c < 3; ++c) {
        cv::divide(sum.colors[c], _scaled, _difference);
        cv::absdiff(_planes[c], _difference, _difference);
        cv::Mat& target = c == 0 ? _product : _similarity;
        _difference.convertTo(target, CV_32F, -1.0 / limit, 1.0);
        cv::max(target, 0.0, target);
        if (c != 0) {
            cv::multiply(_product, _similarity, _product);
        }
    }
    cv::boxFilter(_product, _mask, -1, cv::Size(maskSize, maskSize), cv::Point(-1, -1), true,
                  cv::BORDER_REPLICATE);
}

void OpenCvDeflicker::Gate(Sum& sum) {
    for (cv::Mat& color : sum.colors) {
        cv::multiply(color, _mask, color);
    }
    cv::multiply(sum.weight, _mask, sum.weight);
}

void OpenCvDeflicker::Add(Sum& sum, const cv::Mat& frame, float weight) {
    Split(frame);
    cv::multiply(_planes[alpha], weight, _scaled);
    if (sum.isEmpty) {
        for (int c = 0; c < 3; ++c) {
            cv::multiply(_planes[c], _scaled, sum.colors[c]);
        }
        _scaled.copyTo(sum.weight);
        sum.isEmpty = false;
        return;
    }
    FindMask(sum);
    Gate(sum);
    cv::multiply(_planes[alpha], weight, _scaled);
    for (int c = 0; c < 3; ++c) {
        cv::accumulateProduct(_planes[c], _scaled, sum.colors[c]);
    }
    cv::add(sum.weight, _scaled, sum.weight);
}

/// The low frequencies of the mean take the place of the frame's.
void OpenCvDeflicker::Recombine(Sum& sum, const cv::Mat& frame, cv::Mat& output) {
    const auto blur = [this](const cv::Mat& from, cv::Mat& to) {
        cv::GaussianBlur(from, to, cv::Size(0, 0), _sigma, _sigma, cv::BORDER_REPLICATE);
    };
    blur(frame, _low);
    _low.convertTo(_lowFloats, CV_32F, 1.0 / 255.0);
    cv::split(_lowFloats, _lowPlanes);
    blur(sum.weight, _scaled);
    for (int c = 0; c < 3; ++c) {
        blur(sum.colors[c], _difference);
        cv::divide(_difference, _scaled, _difference);
        cv::subtract(_difference, _lowPlanes[c], _difference);
        cv::add(_planes[c], _difference, _planes[c]);
    }
    cv::merge(_planes, 4, _floats);
    _floats.convertTo(output, CV_8U, 255.0);
}

void OpenCvDeflicker::Render(const std::vector<cv::Mat>& frames, cv::Mat& output) {
    const auto radius = _weights.size() - 1;
    _past.isEmpty = _future.isEmpty = true;
    for (std::size_t i = 0; i < radius; ++i) {
        Add(_past, frames[i], _weights[radius - i]);
        Add(_future, frames[2 * radius - i], _weights[radius - i]);
    }
    Add(_future, frames[radius], _weights[0]);
    // The frame is still split: the past half counts where it agrees with it.
    FindMask(_past);
    Gate(_past);
    for (int c = 0; c < 3; ++c) {
        cv::add(_future.colors[c], _past.colors[c], _future.colors[c]);
    }
    cv::add(_future.weight, _past.weight, _future.weight);
    Recombine(_future, frames[radius], output);
}

}  // namespace TQ::Bench
