#include "host/ofx/HostQuirks.h"

#include <array>

namespace TQ::Host::OFX {

namespace {

enum class Match { Whole, BeginsLonger };

struct NameRow {
    std::string_view name;
    Match match;  ///< BeginsLonger: the host's name goes on behind `name`
    HostId id;
};

// In the order of the tests. The two names of Nuke differ ("com" and "co") and are both real.
constexpr std::array nameTable{
    NameRow{"Assimilator", Match::Whole, HostId::Assimilator},
    NameRow{"com.sonycreativesoftware.vegas", Match::Whole, HostId::Vegas},
    NameRow{"uk.com.thefoundry.nuke", Match::Whole, HostId::Nuke},
    NameRow{"DaVinciResolve", Match::Whole, HostId::Resolve},
    NameRow{"com.sonycreativesoftware.vegas", Match::BeginsLonger, HostId::Vegas},
    NameRow{"uk.co.thefoundry.", Match::BeginsLonger, HostId::Nuke},
    NameRow{"Nucoda", Match::BeginsLonger, HostId::Nucoda},
    NameRow{"DaVinci", Match::BeginsLonger, HostId::Resolve},
};

// By HostId.
constexpr std::array<HostQuirks, 6> quirkTable{
    HostQuirks{.withoutProgress = true, .messageIsFormat = true, .plainSetters = true},  // Assimilator
    HostQuirks{.regionMayFail = true},                                                   // Vegas
    HostQuirks{.withoutProgress = true},                                                 // Nuke
    HostQuirks{.regionMayFail = true},                                                   // Nucoda
    HostQuirks{.plainMemory = true, .sourceWithoutRegion = true},                        // Resolve
    HostQuirks{},
};

}  // namespace

HostId IdentifyHost(std::string_view name) {
    for (const NameRow& row : nameTable) {
        const bool matches = row.match == Match::Whole
                                 ? name == row.name
                                 : name.size() > row.name.size() && name.starts_with(row.name);
        if (matches) {
            return row.id;
        }
    }
    return HostId::Other;
}

const HostQuirks& QuirksOf(HostId id) {
    return quirkTable[static_cast<std::size_t>(id)];
}

}  // namespace TQ::Host::OFX
