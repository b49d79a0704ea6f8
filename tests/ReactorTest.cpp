#include <gtest/gtest.h>

#include <type_traits>

#include "World.h"

namespace {

using Sm = MacsecProxyIntfSm;
static_assert(std::is_base_of_v<Config::NotifieeConst, MacsecProxySm::KivConfig>);
static_assert(std::is_base_of_v<Config::NotifieeConst, Sm::KivConfig>);
static_assert(std::is_base_of_v<DeviceIntfStatusDir::NotifieeConst, Sm::KivDeviceIntfStatusDir>);

class ReactorTest : public WorldTest {
 protected:
  /// Whether a change of `entity` makes anybody trace.
  template <class Entity>
  bool heard(Entity& entity) {
    trace();
    if constexpr (std::is_same_v<Entity, Config>) {
      entity.proxyConfigIs("et9.9"_intf, "et8.9"_intf, {});
      entity.proxyConfigDel("et9.9"_intf);
    } else {
      entity.intfStatusAndDeviceNameIs("et9"_intf, {"dev9"});
      entity.intfStatusAndDeviceNameDel("et9"_intf);
    }
    return !trace().empty();
  }

  /// Takes one attribute that is held by a reactor through its life. Only `sm` watches `first`.
  template <class Reactor, class Machine, class Entity>
  void bind(Machine& sm, Kiv::Ptr<Entity> const& first, Kiv::Ptr<Entity> const& second,
            Kiv::Ptr<Entity const> (Machine::*reader)() const,
            void (Machine::*is)(Kiv::Ptr<Entity const> const&),
            Kiv::Ptr<Entity const> (Machine::*del)()) {
    auto const name = [&](Kiv::Ptr<Entity const> const& entity) -> std::string {
      return entity == first ? "first" : entity == second ? "second" : "null";
    };
    // Which entity is bound, how many reactors there are and were made, who is watched and heard.
    auto const leads = [&](std::string const& expected, auto step) {
      auto const& reactors = Reactor::kivAllocTrackTypeInfo_;
      auto const before = reactors.allocated();
      step();
      EXPECT_EQ(
          fmt::format("{} {}+{} watches {}{} hears {:d}{:d}", name((sm.*reader)()), reactors.live(),
                      reactors.allocated() - before, first->notifieeList()->size(),
                      second->notifieeList()->size(), heard(*first), heard(*second)),
          expected);
    };
    leads("first 1+0 watches 10 hears 10", [&] { (sm.*is)(first); });
    leads("second 1+0 watches 01 hears 01", [&] { (sm.*is)(second); });
    leads("null 0+0 watches 00 hears 00", [&] { (sm.*is)(nullptr); });
    (sm.*is)(nullptr);
    leads("null 0+0 watches 00 hears 00", [&] { EXPECT_EQ(name((sm.*del)()), "null"); });
    leads("first 1+1 watches 10 hears 10", [&] { (sm.*is)(first); });
    leads("null 0+0 watches 00 hears 00", [&] { EXPECT_EQ(name((sm.*del)()), "first"); });
    sm.kivDoZombieReactors(true);
    leads("first 1+1 watches 10 hears 00", [&] { (sm.*is)(first); });
    leads("second 1+0 watches 01 hears 00", [&] { (sm.*is)(second); });
    leads("second 1+0 watches 01 hears 00", [&] { sm.kivDoZombieReactors(true); });
    leads("second 1+0 watches 01 hears 01", [&] { sm.kivDoZombieReactors(false); });
  }

