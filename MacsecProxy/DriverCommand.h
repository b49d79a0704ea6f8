#pragma once

#include <array>
#include <charconv>
#include <cstddef>
#include <cstring>
#include <string_view>
#include <system_error>

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
  explicit DriverCommand(std::string_view name) noexcept {
    // By halves, which take a few plain stores: for all of it at once, compilers choose a loop or a
    // string instruction that cost as much as the text.
    constexpr std::size_t half = bufferLength / 2;
    std::memset(buffer_.data(), 0, half);
    std::memset(buffer_.data() + half, 0, half);
    append(buffer_.data(), name);
  }
  DriverCommand(DriverCommand const&) = delete;
  DriverCommand& operator=(DriverCommand const&) = delete;

  /// Adds a blank and a text as it is, without quoting; an empty text leaves an empty field.
  DriverCommand& field(std::string_view text) noexcept {
    append(appendBlank(), text);
    return *this;
  }

  /// Adds a blank and a number in decimal.
  DriverCommand& field(U32 number) noexcept {
    char* const at = appendBlank();
    if (auto const [end, error] = std::to_chars(at, limit(), number); error == std::errc())
        [[likely]] {
      end_ = end;
    } else {
      std::array<char, 10> digits;
      append(at, {digits.begin(), std::to_chars(digits.begin(), digits.end(), number).ptr});
    }
    return *this;
  }

  /// The whole buffer.
  char const* buffer() const noexcept { return buffer_.data(); }

 private:
  char* limit() noexcept { return buffer_.data() + buffer_.size() - 1; }

  /// Returns where the text goes on.
  char* appendBlank() noexcept {
    char* const at = end_;
    if (at == limit()) [[unlikely]]
      return at;
    *at = ' ';
    return at + 1;
  }
  void append(char* at, std::string_view text) noexcept {
    end_ = at + text.copy(at, static_cast<std::size_t>(limit() - at));
  }

  std::array<char, bufferLength> buffer_;
  char* end_;
};

}  // namespace MacsecProxy
