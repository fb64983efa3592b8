#include "app/host/HostRecord.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <memory>
#include <mutex>

#include "app/host/Effect.h"
#include "app/host/PropertyTables.h"
#include "app/host/RenderJob.h"
#include "app/host/Suites.h"

namespace TQ::App {
namespace {

struct SuiteRow {
    const char* name;
    int version;
    const void* table;
    /// The departure that the table is for; null for the standard's way.
    bool HostProfile::*departure = nullptr;
};

// The first row that fits counts, so departures stand before the standard's way.
const SuiteRow suiteRows[] = {
    {kOfxPropertySuite, 1, &propertySuiteWithoutInts, &HostProfile::intArraysFail},
    {kOfxImageEffectSuite, 1, &imageEffectSuiteWithoutMemory, &HostProfile::withoutImageMemory},
    {kOfxMultiThreadSuite, 1, &multiThreadStandIn, &HostProfile::threadStandIn},
    {kOfxMessageSuite, 1, &plainMessageSuite1, &HostProfile::messagesWithoutArguments},
    {kOfxMessageSuite, 2, &plainMessageSuite2, &HostProfile::messagesWithoutArguments},
    {kOfxPropertySuite, 1, &propertySuite},
    {kOfxImageEffectSuite, 1, &imageEffectSuite},
    {kOfxParameterSuite, 1, &parameterSuite},
    {kOfxMemorySuite, 1, &memorySuite},
    {kOfxMultiThreadSuite, 1, &multiThreadSuite},
    {kOfxMessageSuite, 1, &messageSuite1},
    {kOfxMessageSuite, 2, &messageSuite2},
    {kOfxProgressSuite, 1, &progressSuite1},
    {kOfxProgressSuite, 2, &progressSuite2},
    {kOfxTimeLineSuite, 1, &timeLineSuite},
};

template <typename Value, typename Translate>
std::vector<std::string> Translated(const std::vector<Value>& values, Translate translate) {
    std::vector<std::string> texts;
    std::transform(values.begin(), values.end(), std::back_inserter(texts), translate);
    return texts;
}

struct Records {
    std::mutex mutex;
    std::vector<std::unique_ptr<HostRecord>> list;
};

Records& AllRecords() {
    static Records& records = *new Records;
    return records;
}

}  // namespace

HostRecord& HostRecord::For(const HostProfile& profile) {
    Records& records = AllRecords();
    std::lock_guard lock(records.mutex);
    for (const auto& record : records.list) {
        if (record->_profile == profile) {
            return *record;
        }
    }
    records.list.emplace_back(new HostRecord(profile));
    return *records.list.back();
}

HostRecord::HostRecord(const HostProfile& profile) : _profile(profile), _properties(HostRows()) {
    _properties.SetInts(kOfxPropAPIVersion, {profile.apiMajor, profile.apiMinor});
    _properties.SetText(kOfxPropName, profile.name);
    _properties.SetText(kOfxPropLabel, profile.label);
    _properties.SetInts(kOfxPropVersion, profile.version);
    _properties.SetText(kOfxPropVersionLabel, profile.versionLabel);
    _properties.SetInt(kOfxImageEffectHostPropIsBackground, profile.isBackground);
    _properties.SetInt(kOfxImageEffectPropSupportsMultiResolution, profile.supportsMultiResolution);
    _properties.SetInt(kOfxImageEffectPropSupportsTiles, profile.supportsTiles);
    _properties.SetInt(kOfxImageEffectPropTemporalClipAccess, profile.temporalClipAccess);
    _properties.SetTexts(kOfxImageEffectPropSupportedComponents, {kOfxImageComponentRGBA});
    _properties.SetTexts(
        kOfxImageEffectPropSupportedContexts,
        Translated(profile.contexts, [](const auto& name) { return FullContextName(name); }));
    _properties.SetTexts(kOfxImageEffectPropSupportedPixelDepths, Translated(profile.depths, DepthName));
    _properties.SetInt(kOfxImageEffectPropSupportsMultipleClipDepths, profile.multipleClipDepths);
    _properties.SetInt(kOfxImageEffectPropSupportsMultipleClipPARs, profile.multipleClipPixelAspects);
    _properties.SetInts(kOfxParamHostPropPageRowColumnCount, {profile.pageRows, profile.pageColumns});
    _properties.SetInt(kOfxParamHostPropMaxPages, profile.pageRows > 0 ? -1 : 0);
    if (profile.deviceProperties) {
        _properties.Define(DeviceSupportRows());
    }
    for (const std::string& name : profile.absentProperties) {
        _properties.Remove(name);
    }
    _record.host = _properties.AsHandle();
    _record.fetchSuite = FetchSuite;
}

const void* HostRecord::FetchSuite(OfxPropertySetHandle host, const char* name, int version) {
    Records& records = AllRecords();
    std::lock_guard lock(records.mutex);
    const auto record = std::find_if(records.list.begin(), records.list.end(),
                                     [host](const auto& known) { return known->_record.host == host; });
    return record == records.list.end() || !name ? nullptr : (*record)->Suite(name, version);
}

const void* HostRecord::Suite(const char* name, int version) const {
    const auto& absent = _profile.absentSuites;
    const HostProfile::Suite asked{name, version};
    if (std::find(absent.begin(), absent.end(), asked) != absent.end()) {
        return nullptr;
    }
    const auto row = std::find_if(std::begin(suiteRows), std::end(suiteRows), [&](const SuiteRow& known) {
        const bool applies = known.departure == nullptr || _profile.*known.departure;
        return applies && asked.name == known.name && version == known.version;
    });
    return row == std::end(suiteRows) ? nullptr : row->table;
}

}  // namespace TQ::App
