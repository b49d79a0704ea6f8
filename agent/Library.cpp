#include "Library.h"

#include <dlfcn.h>
#include <fmt/format.h>

#include <filesystem>
#include <stdexcept>

#include "Kiv/TypeRegistry.h"
#include "Pesk/Bitmap.h"

namespace Agent::Library {

namespace {

constexpr char const* coordinatorName = "MacsecProxy::MacsecProxySm";
constexpr char const* machineName = "MacsecProxy::MacsecProxyIntfSm";

}  // namespace

std::string defaultFile() {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path() / MACSECPROXY_LIBRARY;
}

void load(std::string const& file) {
  // A path, so that nothing is searched for. The library is never unloaded.
  if (dlopen(std::filesystem::absolute(file).c_str(), RTLD_NOW | RTLD_LOCAL) == nullptr) {
    throw std::runtime_error(fmt::format("{}: cannot be loaded: {}", file, dlerror()));
  }
  for (char const* const name : {coordinatorName, machineName}) {
    if (Kiv::typeNode(name) == nullptr) {
      throw std::runtime_error(fmt::format("{}: does not register the type {}", file, name));
    }
  }
}

Kiv::KivType const& coordinatorType() { return *Kiv::typeNode(coordinatorName); }
Kiv::KivType const& machineType() { return *Kiv::typeNode(machineName); }

Object start(Entities const& entities) {
  return Generic::construct(coordinatorType(),
                            {entities.config, entities.status, entities.dynDot1qEncap,
                             entities.ethIntfStatusDir, entities.deviceIntfStatusDir});
}

View view(Object const& coordinator) {
  using Velto::IntfId;
  View view;
  Generic::walk(coordinator, "proxySubIntfCnt", [&](Value const& key, Value const& count) {
    view.proxySubIntfCnt.emplace_back(std::get<IntfId>(key), std::get<U32>(count));
  });
  Generic::walk(coordinator, "macsecProxyIntfSm", [&](Value const& port, Value const& member) {
    auto const& machine = std::get<Object>(member);
    Machine& seen = view.machines.emplace_back(Machine{std::get<IntfId>(port), {}, {}, {}});
    Generic::walk(machine, "proxySubIntf", [&](Value const& key, Value const&) {
      seen.proxySubIntf.push_back(std::get<IntfId>(key));
    });
    Generic::walk(machine, "clientIntf", [&](Value const& client, Value const& servedBy) {
      seen.clientIntf.emplace_back(std::get<IntfId>(client), std::get<IntfId>(servedBy));
    });
    auto const pool =
        Kiv::dynamicPtr<Pesk::Bitmap const>(Generic::read<Object>(machine, "macsecTag"));
    if (pool) seen.tags = bitsInUse(*pool);
  });
  return view;
}

std::vector<U32> bitsInUse(Pesk::Bitmap const& bitmap) {
  std::vector<U32> bits;
  for (U32 bit = 0; bit++ < bitmap.size();) {
    if (bitmap.bitIsSet(bit)) bits.push_back(bit);
  }
  return bits;
}

}  // namespace Agent::Library
