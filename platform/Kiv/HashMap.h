#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <memory>
#include <type_traits>
#include <utility>

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
///    step of a walk is an increment while nothing is removed, and passes over up to 64 removed
///    members at once;
///  - insertion either succeeds or raises `std::bad_alloc` and changes nothing; nothing else
///    raises;
///  - a reference to a value is valid until the next insertion or removal.
///
/// Keys are small values that compare with `==`; values can be made empty with `Value{}` and move
/// without raising. Walks are known to their collection: walking is for one thread at a time.
///
/// How it works: members stand in the order of insertion, keys in one array and values in another,
/// and a bit for each place tells whether a member stands there. A removed member leaves a hole.
/// When the arrays are full, the members move up, into larger arrays unless more than a third of
/// the places are holes. A walk knows how far members stand side by side from where it is; the
/// collection knows the walks in progress and corrects them at each removal and each move.
///
/// Beside the arrays an open-addressing index holds, for each slot, one byte of the hash and the
/// member's place. There are two slots for each place in the arrays. A slot that has been left is
/// no end to a search, so that a removal moves nothing; it may be taken again, and at the next move
/// all members are entered anew. Between two moves there are no more insertions than places, so
/// half of the slots stay fresh, and a search soon meets one.
template <class Key, class Value>
class HashMap {
 public:
  using KeyType = Key;
  using ValueType = Value;

  /// What there is of one member.
  struct Member {
    Key key;
    Value value;
  };

  class IteratorConst;

  HashMap() = default;
  HashMap(HashMap const&) = delete;
  HashMap& operator=(HashMap const&) = delete;
  ~HashMap() {
    while (walks_ != nullptr) walks_->end();
  }

  /// How many members there are.
  U32 size() const noexcept { return live_; }
  /// Changes with every insertion and removal, and with nothing else.
  U32 version() const noexcept { return version_; }

  bool has(Key key) const noexcept { return slotOf(key, hashOf(key)) != none; }

  /// The value at `key`, `Value{}` when there is none.
  Value value(Key key) const noexcept(std::is_nothrow_copy_constructible_v<Value>) {
    Value const* found = find(key);
    return found != nullptr ? *found : Value{};
  }

  /// The value at `key`, null when there is none.
  Value const* find(Key key) const noexcept {
    U32 const slot = slotOf(key, hashOf(key));
    return slot != none ? &values_[places_[slot]] : nullptr;
  }

  /// Inserts `key`, or overwrites the value of an existing member. Raises `std::bad_alloc`.
  void valueIs(Key key, Value value) {
    U32 const hash = hashOf(key);
    if (U32 const slot = slotOf(key, hash); slot != none) {
      // The old value goes only after the new one is in place: letting go of it may run code.
      std::swap(values_[places_[slot]], value);
      return;
    }
    if (size_ == room_) makeRoom();
    enterIndex(hash, size_);
    keys_[size_] = key;
    values_[size_] = std::move(value);
    present_[size_ / 64] |= U64{1} << size_ % 64;
    ++size_;
    ++live_;
    ++version_;
  }

  /// Removes `key`. Returns the value it had, `Value{}` when there was none.
  Value valueDel(Key key) noexcept {
    U32 const slot = slotOf(key, hashOf(key));
    if (slot == none) return Value{};
    U32 const place = places_[slot];
    tags_[slot] = usedTag;
    present_[place / 64] &= ~(U64{1} << place % 64);
    for (IteratorConst* walk = walks_; walk != nullptr; walk = walk->other_) {
      walk->removed(place);
    }
    --live_;
    ++version_;
    return std::exchange(values_[place], Value{});
  }

  /// Removes every member. The values go after the collection is empty.
  void clear() noexcept {
    auto const gone = std::exchange(values_, nullptr);
    version_ += live_;
    live_ = size_ = room_ = 0;
    for (IteratorConst* walk = walks_; walk != nullptr; walk = walk->other_) walk->standAside(0);
  }

  /// A walk that stands on the first member, or at the end when there is none.
  IteratorConst iteratorConst() const noexcept { return IteratorConst(*this); }

