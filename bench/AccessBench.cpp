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

/// A machine in service, and an interface that is neither its port nor, at first, a client.
template <class Access>
struct Serving : Access {
  Serving() {
    freshDriver();
    fill(program, 1, 100);
    program.start();
    machine = program.machine(portId(0));
  }

  LibraryProgram program;
  Kiv::Ptr<Machine> machine;
  Velto::IntfId key = portId(1);
};

template <class Once>
void registerJob(char const* name, Once once) {
  Registration({.name = name, .isDifference = true}, contender<Serving<Generic>>("generic", once))
      .beside({5, 15}, {contender<Serving<Direct>>("direct", once)});
}

}  // namespace

void registerAccessBenchmarks() {
  registerJob("generic access: read", [](auto& serving) {
    benchmark::DoNotOptimize(serving);
    auto value = serving.read(*serving.machine);
    benchmark::DoNotOptimize(value);
  });
  registerJob("generic access: insert", [](auto& serving) {
    benchmark::DoNotOptimize(serving);
    serving.insert(*serving.machine, serving.key, serving.key);
  });
  registerJob("generic access: call", [](auto& serving) {
    benchmark::DoNotOptimize(serving);
    serving.call(*serving.machine, serving.key);
  });
}

}  // namespace Bench
