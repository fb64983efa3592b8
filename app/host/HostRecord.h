#pragma once

#include "app/host/HostProfile.h"
#include "app/host/PropertySet.h"
#include "host/ofx/abi/OfxCore.h"

namespace TQ::App {

/// The host as plug-ins see it. A plug-in keeps the pointer that setHost gave it for as long as its binary is
/// loaded, and a binary may be loaded several times in one process: so there is one record per profile, and
/// it is never destroyed.
class HostRecord {
  public:
    static HostRecord& For(const HostProfile& profile);

    OfxHost* Record() { return &_record; }
    const HostProfile& Profile() const { return _profile; }

  private:
    explicit HostRecord(const HostProfile& profile);
    static const void* FetchSuite(OfxPropertySetHandle host, const char* name, int version);
    const void* Suite(const char* name, int version) const;

    HostProfile _profile;
    PropertySet _properties;
    OfxHost _record{};
};

}  // namespace TQ::App
