#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "Kiv/Integers.h"
#include "Kiv/KeyGroup.h"

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
///    step of a walk is a few instructions within 64 places and some more from these to the next,
///    and passes over up to 64 removed members at once;
///  - insertion either succeeds or raises `std::bad_alloc` and changes nothing; nothing else
///    raises;
///  - a reference to a value is valid until the next insertion or removal, or `expect`.
///
/// Keys are small values that compare with `==`; values can be made empty with `Value{}` and
/// moved, neither of which raises. Walks are known to their collection: walking is for one thread
/// at a time.
///
/// How it works: members stand in an array in the order of insertion, and a bit for each place
/// tells whether a member stands there. A removed member leaves a hole. When the array is full, the
/// members move up, into a larger one unless more than a third of the places are holes or there is
/// no memory. A walk goes from bit to bit; the collection knows the walks in progress and corrects
/// them at each removal and each move. One that seeks the keys of a group notes, for each 64 places
/// in use side by side, the marks of their keys' groups; from then on, walks that seek pass at once
/// over those without the mark of theirs.
///
/// Beside the array stands an open-addressing index of 32-bit slots. A slot holds the member's
/// place and above it, in the bits that no place needs, the low bits of the hash; its high bits
/// say where a search begins. There are four slots for a place, in large collections five for two.
/// A slot that has been left is no end to a search, so that a removal moves nothing; it may be
/// taken again, and at the next move all members are entered anew. No more slots are ever taken or
/// left behind than there are places, so three of five at least stay fresh, and a search soon meets
/// one. Where no search goes on behind a slot that is left, it is fresh again; if its member was
/// the newest and nobody walks, its place and the holes before it are free too, but for as many
/// holes as there are slots that have been left. Such a slot and the last place, if that is a hole,
/// may be taken again together. Neither array ever shrinks.
template <class Key, class Value>
class HashMap {
 public:
  using KeyType = Key;
  using ValueType = Value;

  /// What stands in a place; hosts name the type, too. Sixteen bytes are in one cache line,
  /// whatever `new` puts before an array of them.
  struct alignas(Key) alignas(Value) alignas(sizeof(Key) + sizeof(Value) == 16 ? 16 : 1) Member {
    Key key;
    Value value;
  };

  class IteratorConst;

  HashMap() = default;
  HashMap(HashMap const&) = delete;
  HashMap& operator=(HashMap const&) = delete;
  ~HashMap() {
    while (walks_ != nullptr) walks_->leave();
  }

  /// How many members there are.
  U32 size() const noexcept { return live_; }
  /// Changes with every insertion and removal, and with nothing else.
  U32 version() const noexcept { return version_; }

  bool has(Key key) const noexcept { return search(key, hashOf(key)).place != none; }

  /// The value at `key`, `Value{}` when there is none.
  Value value(Key key) const noexcept(std::is_nothrow_copy_constructible_v<Value>) {
    Value const* found = find(key);
    return found != nullptr ? *found : Value{};
  }

  /// The value at `key`, null when there is none.
  Value const* find(Key key) const noexcept {
    U32 const place = search(key, hashOf(key)).place;
    return place != none ? &members_[place].value : nullptr;
  }

  /// The same, to be changed in place; that is neither an insertion nor a removal.
  Value* find(Key key) noexcept { return const_cast<Value*>(std::as_const(*this).find(key)); }

  /// Whether much of the collection is not near the processor, so that it pays to have what several
  /// searches will look at fetched ahead.
  bool isLarge() const noexcept { return room_ > largeAbove; }
  /// Has the processor fetch what a search for `key` looks at first.
  void prefetch(Key key) const noexcept { __builtin_prefetch(slots_ + homeOf(hashOf(key))); }
  /// The same, and what such a search reads of a member that is there. It is worth less than
  /// nothing when there is none.
  void prefetchMember(Key key) const noexcept {
    U32 const hash = hashOf(key);
    U32 const place = std::min(slots_[homeOf(hash)] ^ (hash << placeBits_), room_);
    __builtin_prefetch(members_.get() + place);
  }
  /// Has the processor fetch the object that the value at `key`, a counted pointer, points to.
  /// Looks at the member, which should be near by now.
  void prefetchObject(Key key) const noexcept {
    U32 const hash = hashOf(key);
    U32 const place = slots_[homeOf(hash)] ^ (hash << placeBits_);
    if (place < room_) __builtin_prefetch(members_[place].value.ptr());
  }

