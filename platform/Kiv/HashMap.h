#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

#include "Kiv/Integers.h"

namespace Kiv {

/// The hash of a collection key: a well-mixed 32-bit number. Keys bring their own `hash()`;
/// integers are mixed here.
template <class Key>
U32 hashOf(Key const& key) noexcept {
  if constexpr (std::is_integral_v<Key>) {
    return static_cast<U32>(key) * 0x9E3779B1U;
  } else {
    return key.hash();
  }
}

/// The one collection for everything that is keyed.
///
/// Guarantees:
///  - a walk visits the members in the order of their insertion; overwriting a value does not move
///    its member;
///  - any insertion and removal, of any member, at any time, leaves every walk in progress well
///    defined: a member added later is visited, a removed one that was not reached is skipped, and
///    the key of the member a walk stands on stays readable after its removal;
///  - finding, inserting and removing cost a constant number of steps, averaged over many calls; a
///    step of a walk is an increment while nothing is removed;
///  - insertion either succeeds or raises `std::bad_alloc` and changes nothing; nothing else
///    raises;
///  - a reference to a value is valid until the next insertion or removal.
///
/// Keys are small values that compare with `==`; values can be made empty with `Value{}` and move
/// without raising.
///
/// How it works: members stand in one array in insertion order, each with a number that only grows.
/// A removed member stays in its place as a hole until the holes outnumber the members, then all
/// move up; the numbers stay sorted throughout, so a walk that finds the array changed under it
/// looks its own number up. Beside the array an open-addressing index holds, for each occupied
/// slot, one byte of the hash and the member's place; a zero byte is an empty slot.
template <class Key, class Value>
class HashMap {
 public:
  using KeyType = Key;
  using ValueType = Value;

  /// One member: its key, its value and its place in the order of insertion.
  class Member {
   public:
    Key key;
    Value value;

   private:
    friend class HashMap;
    Member(Key k, Value v, U64 n) noexcept : key(k), value(std::move(v)), numberAndHole(2 * n) {}

    U64 number() const noexcept { return numberAndHole / 2; }
    bool isHole() const noexcept { return numberAndHole % 2 != 0; }
    void becomeHole() noexcept { ++numberAndHole; }

    /// Twice the number in the order of insertion, and one more for a hole.
    U64 numberAndHole;
  };

  class IteratorConst;

  HashMap() = default;
  HashMap(HashMap const&) = delete;
  HashMap& operator=(HashMap const&) = delete;

  /// How many members there are.
  U32 size() const noexcept { return live_; }
  /// Changes with every insertion and removal, and with nothing else.
  U32 version() const noexcept { return version_; }

  bool has(Key key) const noexcept { return slotOf(key) != noSlot; }

  /// The value at `key`, `Value{}` when there is none.
  Value value(Key key) const noexcept(std::is_nothrow_copy_constructible_v<Value>) {
    Value const* found = find(key);
    return found != nullptr ? *found : Value{};
  }

  /// The value at `key`, null when there is none.
  Value const* find(Key key) const noexcept {
    std::size_t const slot = slotOf(key);
    return slot != noSlot ? &members_[places_[slot]].value : nullptr;
  }

  /// Inserts `key`, or overwrites the value of an existing member. Raises `std::bad_alloc`.
  void valueIs(Key key, Value value) {
    if (std::size_t const slot = slotOf(key); slot != noSlot) {
      // The old value goes only after the new one is in place: letting go of it may run code.
      std::swap(members_[places_[slot]].value, value);
      return;
    }
    makeRoom();
    enterIndex(key, static_cast<U32>(members_.size()));
    members_.push_back(Member(key, std::move(value), nextNumber_++));
    ++live_;
    ++version_;
  }

  /// Removes `key`. Returns the value it had, `Value{}` when there was none.
  Value valueDel(Key key) noexcept {
    std::size_t const slot = slotOf(key);
    if (slot == noSlot) return Value{};
    Member& member = members_[places_[slot]];
    Value removed = std::exchange(member.value, Value{});
    member.becomeHole();
    leaveIndex(slot);
    --live_;
    ++version_;
    while (!members_.empty() && members_.back().isHole()) members_.pop_back();
    if (members_.size() > 2 * std::size_t{live_} + fewHoles) closeHoles();
    return removed;
  }

  /// Removes every member. The values go after the collection is empty.
  void clear() noexcept {
    std::vector<Member> const gone = std::exchange(members_, {});
    std::fill_n(tags_.get(), capacity_, U8{0});
    version_ += live_;
    live_ = 0;
  }

  /// A walk that stands on the first member, or at the end when there is none.
  IteratorConst iteratorConst() const noexcept { return IteratorConst(*this); }

 private:
  static constexpr std::size_t noSlot = ~std::size_t{0};
  static constexpr std::size_t fewHoles = 16;
  static constexpr std::size_t smallestCapacity = 8;

