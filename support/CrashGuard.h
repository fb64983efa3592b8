#pragma once

namespace TQ::Support {

/// Answer of RunGuarded when an exception left the entry.
constexpr int guardedEntryBroke = 2;

/// The one door through which the host enters the module: calls entry(argument) and hands on its answer. A
/// C++ exception that leaves the entry stops here and gives guardedEntryBroke (the host's "fatal error"),
/// since the host may be built by another compiler and cannot catch it.
int RunGuarded(int (*entry)(void*), void* argument);

}  // namespace TQ::Support
