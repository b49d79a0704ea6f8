#pragma once

#include <cstddef>
#include <ostream>
#include <string>
#include <string_view>

namespace Kiv {

/// The platform's text type: any bytes, with a NUL after the last one.
class String {
 public:
  String() = default;
  String(char const* text) : text_(text) {}
  String(char const* characters, std::size_t length) : text_(characters, length) {}
  explicit String(std::string_view text) : text_(text) {}

  /// The characters, NUL-terminated; valid until the string changes.
  char const* charPtr() const noexcept { return text_.c_str(); }
  std::size_t length() const noexcept { return text_.size(); }
  std::string_view view() const noexcept { return text_; }

  String& operator+=(String const& more) {
    text_ += more.text_;
    return *this;
  }
  friend String operator+(String left, String const& right) { return left += right; }
  friend bool operator==(String const&, String const&) = default;
  friend std::ostream& operator<<(std::ostream& stream, String const& text) {
    return stream << text.text_;
  }

 private:
  std::string text_;
};

}  // namespace Kiv