  static U8 tagOf(U32 hash) noexcept { return static_cast<U8>(hash | 0x80U); }
  std::size_t homeOf(U32 hash) const noexcept { return hash >> shift_; }

  std::size_t slotOf(Key key) const noexcept {
    if (live_ == 0) return noSlot;
    U32 const hash = hashOf(key);
    U8 const tag = tagOf(hash);
    for (std::size_t slot = homeOf(hash);; slot = (slot + 1) & (capacity_ - 1)) {
      if (tags_[slot] == 0) return noSlot;
      if (tags_[slot] == tag && members_[places_[slot]].key == key) return slot;
    }
  }

  /// Makes sure that one more member fits into the array and into the index.
  void makeRoom() {
    if (members_.size() == members_.capacity()) {
      members_.reserve(std::max(smallestCapacity, 2 * members_.size()));
    }
    // At most three quarters of the slots are occupied, so that a search meets an empty one soon.
    if (4 * (std::size_t{live_} + 1) > 3 * capacity_) {
      std::size_t const capacity = std::max(smallestCapacity, 2 * capacity_);
      auto tags = std::make_unique<U8[]>(capacity);
      auto places = std::make_unique<U32[]>(capacity);
      tags_ = std::move(tags);
      places_ = std::move(places);
      capacity_ = capacity;
      shift_ = static_cast<U32>(32 - std::countr_zero(capacity));
      enterAll();
    }
  }

  void enterIndex(Key key, U32 place) noexcept {
    U32 const hash = hashOf(key);
    std::size_t slot = homeOf(hash);
    while (tags_[slot] != 0) slot = (slot + 1) & (capacity_ - 1);
    tags_[slot] = tagOf(hash);
    places_[slot] = place;
  }

  void enterAll() noexcept {
    for (std::size_t place = 0; place < members_.size(); ++place) {
      if (!members_[place].isHole()) enterIndex(members_[place].key, static_cast<U32>(place));
    }
  }

  /// Empties a slot and moves later members of its run up, so that every search still meets its
  /// member before an empty slot.
  void leaveIndex(std::size_t hole) noexcept {
    std::size_t const mask = capacity_ - 1;
    for (std::size_t slot = (hole + 1) & mask; tags_[slot] != 0; slot = (slot + 1) & mask) {
      std::size_t const home = homeOf(hashOf(members_[places_[slot]].key));
      if (((slot - home) & mask) < ((slot - hole) & mask)) continue;
      tags_[hole] = tags_[slot];
      places_[hole] = places_[slot];
      hole = slot;
    }
    tags_[hole] = 0;
  }

  void closeHoles() noexcept {
    std::erase_if(members_, [](Member const& member) { return member.isHole(); });
    std::fill_n(tags_.get(), capacity_, U8{0});
    enterAll();
  }

  std::vector<Member> members_;
  std::unique_ptr<U8[]> tags_;
  std::unique_ptr<U32[]> places_;
  std::size_t capacity_ = 0;
  U32 shift_ = 32;
  U32 live_ = 0;
  U32 version_ = 0;
  U64 nextNumber_ = 0;
};

/// A walk over a `HashMap`, in the order of insertion. The collection must outlive it.
///
///     for (auto walk = map.iteratorConst(); walk; ++walk) use(walk.key(), walk.value());
template <class Key, class Value>
class HashMap<Key, Value>::IteratorConst {
 public:
  explicit IteratorConst(HashMap const& map) noexcept : map_(&map) { standOnNextFrom(0); }

  /// Whether the walk stands on a member, which may have been removed since it got there.
  explicit operator bool() const noexcept { return place_ != atEnd; }

  /// The key of the member the walk stands on, also after its removal.
  Key key() const noexcept { return key_; }

  /// The value of the member the walk stands on. REQUIRES: it is still there.
  Value const& value() const noexcept { return *map_->find(key_); }

  IteratorConst& operator++() noexcept {
    auto const& members = map_->members_;
    if (place_ < members.size() && members[place_].number() == number_) {
      standOnNextFrom(place_ + 1);
    } else {
      auto const next = std::ranges::upper_bound(members, number_, {}, &Member::number);
      standOnNextFrom(static_cast<std::size_t>(next - members.begin()));
    }
    return *this;
  }

 private:
  static constexpr std::size_t atEnd = ~std::size_t{0};

  void standOnNextFrom(std::size_t place) noexcept {
    auto const& members = map_->members_;
    while (place < members.size() && members[place].isHole()) ++place;
    if (place >= members.size()) {
      place_ = atEnd;
      return;
    }
    place_ = place;
    key_ = members[place].key;
    number_ = members[place].number();
  }

  HashMap const* map_;
  std::size_t place_ = atEnd;
  U64 number_ = 0;
  Key key_{};
};

}  // namespace Kiv
