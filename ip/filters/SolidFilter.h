#pragma once

#include <array>

#include "ip/filters/KernelFilter.h"
#include "ip/kernels/KernelParameters.h"

namespace TQ::IP {

/// Generates a picture without inputs and without bounds: one colour ("solid"), or four colours along a line
/// ("ramp") as soon as the four differ. Colours are RGB with white at 1, alpha is white; the format is the
/// one asked for, and integer formats clamp. Throws TQ::Exception for formats without kernels.
///
/// Ramp: the position t of pixel (x, y) is 0 at the first point and 1 at the second, measured along their
/// line in pixel coordinates. The colours stand at t = 0, amount1, amount2 and 1, with straight lines between
/// them.
class SolidFilter : public KernelFilter {
  public:
    using Color = std::array<float, 3>;
    using Point = std::array<float, 2>;

    SolidFilter(float red, float green, float blue);

    /// 0 <= amount1 <= amount2 <= 1.
    void SetAmounts(float amount1, float amount2);
    void SetColors(const std::array<Color, 4>& colors);
    void SetPoints(const Point& start, const Point& end);

    bool IsEqual(const FilterBase& other) const override;

  protected:
    const KernelUse& Use() const override;
    void RunHostRows(const Bounds& rows, int threadIndex) override;

  private:
    bool IsSolid() const;
    RampParameters MakeRampParameters() const;

    float _amount1 = 0;
    float _amount2 = 0;
    std::array<Color, 4> _colors;
    Point _start{0, 0};
    Point _end{0, 0};
};

}  // namespace TQ::IP
