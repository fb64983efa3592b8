#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "app/host/Effect.h"
#include "host/ofx/abi/OfxCore.h"

namespace TQ::App {

class RenderJob;

/// One call into a plug-in while it runs: lets suite functions, which often have no other way to know, find
/// out in whose name they are called. The thread that makes the call has it as its current action, and so
/// have the workers that run functions for it.
class Action {
  public:
    /// Starts an action on the calling thread, inside the one that runs there already. `job` is null outside
    /// renders.
    Action(const char* name, RenderJob* job);
    /// Hands the messages on to the surrounding action.
    ~Action();
    Action(const Action&) = delete;
    Action& operator=(const Action&) = delete;

    static Action* Current();
    /// Returns the one before.
    static Action* SetCurrent(Action* action);

    const char* Name() const { return _name; }
    RenderJob* Job() const { return _job; }
    void AddMessage(HostMessage message);
    std::vector<HostMessage> TakeMessages();

  private:
    const char* _name;
    RenderJob* _job;
    Action* _outer;
    std::mutex _mutex;
    std::vector<HostMessage> _messages;
};

/// "failed", "out of memory"...: what a status means, in a sentence about the plug-in.
std::string StatusText(OfxStatus status);

}  // namespace TQ::App