  /// Inserts `key`, or overwrites the value of an existing member. Raises `std::bad_alloc`.
  void valueIs(Key key, Value value) {
    // The old value goes only after the new one is in place: letting go of it may run code.
    std::swap(findOrInsert(key).value, value);
  }

  struct FoundOrInserted {
    Value& value;
    bool isNew;
  };
  /// The value at `key`. When there was none, `key` is inserted, with a value that means nothing
  /// until the caller sets it. Raises `std::bad_alloc`.
  FoundOrInserted findOrInsert(Key key) {
    if (size_ == room_) [[unlikely]]
      return findOrInsertIntoFull(key);
    U32 const hash = hashOf(key), tag = hash << placeBits_;
    U32 slot = homeOf(hash);
    if (slots_[slot] != freshSlot) [[unlikely]] {
      U32 reusable = none;
      do {
        U32 const place = slots_[slot] ^ tag;
        if (place < room_ && members_[place].key == key) return {members_[place].value, false};
        if (slots_[slot] == usedSlot && reusable == none) reusable = slot;
        slot = after(slot);
      } while (slots_[slot] != freshSlot);
      if (reusable != none) {
        slot = reusable;
        --usedSlots_;
        // There was a hole for it at least: if it is the last place, that goes with the slot.
        if (!isPresent(size_ - 1) && walks_ == nullptr) lastPlaceDel();
      }
    }
    slots_[slot] = tag | size_;
    members_[size_].key = key;
    present_[size_ / 64] |= U64{1} << size_ % 64;
    ++live_;
    ++version_;
    return {members_[size_++].value, true};
  }

  /// Makes room for that many members, and for some more, at once rather than as they come: while
  /// there are fewer, no insertion raises. Does nothing when there is room already. Raises
  /// `std::bad_alloc`, with nothing changed.
  void expect(U32 members) {
    if (members > room_) grow(std::max(U64{members} + members / 8, nextRoom()));
  }

  /// Removes `key`. Returns the value it had, `Value{}` when there was none.
  Value valueDel(Key key) noexcept {
    auto const [place, slot] = search(key, hashOf(key));
    if (place == none) [[unlikely]]
      return Value{};
    bool const isEnd = slots_[after(slot)] == freshSlot;
    slots_[slot] = isEnd ? freshSlot : usedSlot;
    present_[place / 64] &= ~(U64{1} << place % 64);
    for (IteratorConst* walk = walks_; walk != nullptr; walk = walk->nextWalk_) {
      walk->removed(place);
    }
    --live_;
    ++version_;
    usedSlots_ += isEnd ? 0 : 1;
    if (place + 1 == size_ && isEnd && walks_ == nullptr) giveUpLastPlaces();
    return std::exchange(members_[place].value, Value{});
  }

  /// A walk that stands on the first member, or at the end when there is none.
  IteratorConst iteratorConst() const noexcept { return IteratorConst(*this); }

 private:
  static constexpr U32 none = ~U32{0};
  /// With more, the slots could not be numbered.
  static constexpr U32 mostMembers = none / 5 * 2;
  /// A collection with more room is large: its arrays grow by half, where those of others double,
  /// and it has five slots for two places, where others have four for each. While slots take little
  /// memory, more of them cost less than searches that pass over other members.
  static constexpr U32 largeAbove = 8192;
  /// Slots without a member: one that never had one since the last move, and one that has been
  /// left. Their low bits are a place that is never in use.
  static constexpr U32 freshSlot = ~U32{0}, usedSlot = freshSlot >> 1U;

  struct Found {
    /// `none` when there is no such member.
    U32 place;
    U32 slot;
  };

  /// The slot where the search for a hash begins.
  U32 homeOf(U32 hash) const noexcept { return static_cast<U32>(U64{hash} * slotCount_ >> 32U); }
  U32 after(U32 slot) const noexcept { return slot + 1 == slotCount_ ? 0 : slot + 1; }

