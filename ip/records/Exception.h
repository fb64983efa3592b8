#pragma once

#include <exception>
#include <string>

namespace TQ {

/// An error for the user: a title (where) and a message (what happened and what to do next).
class Exception : public std::exception {
  public:
    Exception(std::string title, std::string message);
    const char* what() const noexcept override;  ///< the message; "title: message" when there is a title
    const std::string& Title() const { return _title; }
    const std::string& Message() const { return _message; }

  private:
    std::string _title;
    std::string _message;
    std::string _text;
};

/// The host asked to stop. Not an error: it carries nothing and is never shown.
struct Interrupted {};

}  // namespace TQ
