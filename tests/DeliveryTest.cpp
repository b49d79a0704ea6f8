#include "Kiv/Delivery.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <map>
#include <random>
#include <sstream>

#include "Allocations.h"
#include "Kiv/Trace.h"
#include "MacsecProxy/Config.h"
#include "Velto/SubIntfId.h"

namespace {

using namespace std::string_literals;
using Kiv::Delivery, Kiv::Ptr, MacsecProxy::Config, Velto::IntfId;

/// A notifiee whose registration anybody may move.
class Notifiee : public Config::NotifieeConst {
 public:
  explicit Notifiee(Ptr<Config> const& config, U32 interest = Kiv::everyGroup) {
    interestIs(interest);
    watch(config);
    isRegisteredNotifieeIs(true);
    hasNotificationActiveIs(true);
  }
  void watch(Ptr<Config> const& config) { notifierIs(config); }

 protected:
  template <class Class, class Handle>
  void inRowIs(Handle handle) {
    hasNotificationActiveIs(false);
    toldInRowIs<Class, NotifieeConst, IntfId, &NotifieeConst::onProxyConfig>(handle);
    hasNotificationActiveIs(true);
  }
};

/// Two configurations, notifiees with names of one letter, one log of what happens to them, and
/// what is to be done when it does.
///
/// The log: "Ax=k" is A told of key x while x has client k, "Ax-" A told of x while there is no
/// such entry, "!A" A's `onNotificationException`, "0A" A's `onZeroReferences`, "~A" A's
/// destruction, "!!what" an exception that a change raised.
///
/// Steps: "x=k" sets key x to client k and "x-" removes it (key z belongs to the second
/// configuration, all others to the first), "+A" makes a notifiee, registered and active, and "-A"
/// lets it go, "A." unregisters it and "A:" registers it, "A0" deactivates it and "A1" activates
/// it, "A>" points it at the second configuration, "!!what" raises an exception, and "[WORD STEPS]"
/// has steps done once, when that word comes into the log.
class World {
 public:
  /// With `interests`, those told each by itself have an interest in the keys without a parent, as
  /// all are.
  explicit World(bool interests = false) : interests_(interests) {}

  void run(std::string const& steps) {
    std::istringstream words(steps);
    for (std::string word; words >> word;) {
      char const who = word[0], what = word[1];
      if (who == '!') throw std::runtime_error(word);
      if (who == '[') {
        std::getline(words, when_[word.substr(1)], ']');
      } else if (who == '+') {
        probes_[what] = make(what);
      } else if (who == '-') {
        probes_.erase(what);
      } else if (what == '.' || what == ':') {
        probes_[who]->isRegisteredNotifieeIs(what == ':');
      } else if (what == '0' || what == '1') {
        probes_[who]->hasNotificationActiveIs(what == '1');
      } else if (what == '>') {
        probes_[who]->watch(elsewhere);
      } else {
        change(*(who == 'z' ? elsewhere : config), word);
      }
    }
  }

  Ptr<Config> const config = Config::ConfigIs(), elsewhere = Config::ConfigIs();
  std::string log;

 private:
  class Probe : public Notifiee {
   public:
    Probe(World& world, char name, U32 interest = Kiv::everyGroup)
        : Notifiee(world.config, interest), name_(1, name), world_(world) {}
    ~Probe() override { world_.note('~' + name_); }
    void onProxyConfig(IntfId key) override {
      auto const entry = static_cast<Config const&>(*notifier()).proxyConfig(key);
      std::ostringstream word;
      word << name_ << key << (entry ? '=' : '-') << (entry ? entry->clientIntfId() : IntfId());
      world_.note(word.str());
    }
    void onNotificationException() override { world_.note('!' + name_); }
    void onZeroReferences() override { world_.note('0' + name_); }

   protected:
    std::string name_;

   private:
    World& world_;
  };

