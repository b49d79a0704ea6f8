#pragma once

#include <cstddef>

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

/// Whether one of `count` members' keys may be in a group: a quick look at many of them. False:
/// none is. Keys bring their own `mayBeIn()`.
template <std::size_t count, class Member>
bool mayAnyBeIn(Member const* members, U32 group) noexcept {
  if constexpr (requires { members->key.mayBeIn(group); }) {
    // All of them, without a branch, so that a compiler may look at several in one instruction.
    U32 any = 0;
    for (std::size_t at = 0; at < count; ++at) any |= members[at].key.mayBeIn(group);
    return any != 0;
  } else {
    return true;
  }
}

}  // namespace Kiv
