#include "ip/records/RowClaims.h"

namespace TQ::IP {

// Out of line, as that of Progress.
RowClaims::~RowClaims() = default;

}  // namespace TQ::IP
