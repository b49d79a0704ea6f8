#pragma once

#include <fmt/format.h>
#include <fmt/ostream.h>
#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <numeric>
#include <set>
#include <sstream>
#include <string>
#include <utility>

#include "Kiv/AllocTrackTypeInfo.h"
#include "Kiv/Delivery.h"
#include "Kiv/Exception.h"
#include "Kiv/Trace.h"
#include "MacsecProxy/MacsecProxySm.h"
#include "Pesk/Driver.h"

using Interface::DeviceIntfStatusDir, Interface::EthIntfStatusDir, Interface::SubIntfDynDot1qEncap;
using MacsecProxy::Config, MacsecProxy::MacsecProxyIntfSm, MacsecProxy::MacsecProxySm;
using MacsecProxy::Status, Velto::IntfId;

template <>
struct fmt::formatter<IntfId> : fmt::ostream_formatter {};

inline IntfId intf(std::string const& text) { return IntfId(Kiv::String(text.c_str())); }
inline IntfId operator""_intf(char const* text, std::size_t) { return intf(text); }

/// What `action` raises of the kind `Error`; other kinds come through.
template <class Error, class Action>
std::string raised(Action action) {
  try {
    action();
  } catch (Error const& error) {
    return error.what();
  }
  return "nothing";
}

/// What an agent has around the machines, and the whole outcome of what they do as text: the
/// commands, the tables and the trace. The ports et1 to et9 have the device names dev1 to dev9.
class World {
  /// Goes last of all, and then checks that no object is left.
  struct Surroundings {
    ~Surroundings() {
      for (auto const* type = Kiv::AllocTrackTypeInfo::first(); type; type = type->next()) {
        EXPECT_EQ(type->live(), 0U) << type->className();
      }
      Kiv::Trace::sinkIs({});
      Kiv::Trace::levelIs("MacsecProxySm", 8, false);
      Kiv::Delivery::orderIs(Kiv::Delivery::Order::registration);
      Pesk::Driver::instance().reset();
    }
  } surroundings_;
  std::string trace_, brief_;

 public:
  explicit World(Kiv::Delivery::Order order) {
    Kiv::Delivery::orderIs(order);
    Kiv::Trace::levelIs("MacsecProxySm", 8, true);
    Kiv::Trace::sinkIs([this](Kiv::Trace::Record const& record) {
      EXPECT_EQ(fmt::format("{}/{} {}", record.facility, record.level, record.file),
                "MacsecProxySm/8 MacsecProxySm");
      write(record.function, record.message);
    });
    for (std::string const port : {"1", "2", "3", "4", "5", "6", "7", "8", "9"}) {
      eth->intfStatusIs(intf("et" + port), ("dev" + port).c_str());
    }
  }
  ~World() { beside = nullptr; }

  /// What to add to a line of the trace, by the function it names.
  std::function<std::string(std::string_view function)> beside;

  void start() {
    coordinator = MacsecProxy::macsecProxySmFactory(config, status, encap, eth, device);
  }
  /// Ends the coordinator as a killed agent ends: what the platform keeps stays as it is.
  void crash() {
    auto const& machines = coordinator->macsecProxyIntfSm();
    for (auto walk = machines.iteratorConst(); walk; ++walk) walk.value()->proxySubIntfDelAll();
    Pesk::Driver const surviving = driver;
    coordinator = nullptr;
    driver = surviving;
    trace();
  }
  /// Makes a machine without a coordinator.
  void makeMachine(IntfId port) {
    machine =
        MacsecProxyIntfSm::MacsecProxyIntfSmIs(port, config, status, encap, eth, channel, device);
  }

  /// Makes the changes that the words of `script` name: "+sub-interface=patch/client" configures,
  /// "-sub-interface" unconfigures, "@port=name" and "!port" add and remove a device name, and
  /// "*sub-interface=patch/client/tag" lays down what an earlier run left in service.
  void play(std::string const& script) {
    std::istringstream words(script);
    for (std::string word; words >> word;) {
      std::istringstream parts(word.substr(1));
      std::array<std::string, 4> part;
      for (std::size_t index = 0; index < 4; ++index) {
        std::getline(parts, part[index], index == 0 ? '=' : '/');
      }
      auto const key = intf(part[0]), patch = intf(part[1]), client = intf(part[2]);
      if (word[0] == '+') config->proxyConfigIs(key, patch, client);
      if (word[0] == '-') config->proxyConfigDel(key);
      if (word[0] == '@') device->intfStatusAndDeviceNameIs(key, {part[1].c_str()});
      if (word[0] == '!') device->intfStatusAndDeviceNameDel(key);
      if (word[0] != '*') continue;
      Bridging::VlanId const odd(static_cast<U32>(std::stoul(part[3]))), even(odd.value() + 1U);
      status->proxySubIntfStatusIs(key, patch, client, odd, even);
      encap->encapIs(key, Bridging::Dot1qEncap(even));
      encap->encapIs(patch, Bridging::Dot1qEncap(odd));
    }
  }

