#pragma once

#include "app/demo/Demo.h"
#include "app/demo/FlickerMeter.h"
#include "app/picture/Picture.h"

namespace TQ::App {

constexpr int reportWidth = 1280;
constexpr int reportHeight = 880;

/// The picture that sums a demonstration up: brightness over time before, after and in truth, and below it
/// the row-by-time maps of both. 8-bit, 1280 x 880. `report` holds at least one frame; throws
/// std::invalid_argument otherwise.
PicturePointer DrawReport(const DemoKind& kind, const FlickerReport& report);

}  // namespace TQ::App
