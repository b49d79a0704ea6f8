#pragma once

#include <algorithm>
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
    std::size_t const length = std::min(text.size(), static_cast<std::size_t>(limit() - at));
    // Names are short, and a call that copies takes longer than two moves that overlap.
    if (length < sizeof(U16) || length > 2 * sizeof(U64)) {
      text.copy(at, length);
    } else if (length >= sizeof(U64)) {
      copyEnds<U64>(at, text.data(), length);
    } else if (length >= sizeof(U32)) {
      copyEnds<U32>(at, text.data(), length);
    } else {
      copyEnds<U16>(at, text.data(), length);
    }
    end_ = at + length;
  }
  /// Copies as many of the first and of the last characters as a `Word` has. REQUIRES: together
  /// these are all, and each are no more than there are.
  template <class Word>
  static void copyEnds(char* to, char const* from, std::size_t length) noexcept {
    Word first, last;
    std::memcpy(&first, from, sizeof first);
    std::memcpy(&last, from + length - sizeof last, sizeof last);
    std::memcpy(to, &first, sizeof first);
    std::memcpy(to + length - sizeof last, &last, sizeof last);
  }

  std::array<char, bufferLength> buffer_;
  char* end_;
};

}  // namespace MacsecProxy
