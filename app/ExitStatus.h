#pragma once

#include <exception>
#include <stdexcept>
#include <string>

namespace TQ::App {

/// What the command tells the shell. The values are part of its interface and stay.
enum class ExitStatus : int {
    Done = 0,
    Internal = 1,
    Usage = 2,
    Input = 3,
    BrokenStream = 4,
    OutputExists = 5,
    OutputUnwritable = 6,
    DiskFull = 7,
    Plugin = 8,
    Parameter = 9,
    Codec = 10,
    Interrupted = 130,
};

/// A failure of a command with its status. The text is one sentence without a full stop.
class CommandError : public std::runtime_error {
  public:
    CommandError(ExitStatus status, const std::string& text) : std::runtime_error(text), _status(status) {}
    ExitStatus Status() const { return _status; }

  private:
    ExitStatus _status;
};

/// The status for whatever a command threw; `text` gets the sentence for the user, empty when there is
/// nothing to say.
ExitStatus StatusOf(const std::exception_ptr& failure, std::string& text);
/// All statuses with their meaning, one per line, for help texts.
std::string ExitStatusTable();

}  // namespace TQ::App
