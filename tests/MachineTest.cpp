#include "Allocations.h"
#include "World.h"

namespace {

using MachineTest = World;

TEST_F(MachineTest, TheDriverIsToldLastOfAnAdditionAndInTheMiddleOfARemoval) {
  makeMachine("et1"_intf);
  auto const* const sm = machine.ptr();
  // Beside each line: whether et1.1 has its tags, its client, both encapsulations, its record and
  // its entry, and whether the machine is marked for deletion.
  beside = [&](auto&) {
    return fmt::format("[{:d}{:d}{:d}{:d}{:d}{:d}{:d}{:d}]", sm->macsecTag()->bitIsSet(1),
                       sm->macsecTag()->bitIsSet(2), sm->clientIntfHas("et7"_intf),
                       encap->encapHas("et1.1"_intf), encap->encapHas("et8.1"_intf),
                       status->proxySubIntfStatusHas("et1.1"_intf),
                       sm->proxySubIntf().has("et1.1"_intf), sm->kivMarkedForDeletion());
  };
  trace();
  play("+et1.1/et8.1/et7");
  machine = nullptr;
  beside = nullptr;
  EXPECT_EQ(trace("handleProxyConfig"), R"(
et1 MacsecProxyIntfSm::addProxySubIntfStatus(Velto::IntfId, Velto::IntfId): et1.1 [00000000]
macsec_proxy_client dev1 dev7 2 1 [11111110]
et1 MacsecProxyIntfSm::cleanup() [11111110]
et1 MacsecProxyIntfSm::deleteProxySubIntfStatus(Velto::IntfId): et1.1 [11111110]
macsec_proxy_client et1.1 dev7 0 0 [00011110]
et1 MacsecProxyIntfSm::doUpdateDmaMacsecProxy(Velto::IntfId, bool): et1, 0 [00000000]
macsec_proxy dev1 0 [00000000]
)");
  EXPECT_EQ(commands().substr(0, 20), "macsec_proxy dev1 1;");
}

TEST_F(MachineTest, WhatNobodyCanType) {
  makeMachine("et1"_intf);
  play("+et1.1/et8.1/et7 +et1.2/et8.2");
  EXPECT_TRUE(machine->macsecTag()->hasNotificationActive());
  auto const pool = machine->macsecTag();
  // Taken by somebody else, one tag of a pair is a pool that nobody can serve.
  pool->setBitsInRange(5, 5);
  EXPECT_THAT([&] { play("+et1.3/et8.3"); },
              ThrowsMessage<Kiv::ConsistencyException>("encryptTag.value() % 2"));
  EXPECT_EQ(sizes(), "2 4 0 0 0");
  machine->macsecTagIs(1, 5000, Pesk::HBitmap::BitState::clear)->setBitsInRange(1, 4096);
  EXPECT_THROW(play("+et1.4/et8.4"), Kiv::RangeException);
  // With the trace off, what does not concern the machine costs no allocation.
  Kiv::Trace::levelIs("MacsecProxySm", 8, false);
  auto const [other, made] = std::pair("et2.1"_intf, Allocations::made);
  machine->handleProxyConfig(other);
  machine->handleIntf(other);
  EXPECT_EQ(Allocations::made, made);
  machine->clientIntfIs("et6"_intf, "et1.2"_intf);
  machine->clientIntfDelAll();
  machine->proxySubIntfDelAll();
  EXPECT_EQ(machine->clientIntf().size() + machine->proxySubIntf().size(), 0U);
}

}  // namespace
