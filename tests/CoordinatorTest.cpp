#include "World.h"

namespace {

using CoordinatorTest = World;

/// Leaves of a trace what the coordinator says, and the comings and goings of its machines.
constexpr auto finer = "SubIntfStatus|IntfSm::handleP|Dma";

TEST_F(CoordinatorTest, AMachineComesAfterItsMarkAndGoesBeforeItsCountAndMark) {
  start();
  trace();
  beside = [&](auto&) {
    return fmt::format("[{:d}{}{:d}]", status->proxyIntfHas("et1"_intf),
                       coordinator->proxySubIntfCnt("et1"_intf),
                       coordinator->macsecProxyIntfSmHas("et1"_intf));
  };
  play("+et1.1/et8.1/et7 +et1.2/et8.3 -et1.1 -et1.2");
  // Beside each line: whether et1 has its mark, its count, and whether it has its machine.
  EXPECT_EQ(trace(finer), R"(
MacsecProxySm::handleProxyConfig(Velto::IntfId): et1.1 [000]
et1 MacsecProxyIntfSm::handleInitialized() [100]
MacsecProxySm::handleProxyConfig(Velto::IntfId): et1.2 [111]
MacsecProxySm::handleProxyConfig(Velto::IntfId): et1.1 [121]
MacsecProxySm::handleProxyConfig(Velto::IntfId): et1.2 [111]
et1 MacsecProxyIntfSm::cleanup() [110]
)");
  EXPECT_EQ(sizes(), "0 0 0 0 0");
}

TEST_F(CoordinatorTest, AStartWithoutAnEntityIsEmptyOrRefused) {
  play("+et1.1/et8.1");
  status->proxySubIntfStatusIs("et1.2"_intf, "et8.2"_intf, {}, Bridging::VlanId(1),
                               Bridging::VlanId(2));
  auto const without = [&](auto World::*entity, char const* missing) {
    auto const kept = std::exchange(this->*entity, nullptr);
    EXPECT_THAT([&] { start(); }, ThrowsMessage<Kiv::ConsistencyException>(missing));
    this->*entity = kept;
    EXPECT_EQ(config->notifieeList()->size() + device->notifieeList()->size(), 0U);
    return sizes();
  };
  EXPECT_EQ(without(&World::status, "status"), "1 0 0 0 0");
  EXPECT_EQ(without(&World::encap, "dynDot1qEncap"), "1 0 0 0 0");
  coordinator = MacsecProxy::macsecProxySmFactory(nullptr, status, encap, eth, device);
  EXPECT_EQ(config->notifieeList()->size() + device->notifieeList()->size(), 0U);
  EXPECT_EQ(sizes(), "1 0 0 0 0");
  coordinator->handleProxyConfig("et1.1"_intf);
  EXPECT_TRUE(coordinator->ioctlDrvFab()->hasNotificationActive());
  EXPECT_EQ(sizes() + trace(),
            "1 0 0 0 0\nMacsecProxySm::handleProxyConfig()\n"
            "MacsecProxySm::handleProxyConfig(Velto::IntfId): et1.1\n");
  coordinator = nullptr;
  EXPECT_EQ(without(&World::eth, "ethIntfStatusDir"), "0 0 1 0 0");
}

TEST_F(CoordinatorTest, NothingReachesACoordinatorWhoseStartFails) {
  play("+et1.1/et8.1 +et2.1/et8.2");
  driver.throwAtIs(2);
  beside = [&](auto& line) {
    if (line.find("cleanup") != line.npos) play("+et1.2/et8.3");
    return "";
  };
  EXPECT_THROW(start(), Pesk::DriverError);
  EXPECT_TRUE(config->proxyConfigHas("et1.2"_intf));
  EXPECT_EQ(trace().find("ProxySm::handleProxyConfig(Velto::IntfId): et1.2"), std::string::npos);
}

TEST_F(CoordinatorTest, MachinesKeepTheChannelTheyWereMadeWith) {
  play("+et1.1/et8.1");
  for (auto const port : {"et1"_intf, "et9"_intf}) status->proxyIntfIs(port, false);
  start();
  EXPECT_TRUE(status->proxyIntf("et1"_intf));
  auto const first = coordinator->ioctlDrvFab();
  EXPECT_EQ(coordinator->ioctlDrvFabDel(), first);
  Kiv::Ptr<Pesk::IoctlDrvInterface> const second = coordinator->ioctlDrvFabIs();
  EXPECT_TRUE(second->hasNotificationActive());
  play("+et2.1/et8.2");
  EXPECT_EQ(coordinator->macsecProxyIntfSm("et1"_intf)->ioctlDrvInterface(), first);
  EXPECT_EQ(coordinator->macsecProxyIntfSm("et2"_intf)->ioctlDrvInterface(), second);
  auto const again = [&] {
    coordinator->macsecProxyIntfSmIs("et1"_intf, config, status, encap, eth, second, {});
  };
  EXPECT_THAT(again, ThrowsMessage<Kiv::NameInUseException>(HasSubstr("_ioctlDrvInterface ")));
  coordinator->proxySubIntfCntDelAll();
  EXPECT_EQ(sizes(), "2 4 2 0 2");
  coordinator->macsecProxyIntfSmDelAll();
  EXPECT_EQ(sizes(), "0 0 2 0 0");
}

TEST_F(CoordinatorTest, DestructionSparesAMachineThatSomebodyHolds) {
  play("+et1.1/et8.1/et7 +et2.1/et8.2/et6 +et3.1/et8.3");
  start();
  trace();
  commands();
  machine = coordinator->macsecProxyIntfSm("et2"_intf);
  // Beside each line: whether there is the channel, the mark, and the last machine's entry.
  beside = [&, going = coordinator.ptr()](auto&) {
    return fmt::format("[{:d}{:d}{:d}]", going->ioctlDrvFab() != nullptr,
                       going->kivMarkedForDeletion(), going->macsecProxyIntfSmHas("et3"_intf));
  };
  coordinator = nullptr;
  beside = nullptr;
  EXPECT_EQ(trace(finer),
            "\net1 MacsecProxyIntfSm::cleanup() [011]\net3 MacsecProxyIntfSm::cleanup() [010]\n");
  // It works on, through the channel it has.
  play("+et2.2/et8.4/et5");
  EXPECT_EQ(commands() + sizes(),
            "macsec_proxy_client et1.1 dev7 0 0;macsec_proxy dev1 0;macsec_proxy dev3 0;"
            "macsec_proxy_client dev2 dev5 4 1;2 4 3 0 0");
}

}  // namespace
