// Instances and the edits of the user.

#include "host/ofx/Host.h"

namespace TQ::Host::OFX {

using Param::ParameterDescription;
using Param::ParameterType;

InstanceRecord* Host::instanceRecord() const {
    return static_cast<InstanceRecord*>(effectProperties().Pointer(kOfxPropInstanceData));
}

OfxStatus Host::createInstance() {
    auto record = std::make_unique<InstanceRecord>();
    effectProperties().Set(kOfxPropInstanceData, static_cast<void*>(record.get()));
    static_cast<void>(record.release());  // the host's property keeps it until destroyInstance
    return kOfxStatOK;
}

OfxStatus Host::destroyInstance() {
    InstanceRecord* record = instanceRecord();
    if (record != nullptr && record->owner == nullptr) {
        delete record;
        effectProperties().Set(kOfxPropInstanceData, static_cast<void*>(nullptr));
    }
    return kOfxStatOK;
}

OfxStatus Host::instanceChanged() {
    if (inArgs.Text(kOfxPropChangeReason, "") != kOfxChangeUserEdited) {
        return kOfxStatReplyDefault;
    }
    const std::string kind = inArgs.Text(kOfxPropType, "");
    if (kind != kOfxTypeClip && kind != kOfxTypeParameter) {
        return kOfxStatReplyDefault;
    }
    const auto parameters = definedParameters();
    const std::size_t index = parameters->findByScriptName(inArgs.Text(kOfxPropName, ""));
    if (index == parameters->size()) {
        return kOfxStatReplyDefault;
    }
    const ParameterDescription& description = parameters->description(index);
    InstanceRecord* record = instanceRecord();
    if (description.Has(Param::ParameterFlag::callbackOnChange)) {
        if (description.type == ParameterType::Choice && record != nullptr) {
            // A choice may write other parameters, which hosts allow at the end of the bracket only. The
            // first change of the bracket decides: a choice behind another keeps the first, one behind
            // anything else is dropped.
            if (record->pendingParam == InstanceRecord::nothingPending) {
                record->pendingParam = static_cast<int>(index);
            }
            return kOfxStatOK;
        }
        parameterChanged(*parameters, static_cast<int>(index));
    }
    if (record != nullptr) {
        record->pendingParam = InstanceRecord::otherChangeSeen;
    }
    return kOfxStatOK;
}

OfxStatus Host::syncPrivateData() {
    return applyPendingParameter();
}

OfxStatus Host::endInstanceChanged() {
    return applyPendingParameter();
}

OfxStatus Host::applyPendingParameter() {
    InstanceRecord* record = instanceRecord();
    if (record == nullptr) {
        return kOfxStatOK;
    }
    const int pending = record->pendingParam;
    record->pendingParam = InstanceRecord::nothingPending;
    if (pending < 0) {
        return kOfxStatOK;
    }
    const auto parameters = definedParameters();
    if (parameters->description(static_cast<std::size_t>(pending))
            .Has(Param::ParameterFlag::callbackOnChange)) {
        parameterChanged(*parameters, pending);
    }
    return kOfxStatOK;
}

}  // namespace TQ::Host::OFX