  /// Names go in pairs: one pair is told in the loop of one class, the next in that of another, the
  /// third each by itself.
  static int kindOf(char name) { return name / 2 % 3; }
  template <int kind>
  class InRow final : public Probe {
   public:
    InRow(World& world, char name) : Probe(world, name) {
      inRowIs<InRow>([](InRow& one, IntfId key) { one.onProxyConfig(key); });
    }
    void onProxyConfig(IntfId key) override {
      EXPECT_EQ(kindOf(name_[0]), kind);
      Probe::onProxyConfig(key);
    }
  };
  Ptr<Probe> make(char name) {
    if (kindOf(name) == 0) return Kiv::makeNew<InRow<0>>(*this, name);
    if (kindOf(name) == 1) return Kiv::makeNew<InRow<1>>(*this, name);
    return Kiv::makeNew<Probe>(*this, name, interests_ ? IntfId().group() : Kiv::everyGroup);
  }

  void change(Config& entity, std::string const& word) try {
    IntfId const key(Kiv::String(word.c_str(), 1));
    if (word[1] == '-') entity.proxyConfigDel(key);
    if (word[1] == '=') entity.proxyConfigIs(key, IntfId(), IntfId(word.c_str() + 2));
  } catch (std::exception const& error) {
    note(error.what());
  }

  void note(std::string const& word) {
    log += log.empty() ? word : ' ' + word;
    if (auto const steps = when_.extract(word)) run(steps.mapped());
  }

