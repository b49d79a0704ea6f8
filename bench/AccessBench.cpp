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
class Generic {
 public:
  Velto::IntfId read(Machine& machine) const {
    Velto::IntfId result;
    operate(&result, machine, intfId_, Op::read, nullptr, nullptr);
    return result;
  }
  void insert(Machine& machine, Velto::IntfId key, Velto::IntfId value) const {
    operate(nullptr, machine, clientIntf_, Op::insert, &key, &value);
  }
  void call(Machine& machine, Velto::IntfId key) const {
    std::array<void*, 1> arguments{&key};
    operate(nullptr, machine, handleIntf_, Op::call, nullptr, arguments.data());
  }

 private:
  static void operate(void* result, Machine& machine, Kiv::KivAttr const* attr, Op op, void* key,
                      void* args) {
    Machine::_kivType.access().genericIfAttributeOp(result, &machine, attr, op, key, args);
  }

  Kiv::KivAttr const* intfId_ = attribute("intfId");
  Kiv::KivAttr const* clientIntf_ = attribute("clientIntf");
  Kiv::KivAttr const* handleIntf_ = attribute("handleIntf");
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
