#include <gtest/gtest.h>

#include <sstream>
#include <tuple>
#include <typeinfo>

#include "Kiv/Strep.h"
#include "World.h"

namespace {

constexpr auto nothing = "marks counts driver |\nrecords\nencaps\nmachines\n";

class CoordinatorTest : public WorldTest {
 protected:
  /// The trace without the lines whose place depends on which reactor hears first.
  std::string ownTrace() {
    std::istringstream lines(briefTrace());
    std::string kept;
    for (std::string line; std::getline(lines, line);) {
      bool const own = line.find("IntfSm::") == line.npos;
      if (own || line.find("Initialized()") != line.npos || line.find("cleanup()") != line.npos) {
        kept += line + '\n';
      }
    }
    return kept;
  }
  std::string counts() { return inService().substr(0, inService().find('\n')); }
};

TEST_P(CoordinatorTest, TheFirstSubInterfaceBringsTheMachineAndTheLastOneEndsIt) {
  start();
  trace();
  beside = [&](auto) {
    return fmt::format(" [{:d}{}{:d}]", status->proxyIntfHas("et1"_intf),
                       coordinator->proxySubIntfCnt("et1"_intf),
                       coordinator->macsecProxyIntfSmHas("et1"_intf));
  };
  play("+et1.1=et8.1/et7 +et2.1=et8.2 +et1.2=et8.3");
  play("-et2.1 -et1.1 -et1.2");
  // Beside each line: whether et1 has its mark, its count, and whether it has its machine.
  EXPECT_EQ(ownTrace(), R"(
MacsecProxySm::handleProxyConfig(Velto::IntfId): et1.1 [000]
et1 MacsecProxyIntfSm::handleInitialized() [100]
MacsecProxySm::handleProxyConfig(Velto::IntfId): et2.1 [111]
et2 MacsecProxyIntfSm::handleInitialized() [111]
MacsecProxySm::handleProxyConfig(Velto::IntfId): et1.2 [111]
MacsecProxySm::handleProxyConfig(Velto::IntfId): et2.1 [121]
et2 MacsecProxyIntfSm::cleanup() [121]
MacsecProxySm::handleProxyConfig(Velto::IntfId): et1.1 [121]
MacsecProxySm::handleProxyConfig(Velto::IntfId): et1.2 [111]
et1 MacsecProxyIntfSm::cleanup() [110]
)");
  EXPECT_EQ(tables(), nothing);
}

TEST_P(CoordinatorTest, StartUpClearsAwayWhatIsNoLongerConfigured) {
  play("*et1.1=et8.1/et7/7 *et1.2=et8.2/et6/9 *et2.1=et8.3/et5/1 *et1.9=et9.9//99");
  status->proxySubIntfStatusDel("et1.9"_intf);
  encap->encapDel("et8.3"_intf);
  status->proxyIntfIs("et2"_intf, true);
  status->proxyIntfIs("et1"_intf, false);
  status->proxyIntfIs("et3"_intf, true);
  play("+et4.1=et8.4 +et1.1=et8.9/et6");
  // Beside each line: how many records, encapsulations and marks there are.
  beside = [&](auto) {
    return fmt::format(" [{} {} {}]", status->proxySubIntfStatus().size(), encap->encap().size(),
                       status->proxyIntf().size());
  };
  start();
  EXPECT_EQ(ownTrace(), R"(
MacsecProxySm::handleInitialized(): Removing et1.2 [3 7 3]
MacsecProxySm::handleInitialized(): Removing et2.1 [2 5 3]
MacsecProxySm::handleInitialized(): Removing et2 [1 4 3]
MacsecProxySm::handleInitialized(): Removing et3 [1 4 2]
MacsecProxySm::handleProxyConfig() [1 4 1]
MacsecProxySm::handleProxyConfig(Velto::IntfId): et4.1 [1 4 1]
et4 MacsecProxyIntfSm::handleInitialized() [1 4 2]
MacsecProxySm::handleProxyConfig(Velto::IntfId): et1.1 [2 6 2]
et1 MacsecProxyIntfSm::handleInitialized() [2 6 2]
)");
  EXPECT_EQ(outcome(),
            "macsec_proxy dev4 1;macsec_proxy_client et1.1 dev7 0 0;"
            "macsec_proxy_client dev1 dev6 2 1;macsec_proxy dev1 1;\n"
            "marks et1 et4 counts et1=1 et4=1 driver dev1 dev4 | dev6=dev1/2\n"
            "records et1.1=et8.9/et6/1/2 et4.1=et8.4//1/2\n"
            "encaps et1.1=2 et1.9=100 et4.1=2 et8.4=1 et8.9=1 et9.9=99\n"
            "machines et1[ et1.1 | et6=et1.1 | 1 2 ] et4[ et4.1 | | 1 2 ]\n");
}

TEST_P(CoordinatorTest, AStartWithoutAnEntityIsEmptyOrRefused) {
  play("+et1.1=et8.1 *et1.2=et8.2/et7/7");
  std::string const before = outcome();
  auto const refused = [&](char const* name) {
    EXPECT_EQ(raised<Kiv::ConsistencyException>([&] { start(); }), name);
    EXPECT_EQ(watching(), 0U);
  };
  without(&World::status, [&] { refused("status"); });
  without(&World::encap, [&] { refused("dynDot1qEncap"); });
  without(&World::config, [&] { start(); });
  coordinator->handleProxyConfig("et1.1"_intf);
  EXPECT_EQ(ownTrace(),
            "\nMacsecProxySm::handleProxyConfig()\n"
            "MacsecProxySm::handleProxyConfig(Velto::IntfId): et1.1\n");
  EXPECT_TRUE(coordinator->ioctlDrvFab()->hasNotificationActive());
  EXPECT_EQ(outcome(), before);
  without(&World::eth, [&] { refused("ethIntfStatusDir"); });
  coordinator = nullptr;
  EXPECT_EQ(inService(), "marks et1 counts\nrecords\nencaps\n");
}

TEST_P(CoordinatorTest, AMachineOfTheSameNameIsReturnedOrRefused) {
  play("+et1.1=et8.1/et7");
  start();
  channel = coordinator->ioctlDrvFab();
  auto const made = [&] {
    return coordinator->macsecProxyIntfSmIs("et1"_intf, config, status, encap, eth, channel,
                                            device);
  };
  EXPECT_EQ(made(), coordinator->macsecProxyIntfSm("et1"_intf));
  commands();
  trace();
  std::string const before = tables();
  // From the last attribute to the first: of several that differ, the first is named.
  auto const refused = [&](char const* name, auto World::*attribute, auto const& other,
                           std::type_info const& type = typeid(Kiv::Entity)) {
    auto const text = [&] { return Kiv::valueToStrepOfRawPtr((this->*attribute).ptr(), type); };
    auto const current = text();
    this->*attribute = other;
    EXPECT_EQ(raised<Kiv::NameInUseException>(made),
              fmt::format("Reinstantiating the pointer interface where constructor parameter "
                          "attribute {} has a different value of {} than the current value of {} "
                          "not allowed",
                          name, text().view(), current.view()));
  };
  auto const [sameEncap, sameStatus] = std::pair(encap, status);
  refused("_deviceIntfStatusDir", &World::device, DeviceIntfStatusDir::DeviceIntfStatusDirIs());
  refused("_ioctlDrvInterface", &World::channel, Kiv::makeNew<Pesk::IoctlDrvFab>(),
          typeid(Kiv::PtrInterface));
  refused("_ethIntfStatusDir", &World::eth, EthIntfStatusDir::EthIntfStatusDirIs());
  refused("_dynDot1qEncap", &World::encap, nullptr);
  refused("_status", &World::status, Status::StatusIs());
  refused("_config", &World::config, nullptr);
  std::tie(encap, status) = std::tie(sameEncap, sameStatus);
  EXPECT_EQ(trace() + outcome(), before);
}

TEST_P(CoordinatorTest, AMachineThatCouldNotBeMadeLeavesAMarkAndIsTriedAgain) {
  start();
  driver.throwAtIs(1);
  EXPECT_EQ(raised<Pesk::DriverError>([&] { play("+et1.1=et8.1/et7"); }),
            "driver refused \"macsec_proxy_client dev1 dev7 2 1\"");
  // Nothing was counted, so there is nothing to take back; and nobody is there to hear.
  play("@et7=name -et1.1");
  EXPECT_EQ(counts() + commands(), "marks et1 counts");
  EXPECT_EQ(watching(), 1U);
  play("+et1.2=et8.2/et6");
  EXPECT_EQ(
      outcome(),
      "macsec_proxy_client et1.1 dev7 0 0;macsec_proxy_client dev1 dev6 2 1;macsec_proxy dev1 1;\n"
      "marks et1 counts et1=1 driver dev1 | dev6=dev1/2\n"
      "records et1.2=et8.2/et6/1/2\n"
      "encaps et1.2=2 et8.2=1\n"
      "machines et1[ et1.2 | et6=et1.2 | 1 2 ]\n");
}

TEST_P(CoordinatorTest, AttributesAnswerForThemselves) {
  play("+et1.1=et8.1/et7 +et2.1=et8.2 +et2.2=et8.3");
  start();
  auto const first = coordinator->ioctlDrvFab();
  EXPECT_EQ(coordinator->ioctlDrvFabIs(), first);
  EXPECT_EQ(coordinator->ioctlDrvFabDel(), first);
  EXPECT_EQ(coordinator->ioctlDrvFabDel(), nullptr);
  EXPECT_EQ(raised<Kiv::ConsistencyException>([&] { play("+et3.1=et8.3"); }), "ioctlDrvInterface");
  auto const second = coordinator->ioctlDrvFabIs();
  EXPECT_TRUE(second->hasNotificationActive());
  play("+et3.2=et8.4");
  for (auto const port : {"et1"_intf, "et2"_intf, "et3"_intf}) {
    EXPECT_EQ(coordinator->macsecProxyIntfSm(port)->ioctlDrvInterface(),
              port == "et3"_intf ? second : first);
  }
  // Counts are a running balance, also of calls from outside.
  commands();
  coordinator->handleInitialized();
  EXPECT_EQ(counts(), "marks et1 et2 et3 counts et1=2 et2=4 et3=3");
  for (auto const sub : {"et2.1"_intf, "et1.9"_intf, "et3.9"_intf, "et9.9"_intf}) {
    coordinator->handleProxyConfig(sub);
  }
  EXPECT_EQ(counts(), "marks et1 et2 et3 counts et1=1 et2=5 et3=2");
  coordinator->handleProxyConfig("et1.9"_intf);
  EXPECT_EQ(commands(), "macsec_proxy_client et1.1 dev7 0 0;macsec_proxy dev1 0;");
  EXPECT_EQ(coordinator->proxySubIntfCntDel("et1"_intf), 0U);
  EXPECT_EQ(coordinator->proxySubIntfCntDel("et2"_intf), 5U);
  coordinator->proxySubIntfCntIs("et4"_intf, 7);
  EXPECT_EQ(counts(), "marks et2 et3 counts et3=2 et4=7");
  coordinator->proxySubIntfCntDelAll();
  EXPECT_EQ(coordinator->macsecProxyIntfSmDel("et1"_intf), nullptr);
  coordinator->macsecProxyIntfSmDelAll();
  EXPECT_EQ(outcome(),
            "macsec_proxy dev2 0;macsec_proxy dev3 0;\n"
            "marks et2 et3 counts driver |\nrecords\nencaps\nmachines\n");
}

TEST_P(CoordinatorTest, DestructionTakesEverythingOutOfServiceAndLeavesTheMarks) {
  play("+et1.1=et8.1/et7 +et2.1=et8.2/et6 +et3.1=et8.3");
  start();
  commands();
  trace();
  machine = coordinator->macsecProxyIntfSm("et2"_intf);
  // Beside each machine that goes: whether there is the channel, the mark, and the machine's entry.
  beside = [&, going = coordinator.ptr()](auto function) {
    if (function != "cleanup") return std::string();
    return fmt::format(" [{:d}{:d}{:d}]", going->ioctlDrvFab() != nullptr,
                       going->kivMarkedForDeletion(), going->macsecProxyIntfSmHas("et3"_intf));
  };
  coordinator = nullptr;
  beside = nullptr;
  // A machine that somebody holds works on, through the channel it has.
  play("+et2.2=et8.4/et5");
  EXPECT_EQ(ownTrace() + outcome(), R"(
et1 MacsecProxyIntfSm::cleanup() [011]
et3 MacsecProxyIntfSm::cleanup() [010]
macsec_proxy_client et1.1 dev7 0 0;macsec_proxy dev1 0;macsec_proxy dev3 0;macsec_proxy_client dev2 dev5 4 1;
marks et1 et2 et3 counts driver dev2 | dev5=dev2/4 dev6=dev2/2
records et2.1=et8.2/et6/1/2 et2.2=et8.4/et5/3/4
encaps et2.1=2 et2.2=4 et8.2=1 et8.4=3
machines et2[ et2.1 et2.2 | et5=et2.2 et6=et2.1 | 1 2 3 4 ]
)");
  machine = nullptr;
  EXPECT_EQ(inService(), "marks et1 et2 et3 counts\nrecords\nencaps\n");
}

INSTANTIATE_TEST_SUITE_P(BothOrders, CoordinatorTest, bothOrders);

}  // namespace
