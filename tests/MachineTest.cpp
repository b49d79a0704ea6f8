#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <utility>

#include "Allocations.h"
#include "World.h"

namespace {

class MachineTest : public WorldTest {};

constexpr auto noFreePair = "VlanId::value < 1 or > 4094 not allowed";

TEST_P(MachineTest, OneLifeInFull) {
  eth->intfStatusIs(""_intf, "none");
  // Beside each command: what is there when the driver is told, in the end whether the machine is
  // marked for deletion yet.
  MacsecProxyIntfSm const* alone = nullptr;
  beside = [&](auto function) {
    if (function != "driver") return std::string();
    if (!machine) return fmt::format(" [{:d}]", alone && alone->kivMarkedForDeletion());
    std::string all = '\n' + tables();
    std::replace(all.begin() + 1, all.end(), '\n', ';');
    return all;
  };
  makeMachine("et1"_intf);
  play("+et1.1=et8.1/et7 +et2.1=et8.2 +et1.2=et8.3/et6 -et1.1 +et1.3=et8.1 @et2=name");
  alone = machine.ptr();
  machine = nullptr;
  EXPECT_EQ('\n' + trace(), R"(
handleInitialized: et1 void MacsecProxy::MacsecProxyIntfSm::handleInitialized()
handleProxyConfig: et1 void MacsecProxy::MacsecProxyIntfSm::handleProxyConfig()
doUpdateDmaMacsecProxy: et1 void MacsecProxy::MacsecProxyIntfSm::doUpdateDmaMacsecProxy(Velto::IntfId, bool): et1, 1
driver: macsec_proxy dev1 1 [0]
handleProxyConfig: et1 void MacsecProxy::MacsecProxyIntfSm::handleProxyConfig(Velto::IntfId): et1.1
addProxySubIntfStatus: et1 void MacsecProxy::MacsecProxyIntfSm::addProxySubIntfStatus(Velto::IntfId, Velto::IntfId): et1.1
driver: macsec_proxy_client dev1 dev7 2 1
marks counts driver dev1 |;records et1.1=et8.1/et7/1/2;encaps et1.1=2 et8.1=1;machines et1[ et1.1 | et7=et1.1 | 1 2 ];
handleProxyConfig: et1 void MacsecProxy::MacsecProxyIntfSm::handleProxyConfig(Velto::IntfId): et2.1
handleProxyConfig: et1 void MacsecProxy::MacsecProxyIntfSm::handleProxyConfig(Velto::IntfId): et1.2
addProxySubIntfStatus: et1 void MacsecProxy::MacsecProxyIntfSm::addProxySubIntfStatus(Velto::IntfId, Velto::IntfId): et1.2
driver: macsec_proxy_client dev1 dev6 4 1
marks counts driver dev1 | dev7=dev1/2;records et1.1=et8.1/et7/1/2 et1.2=et8.3/et6/3/4;encaps et1.1=2 et1.2=4 et8.1=1 et8.3=3;machines et1[ et1.1 et1.2 | et6=et1.2 et7=et1.1 | 1 2 3 4 ];
handleProxyConfig: et1 void MacsecProxy::MacsecProxyIntfSm::handleProxyConfig(Velto::IntfId): et1.1
deleteProxySubIntfStatus: et1 void MacsecProxy::MacsecProxyIntfSm::deleteProxySubIntfStatus(Velto::IntfId): et1.1
driver: macsec_proxy_client et1.1 dev7 0 0
marks counts driver dev1 | dev6=dev1/4 dev7=dev1/2;records et1.1=et8.1/et7/1/2 et1.2=et8.3/et6/3/4;encaps et1.1=2 et1.2=4 et8.1=1 et8.3=3;machines et1[ et1.1 et1.2 | et6=et1.2 | 3 4 ];
handleProxyConfig: et1 void MacsecProxy::MacsecProxyIntfSm::handleProxyConfig(Velto::IntfId): et1.3
addProxySubIntfStatus: et1 void MacsecProxy::MacsecProxyIntfSm::addProxySubIntfStatus(Velto::IntfId, Velto::IntfId): et1.3
handleIntf: et1 void MacsecProxy::MacsecProxyIntfSm::handleIntf(Velto::IntfId): et2
cleanup: et1 void MacsecProxy::MacsecProxyIntfSm::cleanup()
deleteProxySubIntfStatus: et1 void MacsecProxy::MacsecProxyIntfSm::deleteProxySubIntfStatus(Velto::IntfId): et1.2
driver: macsec_proxy_client et1.2 dev6 0 0 [0]
deleteProxySubIntfStatus: et1 void MacsecProxy::MacsecProxyIntfSm::deleteProxySubIntfStatus(Velto::IntfId): et1.3
doUpdateDmaMacsecProxy: et1 void MacsecProxy::MacsecProxyIntfSm::doUpdateDmaMacsecProxy(Velto::IntfId, bool): et1, 0
driver: macsec_proxy dev1 0 [0]
)");
}

TEST_P(MachineTest, PairsComeLowestFirstAndEverythingIsRenewed) {
  play("*et2.1=et9.1/et5/11");
  makeMachine("et1"_intf);
  auto const pool = machine->macsecTag();
  play("+et1.1=et8.1/et7 +et1.2=et8.2/et6 +et1.3=et8.3/et7");
  EXPECT_EQ(machine->clientIntf("et7"_intf), "et1.3"_intf);
  // A shared client goes with the first of its sub-interfaces that goes.
  play("-et1.1 +et1.4=et8.4/et5");
  EXPECT_FALSE(machine->clientIntfHas("et7"_intf));
  commands();
  // What is in service already goes out of service first.
  machine->addProxySubIntfStatus("et1.2"_intf, "et9.2"_intf);
  EXPECT_EQ(commands(), "macsec_proxy_client et1.2 dev6 0 0;macsec_proxy_client dev1 dev6 4 1;");
  EXPECT_FALSE(encap->encapHas("et8.2"_intf));
  play("-et1.4");
  machine->handleInitialized();
  EXPECT_EQ(outcome(),
            "macsec_proxy_client et1.4 dev5 0 0;macsec_proxy_client et1.3 dev7 0 0;"
            "macsec_proxy_client et1.2 dev6 0 0;macsec_proxy_client dev1 dev6 2 1;"
            "macsec_proxy_client dev1 dev7 4 1;macsec_proxy dev1 1;\n"
            "marks counts driver dev1 | dev6=dev1/2 dev7=dev1/4\n"
            "records et1.2=et8.2/et6/1/2 et1.3=et8.3/et7/3/4 et2.1=et9.1/et5/11/12\n"
            "encaps et1.2=2 et1.3=4 et2.1=12 et8.2=1 et8.3=3 et9.1=11\n"
            "machines et1[ et1.2 et1.3 | et6=et1.2 et7=et1.3 | 1 2 3 4 ]\n");
  using State = Pesk::HBitmap::BitState;
  EXPECT_EQ(machine->macsecTag(), pool);
  EXPECT_EQ(machine->macsecTagIs(0, 4094, State::clear), pool);
  EXPECT_NE(machine->macsecTagIs(1, 4094, State::clear), pool);
  EXPECT_EQ(machine->macsecTagIs(1, 2, State::clear)->size(), 2U);
  EXPECT_TRUE(machine->macsecTagIs(1, 2, State::set)->hasNotificationActive());
  // Not of this pool, the tags of et1.3 have no place to go back to.
  play("-et1.3");
  EXPECT_TRUE(machine->macsecTagDel()->bitIsSet(1));
  EXPECT_EQ(machine->macsecTagDel(), nullptr);
  EXPECT_EQ(machine->clientIntfDel("et7"_intf), ""_intf);
  EXPECT_EQ(machine->clientIntfDel("et6"_intf), "et1.2"_intf);
  EXPECT_FALSE(machine->proxySubIntfDel("et1.3"_intf));
  EXPECT_TRUE(machine->proxySubIntfDel("et1.2"_intf));
  machine->clientIntfIs("et6"_intf, "et1.2"_intf);
  machine->proxySubIntfIs("et1.2"_intf, true);
  machine->clientIntfDelAll();
  machine->proxySubIntfDelAll();
  EXPECT_EQ(machine->clientIntf().size() + machine->proxySubIntf().size(), 0U);
}

TEST_P(MachineTest, WhatCannotBeDoneChangesNothing) {
  makeMachine("et1"_intf);
  play("+et1.1=et8.1/et7 +et2.1=et8.2");
  machine->clientIntfIs("et5"_intf, "et1.5"_intf);
  commands();
  auto const unchanged = [&](char const* error, std::function<void()> const& action) {
    std::string const before = tables();
    EXPECT_EQ(raised<Kiv::ConsistencyException>(action), error);
    EXPECT_EQ(outcome(), before);
  };
  auto const foreign = [&] { machine->addProxySubIntfStatus("et2.1"_intf, "et8.2"_intf); };
  auto const absent = [&] { machine->addProxySubIntfStatus("et1.9"_intf, "et8.9"_intf); };
  trace();
  unchanged("nothing", [&] { machine->deleteProxySubIntfStatus("et1.9"_intf); });
  unchanged("proxyConfigHas( proxySubIntfId )", absent);
  unchanged("clientIntfHas( intfId )", [&] { machine->handleClientIntf("et6"_intf); });
  unchanged("proxySubIntfStatus", [&] { machine->handleClientIntf("et5"_intf); });
  EXPECT_EQ(briefTrace(), R"(
et1 MacsecProxyIntfSm::deleteProxySubIntfStatus(Velto::IntfId): et1.9
et1 MacsecProxyIntfSm::addProxySubIntfStatus(Velto::IntfId, Velto::IntfId): et1.9
)");
  machine->macsecTag()->setBitsInRange(3, 3);
  unchanged("encryptTag.value() % 2", foreign);
  machine->macsecTagDel();
  unchanged("macsecTag", foreign);
  // Out of service it goes also without a pool, and also when the driver refuses.
  driver.throwAtIs(1);
  EXPECT_EQ(raised<Pesk::DriverError>([&] { play("-et1.1"); }),
            "driver refused \"macsec_proxy_client et1.1 dev7 0 0\"");
  EXPECT_EQ(inService(), "marks counts\nrecords\nencaps\n");
  // With the trace off, what does not concern the machine costs no allocation.
  Kiv::Trace::levelIs("MacsecProxySm", 8, false);
  auto const [other, made] = std::pair("et2.1"_intf, Allocations::made);
  machine->handleProxyConfig(other);
  machine->handleIntf(other);
  EXPECT_EQ(Allocations::made, made);
}

TEST_P(MachineTest, AnExhaustedPoolServesAgainOnceAPairIsFree) {
  start();
  Kiv::Trace::levelIs("MacsecProxySm", 8, false);
  for (int number = 1; number <= 2047; ++number) play(fmt::format("+et1.{0}=et8.{0}/et7", number));
  commands();
  std::string const full = tables();
  auto const addOneMore = [&] { play("+et1.x=et8.x/et6"); };
  EXPECT_EQ(raised<Kiv::RangeException>(addOneMore), noFreePair);
  EXPECT_EQ(coordinator->proxySubIntfCnt("et1"_intf), 2048U);
  play("-et1.x");
  EXPECT_EQ(outcome(), full);
  EXPECT_EQ(raised<Kiv::RangeException>(addOneMore), noFreePair);
  // A start with too many fails likewise and keeps what came into service until then.
  coordinator = nullptr;
  EXPECT_EQ(raised<Kiv::RangeException>([&] { start(); }), noFreePair);
  EXPECT_EQ(watching(), 0U);
  EXPECT_EQ(status->proxySubIntfStatus().size(), 2047U);
  play("-et1.1000");
  start();
  play("-et1.5 +et1.y=et8.y");
  EXPECT_EQ(encap->encap("et8.2047"_intf).value(), 4091U);
  EXPECT_EQ(encap->encap("et8.x"_intf).value(), 4093U);
  EXPECT_EQ(encap->encap("et8.y"_intf).value(), 9U);
}

TEST_P(MachineTest, ADeviceNameHasTheDriverToldAgainWhileThereIsOne) {
  play("+et1.1=et8.1/et7 +et1.2=et8.2/et6");
  makeMachine("et1"_intf);
  std::string const start = commands(), port = "macsec_proxy dev1 1;",
                    seven = "macsec_proxy_client dev1 dev7 2 1;",
                    six = "macsec_proxy_client dev1 dev6 4 1;";
  EXPECT_EQ(start, seven + six + port);
  machine->clientIntfIs("et3"_intf, {});
  auto const sends = [&](std::string const& expected, char const* changes) {
    play(changes);
    EXPECT_EQ(commands(), expected);
  };
  machine->handleIntf("et1"_intf);
  machine->handleIntf("et7"_intf);
  sends("", "@et3=name @et2=name");
  machine->clientIntfDel("et3"_intf);
  sends(port + seven + six, "@et1=name");
  sends(port + seven + six + seven, "@et1=other @et7=name");
  eth->intfStatusDel("et7"_intf);
  sends(port + six, "@et1=name @et7=other");
  eth->intfStatusIs("et7"_intf, "dev7");
  eth->intfStatusIs("et1"_intf, Kiv::Ptr<Interface::EthIntfStatus const>());
  sends("", "@et1=other @et7=name");
  eth->intfStatusIs("et1"_intf, "dev1");
  sends("", "!et1 !et7");
}

TEST_P(MachineTest, CommandsSayWhatTheDriverIsToDo) {
  makeMachine("et1"_intf);
  std::string const longest(112, 'x');
  eth->intfStatusIs("et2"_intf, "");
  eth->intfStatusIs("et3"_intf, longest.c_str());
  eth->intfStatusIs("et4"_intf, (longest + 'y').c_str());
  eth->intfStatusIs("et5"_intf, (longest + longest).c_str());
  eth->intfStatusIs("et6"_intf, "%s%n\xff");
  eth->intfStatusIs("et7"_intf, Kiv::Ptr<Interface::EthIntfStatus const>());
  auto const proxy = [&](IntfId port) {
    machine->doUpdateDmaMacsecProxy(port, false);
    return commands();
  };
  auto const client = [&](IntfId port, IntfId served, U32 tag, bool enable) {
    machine->doUpdateDmaMacsecProxyClient(port, served, Bridging::VlanIdOrNone(tag), enable);
    return commands();
  };
  commands();
  EXPECT_EQ(proxy("et2"_intf), "macsec_proxy  0;");
  EXPECT_EQ(proxy("et3"_intf), "macsec_proxy " + longest + " 0;");
  EXPECT_EQ(proxy("et4"_intf), "macsec_proxy " + longest + "y ;");
  EXPECT_EQ(proxy("et5"_intf), "macsec_proxy " + longest + "xx;");
  EXPECT_EQ(proxy("et6"_intf), "macsec_proxy %s%n\xff 0;");
  EXPECT_EQ(client("et1"_intf, "et9"_intf, 4094, true), "macsec_proxy_client dev1 dev9 4094 1;");
  EXPECT_EQ(client("et1"_intf, "et9"_intf, 17, false), "macsec_proxy_client et1 dev9 17 0;");
  EXPECT_EQ(client("et2"_intf, "et2"_intf, 0, true), "macsec_proxy_client   0 1;");
  EXPECT_EQ(client("et7.1"_intf, "et9"_intf, 0, false), "macsec_proxy_client et7.1 dev9 0 0;");
  EXPECT_EQ(client("et5"_intf, "et5"_intf, 2, true),
            "macsec_proxy_client " + longest.substr(5) + ';');
  for (auto const absent : {"et7"_intf, "et10"_intf}) {
    EXPECT_EQ(proxy(absent) + client(absent, "et9"_intf, 2, true) +
                  client("et1"_intf, absent, 2, true) + client("et1"_intf, absent, 2, false),
              "");
  }
}

TEST_P(MachineTest, AMachineDoesWithoutWhatItHearsOfAndWithNothingElse) {
  play("+et1.1=et8.1/et7 *et1.2=et8.2/et6/3");
  std::string const before = outcome();
  auto const made = MacsecProxyIntfSm::KivConfig::kivAllocTrackTypeInfo_.allocated();
  auto const refused = [&](char const* name) {
    EXPECT_EQ(raised<Kiv::ConsistencyException>([&] { makeMachine("et1"_intf); }), name);
    EXPECT_EQ(MacsecProxyIntfSm::KivConfig::kivAllocTrackTypeInfo_.allocated(), made);
  };
  without(&World::status, [&] { refused("status"); });
  without(&World::encap, [&] { refused("dynDot1qEncap"); });
  without(&World::eth, [&] { refused("ethIntfStatusDir"); });
  without(&World::channel, [&] { refused("ioctlDrvInterface"); });
  EXPECT_EQ(outcome() + trace(), before);
  without(&World::device, [&] { makeMachine("et1"_intf); });
  EXPECT_EQ(machine->deviceIntfStatusDir(), nullptr);
  machine->handleIntf("et1"_intf);
  machine = nullptr;
  play("*et1.2=et8.2/et6/3");
  without(&World::config, [&] { makeMachine("et1"_intf); });
  EXPECT_EQ(machine->config(), nullptr);
  machine->handleProxyConfig("et1.1"_intf);
  EXPECT_EQ(outcome(),
            "macsec_proxy_client et1.2 dev6 0 0;macsec_proxy_client dev1 dev7 2 1;"
            "macsec_proxy dev1 1;macsec_proxy_client et1.1 dev7 0 0;macsec_proxy dev1 0;"
            "macsec_proxy_client et1.2 dev6 0 0;macsec_proxy dev1 1;\n"
            "marks counts driver dev1 |\nrecords\nencaps\nmachines et1[ | | ]\n");
}

INSTANTIATE_TEST_SUITE_P(BothOrders, MachineTest, bothOrders);

}  // namespace
