#include "app/media/PictureTransform.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

namespace TQ::App {

namespace {

template <typename Sample>
constexpr float white = 1.0f;
template <>
constexpr float white<std::uint8_t> = 255.0f;
template <>
constexpr float white<std::uint16_t> = 65535.0f;

template <typename To>
To FromFloat(float value) {
    if constexpr (std::is_same_v<To, float>) {
        return value;
    } else {
        // Not-a-number goes to 0 with this order of comparisons.
        const float clipped = value > 0.0f ? std::min(value, 1.0f) : 0.0f;
        return static_cast<To>(clipped * white<To> + 0.5f);
    }
}

template <typename From, typename To>
To ConvertSample(From value) {
    if constexpr (std::is_same_v<From, To>) {
        return value;
    } else if constexpr (std::is_same_v<From, std::uint8_t> && std::is_same_v<To, std::uint16_t>) {
        return static_cast<To>(value * 257);
    } else if constexpr (std::is_same_v<From, std::uint16_t> && std::is_same_v<To, std::uint8_t>) {
        return static_cast<To>((value * 255u + 32767u) / 65535u);
    } else {
        return FromFloat<To>(static_cast<float>(value) / white<From>);
    }
}

template <typename From, typename To>
void ConvertRows(const Picture& from, Picture& to) {
    for (int y = 0; y < from.Height(); ++y) {
        const From* source = reinterpret_cast<const From*>(from.Row(y));
        To* target = reinterpret_cast<To*>(to.Row(y));
        for (int i = 0; i < 4 * from.Width(); ++i) {
            target[i] = ConvertSample<From, To>(source[i]);
        }
    }
}

template <typename From>
void ConvertTo(const Picture& from, Picture& to) {
    switch (to.Depth()) {
        case SampleDepth::Byte:
            return ConvertRows<From, std::uint8_t>(from, to);
        case SampleDepth::Short:
            return ConvertRows<From, std::uint16_t>(from, to);
        case SampleDepth::Float:
            return ConvertRows<From, float>(from, to);
    }
}

// Which source samples one result sample covers along one axis, and by how much of their width.
struct Cover {
    int first;
    std::vector<float> weights;  // sum 1
};

std::vector<Cover> CoversOf(int from, int to) {
    std::vector<Cover> covers;
    const double ratio = static_cast<double>(from) / to;
    for (int i = 0; i < to; ++i) {
        const double begin = i * ratio;
        const double end = std::min<double>(from, (i + 1) * ratio);
        Cover cover{std::min(from - 1, static_cast<int>(begin)), {}};
        for (int j = cover.first; j < from && (j < end || j == cover.first); ++j) {
            cover.weights.push_back(static_cast<float>(
                (std::min<double>(end, j + 1) - std::max<double>(begin, j)) / (end - begin)));
        }
        covers.push_back(std::move(cover));
    }
    return covers;
}

template <typename Sample>
void ScaleRows(const Picture& from, Picture& to) {
    const std::vector<Cover> columns = CoversOf(from.Width(), to.Width());
    const std::vector<Cover> rows = CoversOf(from.Height(), to.Height());
    std::vector<float> sum(static_cast<std::size_t>(from.Width()) * 4);
    for (int y = 0; y < to.Height(); ++y) {
        std::fill(sum.begin(), sum.end(), 0.0f);
        const Cover& cover = rows[static_cast<std::size_t>(y)];
        for (std::size_t j = 0; j < cover.weights.size(); ++j) {
            const Sample* source =
                reinterpret_cast<const Sample*>(from.Row(cover.first + static_cast<int>(j)));
            for (std::size_t i = 0; i < sum.size(); ++i) {
                sum[i] += cover.weights[j] * static_cast<float>(source[i]);
            }
        }
        Sample* target = reinterpret_cast<Sample*>(to.Row(y));
        for (int x = 0; x < to.Width(); ++x) {
            const Cover& column = columns[static_cast<std::size_t>(x)];
            for (int channel = 0; channel < 4; ++channel) {
                float value = 0.0f;
                for (std::size_t j = 0; j < column.weights.size(); ++j) {
                    const std::size_t at = 4 * (static_cast<std::size_t>(column.first) + j);
                    value += column.weights[j] * sum[at + static_cast<std::size_t>(channel)];
                }
                if constexpr (std::is_same_v<Sample, float>) {
                    target[4 * x + channel] = value;
                } else {
                    target[4 * x + channel] = static_cast<Sample>(std::min(value + 0.5f, white<Sample>));
                }
            }
        }
    }
}

}  // namespace

PicturePointer ConvertDepth(const Picture& picture, SampleDepth depth) {
    auto result = std::make_shared<Picture>(picture.Width(), picture.Height(), depth);
    switch (picture.Depth()) {
        case SampleDepth::Byte:
            ConvertTo<std::uint8_t>(picture, *result);
            break;
        case SampleDepth::Short:
            ConvertTo<std::uint16_t>(picture, *result);
            break;
        case SampleDepth::Float:
            ConvertTo<float>(picture, *result);
            break;
    }
    return result;
}

PicturePointer ScalePicture(const Picture& picture, int width, int height) {
    auto result = std::make_shared<Picture>(width, height, picture.Depth());
    switch (picture.Depth()) {
        case SampleDepth::Byte:
            ScaleRows<std::uint8_t>(picture, *result);
            break;
        case SampleDepth::Short:
            ScaleRows<std::uint16_t>(picture, *result);
            break;
        case SampleDepth::Float:
            ScaleRows<float>(picture, *result);
            break;
    }
    return result;
}

PicturePointer CropPicture(const Picture& picture, int width, int height) {
    auto result = std::make_shared<Picture>(width, height, picture.Depth());
    for (int y = 0; y < height; ++y) {
        std::memcpy(
            result->Row(y), picture.Row(y),
            static_cast<std::size_t>(width) * 4 * static_cast<std::size_t>(BytesPerSample(picture.Depth())));
    }
    return result;
}

Orientation OrientationOf(const DisplayMatrix& matrix) {
    // Display position: X = a x + c y, Y = b x + d y, plus a shift.
    const std::int32_t a = matrix[0], b = matrix[1], c = matrix[3], d = matrix[4];
    if (a != 0 && d != 0 && b == 0 && c == 0) {
        return {false, a < 0, d < 0};
    }
    if (a == 0 && d == 0 && b != 0 && c != 0) {
        return {true, b < 0, c < 0};
    }
    return {};
}

PicturePointer TurnPicture(const Picture& picture, Orientation orientation) {
    const bool swap = orientation.swapAxes;
    auto result = std::make_shared<Picture>(swap ? picture.Height() : picture.Width(),
                                            swap ? picture.Width() : picture.Height(), picture.Depth());
    const std::size_t bytes = static_cast<std::size_t>(4 * BytesPerSample(picture.Depth()));
    for (int row = 0; row < result->Height(); ++row) {
        std::uint8_t* target = result->Row(row);
        for (int column = 0; column < result->Width(); ++column) {
            const int alongX = swap ? row : column;
            const int alongY = swap ? column : row;
            const int x = orientation.flipX ? picture.Width() - 1 - alongX : alongX;
            const int y = orientation.flipY ? picture.Height() - 1 - alongY : alongY;
            std::memcpy(target + static_cast<std::size_t>(column) * bytes,
                        picture.Row(y) + static_cast<std::size_t>(x) * bytes, bytes);
        }
    }
    return result;
}

}  // namespace TQ::App
