#include "World.h"

namespace {

using Sm = MacsecProxyIntfSm;

class ReactorTest : public World {
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
    return trace().size() > 1;
  }

  /// Takes one attribute that is held by a reactor through its life. Only `sm` watches `first`.
  template <class Reactor, class Machine, class Entity>
  void bind(Machine& sm, Kiv::Ptr<Entity> const& first, Kiv::Ptr<Entity> const& second,
            Kiv::Ptr<Entity const> (Machine::*reader)() const,
            void (Machine::*is)(Kiv::Ptr<Entity const> const&),
            Kiv::Ptr<Entity const> (Machine::*del)()) {
    // Which entity is bound, how many reactors there are and were made, who is watched and heard.
    auto const leads = [&](std::string const& expected, auto step) {
      auto const& reactors = Reactor::kivAllocTrackTypeInfo_;
      auto const before = reactors.allocated();
      step();
      auto const bound = (sm.*reader)();
      auto const name = bound == first ? "first" : bound == second ? "second" : "null";
      EXPECT_EQ(fmt::format("{} {}+{} watches {}{} hears {:d}{:d}", name, reactors.live(),
                            reactors.allocated() - before, first->notifieeList()->size(),
                            second->notifieeList()->size(), heard(*first), heard(*second)),
                expected);
    };
    leads("first 1+0 watches 10 hears 10", [&] { (sm.*is)(first); });
    leads("second 1+0 watches 01 hears 01", [&] { (sm.*is)(second); });
    leads("null 0+0 watches 00 hears 00", [&] { (sm.*is)(nullptr); });
    (sm.*is)(nullptr);
    leads("null 0+0 watches 00 hears 00", [&] { EXPECT_EQ((sm.*del)(), nullptr); });
    leads("first 1+1 watches 10 hears 10", [&] { (sm.*is)(first); });
    leads("null 0+0 watches 00 hears 00", [&] { EXPECT_EQ((sm.*del)(), first); });
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
      EXPECT_EQ(fmt::format("{}{:d}", state, trace().size() > 1), expected);
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
    reactor->ownerDel();
    leads("110 00", [&] { reactor->kivDoZombieReactors(false); });
  }
};

TEST_F(ReactorTest, AttributesAreBoundRePointedAndUnboundAndReactorsFollow) {
  start();
  auto const other = Config::ConfigIs();
  auto const otherDevice = DeviceIntfStatusDir::DeviceIntfStatusDirIs();
  using Coordinator = MacsecProxySm;
  live(*coordinator, other, &Coordinator::KivConfig::onProxyConfig);
  bind<Coordinator::KivConfig>(*coordinator, config, other, &Coordinator::config,
                               &Coordinator::configIs, &Coordinator::configDel);
  coordinator = nullptr;
  makeMachine("et1"_intf);
  EXPECT_TRUE(machine->hasNotificationActive());
  live(*machine, other, &Sm::KivConfig::onProxyConfig);
  live(*machine, otherDevice, &Sm::KivDeviceIntfStatusDir::onIntfStatusAndDeviceName);
  bind<Sm::KivConfig>(*machine, config, other, &Sm::config, &Sm::configIs, &Sm::configDel);
  bind<Sm::KivDeviceIntfStatusDir>(*machine, device, otherDevice, &Sm::deviceIntfStatusDir,
                                   &Sm::deviceIntfStatusDirIs, &Sm::deviceIntfStatusDirDel);
}

TEST_F(ReactorTest, TheCoordinatorSwitchesEveryMachineOnceAndNobodyTwice) {
  play("+et1.1/et8.1 +et2.1/et8.2 +et3.1/et8.3");
  start();
  auto const sm = [&](IntfId port) { return coordinator->macsecProxyIntfSm(port); };
  // The coordinator and its machines; whether a configuration or a device name is heard of.
  auto const are = [&](std::string const& expected) {
    auto const on = [](auto const& object) { return object->hasNotificationActive(); };
    EXPECT_EQ(fmt::format("{:d}{:d}{:d}{:d} {:d}{:d}", on(coordinator), on(sm("et1"_intf)),
                          on(sm("et2"_intf)), on(sm("et3"_intf)), heard(*config), heard(*device)),
              expected);
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
  play("+et2.2/et8.4");
  coordinator->kivDoZombieReactors(false);
  trace();
  coordinator->configIs(Config::ConfigIs());
  coordinator->configIs(nullptr);
  EXPECT_EQ(sm("et1"_intf)->config(), config);
  EXPECT_EQ(trace() + sizes(), "\n4 8 3 3 3");
  EXPECT_EQ(coordinator->proxySubIntfCnt("et2"_intf), 1U);
}

}  // namespace
