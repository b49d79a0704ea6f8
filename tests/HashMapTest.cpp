#include "Kiv/HashMap.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <random>

#include "Allocations.h"
#include "Velto/SubIntfId.h"

namespace {

using Velto::IntfId, Velto::SubIntfId;

/// The text is one that would not survive being moved to where it is.
struct Value {
  std::shared_ptr<int> held;
  std::string text;
  bool operator==(Value const&) const = default;
};

struct Member {
  IntfId key;
  Value value;
  bool live = true;
};

/// A collection and walks over it beside a model: every member there ever was, in the order of
/// insertion, and for each walk the place in it; a walk that has come to its end stays there. The
/// keys are of three groups, at first one behind the other.
TEST(HashMap, GeneratedHistoriesWithWalksInProgress) {
  for (U32 const keys : {3U, 30U, 2500U}) {
    std::mt19937 random(keys);
    auto map = std::make_unique<Kiv::HashMap<IntfId, Value>>();
    std::vector<Member> model;
    std::vector<std::pair<Kiv::HashMap<IntfId, Value>::IteratorConst, std::size_t>> walks;
    std::size_t const ended = ~std::size_t{0};
    auto const nextLive = [&](std::size_t at) {
      while (at < model.size() && !model[at].live) ++at;
      return at < model.size() ? at : ended;
    };
    // Only keys with hashes of one half, so that many a search goes on behind its first slot.
    std::vector<std::string> names;
    for (U32 next = 0; names.size() < keys; ++next) {
      std::string name = fmt::format("{}.{}", 3 * names.size() / keys, next);
      if (IntfId(name.c_str()).hash() >> 31U == 0) names.push_back(std::move(name));
    }
    for (U32 step = 0, newest = 0; step < 6000 + keys; ++step) {
      U32 const choice = step < keys ? 0 : static_cast<U32>(random() % 1000);
      U32 const drawn = choice % 4 == 0 ? newest : static_cast<U32>(random() % keys);
      U32 const number = step < keys ? step : drawn;
      IntfId key(names[number].c_str());
      // A few come without their parent's number.
      if (number % 100 == 0) key = SubIntfId::parentIntfId(IntfId((names[number] + ".1").c_str()));
      auto const member =
          std::ranges::find_if(model, [&](auto const& m) { return m.live && m.key == key; });
      bool const present = member != model.end();
      bool changed = false;
      U32 const version = map->version();
      // Grows and shrinks in turn, so that holes come to outnumber members.
      if (choice < (step / 600 % 2 == 0 ? 450 : 120)) {
        Value const value{std::make_shared<int>(), std::string(40, 'a')};
        map->valueIs(key, value);
        if (present) member->value = value;
        if (!present) model.push_back({key, value});
        changed = !present;
        newest = number;
      } else if (choice < 600) {
        ASSERT_EQ(map->valueDel(key), present ? member->value : Value());
        if (present) member->live = false;
        changed = present;
      } else if (choice < 602) {
        map->expect(static_cast<U32>(random()) % (2 * keys));
      } else if (choice < 630 && step / 500 % 3 == 0) {
        walks.clear();
      } else if (choice < 630) {
        walks.emplace_back(map->iteratorConst(), nextLive(0));
        if (choice % 3 == 0) walks.back() = walks[random() % walks.size()];
        if (walks.size() > 12) walks.erase(walks.begin());
      } else if (!walks.empty()) {
        auto& [walk, at] = walks[random() % walks.size()];
        if (walk) ++walk;
        if (at != ended) at = nextLive(at + 1);
        if (IntfId const group(std::to_string(choice % 6).c_str()); choice % 6 < 3) {
          auto const isOther = [&](IntfId one) { return SubIntfId::parentIntfId(one) != group; };
          while (at != ended && isOther(model[at].key)) at = nextLive(at + 1);
          ASSERT_EQ(walk.seek(SubIntfId::groupOfSubIntfs(group)), at != ended);
        }
      }
      ASSERT_EQ(map->version() != version, changed);
      for (auto const& [walk, at] : walks) {
        ASSERT_TRUE(at == ended ? !walk : walk && walk.key() == model[at].key) << "step " << step;
        ASSERT_TRUE(!walk || !model[at].live || walk.value() == model[at].value) << "step " << step;
      }
      auto all = map->iteratorConst();
      for (std::size_t at = nextLive(0); step % 100 == 0 && at != ended; at = nextLive(at + 1)) {
        ASSERT_TRUE(all && all.key() == model[at].key && all.value() == model[at].value);
        ASSERT_TRUE(map->has(model[at].key) && map->value(model[at].key) == model[at].value);
        ++all;
      }
      ASSERT_TRUE(step % 100 != 0 || !all);
      ASSERT_EQ(map->size(), std::ranges::count_if(model, &Member::live));
      // What was removed or overwritten has been let go.
      for (std::size_t at = 0; step % 100 == 0 && at < model.size(); ++at) {
        ASSERT_EQ(model[at].value.held.use_count(), model[at].live ? 2 : 1) << "step " << step;
      }
    }
    // A walk ends with its collection, and may be assigned to then.
    walks.emplace_back(map->iteratorConst(), 0);
    map.reset();
    for (auto& [walk, at] : walks) ASSERT_TRUE(!walk && !++walk);
    walks.front() = walks.back();
  }
}

TEST(HashMap, EndlesslyManyKeysComeAndGoBehindTheOthers) {
  std::mt19937 random;
  Kiv::HashMap<U32, U32> map;
  for (U32 key = 0; key < 30; ++key) map.valueIs(key, key);
  auto const other = [&] { return static_cast<U32>(random()) | 0x80000000U; };
  // Were all slots used up by those that are gone, a search would find no end.
  for (U32 time = 0; time < 10000; ++time) {
    U32 const key = other();
    map.valueIs(key, time);
    ASSERT_EQ(map.valueDel(key), time);
  }
  // The same while a walk stands where they go.
  for (U32 time = 0; time < 1000; ++time) {
    U32 const gone = other(), next = other();
    map.valueIs(gone, time);
    auto walk = map.iteratorConst();
    while (walk.key() != gone) ++walk;
    map.valueDel(gone);
    map.valueIs(next, time);
    ASSERT_TRUE(walk.key() == gone && ++walk && walk.key() == next && map.value(next) == time);
    map.valueDel(next);
  }
  EXPECT_EQ(map.size(), 30U);
}

/// Room for one more is room for one that comes and goes for ever, and room for two mostly for two.
TEST(HashMap, RoomOfThoseThatComeAndGoIsFreeAgain) {
  U32 larger = 0;
  for (U32 key = 100; key < 300; ++key) {
    Kiv::HashMap<U32, U32> map;
    for (U32 present = 0; present < 30; ++present) map.valueIs(present, present);
    std::size_t const made = Allocations::made;
    for (U32 time = 0; time < 10; ++time) map.valueIs(key, time), map.valueDel(key);
    ASSERT_EQ(Allocations::made, made) << key;
    for (U32 time = 0; time < 100; ++time) {
      map.valueIs(key, time), map.valueIs(key + 1, time);
      map.valueDel(key), map.valueDel(key + 1);
    }
    larger += Allocations::made != made ? 1 : 0;
  }
  EXPECT_LT(larger, 60U);
}

/// Wherever a member stands, and whatever hole there is, it is found, and found once; also where
/// one of another group was passed over before.
TEST(HashMap, AWalkSeeksInEveryPlace) {
  U32 const group = SubIntfId::groupOfSubIntfs(IntfId("b"));
  for (U32 at = 0; at < 200; ++at) {
    Kiv::HashMap<IntfId, U32> map;
    auto const key = [at](U32 number) {
      return IntfId(fmt::format("{}.{}", number == at ? "b" : "a", number).c_str());
    };
    for (U32 number = 0; number <= 200; ++number) map.valueIs(key(number), number);
    map.valueDel(key((at + 100) % 200));
    auto walk = map.iteratorConst();
    // With memory for its notes, and without.
    Allocations::failAt = at % 2;
    bool const found = walk.seek(group);
    Allocations::failAt = 0;
    ASSERT_TRUE(found && walk.value() == at && (++walk).value() == at + 1) << at;
    ASSERT_FALSE(walk.seek(group)) << at;
  }
  // Their hashes are of one quarter, so that many a search goes on behind its first slot.
  std::vector<IntfId> others, ones;
  for (U32 next = 0; ones.size() < 300; ++next) {
    auto const one = IntfId(fmt::format("{}.{}", next % 2 == 0 ? "a" : "b", next).c_str());
    if (one.hash() >> 30U == 0) (next % 2 == 0 ? others : ones).push_back(one);
  }
  for (U32 time = 0; time < 2000; ++time) {
    Kiv::HashMap<IntfId, U32> map;
    for (U32 place = 0; place < 191; ++place) map.valueIs(others[place], place);
    IntfId const other = others[191 + time % (others.size() - 191)], one = ones[time % 300];
    map.valueIs(other, time);
    ASSERT_FALSE(map.iteratorConst().seek(group));
    map.valueDel(other), map.valueIs(one, time);
    ASSERT_TRUE(map.iteratorConst().seek(group)) << time;
  }
}

TEST(HashMap, InsertionThatFailsChangesNothing) {
  Kiv::HashMap<U32, U32> map;
  U32 failures = 0;
  for (U32 size = 0, failAt = 1; size < 300;) {
    U32 const version = map.version();
    Allocations::failAt = failAt;
    try {
      map.valueIs(size, size);
      ++size, failAt = 1;
    } catch (std::bad_alloc const&) {
      ++failures, ++failAt;
      ASSERT_TRUE(map.version() == version && !map.has(size));
    }
    // Overwriting takes no room.
    Allocations::failAt = 1;
    if (size != 0) map.valueIs(0, 0);
    Allocations::failAt = 0;
    U32 next = 0;
    for (auto walk = map.iteratorConst(); walk; ++walk, ++next) ASSERT_EQ(map.value(next), next);
    ASSERT_TRUE(next == size && map.size() == size);
  }
  EXPECT_GT(failures, 10U);
  for (U32 const failAt : {1U, 2U, 3U}) {
    Allocations::failAt = failAt;
    ASSERT_THROW(map.expect(900), std::bad_alloc);
    ASSERT_TRUE(map.size() == 300 && map.value(299) == 299);
  }
  Allocations::failAt = 0;
  map.expect(900);
  Allocations::failAt = 1;
  for (U32 size = 300; size < 900; ++size) map.valueIs(size, size);
  // Without memory, the holes are the room.
  for (U32 first = 0; first < 5; ++first) {
    for (U32 key = first; key < 900; key += 5) map.valueDel(key);
    for (U32 key = first; key < 900; key += 5) map.valueIs(key, key);
  }
  Allocations::failAt = 0;
  // To expect one after the other takes no more than growing does.
  std::size_t const made = Allocations::made;
  for (U32 size = 900; size < 80000; map.valueIs(size, size), ++size) map.expect(size + 1);
  EXPECT_LT(Allocations::made - made, 25U);
  for (U32 key = 0; key < 80000; ++key) ASSERT_TRUE(map.has(key) && !map.has(key + 80000)) << key;
}

}  // namespace
