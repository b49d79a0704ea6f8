#pragma once

#include <span>

#include "Kiv/GenericIf.h"
#include "Kiv/Integers.h"

namespace Kiv {

class KivAttr;
struct KivArgument;

/// The record of one type: its name, the type that it derives from and, for a type that generic
/// access can reach into, its attributes and entry points.
///
/// Records are constant-initialised and live for ever, so that they can be compared by address and
/// read at any time, also while libraries are still being loaded.
class KivType {
 public:
  /// What generic access needs of a type. An entry point that the type does not have is null.
  struct Access {
    /// In the order of their indexes.
    std::span<KivAttr const> attributes;
    std::span<KivArgument const> ctorArguments;
    GenericIf::Methods const* methods = nullptr;
    GenericIf::ConstructFromCtorArgs* genericIfConstructFromCtorArgs = nullptr;
    GenericIf::AttributeOpFunction* genericIfAttributeOp = nullptr;
    GenericIf::IteratorFunction* genericIfIterator = nullptr;
  };

  /// `name` is the type's full name; `base` is null for a type without one.
  constexpr KivType(char const* name, KivType const* base) noexcept : name_(name), base_(base) {}
  constexpr KivType(char const* name, KivType const* base, Access const& access) noexcept
      : name_(name), base_(base), access_(access) {}
  KivType(KivType const&) = delete;
  KivType& operator=(KivType const&) = delete;

  constexpr char const* name() const noexcept { return name_; }
  constexpr KivType const* base() const noexcept { return base_; }
  constexpr Access const& access() const noexcept { return access_; }

  /// The attribute of that index, null when the type has none.
  KivAttr const* attribute(U32 index) const noexcept;

 private:
  char const* name_;
  KivType const* base_;
  Access access_;
};

}  // namespace Kiv
