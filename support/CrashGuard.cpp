#include "support/CrashGuard.h"

namespace TQ::Support {

int RunGuarded(int (*entry)(void*), void* argument) {
    try {
        return entry(argument);
    } catch (...) {
        return guardedEntryBroke;
    }
}

}  // namespace TQ::Support
