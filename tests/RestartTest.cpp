#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "World.h"

namespace {

class RestartTest : public WorldTest {};

TEST_P(RestartTest, AStartBringsBackWhatIsConfiguredHoweverTheLastRunEnded) {
  play("+et1.1=et8.1/et7 +et2.1=et8.3/et5");
  start();
  play("-et1.1 +et1.2=et8.2/et6 +et1.1=et8.1/et7");
  std::string const running = tables();
  coordinator = nullptr;
  EXPECT_EQ(tables(), "marks et1 et2 counts driver |\nrecords\nencaps\nmachines\n");
  start();
  EXPECT_EQ(tables(), running);
  crash();
  commands();
  play("-et1.1 -et2.1 +et3.1=et8.1/et7 +et1.2=et9.2/et4 @et1=name");
  EXPECT_EQ(commands() + trace(), "");
  start();
  // Nobody tells the driver of what went out of service with its port while the agent was down.
  EXPECT_EQ(outcome(),
            "macsec_proxy_client dev3 dev7 2 1;macsec_proxy dev3 1;"
            "macsec_proxy_client et1.2 dev6 0 0;macsec_proxy_client dev1 dev4 2 1;"
            "macsec_proxy dev1 1;\n"
            "marks et1 et3 counts et1=1 et3=1 "
            "driver dev1 dev2 dev3 | dev4=dev1/2 dev5=dev2/2 dev7=dev3/2\n"
            "records et1.2=et9.2/et4/1/2 et3.1=et8.1/et7/1/2\n"
            "encaps et1.2=2 et3.1=2 et8.1=1 et9.2=1\n"
            "machines et1[ et1.2 | et4=et1.2 | 1 2 ] et3[ et3.1 | et7=et3.1 | 1 2 ]\n");
}

/// Plays one history of everything that can happen, told by its seed. Returns the tables after each
/// step.
std::vector<std::string> history(unsigned seed, Kiv::Delivery::Order order) {
  World world(order);
  world.start();
  std::mt19937 random(seed);
  auto const below = [&](unsigned limit) { return static_cast<unsigned>(random() % limit); };
  std::vector<std::string> steps;
  while (steps.size() < 80) {
    unsigned const kind = below(10), port = 1 + below(2), number = below(3), patch = 8 + below(2);
    // Ports share no client: which of two that do is told last is nobody's promise.
    unsigned const client = 2 * port + 1 + below(2);
    std::string const any = fmt::format("et{}", below(2) == 0 ? port : client);
    std::string const name = fmt::format("dev{}", below(9));
    if (kind == 0) world.coordinator = nullptr;
    if (kind == 1) world.crash();
    if (kind <= 1) world.start();
    if (kind == 2) world.eth->intfStatusDel(intf(any));
    if (kind == 3) world.eth->intfStatusIs(intf(any), name.c_str());
    if (kind == 4) world.play('!' + any);
    if (kind == 5) world.play('@' + any + '=' + name);
    if (kind == 6) world.play(fmt::format("-et{}.{}", port, number));
    if (kind == 7) world.play(fmt::format("+et{0}.{1}=et{2}.{0}{1}", port, number, patch));
    if (kind >= 8) {
      world.play(fmt::format("+et{0}.{1}=et{2}.{0}{1}/et{3}", port, number, patch, client));
    }
    steps.push_back(world.tables());
  }
  EXPECT_EQ(world.driver.notUnderstood(), 0U);
  // But for the pairs, it has come to what a first start makes of the same configuration.
  std::string const end = world.inService(false);
  world.coordinator = nullptr;
  world.status = Status::StatusIs();
  world.encap = SubIntfDynDot1qEncap::SubIntfDynDot1qEncapIs();
  world.start();
  EXPECT_EQ(world.inService(false), end);
  return steps;
}

TEST(HistoryTest, BothOrdersOfDeliveryGoThroughTheSameStates) {
  for (unsigned seed = 1; seed <= 40; ++seed) {
    ASSERT_EQ(history(seed, Kiv::Delivery::Order::registration),
              history(seed, Kiv::Delivery::Order::reverse))
        << "seed " << seed;
  }
}

INSTANTIATE_TEST_SUITE_P(BothOrders, RestartTest, bothOrders);

}  // namespace
