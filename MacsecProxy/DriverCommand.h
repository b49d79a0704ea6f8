#pragma once

#include <array>
#include <charconv>
#include <cstddef>
#include <string_view>

#include "Kiv/Integers.h"

namespace MacsecProxy {

/// One command to the forwarding driver: a text of at most 127 characters in a buffer of 128 bytes,
/// of which all that follow the text are NUL. What does not fit is cut off.
///
///     DriverCommand command("macsec_proxy");
///     command.field(deviceName).field(1);
class DriverCommand {
 public:
  static constexpr U32 bufferLength = 128;

  /// A command without fields yet.
  explicit DriverCommand(std::string_view name) noexcept { append(name); }

  /// Adds a blank and a text as it is, without quoting; an empty text leaves an empty field.
  DriverCommand& field(std::string_view text) noexcept {
    append(" ");
    append(text);
    return *this;
  }

  /// Adds a blank and a number in decimal.
  DriverCommand& field(U32 number) noexcept {
    std::array<char, 10> digits;
    auto const [end, error] = std::to_chars(digits.begin(), digits.end(), number);
    return field(std::string_view(digits.begin(), end));
  }

  /// The whole buffer.
  char const* buffer() const noexcept { return buffer_.data(); }

 private:
  void append(std::string_view text) noexcept {
    std::size_t const room = buffer_.size() - 1 - length_;
    length_ += text.copy(buffer_.data() + length_, room);
  }

  std::array<char, bufferLength> buffer_{};
  std::size_t length_ = 0;
};

}  // namespace MacsecProxy
