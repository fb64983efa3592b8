#include "app/host/Action.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "host/ofx/abi/OfxImageEffect.h"

namespace TQ::App {
namespace {

thread_local Action* currentAction = nullptr;

struct StatusRow {
    OfxStatus status;
    const char* text;
};

constexpr StatusRow statusRows[] = {
    {kOfxStatFailed, "it failed"},
    {kOfxStatErrFatal, "it met a fatal error"},
    {kOfxStatErrUnknown, "it met an unknown error"},
    {kOfxStatErrMissingHostFeature, "it needs something that this host does not have"},
    {kOfxStatErrUnsupported, "it does not support that"},
    {kOfxStatErrExists, "something exists already"},
    {kOfxStatErrFormat, "a format is wrong"},
    {kOfxStatErrMemory, "it ran out of memory"},
    {kOfxStatErrBadHandle, "it was given a bad handle"},
    {kOfxStatErrBadIndex, "it was given a bad index"},
    {kOfxStatErrValue, "it was given a bad value"},
    {kOfxStatReplyNo, "it answered no"},
    {kOfxStatReplyDefault, "it did not answer"},
    {kOfxStatUnlicensed, "it has no licence"},
    {kOfxStatErrImageFormat, "it cannot use the format of a picture"},
};

}  // namespace

Action::Action(const char* name, RenderJob* job) : _name(name), _job(job), _outer(SetCurrent(this)) {
}

Action::~Action() {
    SetCurrent(_outer);
    if (_outer) {
        for (HostMessage& message : _messages) {
            _outer->AddMessage(std::move(message));
        }
    }
}

Action* Action::Current() {
    return currentAction;
}
Action* Action::SetCurrent(Action* action) {
    return std::exchange(currentAction, action);
}

void Action::AddMessage(HostMessage message) {
    std::lock_guard lock(_mutex);
    _messages.push_back(std::move(message));
}

std::vector<HostMessage> Action::TakeMessages() {
    std::lock_guard lock(_mutex);
    return std::exchange(_messages, {});
}

std::string StatusText(OfxStatus status) {
    const auto row =
        std::find_if(std::begin(statusRows), std::end(statusRows),
                     [status](const StatusRow& candidate) { return candidate.status == status; });
    return row == std::end(statusRows) ? "it gave the status " + std::to_string(status) : row->text;
}

}  // namespace TQ::App
