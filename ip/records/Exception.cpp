#include "ip/records/Exception.h"

#include <utility>

namespace TQ {

Exception::Exception(std::string title, std::string message)
    : _title(std::move(title)),
      _message(std::move(message)),
      _text(_title.empty() ? _message : _title + ": " + _message) {
}

const char* Exception::what() const noexcept {
    return _text.c_str();
}

}  // namespace TQ