  bool isPresent(U32 place) const noexcept {
    return (present_[place / 64] >> place % 64 & 1U) != 0;
  }

  Found search(Key key, U32 hash) const noexcept {
    U32 const tag = hash << placeBits_;
    for (U32 slot = homeOf(hash);;) {
      // A place, unless the slot is without a member or has another tag.
      U32 const place = slots_[slot] ^ tag;
      if (place < room_ && members_[place].key == key) [[likely]]
        return {place, slot};
      if (slots_[slot] == freshSlot) [[likely]]
        return {none, slot};
      slot = after(slot);
    }
  }

  /// Gives up the last place, a hole, and the holes before it, as long as a hole is left for each
  /// used slot: so no more slots are ever taken than places. REQUIRES: there are more holes than
  /// used slots, and nobody walks.
  void giveUpLastPlaces() noexcept {
    do {
      lastPlaceDel();
    } while (size_ - live_ > usedSlots_ && !isPresent(size_ - 1));
  }
  void lastPlaceDel() noexcept {
    --size_;
    summarized_ = std::min(summarized_, size_ / 64);
  }

  /// The groups of the keys in a full word, those of holes among them: a bit for each mark.
  struct GroupMarks {
    std::array<U64, 4> bits{};

    void enter(U32 mark) noexcept { bits[mark / 64] |= U64{1} << mark % 64; }
    bool has(U32 mark) const noexcept { return (bits[mark / 64] >> mark % 64 & 1U) != 0; }
  };

  /// The first word from `word` on that is not full or has the mark of `group`; `word` itself
  /// without memory for marks.
  U32 wordThatMayHold(U32 group, U32 word) const noexcept {
    U32 const full = size_ / 64;
    if (word >= full) return word;
    if (groupMarks_ == nullptr) {
      try {
        groupMarks_ = std::make_unique<GroupMarks[]>(room_ / 64);
      } catch (std::bad_alloc const&) {
        return word;
      }
    }
    for (; summarized_ < full; ++summarized_) {
      GroupMarks marks;
      for (U32 place = 64 * summarized_; place < 64 * (summarized_ + 1); ++place) {
        marks.enter(groupMark(groupOf(members_[place].key)));
      }
      groupMarks_[summarized_] = marks;
    }
    U32 const mark = groupMark(group);
    while (word < full && !groupMarks_[word].has(mark)) ++word;
    return word;
  }

  void enterIndex(U32 hash, U32 place) noexcept {
    U32 slot = homeOf(hash);
    while (slots_[slot] != freshSlot) slot = after(slot);
    slots_[slot] = hash << placeBits_ | place;
  }

  /// `findOrInsert` where all places are in use; apart, so that the other saves no
  /// registers for it.
  [[gnu::noinline]] FoundOrInserted findOrInsertIntoFull(Key key) {
    if (Value* const present = find(key)) return {*present, false};
    makeRoom();
    return findOrInsert(key);
  }

  /// Makes room for one more member at least, with all members moved up. Raises nothing while there
  /// are holes.
  void makeRoom() {
    if (3 * std::size_t{size_ - live_} <= size_) {
      try {
        grow(nextRoom());
        return;
      } catch (std::bad_alloc const&) {
        if (live_ == size_) throw;
      }
    }
    moveTo(members_.get());
    enterAll();
  }
  /// The room of the next larger arrays.
  U64 nextRoom() const noexcept {
    return room_ < 8 ? 8 : isLarge() ? U64{room_} + room_ / 2 : U64{2} * room_;
  }

  /// Moves all members into arrays with the room that is wanted, which is more than there is.
  void grow(U64 wanted) {
    if (wanted > mostMembers) throw std::bad_alloc();
    auto const room = static_cast<U32>(wanted);
    U32 const slotCount = room > largeAbove ? 2 * room + room / 2 : 4 * room;
    auto members = std::make_unique<Member[]>(room);
    auto present = std::make_unique<U64[]>(room / 64 + 1);
    std::unique_ptr<U32[]> slots(new U32[slotCount]);
    moveTo(members.get());
    members_ = std::move(members);
    present_ = std::move(present);
    groupMarks_ = nullptr;
    ownSlots_ = std::move(slots);
    slots_ = ownSlots_.get();
    room_ = room;
    placeBits_ = static_cast<U32>(std::bit_width(room));
    slotCount_ = slotCount;
    enterAll();
  }

