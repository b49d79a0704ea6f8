#pragma once

#include <string>
#include <utility>
#include <vector>

#include "Entities.h"
#include "Generic.h"
#include "Kiv/Integers.h"
#include "Kiv/KivType.h"
#include "Pesk/Bitmap.h"
#include "Velto/IntfId.h"

namespace Agent {

/// The loadable library: loading it, starting it, and looking at its machines as plain data. The
/// agent is not linked with it and knows no class of it, only names of types and attributes.
namespace Library {

/// One per-interface machine.
struct Machine {
  Velto::IntfId intfId;
  std::vector<Velto::IntfId> proxySubIntf;
  /// Each client with the proxy sub-interface that serves it.
  std::vector<std::pair<Velto::IntfId, Velto::IntfId>> clientIntf;
  /// The tags in use, lowest first.
  std::vector<U32> tags;

  friend bool operator==(Machine const&, Machine const&) = default;
};

/// A coordinator and its machines.
struct View {
  std::vector<std::pair<Velto::IntfId, U32>> proxySubIntfCnt;
  std::vector<Machine> machines;

  friend bool operator==(View const&, View const&) = default;
};

/// The file that was built or installed together with this program.
std::string defaultFile();

/// Loads the library, for good. Raises `std::runtime_error` when the file cannot be loaded or is
/// another library. Comes before everything else here.
void load(std::string const& file);

Kiv::KivType const& coordinatorType();
Kiv::KivType const& machineType();

/// Starts the library over `entities` and returns its coordinator, whose last reference stops it.
/// Raises what the start-up raises.
Object start(Entities const& entities);

/// REQUIRES: `coordinator` came from `start`.
View view(Object const& coordinator);

/// The bits that are set, lowest first.
std::vector<U32> bitsInUse(Pesk::Bitmap const& bitmap);

}  // namespace Library

}  // namespace Agent