  bool interests_;
  std::map<std::string, std::string> when_;
  std::map<char, Ptr<Probe>> probes_;
};

/// Notifiees A, B and C stand in the order in which they are told. Those who come later are told
/// after them, and before them when the order is reversed.
struct Case {
  char const* steps;
  std::string log;
  std::string reverseLog = log;
};

Case const cases[] = {
    // Each change is told once, a replacement is two, a change of nothing none.
    {"x=k x=k x=m x- x-", "Ax=k Bx=k Cx=k Ax- Bx- Cx- Ax=m Bx=m Cx=m Ax- Bx- Cx-"},
    // Told is who is registered and active when the change is made ...
    {"A0 B. x=k A1 B: y=k", "Cx=k Ay=k Cy=k By=k", "Cx=k By=k Ay=k Cy=k"},
    // ... and not who registers or is activated during the delivery,
    {"+D D0 [Bx=k D1 +E] x=k y=k", "Ax=k Bx=k Cx=k Ay=k By=k Cy=k Dy=k Ey=k",
     "Ax=k Bx=k Cx=k Ey=k Dy=k Ay=k By=k Cy=k"},
    // nor who is deactivated meanwhile, and be it for a moment,
    {"[Bx=k A0 C0] x=k y=k", "Ax=k Bx=k By=k"},
    {"[Bx=k A0 C0 A1 C1] x=k y=k", "Ax=k Bx=k Ay=k By=k Cy=k"},
    {"[Bx=k A1 A: C1 C:] x=k", "Ax=k Bx=k Cx=k"},
    // is unregistered, comes back at the end of the list, or watches something else by now,
    {"[Bx=k A. C.] x=k y=k", "Ax=k Bx=k By=k"},
    {"[Bx=k A. C. A: C:] x=k y=k", "Ax=k Bx=k By=k Ay=k Cy=k", "Ax=k Bx=k Cy=k Ay=k By=k"},
    {"[Bx=k C>] x=k y=k z=k", "Ax=k Bx=k Ay=k By=k Cz=k"},
    // or is destroyed; a handler may destroy its own notifiee and goes on.
    {"[Bx=k -A -C] x=k y=k", "Ax=k Bx=k 0A ~A 0C ~C By=k"},
    {"[Bx=k -B -C -A] x=k y=k", "Ax=k Bx=k 0C ~C 0A ~A 0B ~B"},
    // Not even its own last change reaches a notifiee that is being destroyed.
    {"[~A x=k] -A", "0A ~A Bx=k Cx=k"},
    // A nested change waits for the deliveries before it, whatever it is made to.
    {"+D D> [Ax=k z=k y=k] [Dz=k x-] [Ay=k w=k y-] x=k",
     "Ax=k Bx=k Cx=k Dz=k Ay=k By=k Cy=k Ax- Bx- Cx- Aw=k Bw=k Cw=k Ay- By- Cy-"},
    // At a key with a delivery still to come it is made after that delivery.
    {"[Bx=k x=m x- x=n x=n] [Bx- x=j] x=k",
     "Ax=k Bx=k Cx=k Ax- Bx- Cx- Ax=m Bx=m Cx=m Ax- Bx- Cx- Ax=n Bx=n Cx=n "
     "Ax- Bx- Cx- Ax=j Bx=j Cx=j"},
    {"[Bx=k x=k y-] x=k", "Ax=k Bx=k Cx=k"},
    {"x=k [Ax- y=k] x=m", "Ax=k Bx=k Cx=k Ax- Bx- Cx- Ax=m Bx=m Cx=m Ay=k By=k Cy=k"},
    {"[Bx=k x- +D] x=k", "Ax=k Bx=k Cx=k Ax- Bx- Cx- Dx-", "Ax=k Bx=k Cx=k Dx- Ax- Bx- Cx-"},
    // It is heard by those who were there when it was made and still are.
    {"[Bx=k +D y=k +E A0 -C] x=k w=k", "Ax=k Bx=k 0C ~C By=k Dy=k Bw=k Dw=k Ew=k",
     "Ax=k Bx=k 0C ~C Dy=k By=k Ew=k Dw=k Bw=k"},
    {"[Bx=k y=k A. A:] x=k", "Ax=k Bx=k Cx=k By=k Cy=k"},
    // An exception keeps nobody from hearing; the first goes to who made the outermost change.
    {"[Ax=k !!first] [Cx=k !!second] x=k y=k", "Ax=k !A Bx=k Cx=k !C !!first Ay=k By=k Cy=k"},
    {"[Ax=k y=k] [By=k -B !!nested] [Cy=k !!later] x=k",
     "Ax=k Bx=k Cx=k Ay=k By=k !B 0B ~B Cy=k !C !!nested"},
    // One that a removal raises does not lose the addition that replaces what is removed.
    {"[Bx- !!removal] [Bx=m !!addition] x=k x=m",
     "Ax=k Bx=k Cx=k Ax- Bx- !B Cx- Ax=m Bx=m !B Cx=m !!removal"},
};

/// Has `test` run in both orders of delivery, with interests and without.
template <class Test>
void inAllWays(Test test) {
  for (bool const interests : {false, true}) {
    test(false, interests);
    Delivery::orderIs(Delivery::Order::reverse);
    test(true, interests);
    Delivery::orderIs(Delivery::Order::registration);
  }
}

TEST(Delivery, ToldToTheLetter) {
  inAllWays([](bool reverse, bool interests) {
    for (Case const& c : cases) {
      World w(interests);
      w.run(reverse ? "+C +B +A" : "+A +B +C");
      w.run(c.steps);
      EXPECT_EQ(w.log, reverse ? c.reverseLog : c.log) << c.steps;
    }
  });
}

/// Writes down the keys that it is told of, those of patch sub-interfaces with a mark. What comes
/// through the loop for hearers beside each other gets another one, though the loop and the
/// operation are to do the same, so that it shows.
class Hearer final : public Notifiee {
 public:
  explicit Hearer(Ptr<Config> const& config, U32 interest = Kiv::everyGroup)
      : Notifiee(config, interest) {
    inRowIs<Hearer>([](Hearer& one, IntfId key) {
      one.heard += '>';
      one.onProxyConfig(key);
    });
  }

  void onProxyConfig(IntfId key) override {
    heard += key.stringValue().charPtr() + " "s;
    if (key == actsAt) act();
  }
  void onPatchIntf(IntfId key) override {
    heard += '*';
    onProxyConfig(key);
  }

