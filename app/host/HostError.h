#pragma once

#include <exception>
#include <stdexcept>

namespace TQ::App {

/// A plug-in that cannot be used or misbehaves, or a value that it does not take. The text is one sentence
/// for people.
class HostError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// A render ended early because its abort flag was set.
class RenderAborted : public std::exception {
  public:
    const char* what() const noexcept override { return "the render was stopped"; }
};

}  // namespace TQ::App
