#include <fmt/format.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <thread>

#include "Checks.h"
#include "Kiv/AllocTrackTypeInfo.h"

namespace Simulation {

namespace {

/// Two ports, three clients of which one is shared, and a record of an earlier run.
History const& beforeStart() {
  static History const steps = [] {
    History made;
    for (char const* port : {"et1", "et2", "et5", "et6"}) {
      made.push_back({Kind::ethSet, intf(port), {}, {}, std::string("dev") + port});
      made.push_back({Kind::deviceSet, intf(port), {}, {}, "a"});
    }
    made.push_back({Kind::leftRecord, intf("et1.2"), intf("et8.1"), intf("et6"), "", 7});
    made.push_back({Kind::proxySet, intf("et1.1"), intf("et8.1"), intf("et5")});
    made.push_back({Kind::proxySet, intf("et1.2"), intf("et8.2"), intf("et6")});
    made.push_back({Kind::proxySet, intf("et2.1"), intf("et9.1"), intf("et5")});
    return made;
  }();
  return steps;
}

History kindsOfSteps() {
  History kinds{{Kind::start},
                {Kind::proxySet, intf("et1.3"), intf("et8.3"), intf("et2")},
                {Kind::proxySet, intf("et3.1"), intf("et8.3"), intf("et6")},
                {Kind::proxySet, intf("et1.1"), intf("et8.4"), intf("et6")},
                {Kind::proxyRemove, intf("et1.1")},
                {Kind::deviceSet, intf("et1"), {}, {}, "b"},
                {Kind::deviceSet, intf("et5"), {}, {}, "b"}};
  for (U32 call = 0; call < 10; ++call) {
    kinds.push_back({Kind::generic, intf("et1.1"), {}, {}, "", call});
  }
  return kinds;
}

World* dying = nullptr;

}  // namespace

void failEverywhere() {
  for (Step step : kindsOfSteps()) {
    for (Fault const fault : {Fault::driver, Fault::allocation}) {
      step.fault = fault;
      for (step.at = 1;; ++step.at) {
        U64 const before = World::faults;
        {
          Pesk::Driver::instance().reset();
          World world;
          for (Step const& each : beforeStart()) world.perform(each);
          if (step.kind != Kind::start) world.perform({Kind::start});
          world.perform(step);
          judgeRestart(world.capture(), step.at);
          world.perform({Kind::stop});
          world.perform({Kind::start});
          world.perform({Kind::stop});
        }
        for (auto const* type = Kiv::AllocTrackTypeInfo::first(); type; type = type->next()) {
          require(type->live() == 0, type->className());
        }
        if (World::faults == before) break;
      }
    }
  }
}

void throwEverywhere(History const& scenario, Counts& counts) {
  enum Outcome { raised = 0, broken = 1, died = 2 };
  std::vector<std::size_t> commands;
  {
    Pesk::Driver::instance().reset();
    World world;
    for (Step const& step : scenario) {
      world.perform(step);
      commands.push_back(world.driver.log().size());
    }
  }
  for (std::size_t at = 0; at < scenario.size(); ++at) {
    for (U32 command = 1; command <= commands[at]; ++command) {
      std::fflush(nullptr);
      pid_t const child = fork();
      if (child == 0) {
        // A driver that throws in a teardown brings the process here, at that very command; what
        // the platform keeps is then for the next start.
        std::set_terminate([] {
          std::thread([] {
            try {
              judgeRestart(dying->capture(), 1);
              _exit(died);
            } catch (Broken const& rule) {
              fmt::print("after a death: {}\n", rule.what());
              std::fflush(nullptr);
              _exit(broken);
            }
          }).join();
        });
        try {
          Pesk::Driver::instance().reset();
          World world;
          dying = &world;
          for (std::size_t each = 0; each < scenario.size(); ++each) {
            Step step = scenario[each];
            world.mayDie = each == at;
            if (each == at) {
              step.fault = Fault::driver;
              step.at = command;
            }
            world.perform(step);
          }
          judgeRestart(world.capture(), command);
          world.perform({Kind::stop});
          _exit(raised);
        } catch (Broken const& rule) {
          fmt::print("the driver throws: {}\n", rule.what());
          std::fflush(nullptr);
          _exit(broken);
        }
      }
      int status = 0;
      waitpid(child, &status, 0);
      int const outcome = WIFEXITED(status) ? WEXITSTATUS(status) : broken;
      if (outcome != raised && outcome != died) {
        throw Broken(fmt::format("the driver throws at command {} of step {}", command, at + 1));
      }
      ++(outcome == died ? counts.deaths : counts.failures);
    }
  }
}

}  // namespace Simulation
