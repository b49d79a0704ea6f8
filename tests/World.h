#pragma once

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <array>
#include <functional>
#include <regex>
#include <sstream>
#include <string>
#include <utility>

#include "Kiv/AllocTrackTypeInfo.h"
#include "Kiv/Exception.h"
#include "Kiv/Trace.h"
#include "MacsecProxy/MacsecProxySm.h"
#include "Pesk/Driver.h"

using Interface::DeviceIntfStatusDir, Interface::EthIntfStatusDir, Interface::SubIntfDynDot1qEncap;
using MacsecProxy::Config, MacsecProxy::MacsecProxyIntfSm, MacsecProxy::MacsecProxySm;
using MacsecProxy::Status, Velto::IntfId;
using testing::HasSubstr, testing::ThrowsMessage;

inline IntfId intf(std::string const& text) { return IntfId(Kiv::String(text.c_str())); }
inline IntfId operator""_intf(char const* text, std::size_t) { return intf(text); }

/// What an agent has around the machines, and what they trace and command. The ports et1 to et9
/// have the device names dev1 to dev9. What can be typed as a scenario is not tested in here.
class World : public testing::Test {
  /// Goes last of all, and then checks that no object is left.
  struct Surroundings {
    ~Surroundings() {
      U32 classes = 0;
      for (auto const* type = Kiv::AllocTrackTypeInfo::first(); type; type = type->next()) {
        EXPECT_EQ(type->live(), 0U) << type->className();
        ++classes;
      }
      EXPECT_GE(classes, 5U);
      Kiv::Trace::sinkIs({});
      Kiv::Trace::levelIs("MacsecProxySm", 8, false);
      Pesk::Driver::instance().reset();
    }
  } surroundings_;
  std::string trace_;

 public:
  World() {
    Kiv::Trace::levelIs("MacsecProxySm", 8, true);
    Kiv::Trace::sinkIs([this](Kiv::Trace::Record const& record) {
      EXPECT_EQ(fmt::format("{}/{} {}", record.facility, record.level, record.file),
                "MacsecProxySm/8 MacsecProxySm");
      EXPECT_NE(record.message.find(fmt::format("Sm::{}(", record.function)), std::string::npos);
      write(std::string(record.message));
    });
    for (char port = '1'; port <= '9'; ++port) {
      eth->intfStatusIs(intf({'e', 't', port}), std::string{'d', 'e', 'v', port}.c_str());
    }
  }
  ~World() override { beside = nullptr; }

  /// What to add to each line of the trace, and of the commands of `machine` among it.
  std::function<std::string(std::string const& line)> beside;

  void start() {
    coordinator = MacsecProxy::macsecProxySmFactory(config, status, encap, eth, device);
  }
  /// Makes a machine without a coordinator.
  void makeMachine(IntfId port) {
    machine =
        MacsecProxyIntfSm::MacsecProxyIntfSmIs(port, config, status, encap, eth, channel, device);
  }
  /// Makes the changes that the words of `script` name: "+sub-interface/patch/client" configures
  /// and "-sub-interface" unconfigures.
  void play(std::string const& script) {
    std::istringstream words(script);
    for (std::string word; words >> word;) {
      std::istringstream parts(word.substr(1));
      std::array<std::string, 3> part;
      for (std::string& each : part) std::getline(parts, each, '/');
      if (word[0] == '+') config->proxyConfigIs(intf(part[0]), intf(part[1]), intf(part[2]));
      if (word[0] == '-') config->proxyConfigDel(intf(part[0]));
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
  /// The trace since the last call, a line for each record, without those that match `without`.
  std::string trace(char const* without = "^$") {
    std::istringstream lines(std::exchange(trace_, {}));
    std::string kept = "\n";
    for (std::string line; std::getline(lines, line);) {
      if (!std::regex_search(line, std::regex(without))) kept += line + '\n';
    }
    return kept;
  }
  /// How many records, encapsulations, marks, counts and machines there are.
  std::string sizes() const {
    auto const& sm = coordinator;
    return fmt::format("{} {} {} {} {}", status->proxySubIntfStatus().size(), encap->encap().size(),
                       status->proxyIntf().size(), sm ? sm->proxySubIntfCnt().size() : 0,
                       sm ? sm->macsecProxyIntfSm().size() : 0);
  }

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
      world.write(command);
      return world.driver.commandIs(command, length, third, fourth, fifth);
    }
    World& world;
  };

  void write(std::string text) {
    if (beside) text += ' ' + beside(text);
    if (auto const at = text.find("void MacsecProxy::"); at != text.npos) text.erase(at, 18);
    trace_ += text + '\n';
  }
};
