#pragma once

#include <exception>

#include "Kiv/String.h"

namespace Kiv {

/// What the framework raises. `what()` is exactly the message that it was raised with.
class Exception : public std::exception {
 public:
  explicit Exception(String message) : message_(std::move(message)) {}
  char const* what() const noexcept override { return message_.charPtr(); }

 private:
  String message_;
};

/// A value lies outside the range that its type or an operation allows.
class RangeException : public Exception {
 public:
  using Exception::Exception;
};

/// An object exists already under that name, made from other arguments.
class NameInUseException : public Exception {
 public:
  using Exception::Exception;
};

/// A condition does not hold that only a mistake inside the program can break. The message is the
/// text of the condition.
class ConsistencyException : public Exception {
 public:
  using Exception::Exception;
};

[[noreturn]] void throwRangeException(char const* message);
[[noreturn]] void throwNameInUseException(String const& message);
[[noreturn]] void throwConsistencyException(char const* condition);

/// Raises a `ConsistencyException` whose message is `condition` unless `holds`.
inline void checkConsistency(bool holds, char const* condition) {
  if (!holds) [[unlikely]]
    throwConsistencyException(condition);
}

}  // namespace Kiv