  /// The commands since the last call, each with a ';' behind it.
  std::string commands() {
    std::string texts;
    for (auto const& [text, buffer, length, third, fourth, fifth] : driver.log()) {
      EXPECT_EQ(fmt::format("{} {} {} {}", length, third, fourth, fifth), "128 0 1 0");
      EXPECT_EQ(std::string(buffer.data(), 128), text + std::string(128 - text.size(), '\0'));
      texts += text + ';';
    }
    driver.logDelAll();
    return texts;
  }
  /// The trace since the last call, and among it the commands of `machine`: a line for each record,
  /// with its function and message.
  std::string trace() {
    brief_.clear();
    return std::exchange(trace_, {});
  }
  /// The same in short, as "et1 MacsecProxyIntfSm::cleanup()".
  std::string briefTrace() {
    trace_.clear();
    return '\n' + std::exchange(brief_, {});
  }
  /// Everything there is to see: the status, the driver, the encapsulations and the machines. A
  /// record reads "sub-interface=patch/client/encrypt tag/client tag", a machine "port[
  /// sub-interfaces | client=sub-interface | tags in use ]", the driver "ports in proxy mode |
  /// client=port/tag"; each list is sorted.
  std::string tables() const {
    std::string drivers = " driver";
    for (auto const& [port, on] : driver.proxyMode()) drivers += ' ' + port;
    drivers += " |";
    for (auto const& [client, to] : driver.steering()) {
      drivers += fmt::format(" {}={}/{}", client, to.proxyDevice, to.tag);
    }
    std::string text = inService() + "machines";
    if (machine) text += fmt::format(" {}{}", machine->intfId(), tableOf(machine));
    if (coordinator) text += list(coordinator->macsecProxyIntfSm(), tableOf);
    return text.insert(text.find('\n'), drivers) + '\n';
  }
  /// The part of the tables that, without the tags, follows from the configuration alone.
  std::string inService(bool tags = true) const {
    auto const record = [tags](auto const& r) {
      auto const text = fmt::format("={}/{}", r->patchSubIntfId(), r->clientIntfId());
      U32 const odd = r->encryptTag().value(), even = r->clientTag().value();
      return tags ? fmt::format("{}/{}/{}", text, odd, even) : text;
    };
    auto const tag = [tags](auto value) { return tags ? print(value.value()) : ""; };
    return "marks" + list(status->proxyIntf(), flag) + " counts" +
           (coordinator ? list(coordinator->proxySubIntfCnt(), print<U32>) : "") + "\nrecords" +
           list(status->proxySubIntfStatus(), record) + "\nencaps" + list(encap->encap(), tag) +
           '\n';
  }
  std::string outcome() {
    std::string const sent = commands();
    return sent + (sent.empty() ? "" : "\n") + tables();
  }
  /// Does something while `entity`, one of the pointers below, is null.
  template <class Pointer, class Action>
  void without(Pointer World::*entity, Action action) {
    auto const kept = std::exchange(this->*entity, nullptr);
    action();
    this->*entity = kept;
  }
  /// How many reactors there are.
  std::size_t watching() { return config->notifieeList()->size() + device->notifieeList()->size(); }

  Kiv::Ptr<Config> config = Config::ConfigIs();
  Kiv::Ptr<Status> status = Status::StatusIs();
  Kiv::Ptr<SubIntfDynDot1qEncap> encap = SubIntfDynDot1qEncap::SubIntfDynDot1qEncapIs();
  Kiv::Ptr<EthIntfStatusDir> eth = EthIntfStatusDir::EthIntfStatusDirIs();
  Kiv::Ptr<DeviceIntfStatusDir> device = DeviceIntfStatusDir::DeviceIntfStatusDirIs();
  Pesk::Driver& driver = Pesk::Driver::instance();
  Kiv::Ptr<MacsecProxySm> coordinator;
  Kiv::Ptr<Pesk::IoctlDrvInterface> channel = Kiv::makeNew<Channel>(*this);
  Kiv::Ptr<MacsecProxyIntfSm> machine;

 private:
  struct Channel : Pesk::IoctlDrvInterface {
    explicit Channel(World& w) : world(w) {}
    int doIoctl(char const* command, U32 length, U32 third, U32 fourth, U32 fifth) override {
      world.write("driver", command);
      return world.driver.commandIs(command, length, third, fourth, fifth);
    }
    World& world;
  };

  void write(std::string_view function, std::string_view message) {
    std::string text(message);
    if (beside) text += beside(function);
    trace_ += fmt::format("{}: {}\n", function, text);
    if (auto const at = text.find("void MacsecProxy::"); at != text.npos) text.erase(at, 18);
    brief_ += text + '\n';
  }
  static std::string flag(bool value) { return value ? "" : "=0"; }
  template <class Value>
  static std::string print(Value value) {
    return fmt::format("={}", value);
  }
  template <class Map, class Print>
  static std::string list(Map const& map, Print printValue) {
    std::set<std::string> members;
    for (auto walk = map.iteratorConst(); walk; ++walk) {
      members.insert(fmt::format(" {}{}", walk.key(), printValue(walk.value())));
    }
    return std::accumulate(members.begin(), members.end(), std::string());
  }
  static std::string tableOf(Kiv::Ptr<MacsecProxyIntfSm> const& sm) {
    std::string tags;
    for (U32 tag = 1; sm->macsecTag() && tag <= sm->macsecTag()->size(); ++tag) {
      if (sm->macsecTag()->bitIsSet(tag)) tags += fmt::format(" {}", tag);
    }
    return fmt::format("[{} |{} |{} ]", list(sm->proxySubIntf(), flag),
                       list(sm->clientIntf(), print<IntfId>), tags);
  }
};

/// A test in a world of its own, in both orders of delivery.
class WorldTest : public testing::TestWithParam<Kiv::Delivery::Order>, public World {
 protected:
  WorldTest() : World(GetParam()) {}
  static bool reverse() { return GetParam() == Kiv::Delivery::Order::reverse; }
};

inline auto const bothOrders =
    testing::Values(Kiv::Delivery::Order::registration, Kiv::Delivery::Order::reverse);
