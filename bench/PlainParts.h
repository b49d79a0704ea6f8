#pragma once

#include <algorithm>
#include <bitset>
#include <optional>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Commands.h"
#include "Kiv/Integers.h"
#include "Velto/IntfId.h"

namespace Bench {

/// What a careful engineer takes from the standard library in an afternoon: hash tables, a bitset
/// for the tags, `snprintf` for the commands. Where the order of a table can be seen from outside,
/// its members carry a number that says which came first.
struct PlainParts {
  /// What a record keeps of an identifier.
  using Kept = Velto::IntfId;

  struct Hash {
    std::size_t operator()(Velto::IntfId intfId) const noexcept { return intfId.hash(); }
  };

  template <class Value, bool inOrder>
  class AnyTable {
   public:
    std::size_t size() const { return members_.size(); }
    /// No room is made ahead.
    void expect(std::size_t /*size*/) const {}
    Value* find(Velto::IntfId key) {
      auto const found = members_.find(key);
      return found != members_.end() ? &found->second.value : nullptr;
    }
    /// The value at `key`, which is added when there is none.
    Value& at(Velto::IntfId key) {
      auto const [member, added] = members_.try_emplace(key);
      if constexpr (inOrder) {
        if (added) member->second.since = ++clock_;
      }
      return member->second.value;
    }
    std::optional<Value> take(Velto::IntfId key) {
      auto const found = members_.find(key);
      if (found == members_.end()) return std::nullopt;
      std::optional<Value> taken(std::move(found->second.value));
      members_.erase(found);
      return taken;
    }
    template <class Visit>
    void forEach(Visit visit) const {
      for (auto const& [key, member] : members_) visit(key, member.value);
    }
    /// The keys, oldest first where the table is in order.
    std::vector<Velto::IntfId> keys() const {
      std::vector<std::pair<U64, Velto::IntfId>> numbered;
      numbered.reserve(members_.size());
      for (auto const& [key, member] : members_) {
        if constexpr (inOrder) {
          numbered.emplace_back(member.since, key);
        } else {
          numbered.emplace_back(0, key);
        }
      }
      if (inOrder) std::sort(numbered.begin(), numbered.end());
      std::vector<Velto::IntfId> keys;
      keys.reserve(numbered.size());
      for (auto const& [since, key] : numbered) keys.push_back(key);
      return keys;
    }

   private:
    struct Plain {
      Value value{};
    };
    struct Numbered {
      Value value{};
      U64 since = 0;
    };
    std::unordered_map<Velto::IntfId, std::conditional_t<inOrder, Numbered, Plain>, Hash> members_;
    U64 clock_ = 0;
  };

  template <class Value>
  using Table = AnyTable<Value, false>;
  template <class Value>
  using TableInOrder = AnyTable<Value, true>;

  /// The pairs of tags of one port, each named by its first tag.
  class Tags {
   public:
    /// The lowest free pair, 0 when there is none.
    U32 take() {
      std::size_t const pair = free_._Find_first();
      if (pair == free_.size()) return 0;
      free_.reset(pair);
      return static_cast<U32>(2 * pair + 1);
    }
    void give(U32 tag) { free_.set(tag / 2); }

   private:
    std::bitset<2047> free_ = std::bitset<2047>().set();
  };

  using Command = Snprintf;
};

}  // namespace Bench
