#include "ip/records/Progress.h"

namespace TQ::Image {

// Out of line, so that the class's table is made here and not in a file built for one instruction-set level.
Progress::~Progress() = default;

}  // namespace TQ::Image
