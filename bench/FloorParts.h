#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <optional>
#include <utility>
#include <vector>

#include "Commands.h"
#include "Kiv/Integers.h"
#include "Velto/IntfId.h"

namespace Bench {

/// What the work costs without any framework: one flat table in the order of insertion, a bitmap of
/// two levels for the tags, commands written by hand.
struct FloorParts {
  /// What a record keeps of an identifier, as in the library.
  using Kept = Velto::CompactIntfId;

  /// Members stand in an array; an open-addressing index, at most half full, holds hash and place
  /// of each. A member that is taken leaves a hole, but for the last one, until holes outnumber
  /// members. Nothing may be added or taken during a walk.
  template <class Value>
  class Table {
   public:
    std::size_t size() const { return live_; }
    /// Makes room for so many members in all, and a few more.
    void expect(std::size_t size) {
      members_.reserve(size + size / 8);
      if (std::size_t const slots = std::bit_ceil(2 * size); slots > slots_.size()) rebuild(slots);
    }
    Value* find(Velto::IntfId key) {
      std::size_t const slot = slotOf(key);
      return slot != none ? &members_[slots_[slot].place].value : nullptr;
    }
    /// The value at `key`, which is added when there is none.
    Value& at(Velto::IntfId key) {
      if (Value* const present = find(key)) return *present;
      if (2 * (live_ + 1) > slots_.size()) rebuild(std::max<std::size_t>(8, 2 * slots_.size()));
      enter(key.hash(), members_.size());
      ++live_;
      return members_.emplace_back(Member{key, {}, true}).value;
    }
    std::optional<Value> take(Velto::IntfId key) {
      std::size_t const slot = slotOf(key);
      if (slot == none) return std::nullopt;
      Member& member = members_[slots_[slot].place];
      member.live = false;
      std::optional<Value> taken(std::move(member.value));
      leave(slot);
      --live_;
      while (!members_.empty() && !members_.back().live) members_.pop_back();
      if (members_.size() > 2 * live_ + 16) {
        std::erase_if(members_, [](Member const& one) { return !one.live; });
        rebuild(slots_.size());
      }
      return taken;
    }
    template <class Visit>
    void forEach(Visit visit) const {
      for (Member const& member : members_) {
        if (member.live) visit(member.key, member.value);
      }
    }
    /// The keys, oldest first.
    std::vector<Velto::IntfId> keys() const {
      std::vector<Velto::IntfId> keys;
      keys.reserve(live_);
      forEach([&](Velto::IntfId key, Value const&) { keys.push_back(key); });
      return keys;
    }

   private:
    struct Member {
      Velto::IntfId key;
      Value value;
      bool live;
    };
    struct Slot {
      U32 hash = 0;
      U32 place = empty;
    };
    static constexpr U32 empty = ~U32{0};
    static constexpr std::size_t none = ~std::size_t{0};

    std::size_t mask() const { return slots_.size() - 1; }
    std::size_t homeOf(U32 hash) const { return hash >> shift_; }
    std::size_t slotOf(Velto::IntfId key) const {
      if (live_ == 0) return none;
      U32 const hash = key.hash();
      for (std::size_t slot = homeOf(hash); slots_[slot].place != empty;
           slot = (slot + 1) & mask()) {
        if (slots_[slot].hash == hash && members_[slots_[slot].place].key == key) return slot;
      }
      return none;
    }
    void enter(U32 hash, std::size_t place) {
      std::size_t slot = homeOf(hash);
      while (slots_[slot].place != empty) slot = (slot + 1) & mask();
      slots_[slot] = {hash, static_cast<U32>(place)};
    }
    /// Moves up what stands behind the slot and belongs before it.
    void leave(std::size_t hole) {
      for (std::size_t slot = (hole + 1) & mask(); slots_[slot].place != empty;
           slot = (slot + 1) & mask()) {
        std::size_t const home = homeOf(slots_[slot].hash);
        if (((slot - home) & mask()) < ((slot - hole) & mask())) continue;
        slots_[hole] = slots_[slot];
        hole = slot;
      }
      slots_[hole] = {};
    }
    void rebuild(std::size_t size) {
      slots_.assign(size, {});
      shift_ = static_cast<U32>(32 - std::countr_zero(size));
      for (std::size_t place = 0; place < members_.size(); ++place) {
        if (members_[place].live) enter(members_[place].key.hash(), place);
      }
    }

    std::vector<Member> members_;
    std::vector<Slot> slots_;
    std::size_t live_ = 0;
    U32 shift_ = 32;
  };
  template <class Value>
  using TableInOrder = Table<Value>;

  /// The pairs of tags of one port, each named by its first tag.
  class Tags {
   public:
    Tags() { free_.back() >>= 1U; }

    /// The lowest free pair, 0 when there is none.
    U32 take() {
      if (wordsWithFree_ == 0) return 0;
      auto const word = static_cast<U32>(std::countr_zero(wordsWithFree_));
      auto const bit = static_cast<U32>(std::countr_zero(free_[word]));
      free_[word] &= free_[word] - 1;
      if (free_[word] == 0) wordsWithFree_ &= wordsWithFree_ - 1;
      return 2 * (64 * word + bit) + 1;
    }
    void give(U32 tag) {
      U32 const pair = tag / 2;
      free_[pair / 64] |= U64{1} << pair % 64;
      wordsWithFree_ |= U32{1} << pair / 64;
    }

   private:
    std::array<U64, 32> free_ = [] {
      std::array<U64, 32> all;
      all.fill(~U64{0});
      return all;
    }();
    U32 wordsWithFree_ = ~U32{0};
  };

  using Command = ByHand;
};

}  // namespace Bench