  std::string heard;
  IntfId actsAt;
  std::function<void()> act;
};

TEST(Delivery, AnInterestInAGroupOfKeysWhileNothingIsTraced) {
  inAllWays([](bool reverse, bool /*interests*/) {
    Kiv::TraceHandle const handle("Any", false);
    auto const config = Config::ConfigIs();
    std::vector<Ptr<Hearer>> others;
    auto const make = [&] {
      while (others.size() % 50 != 4) {
        IntfId const other(fmt::format("z{}", others.size()).c_str());
        others.push_back(Kiv::makeNew<Hearer>(config, Velto::SubIntfId::groupOfSubIntfs(other)));
      }
      return others.emplace_back(Kiv::makeNew<Hearer>(config, Kiv::everyGroup));
    };
    auto const everything = make();
    auto const ports = Kiv::makeNew<Hearer>(config, Velto::SubIntfId::groupOfSubIntfs(IntfId()));
    make();
    auto const ofA = Kiv::makeNew<Hearer>(config, Velto::SubIntfId::groupOfSubIntfs(IntfId("a")));
    auto const change = [&] {
      for (char const* key : {"a", "a.1", "b.1", "a.1.2"}) config->proxyConfigDel(IntfId(key));
      for (char const* key : {"a", "a.1", "b.1", "a.1.2"}) {
        config->proxyConfigIs(IntfId(key), IntfId(), IntfId());
      }
      return std::exchange(everything->heard, "") + '|' + std::exchange(ofA->heard, "") + '|' +
             std::exchange(ports->heard, "");
    };
    EXPECT_EQ(change(), "a a.1 b.1 a.1.2 |a.1 |a ");
    EXPECT_EQ(std::ranges::count_if(others, [](auto const& o) { return !o->heard.empty(); }), 1);
    Kiv::Trace::levelIs("Any", 3, true);
    std::string const all = "a a.1 b.1 a.1.2 a a.1 b.1 a.1.2 ";
    EXPECT_EQ(change(), all + '|' + all + '|' + all);
    Kiv::Trace::levelIs("Any", 3, false);
    EXPECT_EQ(change(), all + "|a.1 a.1 |a a ");
    everything->act = [] { Kiv::Trace::levelIs("Any", 3, true); };
    everything->actsAt = IntfId("b.1");
    std::string const from = (reverse ? "" : "b.1 ") + "a.1.2 a a.1 b.1 a.1.2 "s;
    EXPECT_EQ(change(), all + "|a.1 " + from + "|a " + from);
    Kiv::Trace::levelIs("Any", 3, false);
    everything->actsAt = IntfId();
    // So many go that the last of those who stay move to where the others had been.
    others.erase(others.begin() + 31, others.end());
    others.erase(others.begin() + 5);
    others.erase(others.begin(), others.begin() + 4);
    EXPECT_EQ(change(), all + "|a.1 a.1 |a a ");
    others.back()->heard.clear();
    Kiv::Trace::levelIs("Any", 3, true);
    EXPECT_EQ(change() + others.back()->heard, all + '|' + all + '|' + all + all);
    Kiv::Trace::levelIs("Any", 3, false);
  });
}

TEST(Delivery, NeighboursOfOneClassAreToldInOneLoop) {
  auto const config = Config::ConfigIs();
  std::vector<Ptr<Hearer>> hearers;
  while (hearers.size() < 3) hearers.push_back(Kiv::makeNew<Hearer>(config));
  // The loop ends with who disturbs, is not for other operations, nor for a list with interests.
  // Another order is for the deliveries to come.
  hearers[0]->actsAt = IntfId("b");
  hearers[0]->act = [&] {
    hearers.push_back(Kiv::makeNew<Hearer>(config));
    Delivery::orderIs(Delivery::Order::drawn, 2);
  };
  for (char const* key : {"a", "b", "c"}) {
    config->proxyConfigIs(IntfId(key), IntfId(), IntfId());
    Delivery::orderIs(Delivery::Order::registration);
  }
  config->patchIntfIs(IntfId("p"), IntfId());
  auto const other = Kiv::makeNew<Hearer>(config, Velto::SubIntfId::groupOfSubIntfs(IntfId("z")));
  config->proxyConfigIs(IntfId("d"), IntfId(), IntfId());
  std::string all;
  for (auto const& hearer : hearers) all += hearer->heard + '|';
  EXPECT_EQ(all, ">a >b >c *p d |>a b >c *p d |>a b >c *p d |>c *p d |");
}

TEST(Delivery, WhatIsLeftOfANotifieeIsToldByItself) {
  struct Returning : Notifiee {
    Returning(Ptr<Config> const& config, int& told)
        : Notifiee(config), config_(config), told_(told) {}
    ~Returning() override {
      isRegisteredNotifieeIs(false);
      isRegisteredNotifieeIs(true);
      config_->proxyConfigIs(IntfId("a"), IntfId(), IntfId());
    }
    void onProxyConfig(IntfId /*key*/) override { ++told_; }
    Ptr<Config> const config_;
    int& told_;
  };
  struct InRow final : Returning {
    InRow(Ptr<Config> const& config, int& told) : Returning(config, told) {
      inRowIs<InRow>([](InRow& /*gone*/, IntfId /*key*/) { ADD_FAILURE(); });
    }
  };
  int told = 0;
  Kiv::makeNew<InRow>(Config::ConfigIs(), told);
  EXPECT_EQ(told, 1);
}

TEST(Delivery, ANewMemberIsAChangeAlsoWhenItsValueIsBlank) {
  auto const config = Config::ConfigIs();
  auto const hearer = Kiv::makeNew<Hearer>(config, Kiv::everyGroup);
  for (char const* patch : {"", "", "p", "p", ""}) config->patchIntfIs(IntfId("a"), IntfId(patch));
  config->patchIntfIs(IntfId("b"), IntfId());
  EXPECT_EQ(hearer->heard, "*a *a *a *b ");
}

TEST(Delivery, AnEntityLivesUntilItsChangeIsTold) {
  auto config = Config::ConfigIs();
  auto const hearer = Kiv::makeNew<Hearer>(config);
  U64 const live = Config::kivAllocTrackTypeInfo_.live();
  hearer->actsAt = IntfId("a");
  hearer->act = [&] {
    hearer->watch(nullptr);
    config = nullptr;
    EXPECT_EQ(Config::kivAllocTrackTypeInfo_.live(), live);
  };
  config->patchIntfIs(hearer->actsAt, IntfId());
  EXPECT_EQ(Config::kivAllocTrackTypeInfo_.live(), live - 1);
}

std::string const all = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

/// Many notifiees that come and go during deliveries, against the list of who should be told.
TEST(Delivery, GeneratedComingAndGoing) {
  inAllWays([](bool reverse, bool interests) {
    World w(interests);
    std::string registered = all;
    for (char const name : all) w.run({'+', name});
    std::mt19937 random(1);
    for (int round = 0; round < 300; ++round) {
      // One of those told makes and lets go many, itself maybe among them.
      char const actor = registered[random() % registered.size()];
      std::string moved, gone, last, expected, steps{'[', actor, 'x', '=', 'k'};
      std::ranges::sample(all, std::back_inserter(moved), 40, random);
      std::string told = registered;
      if (reverse) std::ranges::reverse(told);
      for (char const name : told) {
        if (gone.find(name) != std::string::npos) continue;
        expected += {name, 'x', '=', 'k', ' '};
        for (char const n : name == actor ? moved : "") {
          bool const goes = std::erase(registered, n) != 0;
          steps += {' ', goes ? '-' : '+', n};
          (goes ? gone : registered) += n;
          if (goes) (n == actor ? last : expected) += {'0', n, ' ', '~', n, ' '};
        }
        expected += std::exchange(last, "");
      }
      w.log.clear();
      w.run(steps + "] x=k");
      ASSERT_EQ(w.log + ' ', expected) << "round " << round;
      ASSERT_EQ(w.config->notifieeList()->size(), registered.size());
      w.run("x-");
    }
  });
}

TEST(Delivery, ADrawnOrderIsAnotherOneAndTellsEachOnce) {
  World w;
  for (char const name : all) w.run({'+', name});
  Delivery::orderIs(Delivery::Order::drawn, 1);
  w.run("x=k x-");
  Delivery::orderIs(Delivery::Order::registration);
  std::string const drawn = std::exchange(w.log, "");
  w.run("x=k x-");
  EXPECT_NE(drawn, w.log);
  EXPECT_TRUE(std::ranges::is_permutation(drawn, w.log)) << drawn;
}

TEST(Delivery, AllocatesNothingForEachNotifiee) {
  IntfId const a("a"), b("b"), c("c");
  std::size_t expected = 0;
  for (std::size_t const notifiees : {1U, 1U, 0U, 8U, 64U}) {
    auto const config = Config::ConfigIs();
    std::vector<Ptr<Notifiee>> some;
    while (some.size() < notifiees) some.push_back(Kiv::makeNew<Notifiee>(config));
    std::size_t const before = Allocations::made;
    config->proxyConfigIs(a, b, c);
    config->proxyConfigIs(a, c, b);
    config->proxyConfigDel(a);
    // In the first round this thread's list of changes may grow.
    if (notifiees == 1) expected = Allocations::made - before;
    EXPECT_EQ(Allocations::made - before, expected) << notifiees;
  }
}

TEST(Delivery, ARegistrationThatFailsDisturbsNobody) {
  for (std::size_t const failAt : {1U, 2U, 3U}) {
    auto const config = Config::ConfigIs();
    // As many as there is room for.
    std::vector<Ptr<Hearer>> hearers;
    while (hearers.size() < 16) hearers.push_back(Kiv::makeNew<Hearer>(config));
    hearers[0]->actsAt = IntfId("a");
    hearers[0]->act = [&] {
      auto const newcomer = Kiv::makeNew<Hearer>(nullptr);
      newcomer->watch(config);
      Allocations::failAt = failAt;
      newcomer->isRegisteredNotifieeIs(true);
    };
    EXPECT_THROW(config->patchIntfIs(hearers[0]->actsAt, IntfId("p")), std::bad_alloc);
    for (auto const& hearer : hearers) EXPECT_EQ(hearer->heard, "*a ");
  }
}

/// Static objects go after all that belongs to the thread.
TEST(DeliveryDeathTest, AStaticObjectMayMakeChangesAtTheVeryEnd) {
  struct Last : World {
    ~Last() {
      run("x- [Ax=k y=k] x=k");
      std::_Exit(log == "Ax=k Ay=m Ax- Ax=k Ay- Ay=k" ? 0 : 1);
    }
  };
  EXPECT_EXIT(static Last last; last.run("+A [Ax=k y=m] x=k");
              std::exit(2), testing::ExitedWithCode(0), "");
}

/// A change that cannot be made for want of memory is told to nobody, also not later; where it
/// should replace something, that may be gone, which is told.
TEST(Delivery, ChangeThatFailsIsNotTold) {
  IntfId const x("x"), k("k");
  for (char const* before : {"x-", "x- x=j"}) {
    World w;
    w.run("+A");
    for (std::size_t failAt = 1;; ++failAt) {
      w.run(before);
      w.log.clear();
      bool const had = w.config->proxyConfigHas(x);
      Allocations::failAt = failAt;
      try {
        w.config->proxyConfigIs(x, IntfId(), k);
      } catch (std::bad_alloc const&) {
      }
      Allocations::failAt = 0;
      auto const entry = w.config->proxyConfig(x);
      if (entry && entry->clientIntfId() == k) break;
      ASSERT_EQ(w.log, had && !entry ? "Ax-" : "");
      w.log.clear();
      w.run("y=k y-");
      ASSERT_EQ(w.log, "Ay=k Ay-");
    }
  }
}

}  // namespace
