#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Bench.h"
#include "Kiv/HashMap.h"
#include "Programs.h"
#include "Velto/IntfId.h"
#include "Work.h"

#if __has_include(<boost/unordered/unordered_flat_map.hpp>)
#include <boost/unordered/unordered_flat_map.hpp>
#define HAS_BOOST
#endif
#if __has_include(<absl/container/flat_hash_map.h>)
#include <absl/container/flat_hash_map.h>
#define HAS_ABSL
#endif

namespace Bench {

namespace {

using Key = Velto::IntfId;
using Value = Velto::IntfId;

struct Hash {
  std::size_t operator()(Key key) const noexcept { return key.hash(); }
};
/// One that boost need not mix again.
struct MixedHash {
  using is_avalanching = void;
  std::size_t operator()(Key key) const noexcept { return key.hash() * 0x9E3779B97F4A7C15U; }
};

struct Ours {
  Kiv::HashMap<Key, Value> map;

  Value const* find(Key key) const { return map.find(key); }
  void insert(Key key, Value value) { map.valueIs(key, value); }
  void erase(Key key) { map.valueDel(key); }
  template <class Visit>
  void keys(Visit visit) const {
    for (auto walk = map.iteratorConst(); walk; ++walk) visit(walk.key());
  }
  template <class Visit>
  void members(Visit visit) const {
    for (auto walk = map.iteratorConst(); walk; ++walk) visit(walk.key(), walk.value());
  }
};

template <class Map>
struct Peer {
  Map map;

  Value const* find(Key key) const {
    auto const found = map.find(key);
    return found != map.end() ? &found->second : nullptr;
  }
  void insert(Key key, Value value) { map.emplace(key, value); }
  void erase(Key key) { map.erase(key); }
  template <class Visit>
  void keys(Visit visit) const {
    for (auto const& [key, value] : map) visit(key);
  }
  template <class Visit>
  void members(Visit visit) const {
    for (auto const& [key, value] : map) visit(key, value);
  }
};

constexpr U32 largest = 131072;

std::vector<Key> keys(U32 count) {
  std::vector<Key> all;
  for (U32 number = 0; number < count; ++number) all.push_back(subIntf(0, number).proxy);
  return all;
}

/// A map of `size` members, and as many keys that are not in it. Which of the identifiers, all of
/// which follow one another, are in it is drawn, and so is the order in which `next` names places.
/// As many of its members have been replaced, as in a map that is in use. `number` tells apart
/// several of one size, each with draws of its own.
template <class Map>
struct Filled {
  Filled(U32 size, U32 number) : places(std::max(size, U32{1} << 14U) + 1) {
    static std::vector<Key> const known = keys(2 * largest);
    std::mt19937 random(size + number);
    std::vector<Key> all(known.begin(), known.begin() + 2 * std::ptrdiff_t{size});
    std::shuffle(all.begin(), all.end(), random);
    present.assign(all.begin(), all.begin() + size);
    absent.assign(all.begin() + size, all.end());
    for (Key const key : present) map.insert(key, key);
    for (U32& place : places) place = static_cast<U32>(random() % size);
    for (U32 time = 0; time < size; ++time) replace();
  }

  U32 next() noexcept {
    if (++at == places.size()) at = 0;
    return places[at];
  }
  /// One member goes and another key comes.
  void replace() {
    Key& gone = present[next()];
    Key& come = absent[next()];
    map.erase(gone);
    map.insert(come, come);
    std::swap(gone, come);
  }

  Map map;
  std::vector<Key> present;
  std::vector<Key> absent;
  std::vector<U32> places;
  std::size_t at = 0;
};

template <class Map>
struct Shared {
  Shared(U32 size, Turn turn) : filled(worldOf<Filled<Map>>(size, turn.next(size))) {}
  Filled<Map>& filled;
};

using Std = Shared<Peer<std::unordered_map<Key, Value, Hash>>>;
#ifdef HAS_BOOST
using Boost = Shared<Peer<boost::unordered_flat_map<Key, Value, MixedHash>>>;
#else
using Boost = void;
#endif
#ifdef HAS_ABSL
using Absl = Shared<Peer<absl::flat_hash_map<Key, Value, Hash>>>;
#else
using Absl = void;
#endif

template <class Once>
void registerJob(std::string const& name, U32 size, Goal goal, double per, Once once) {
  Registration({.name = fmt::format("collection of {}: {}", size, name), .per = per},
               contender<Shared<Ours>>("Kiv::HashMap", once, size, Turn()))
      .beside(goal, {contender<Boost>("boost::unordered_flat_map", once, size, Turn()),
                     contender<Absl>("absl::flat_hash_map", once, size, Turn()),
                     contender<Std>("std::unordered_map", once, size, Turn())});
}

}  // namespace

void registerMapBenchmarks() {
  for (U32 const size : {64U, 2047U, largest}) {
    bool const isLarge = size == largest;
    registerJob("hit", size, isLarge ? Goal{1.5, 2} : Goal{1.0, 1.2}, 1, [](auto& shared) {
      auto& filled = shared.filled;
      auto value = *filled.map.find(filled.present[filled.next()]);
      benchmark::DoNotOptimize(value);
    });
    registerJob("miss", size, isLarge ? Goal{2, 4} : Goal{1.2, 1.5}, 1, [](auto& shared) {
      auto& filled = shared.filled;
      auto const* found = filled.map.find(filled.absent[filled.next()]);
      benchmark::DoNotOptimize(found);
    });
    registerJob("remove, insert", size, isLarge ? Goal{2, 3} : Goal{1.4, 2}, 1,
                [](auto& shared) { shared.filled.replace(); });
    // A walk compares, which costs next to nothing: a multiplication for each member would hide in
    // the time that a list waits for its next node, and not elsewhere.
    Goal const walk = isLarge ? Goal{0.3, 0.5} : Goal{0.6, 1};
    registerJob("walk, keys", size, walk, size, [](auto& shared) {
      U32 found = 0;
      Key const wanted = shared.filled.present.front();
      shared.filled.map.keys([&](Key key) { found += key == wanted ? 1 : 0; });
      benchmark::DoNotOptimize(found);
    });
    registerJob("walk, keys and values", size, walk, size, [](auto& shared) {
      U32 found = 0;
      shared.filled.map.members([&](Key key, Value value) { found += key == value ? 1 : 0; });
      benchmark::DoNotOptimize(found);
    });
  }
}

}  // namespace Bench
