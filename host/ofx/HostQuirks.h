#pragma once

#include <string_view>

namespace TQ::Host::OFX {

/// Applications that depart from the standard, by the number that the effect knows them under.
enum class HostId : int { Assimilator = 0, Vegas = 1, Nuke = 2, Nucoda = 3, Resolve = 4, Other = 5 };

/// What is done differently in one application. All false: the host behaves as the standard says.
struct HostQuirks {
    bool withoutProgress = false;      ///< the progress suite is not used
    bool messageIsFormat = false;      ///< a message travels as the format itself, with every "%" doubled
    bool plainSetters = false;         ///< values at a time are set as plain values
    bool regionMayFail = false;        ///< any failure to tell a clip's region means the fallback
    bool plainMemory = false;          ///< scratch memory from the memory suite, never image memory
    bool sourceWithoutRegion = false;  ///< the source is fetched whole
};

/// The application behind a host's name property; Other for a name that is not in the table.
HostId IdentifyHost(std::string_view name);
const HostQuirks& QuirksOf(HostId id);

}  // namespace TQ::Host::OFX
