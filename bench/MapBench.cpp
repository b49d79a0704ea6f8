#include <algorithm>
#include <random>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Bench.h"
#include "Kiv/HashMap.h"
#include "Velto/IntfId.h"
#include "Work.h"
#include "World.h"

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

using Std = Peer<std::unordered_map<Key, Value, Hash>>;
#ifdef HAS_BOOST
using Boost = Peer<boost::unordered_flat_map<Key, Value, Hash>>;
#else
using Boost = void;
#endif
#ifdef HAS_ABSL
using Absl = Peer<absl::flat_hash_map<Key, Value, Hash>>;
#else
using Absl = void;
#endif

constexpr U32 largest = 131072;

std::vector<Key> keys(U32 count) {
  std::vector<Key> all;
  for (U32 number = 0; number < count; ++number) all.push_back(subIntf(0, number).proxy);
  return all;
}

/// A map of `size` members, and as many keys that are not in it. Which of the identifiers, all of
/// which follow one another, are in it is drawn, and so is the order in which `next` names places.
template <class Map>
struct Filled {
  explicit Filled(U32 size) : places(std::max(size, U32{1} << 14U)) {
    std::mt19937 random(size);
    static std::vector<Key> const known = keys(2 * largest);
    std::vector<Key> all(known.begin(), known.begin() + 2 * size);
    std::shuffle(all.begin(), all.end(), random);
    present.assign(all.begin(), all.begin() + size);
    absent.assign(all.begin() + size, all.end());
    for (Key const key : present) map.insert(key, key);
    for (U32& place : places) place = static_cast<U32>(random() % size);
  }

  U32 next() noexcept {
    if (++at == places.size()) at = 0;
    return places[at];
  }

  Map map;
  std::vector<Key> present;
  std::vector<Key> absent;
  std::vector<U32> places;
  std::size_t at = 0;
};

/// Runs `once` with a filled map.
template <class Map, class Once>
void loop(benchmark::State& state, U32 size, Once once) {
  Filled<Map> filled(size);
  for (auto _ : state) once(filled);
}

template <class Map>
struct Hit {
  static void run(benchmark::State& state, U32 size) {
    loop<Map>(state, size, [](Filled<Map>& filled) {
      auto value = *filled.map.find(filled.present[filled.next()]);
      benchmark::DoNotOptimize(value);
    });
  }
};

template <class Map>
struct Miss {
  static void run(benchmark::State& state, U32 size) {
    loop<Map>(state, size, [](Filled<Map>& filled) {
      auto const* found = filled.map.find(filled.absent[filled.next()]);
      benchmark::DoNotOptimize(found);
    });
  }
};

/// One member goes and another key comes.
template <class Map>
struct Churn {
  static void run(benchmark::State& state, U32 size) {
    loop<Map>(state, size, [](Filled<Map>& filled) {
      Key& gone = filled.present[filled.next()];
      Key& come = filled.absent[filled.next()];
      filled.map.erase(gone);
      filled.map.insert(come, come);
      std::swap(gone, come);
    });
  }
};

template <class Map>
struct WalkKeys {
  static void run(benchmark::State& state, U32 size) {
    loop<Map>(state, size, [](Filled<Map>& filled) {
      U32 sum = 0;
      filled.map.keys([&](Key key) { sum += key.hash(); });
      benchmark::DoNotOptimize(sum);
    });
  }
};

template <class Map>
struct WalkMembers {
  static void run(benchmark::State& state, U32 size) {
    loop<Map>(state, size, [](Filled<Map>& filled) {
      U32 sum = 0;
      filled.map.members([&](Key key, Value value) { sum += key.hash() ^ value.hash(); });
      benchmark::DoNotOptimize(sum);
    });
  }
};

template <template <class> class Job>
void registerJob(std::string const& name, U32 size, Goal goal, double per = 1) {
  Registration({.name = "collection of " + std::to_string(size) + ": " + name, .per = per},
               contender<Job, Ours>("Kiv::HashMap", size))
      .beside(goal, {contender<Job, Boost>("boost::unordered_flat_map", size),
                     contender<Job, Absl>("absl::flat_hash_map", size),
                     contender<Job, Std>("std::unordered_map", size)});
}

}  // namespace

void registerMapBenchmarks() {
  for (U32 const size : {64U, 2047U, largest}) {
    bool const large = size == largest;
    registerJob<Hit>("hit", size, large ? Goal{1.5, 2} : Goal{1.0, 1.2});
    registerJob<Miss>("miss", size, large ? Goal{2, 4} : Goal{1.2, 1.5});
    registerJob<Churn>("remove, insert", size, large ? Goal{2, 3} : Goal{1.4, 2});
    Goal const walk = large ? Goal{0.3, 0.5} : Goal{0.6, 1};
    registerJob<WalkKeys>("walk, keys", size, walk, size);
    registerJob<WalkMembers>("walk, keys and values", size, walk, size);
  }
}

}  // namespace Bench
