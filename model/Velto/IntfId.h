#pragma once

#include <bit>
#include <compare>
#include <ostream>

#include "Kiv/Integers.h"
#include "Kiv/KivType.h"
#include "Kiv/String.h"

namespace Velto {

/// The identifier of an interface or a sub-interface.
///
/// A value of eight bytes that stands for a text, the interface's name. The empty identifier, made
/// from the empty text, means no interface; a default-made identifier is the empty one. Two
/// identifiers are equal exactly when their texts are.
///
/// Guarantees:
///  - comparing, hashing and `SubIntfId::parentIntfId` take a few instructions, lock nothing and
///    allocate nothing, whatever the length of the text; but for the parent of a parent, and of
///    what was a `CompactIntfId`, they touch no memory besides the identifiers;
///  - making one from a text is safe from any thread, at any time, also before and after `main`.
///
/// Each text has a number, given when it is first met and kept for the life of the process;
/// identifiers carry it, and most of them the number of the parent beside it.
class IntfId {
 public:
  constexpr IntfId() noexcept = default;

  /// The identifier whose text is `text`, any bytes. Raises `std::bad_alloc`.
  explicit IntfId(Kiv::String const& text) { handleInitialized(text); }

  /// Sets the identifier to the one whose text is `text`. Raises `std::bad_alloc`, with the
  /// identifier unchanged.
  void handleInitialized(Kiv::String const& text);

  /// The text that the identifier was made from; valid for the life of the process.
  Kiv::String const& stringValue() const noexcept;
  /// Has the processor fetch what `stringValue` returns.
  void prefetchStringValue() const noexcept;

  U32 hash() const noexcept { return number_ * 0x9E3779B1U; }
  /// The group that it is in as a key: one for each parent, 0 for those without.
  U32 group() const noexcept { return parent() != unknown ? parent() : lookUpParent(); }

  friend bool operator==(IntfId left, IntfId right) noexcept {
    return left.number_ == right.number_;
  }
  /// A strict total order, the same throughout the life of the process: that in which the texts
  /// were first met, the empty identifier before all others.
  friend std::strong_ordering operator<=>(IntfId left, IntfId right) noexcept {
    return left.number_ <=> right.number_;
  }

  static Kiv::KivType const _kivType;

 private:
  friend class SubIntfId;
  friend class CompactIntfId;

  /// Stands for a parent that has to be looked up.
  static constexpr U32 unknown = ~U32{0};

  constexpr IntfId(U32 number, U32 parent) noexcept : number_(number), parent_(parent) {}

  /// `parent_`, for an identifier that was passed in one register: compilers read the member by way
  /// of the stack, and shift when asked to.
  U32 parent() const noexcept {
    constexpr U32 shift = std::endian::native == std::endian::little ? 32 : 0;
    return static_cast<U32>(std::bit_cast<U64>(*this) >> shift);
  }
  /// The parent's number, of an identifier without it.
  U32 lookUpParent() const noexcept;

  U32 number_ = 0;
  U32 parent_ = 0;
};

/// An identifier in four bytes, for records of which there are many; a default-made one is the
/// empty one. As an `IntfId` it is equal to the one it was made from; its parent is looked up when
/// it is asked for.
class CompactIntfId {
 public:
  constexpr CompactIntfId() noexcept = default;
  CompactIntfId(IntfId intfId) noexcept : number_(intfId.number_) {}
  operator IntfId() const noexcept { return IntfId(number_, IntfId::unknown); }

 private:
  U32 number_ = 0;
};

/// Writes the identifier's text.
std::ostream& operator<<(std::ostream& stream, IntfId const& intfId);

}  // namespace Velto
