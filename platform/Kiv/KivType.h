#pragma once

namespace Kiv {

/// The record of one type: its name and the type that it derives from.
///
/// Records are constant-initialised and live for ever, so that they can be compared by address and
/// read at any time, also while libraries are still being loaded.
class KivType {
 public:
  /// `name` is the type's full name; `base` is null for a type without one.
  constexpr KivType(char const* name, KivType const* base) noexcept : name_(name), base_(base) {}
  KivType(KivType const&) = delete;
  KivType& operator=(KivType const&) = delete;

  constexpr char const* name() const noexcept { return name_; }
  constexpr KivType const* base() const noexcept { return base_; }

 private:
  char const* name_;
  KivType const* base_;
};

}  // namespace Kiv
