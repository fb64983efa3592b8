// What concerns the user: messages, progress, the time line.

#include <cstdarg>
#include <cstdio>
#include <string>
#include <string_view>

#include "app/host/Action.h"
#include "app/host/EffectObject.h"
#include "app/host/Guard.h"
#include "app/host/RenderJob.h"
#include "app/host/Suites.h"

namespace TQ::App {
namespace {

constexpr std::string_view messagePrefix = WithoutEnd(kOfxMessageLog, "Log");

/// The caller's text with its arguments, as the printf family writes it.
std::string Formatted(const char* format, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    std::string text(length > 0 ? static_cast<std::size_t>(length) + 1 : 1, '\0');
    if (length > 0) {
        std::vsnprintf(text.data(), text.size(), format, again);
    }
    va_end(again);
    text.pop_back();
    return text;
}

/// "warning" for "OfxMessageWarning".
std::string KindName(std::string_view type) {
    std::string kind(type.substr(0, messagePrefix.size()) == messagePrefix ? type.substr(messagePrefix.size())
                                                                           : type);
    if (!kind.empty() && kind[0] >= 'A' && kind[0] <= 'Z') {
        kind[0] = static_cast<char>(kind[0] - 'A' + 'a');
    }
    return kind;
}

/// What printf makes of a format when nobody looks after its arguments; conversions stay as they are.
std::string FormattedAlone(std::string_view format) {
    std::string text;
    for (std::size_t i = 0; i < format.size(); ++i) {
        text += format[i];
        if (format[i] == '%' && i + 1 < format.size() && format[i + 1] == '%') {
            ++i;
        }
    }
    return text;
}

template <typename Format>
OfxStatus Post(void* handle, const char* type, const char* format, Format&& formatted) {
    if (handle && !EffectObject::FromAddress(handle)) {
        return kOfxStatErrBadHandle;
    }
    if (!type || !format) {
        return kOfxStatErrValue;
    }
    HostMessage message{KindName(type), formatted()};
    // Outside every call there is nobody to tell.
    if (Action* action = Action::Current()) {
        action->AddMessage(std::move(message));
    }
    // Nobody is there to ask; going on is what an unattended run wants.
    return std::string_view(type) == kOfxMessageQuestion ? kOfxStatReplyYes : kOfxStatOK;
}

OfxStatus Message(void* handle, const char* type, const char*, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const OfxStatus status =
        Guarded([&] { return Post(handle, type, format, [&] { return Formatted(format, arguments); }); });
    va_end(arguments);
    return status;
}

OfxStatus PlainMessage(void* handle, const char* type, const char*, const char* format, ...) {
    return Guarded([&] { return Post(handle, type, format, [&] { return FormattedAlone(format); }); });
}

// A persistent message is for a window that stays; here it is one more line.
OfxStatus ClearPersistentMessage(void* handle) {
    return EffectObject::FromAddress(handle) ? kOfxStatOK : kOfxStatErrBadHandle;
}

OfxStatus ProgressStart(void* handle, const char*) {
    return EffectObject::FromAddress(handle) ? kOfxStatOK : kOfxStatErrBadHandle;
}

OfxStatus ProgressStart2(void* handle, const char* message, const char*) {
    return ProgressStart(handle, message);
}

OfxStatus ProgressUpdate(void* handle, double share) {
    return Guarded([&]() -> OfxStatus {
        EffectObject* effect = EffectObject::FromAddress(handle);
        if (!effect) {
            return kOfxStatErrBadHandle;
        }
        RenderJob* job = effect->CurrentJob();
        if (!job) {
            return kOfxStatOK;
        }
        job->Progress(share);
        return job->ShallStop() ? kOfxStatReplyNo : kOfxStatOK;
    });
}

OfxStatus ProgressEnd(void* handle) {
    return ProgressStart(handle, nullptr);
}

OfxStatus GetTime(void* handle, double* time) {
    return Guarded([&]() -> OfxStatus {
        EffectObject* effect = EffectObject::FromAddress(handle);
        if (!effect || !time) {
            return kOfxStatErrBadHandle;
        }
        const RenderJob* job = effect->CurrentJob();
        *time = job ? job->Frame() : 0;
        return kOfxStatOK;
    });
}

OfxStatus GotoTime(void* handle, double) {
    return EffectObject::FromAddress(handle) ? kOfxStatErrUnsupported : kOfxStatErrBadHandle;
}

OfxStatus GetTimeBounds(void* handle, double* first, double* last) {
    return Guarded([&]() -> OfxStatus {
        EffectObject* effect = EffectObject::FromAddress(handle);
        if (!effect || !first || !last) {
            return kOfxStatErrBadHandle;
        }
        const OfxRangeD bounds = effect->TimeBounds();
        *first = bounds.min;
        *last = bounds.max;
        return kOfxStatOK;
    });
}

}  // namespace

const OfxMessageSuiteV1 messageSuite1 = {Message};
const OfxMessageSuiteV2 messageSuite2 = {Message, Message, ClearPersistentMessage};
const OfxMessageSuiteV1 plainMessageSuite1 = {PlainMessage};
const OfxMessageSuiteV2 plainMessageSuite2 = {PlainMessage, PlainMessage, ClearPersistentMessage};
const OfxProgressSuiteV1 progressSuite1 = {ProgressStart, ProgressUpdate, ProgressEnd};
const OfxProgressSuiteV2 progressSuite2 = {ProgressStart2, ProgressUpdate, ProgressEnd};
const OfxTimeLineSuiteV1 timeLineSuite = {GetTime, GotoTime, GetTimeBounds};

}  // namespace TQ::App