  /// Enters all members, who have been moved to the front, in the index, as the only ones.
  void enterAll() noexcept {
    std::fill_n(slots_, slotCount_, freshSlot);
    size_ = live_;
    usedSlots_ = 0;
    summarized_ = 0;
    for (U32 word = 0; word <= room_ / 64; ++word) {
      U32 const before = std::min(size_, 64 * word), in = std::min(size_ - before, 64U);
      present_[word] = in == 64 ? ~U64{0} : (U64{1} << in) - 1;
    }
    for (U32 place = 0; place < size_; ++place) enterIndex(hashOf(members_[place].key), place);
  }

  /// Moves the members, without the holes, to the front of an array, which may be the one they are
  /// in.
  void moveTo(Member* members) noexcept {
    for (IteratorConst* walk = walks_; walk != nullptr; walk = walk->nextWalk_) {
      U32 before = 0;
      for (U32 place = 0; place < walk->next(); ++place) before += isPresent(place) ? 1 : 0;
      walk->moved(members, before);
    }
    U32 to = 0;
    for (U32 first = 0; first < size_; first += 64) {
      for (U64 present = present_[first / 64]; present != 0; present &= present - 1, ++to) {
        U32 const from = first + static_cast<U32>(std::countr_zero(present));
        if (&members[to] != &members_[from]) members[to] = std::move(members_[from]);
      }
    }
  }