 private:
  static constexpr U32 none = ~U32{0};
  static constexpr U32 fewMembers = 1024;
  static constexpr U8 freshTag = 0, usedTag = 1;

  /// The tag of an occupied slot.
  static U8 tagOf(U32 hash) noexcept { return static_cast<U8>(hash | 0x80U); }
  /// The slot where the search for a hash begins; its high bits decide.
  U32 homeOf(U32 hash) const noexcept { return static_cast<U32>(U64{hash} * slotCount_ >> 32U); }
  U32 after(U32 slot) const noexcept { return slot + 1 == slotCount_ ? 0 : slot + 1; }

  bool isPresent(U32 place) const noexcept {
    return (present_[place / 64] >> place % 64 & 1U) != 0;
  }

  U32 slotOf(Key key, U32 hash) const noexcept {
    if (live_ == 0) return none;
    U8 const tag = tagOf(hash);
    for (U32 slot = homeOf(hash);; slot = after(slot)) {
      if (tags_[slot] == tag && keys_[places_[slot]] == key) return slot;
      if (tags_[slot] == freshTag) return none;
    }
  }

  void enterIndex(U32 hash, U32 place) noexcept {
    U32 slot = homeOf(hash);
    while (tags_[slot] > usedTag) slot = after(slot);
    tags_[slot] = tagOf(hash);
    places_[slot] = place;
  }

  /// Makes room for one more member at least, with all members moved up.
  [[gnu::noinline]] void makeRoom() {
    if (3 * std::size_t{size_ - live_} > size_) {
      moveTo(keys_.get(), values_.get());
      std::fill_n(tags_.get(), slotCount_, freshTag);
    } else {
      U32 const room = room_ < 8 ? 8 : room_ < fewMembers ? 2 * room_ : room_ + room_ / 2;
      U32 const slotCount = 2 * room;
      auto keys = std::make_unique<Key[]>(room);
      auto values = std::make_unique<Value[]>(room);
      auto present = std::make_unique<U64[]>(room / 64 + 1);
      auto tags = std::make_unique<U8[]>(slotCount);
      auto places = std::make_unique<U32[]>(slotCount);
      moveTo(keys.get(), values.get());
      keys_ = std::move(keys);
      values_ = std::move(values);
      present_ = std::move(present);
      tags_ = std::move(tags);
      places_ = std::move(places);
      room_ = room;
      slotCount_ = slotCount;
    }
    size_ = live_;
    for (U32 word = 0; word <= room_ / 64; ++word) {
      U32 const before = std::min(size_, 64 * word), in = std::min(size_ - before, 64U);
      present_[word] = in == 64 ? ~U64{0} : (U64{1} << in) - 1;
    }
    for (U32 place = 0; place < size_; ++place) enterIndex(hashOf(keys_[place]), place);
  }

  /// Moves the members, without the holes, to the front of arrays that may be those they are in.
  void moveTo(Key* keys, Value* values) noexcept {
    for (IteratorConst* walk = walks_; walk != nullptr; walk = walk->other_) {
      U32 before = 0;
      for (U32 place = 0; place < walk->next(); ++place) before += isPresent(place) ? 1 : 0;
      walk->moved(keys, before);
    }
    U32 to = 0;
    for (U32 first = 0; first < size_; first += 64) {
      for (U64 present = present_[first / 64]; present != 0; present &= present - 1, ++to) {
        U32 const from = first + static_cast<U32>(std::countr_zero(present));
        keys[to] = keys_[from];
        if (&values[to] != &values_[from]) values[to] = std::move(values_[from]);
      }
    }
  }

  std::unique_ptr<Key[]> keys_;
  std::unique_ptr<Value[]> values_;
  std::unique_ptr<U64[]> present_;
  std::unique_ptr<U8[]> tags_;
  std::unique_ptr<U32[]> places_;
  /// The places in use, those of holes among them, and how many there can be.
  U32 size_ = 0;
  U32 room_ = 0;
  U32 slotCount_ = 0;
  U32 live_ = 0;
  U32 version_ = 0;
  /// The walks in progress.
  mutable IteratorConst* walks_ = nullptr;
};

