#pragma once

#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "ip/kernels/KernelParameters.h"
#include "ip/kernels/KernelTable.h"
#include "ip/records/Progress.h"

// The workbench of the kernel tests: pictures with guarded edges, the coefficients of a blur, and one table
// row per kernel that says what it takes and how near the levels must come to each other.
namespace TQ::IP::Test {

/// How an image is stored.
struct Storage {
    int bits = 8;
    int white = 255;  ///< 1 for float
    int alpha = 3;    ///< position of the alpha channel
    bool blueFirst = false;

    int PixelBytes() const { return bits / 2; }
};
Storage StorageOf(KernelFormat format);
Storage AsFloat(Storage storage);
std::string FormatName(KernelFormat format);

enum class Content { Zero, Frame, Accumulator };

/// A picture whose rows have guard bytes on both sides, and nothing before the first and after the last
/// pixel, where a sanitizer watches. Rows run upwards in memory when `bottomUp`.
class TestImage {
  public:
    TestImage(const Storage& storage, const Bounds& bounds, bool bottomUp, unsigned char guard = 0xA5);
    TestImage(const TestImage& other);
    /// Alpha, the weight of accumulators, is at least `leastAlpha`.
    void Fill(Content content, std::mt19937& random, double leastAlpha = 0);

    /// Sets all bytes of the pixels of `band`.
    void Cover(const Bounds& band, unsigned char value);

    const ImageView& View() const { return _view; }
    const Storage& Format() const { return _storage; }
    const std::vector<unsigned char>& Bytes() const { return _bytes; }
    /// Normalised to white 1.
    double Get(int x, int y, int channel) const;
    /// As stored.
    double Code(int x, int y, int channel) const;
    void Set(int x, int y, int channel, double code);
    /// The value of the pixel (x, y) or of the nearest one inside.
    double Clamped(int x, int y, int channel) const;

  private:
    unsigned char* At(int x, int y, int channel) const;

    Storage _storage;
    std::vector<unsigned char> _bytes;
    ImageView _view;
};

/// The blur's coefficients for one axis, from the definition of the cosine series.
struct Blur {
    Blur(double sigma, int radius, bool subtract, float storeMaximum);
    GaussParameters parameters;
    std::vector<float> table;
};

class RecordingProgress : public Image::Progress {
  public:
    void Update(std::uint64_t done, std::uint64_t total) override { calls.push_back({done, total}); }
    struct Call {
        std::uint64_t done, total;
    };
    std::vector<Call> calls;
};

enum class Pixels { None, Frame, Float };

struct KernelRow {
    KernelId id;
    const char* name;
    Pixels output;
    Pixels inputs[3];
    double tolerance;      ///< between levels, of float outputs: of the value, or of 1 where that is larger
    bool variant = false;  ///< the blur with the subtraction, a sum that starts from a sum
    /// Of all inputs. Quotients by small weights, one after the other, would carry a difference of the last
    /// bit anywhere.
    double leastAlpha = 0;
    int roundings = 0;  ///< code values by which integers may differ that are rounded on the way
};
extern const std::vector<KernelRow> kernelRows;

/// The parameters that a row's kernel is tested with. `radius` is the blur's.
class Parameters {
  public:
    Parameters(const KernelRow& row, const Storage& storage, int radius);
    const void* Get() const { return _record; }

  private:
    template <class Value>
    Value* Scratch(std::int64_t count);
    GaussBlurParameters BothAxes(const Blur& blur);

    std::vector<std::unique_ptr<std::vector<float>>> _scratch;
    WeightedSumParameters _weightedSum{};
    GatedSumParameters _gatedSum{};
    GaussBlurParameters _gaussBlur{};
    BlurredHighPassParameters _blurredHighPass{};
    HighPassSimilarityParameters _highPassSimilarity{};
    WeightParameters _weight{0.7F};
    HighPassParameters _highPass{-6.0F};
    DetectMotionParameters _motion{1 / 0.3F, 0.7F};
    SolidParameters _solid{{0.25F, 0.5F, 0.8F}};
    SimilarityParameters _similarity{-1 / 0.25F};
    RampParameters _ramp;
    Blur _blur;
    Blur _floatBlur;
    const void* _record;
};

}  // namespace TQ::IP::Test
