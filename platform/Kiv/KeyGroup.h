#pragma once

#include "Kiv/Integers.h"

namespace Kiv {

/// Stands, where a group can stand, for all keys.
inline constexpr U32 everyGroup = ~U32{0};

/// Whether keys of a type belong to groups: they bring their own `group()`, which is never
/// `everyGroup`.
template <class Key>
inline constexpr bool hasGroups = requires(Key const& key) {
  key.group();
};

/// The group that a collection key belongs to. A notifiee may ask to be told of one group only.
/// Of keys without groups everybody is told.
template <class Key>
U32 groupOf(Key const& key) noexcept {
  if constexpr (hasGroups<Key>) {
    return key.group();
  } else {
    return everyGroup;
  }
}

/// A number below 256 that few groups share.
constexpr U32 groupMark(U32 group) noexcept { return group * 0x9E3779B1U >> 24U; }

}  // namespace Kiv