/// A walk over a `HashMap`, in the order of insertion. When the collection goes, it comes to its
/// end.
///
///     for (auto walk = map.iteratorConst(); walk; ++walk) use(walk.key(), walk.value());
template <class Key, class Value>
class HashMap<Key, Value>::IteratorConst {
 public:
  explicit IteratorConst(HashMap const& map) noexcept : map_(&map) {
    begin();
    ++*this;
  }
  IteratorConst(IteratorConst const& walk) noexcept { begin(walk); }
  IteratorConst& operator=(IteratorConst const& walk) noexcept {
    if (this == &walk) return *this;
    end();
    begin(walk);
    return *this;
  }
  ~IteratorConst() { end(); }

  /// Whether the walk stands on a member, which may have been removed since it got there.
  explicit operator bool() const noexcept { return at_ != nullptr; }

  /// The key of the member the walk stands on, also after its removal.
  Key key() const noexcept { return *at_; }

  /// The value of the member the walk stands on. REQUIRES: it is still there.
  Value const& value() const noexcept { return map_->values_.get()[at_ - map_->keys_.get()]; }

  IteratorConst& operator++() noexcept {
    if (at_ != last_) [[likely]] {
      ++at_;
    } else {
      stepToRun();
    }
    return *this;
  }

 private:
  friend class HashMap;

  /// The place where the walk goes on: the one after that of the member it stands on.
  U32 next() const noexcept {
    return at_ == &key_ ? next_ : static_cast<U32>(at_ - map_->keys_.get()) + 1;
  }
  /// All members move to `keys`, those before `next()` to the first `before` places.
  void moved(Key const* keys, U32 before) noexcept {
    if (at_ != &key_ && map_->isPresent(next() - 1)) {
      at_ = last_ = keys + before - 1;
    } else {
      standAside(before);
    }
  }
  /// The member's place becomes another's: stands on a copy of the key, and goes on at `next`.
  void standAside(U32 next) noexcept {
    key_ = *at_;
    at_ = last_ = &key_;
    next_ = next;
  }
  /// The member at `place` is removed.
  void removed(U32 place) noexcept {
    Key const* const gone = &map_->keys_[place];
    if (at_ != &key_ && at_ < gone && gone <= last_) last_ = gone - 1;
  }

  /// Steps to the next members that stand side by side, or ends the walk.
  [[gnu::noinline]] void stepToRun() noexcept {
    if (at_ == nullptr) return;
    for (U32 place = next(); place < map_->size_; place = (place / 64 + 1) * 64) {
      U64 const present = map_->present_[place / 64] >> place % 64;
      if (present == 0) continue;
      int const holes = std::countr_zero(present);
      at_ = &map_->keys_[place] + holes;
      last_ = at_ + std::countr_one(present >> holes) - 1;
      return;
    }
    end();
  }

  /// Enters the walks in progress.
  [[gnu::noinline]] void begin() noexcept { other_ = std::exchange(map_->walks_, this); }
  /// Stands where another walk stands.
  void begin(IteratorConst const& walk) noexcept {
    map_ = walk.map_;
    key_ = walk.key_;
    next_ = walk.next_;
    at_ = walk.at_ == &walk.key_ ? &key_ : walk.at_;
    last_ = walk.at_ == &walk.key_ ? &key_ : walk.last_;
    if (at_ != nullptr) begin();
  }
  /// Leaves the walks in progress, at its end.
  [[gnu::noinline]] void end() noexcept {
    if (at_ == nullptr) return;
    at_ = last_ = nullptr;
    IteratorConst** walk = &map_->walks_;
    while (*walk != this) walk = &(*walk)->other_;
    *walk = other_;
  }

  HashMap const* map_ = nullptr;
  /// Where the key of the member is that the walk stands on, and the last of the members that stand
  /// side by side from there on; null at the end.
  Key const* at_ = &key_;
  Key const* last_ = &key_;
  /// The key of a removed member whose place is another's by now, and the place to go on at.
  Key key_{};
  U32 next_ = 0;
  /// Another walk in progress.
  IteratorConst* other_ = nullptr;
};

}  // namespace Kiv
