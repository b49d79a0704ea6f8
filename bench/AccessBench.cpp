#include <array>

#include "Bench.h"
#include "Kiv/GenericIf.h"
#include "Kiv/KivAttr.h"
#include "Kiv/KivType.h"
#include "LibraryProgram.h"
#include "Work.h"

namespace Bench {

namespace {

using Machine = MacsecProxy::MacsecProxyIntfSm;
using Op = Kiv::GenericIf::AttributeOp;

Kiv::KivAttr const* attribute(std::string_view name) {
  for (Kiv::KivAttr const& attr : Machine::_kivType.access().attributes) {
    if (name == attr.name) return &attr;
  }
  return nullptr;
}

struct Direct {
  static Velto::IntfId read(Machine& machine) { return machine.intfId(); }
  static void insert(Machine& machine, Velto::IntfId key, Velto::IntfId value) {
    machine.clientIntfIs(key, value);
  }
  static void call(Machine& machine, Velto::IntfId key) { machine.handleIntf(key); }
};

/// Each operation as a host carries it out that knows the attribute's record.
struct Generic {
  static Velto::IntfId read(Machine& machine) {
    static Kiv::KivAttr const* const attr = attribute("intfId");
    Velto::IntfId result;
    operate(&result, machine, attr, Op::read, nullptr, nullptr);
    return result;
  }
  static void insert(Machine& machine, Velto::IntfId key, Velto::IntfId value) {
    static Kiv::KivAttr const* const attr = attribute("clientIntf");
    operate(nullptr, machine, attr, Op::insert, &key, &value);
  }
  static void call(Machine& machine, Velto::IntfId key) {
    static Kiv::KivAttr const* const attr = attribute("handleIntf");
    std::array<void*, 1> arguments{&key};
    operate(nullptr, machine, attr, Op::call, nullptr, arguments.data());
  }

 private:
  static void operate(void* result, Machine& machine, Kiv::KivAttr const* attr, Op op, void* key,
                      void* args) {
    Machine::_kivType.access().genericIfAttributeOp(result, &machine, attr, op, key, args);
  }
};

/// Runs `once` with a machine and an interface that is neither its port nor a client.
template <class Once>
void loop(benchmark::State& state, Once once) {
  freshDriver();
  LibraryProgram program;
  fill(program, 1, 100);
  program.start();
  Kiv::Ptr<Machine> const machine = program.machine(portId(0));
  Velto::IntfId key = portId(1);
  for (auto _ : state) {
    benchmark::DoNotOptimize(key);
    once(*machine, key);
  }
}

template <class Access>
struct Read {
  static void run(benchmark::State& state) {
    loop(state, [](Machine& machine, Velto::IntfId) {
      auto value = Access::read(machine);
      benchmark::DoNotOptimize(value);
    });
  }
};

template <class Access>
struct Insert {
  static void run(benchmark::State& state) {
    loop(state, [](Machine& machine, Velto::IntfId key) { Access::insert(machine, key, key); });
  }
};

template <class Access>
struct Call {
  static void run(benchmark::State& state) {
    loop(state, [](Machine& machine, Velto::IntfId key) { Access::call(machine, key); });
  }
};

template <template <class> class Job>
void registerJob(char const* name) {
  Registration({.name = name, .isDifference = true}, contender<Job, Generic>("generic"))
      .beside({5, 15}, {contender<Job, Direct>("direct")});
}

}  // namespace

void registerAccessBenchmarks() {
  registerJob<Read>("generic access: read");
  registerJob<Insert>("generic access: insert");
  registerJob<Call>("generic access: call");
}

}  // namespace Bench