  std::unique_ptr<Member[]> members_;
  std::unique_ptr<U64[]> present_;
  std::unique_ptr<U32[]> ownSlots_;
  /// The one slot of a collection that has never had a member.
  U32 noSlot_ = freshSlot;
  U32* slots_ = &noSlot_;
  /// The places in use, those of holes among them, and how many there can be.
  U32 size_ = 0;
  U32 room_ = 0;
  /// How many bits of a slot its place takes.
  U32 placeBits_ = 0;
  U32 slotCount_ = 0;
  U32 live_ = 0;
  /// The used slots, of which there are never more than holes.
  U32 usedSlots_ = 0;
  U32 version_ = 0;
  /// How many words have their marks in `groupMarks_`, by word, which is made when first wanted.
  mutable U32 summarized_ = 0;
  mutable std::unique_ptr<GroupMarks[]> groupMarks_;
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
    enter();
    ++*this;
  }
  IteratorConst(IteratorConst const& walk) noexcept { standWhere(walk); }
  IteratorConst& operator=(IteratorConst const& walk) noexcept {
    if (this == &walk) return *this;
    leave();
    standWhere(walk);
    return *this;
  }
  ~IteratorConst() {
    if (rest_ != 0) leave();
  }

  /// Whether the walk stands on a member, which may have been removed since it got there.
  explicit operator bool() const noexcept { return rest_ != 0; }

  /// The key of the member the walk stands on, also after its removal.
  Key key() const noexcept { return here().key; }

  /// The value of the member the walk stands on. REQUIRES: it is still there.
  Value const& value() const noexcept { return here().value; }

  /// The member behind the one that the walk stands on, for a look ahead; null now and then, also
  /// where there is one. It is there until the next insertion or removal, or `expect`.
  Member const* following() const noexcept {
    U64 const others = rest_ & (rest_ - 1);
    return others != 0 ? members_ + std::countr_zero(others) : nullptr;
  }

  IteratorConst& operator++() noexcept {
    if (U64 const others = rest_ & (rest_ - 1); others != 0) [[likely]] {
      rest_ = others;
    } else {
      stepToWord();
    }
    return *this;
  }

  /// Steps on to the next member whose key is in `group`; stays where it is when it stands on one.
  /// Returns whether it found one, as opposed to the end. Passing over up to 64 places without one
  /// takes a few instructions, but for the first time and where another group has the same mark.
  /// REQUIRES: `group` is not `everyGroup`.
  bool seek(U32 group) noexcept requires hasGroups<Key> {
    return rest_ != 0 && (groupOf(key()) == group || seekOn(group));
  }

 private:
  friend class HashMap;

  /// Where, in its word, the member is that the walk stands on.
  U32 inWord() const noexcept { return static_cast<U32>(std::countr_zero(rest_)); }
  /// The member that the walk stands on. The offset is reckoned in 32 bits: g++ would widen an
  /// index first, at an instruction for each step.
  Member const& here() const noexcept {
    return *reinterpret_cast<Member const*>(reinterpret_cast<char const*>(members_) +
                                            inWord() * U32{sizeof(Member)});
  }
  /// The place where the walk goes on: the one after that of the member it stands on.
  U32 next() const noexcept { return first_ + inWord() + 1; }
  /// Goes on at `place`, with nothing but the key it stands on known until then.
  void standBefore(U32 place) noexcept {
    alone_.key = key();
    members_ = &alone_;
    first_ = place - 1;
    rest_ = 1;
  }
  /// All members move to `members`, those before `next()` to the first `before` places.
  void moved(Member const* members, U32 before) noexcept {
    bool const isThere = members_ != &alone_ && map_->isPresent(next() - 1);
    standBefore(before);
    if (isThere) members_ = members + before - 1;
  }
  /// The member at `place` is removed.
  void removed(U32 place) noexcept {
    U32 const gone = place - first_;
    if (gone < 64 && gone != inWord()) rest_ &= ~(U64{1} << gone);
  }

  /// Steps to the first member of the words to come, or ends the walk.
  [[gnu::noinline]] void stepToWord() noexcept {
    if (rest_ == 0) return;
    for (U32 place = next(); place < map_->size_; place = (place / 64 + 1) * 64) {
      U64 const present = map_->present_[place / 64] & ~U64{0} << place % 64;
      if (present == 0) continue;
      first_ = place / 64 * 64;
      rest_ = present;
      members_ = &map_->members_[first_];
      return;
    }
    leave();
  }

  /// `seek`, standing on a member that is not in `group`.
  [[gnu::noinline]] bool seekOn(U32 group) noexcept {
    do {
      U64 last = rest_;
      for (U64 others = rest_ & (rest_ - 1); others != 0; others &= others - 1) {
        last = others;
        if (groupOf(members_[std::countr_zero(others)].key) == group) {
          rest_ = others;
          return true;
        }
      }
      rest_ = last;
      U32 const word = map_->wordThatMayHold(group, next() / 64);
      if (64 * word > next()) standBefore(64 * word);
      ++*this;
    } while (rest_ != 0 && groupOf(key()) != group);
    return rest_ != 0;
  }

  /// Enters the walks in progress.
  void enter() noexcept { nextWalk_ = std::exchange(map_->walks_, this); }
  /// Stands where another walk stands.
  void standWhere(IteratorConst const& walk) noexcept {
    map_ = walk.map_;
    members_ = walk.members_ == &walk.alone_ ? &alone_ : walk.members_;
    first_ = walk.first_;
    rest_ = walk.rest_;
    alone_.key = walk.alone_.key;
    if (rest_ != 0) enter();
  }
  /// Leaves the walks in progress, at its end.
  [[gnu::noinline]] void leave() noexcept {
    if (rest_ == 0) return;
    rest_ = 0;
    IteratorConst** walk = &map_->walks_;
    while (*walk != this) walk = &(*walk)->nextWalk_;
    *walk = nextWalk_;
  }

  HashMap const* map_ = nullptr;
  /// The word that the walk is in: 64 places side by side, the number of the first of them, and a
  /// bit for each member there that is not passed yet, the lowest for the one that the walk stands
  /// on; none at the end. Members added since the walk came into the word are looked for when these
  /// are through.
  Member const* members_ = &alone_;
  U32 first_ = ~U32{0};
  U64 rest_ = 1;
  /// The key that the walk stands on, without a value, where it is not to be read in the array any
  /// more.
  Member alone_{};
  /// Another walk in progress.
  IteratorConst* nextWalk_ = nullptr;
};

}  // namespace Kiv