  /// Takes one reactor of `owner` through its life.
  template <class Reactor, class Machine, class Entity>
  void live(Machine& owner, Kiv::Ptr<Entity> const& entity, void (Reactor::*slot)(IntfId)) {
    auto reactor = Kiv::makeNew<Reactor>(entity, &owner);
    // Registered, active, marked; whether it hears a change, and forwards what it is told.
    auto const leads = [&](std::string const& expected, auto step) {
      step();
      std::string const state = fmt::format("{}{:d}{:d} {:d}", entity->notifieeList()->size(),
                                            reactor->hasNotificationActive(),
                                            reactor->kivMarkedForDeletion(), heard(*entity));
      (*reactor.*slot)("et9.8"_intf);
      EXPECT_EQ(fmt::format("{}{:d}", state, !trace().empty()), expected);
    };
    leads("100 01", [] {});
    leads("110 11", [&] { reactor->hasNotificationActiveIs(true); });
    leads("010 01", [&] { reactor->notifierIs(status); });
    leads("011 00", [&] { reactor->kivDoZombieReactors(true); });
    reactor->kivDoZombieReactors(false);
    leads("110 11", [&] { reactor->notifierIs(entity); });
    leads("101 00", [&] { reactor->kivDoZombieReactors(true); });
    reactor->hasNotificationActiveIs(true);
    leads("111 00", [&] { reactor->kivDoZombieReactors(true); });
    EXPECT_EQ(reactor->owner(), &owner);
    reactor->ownerDel();
    EXPECT_EQ(reactor->owner(), nullptr);
  }
};

TEST_P(ReactorTest, AttributesAreBoundRePointedAndUnboundAndReactorsFollow) {
  start();
  live(*coordinator, Config::ConfigIs(), &MacsecProxySm::KivConfig::onProxyConfig);
  bind<MacsecProxySm::KivConfig>(*coordinator, config, Config::ConfigIs(), &MacsecProxySm::config,
                                 &MacsecProxySm::configIs, &MacsecProxySm::configDel);
  coordinator = nullptr;
  makeMachine("et1"_intf);
  EXPECT_TRUE(machine->hasNotificationActive());
  live(*machine, Config::ConfigIs(), &Sm::KivConfig::onProxyConfig);
  live(*machine, DeviceIntfStatusDir::DeviceIntfStatusDirIs(),
       &Sm::KivDeviceIntfStatusDir::onIntfStatusAndDeviceName);
  bind<Sm::KivConfig>(*machine, config, Config::ConfigIs(), &Sm::config, &Sm::configIs,
                      &Sm::configDel);
  bind<Sm::KivDeviceIntfStatusDir>(*machine, device, DeviceIntfStatusDir::DeviceIntfStatusDirIs(),
                                   &Sm::deviceIntfStatusDir, &Sm::deviceIntfStatusDirIs,
                                   &Sm::deviceIntfStatusDirDel);
}

TEST_P(ReactorTest, TheCoordinatorSwitchesEveryMachineOnceAndNobodyTwice) {
  play("+et1.1=et8.1 +et2.1=et8.2 +et3.1=et8.3");
  start();
  auto const sm = [&](IntfId port) { return coordinator->macsecProxyIntfSm(port); };
  // The coordinator and its machines; whether a configuration or a device name is heard of.
  auto const are = [&](std::string const& expected) {
    std::string states = fmt::format("{:d}", coordinator->hasNotificationActive());
    for (auto const port : {"et1"_intf, "et2"_intf, "et3"_intf}) {
      states += fmt::format("{:d}", sm(port)->hasNotificationActive());
    }
    EXPECT_EQ(fmt::format("{} {:d}{:d}", states, heard(*config), heard(*device)), expected);
  };
  are("1111 11");
  coordinator->hasNotificationActiveIs(false);
  are("0000 00");
  sm("et2"_intf)->hasNotificationActiveIs(true);
  coordinator->hasNotificationActiveIs(false);
  are("0010 11");
  coordinator->hasNotificationActiveIs(true);
  are("1111 11");
  sm("et1"_intf)->hasNotificationActiveIs(false);
  coordinator->hasNotificationActiveIs(true);
  are("1011 11");
  // Marking the coordinator reaches no machine, nor does another configuration, which counts
  // nothing either.
  coordinator->kivDoZombieReactors(true);
  play("+et2.2=et8.4");
  coordinator->kivDoZombieReactors(false);
  trace();
  coordinator->configIs(Config::ConfigIs());
  coordinator->configIs(nullptr);
  EXPECT_EQ(sm("et1"_intf)->config(), config);
  EXPECT_EQ(trace() + inService(false),
            "marks et1 et2 et3 counts et1=1 et2=1 et3=1\n"
            "records et1.1=et8.1/ et2.1=et8.2/ et2.2=et8.4/ et3.1=et8.3/\n"
            "encaps et1.1 et2.1 et2.2 et3.1 et8.1 et8.2 et8.3 et8.4\n");
}

INSTANTIATE_TEST_SUITE_P(BothOrders, ReactorTest, bothOrders);

}  // namespace
