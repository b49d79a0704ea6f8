#pragma once

#include <type_traits>

#include "Kiv/Integers.h"
#include "Kiv/KivType.h"
#include "Kiv/Ptr.h"

namespace Kiv {

/// The type records of built-in types: `bool`, `U32` and `U64`.
template <class T>
struct Builtin {
  static KivType const _kivType;
};
template <>
KivType const Builtin<bool>::_kivType;
template <>
KivType const Builtin<U32>::_kivType;
template <>
KivType const Builtin<U64>::_kivType;

/// The type record of a function's result.
extern KivType const _kivType_void;

/// The type record of `T`. An enumeration that has one specialises this.
template <class T>
struct TypeOf {
  static constexpr KivType const* record() noexcept {
    if constexpr (std::is_void_v<T>) {
      return &_kivType_void;
    } else if constexpr (std::is_arithmetic_v<T>) {
      return &Builtin<T>::_kivType;
    } else {
      return &T::_kivType;
    }
  }
};
template <class T>
struct TypeOf<T const> : TypeOf<T> {};
/// A counted pointer stands for what it points to.
template <class T>
struct TypeOf<Ptr<T>> : TypeOf<T> {};

}  // namespace Kiv
