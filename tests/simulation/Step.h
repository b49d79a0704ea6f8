#pragma once

#include <string>
#include <vector>

#include "Kiv/Integers.h"
#include "Velto/IntfId.h"

namespace Simulation {

using Velto::IntfId;

enum class Kind : U8 {
  ethSet,
  ethBlank,
  ethRemove,
  deviceSet,
  deviceRemove,
  proxySet,
  proxyRemove,
  leftRecord,
  leftEncap,
  leftMark,
  start,
  stop,
  crash,
  order,
  /// Many sub-interfaces of one port at once: `number` of them from `firstOfMany` on.
  fill,
  drain,
  /// A call through generic access; `number` says which.
  generic,
};

enum class Fault : U8 { none, driver, allocation };

/// One step of a history, as plain data. What cannot be done in the state that the world is in (a
/// stop while nothing runs) is passed over.
struct Step {
  static constexpr U32 firstOfMany = 1000;

  Kind kind;
  /// The sub-interface or port, its patch sub-interface and its client.
  IntfId intf{};
  IntfId patch{};
  IntfId client{};
  std::string device{};
  U32 number = 0;
  /// Has the `at`-th command or allocation of the step fail, provided that no machine can be torn
  /// down in it: a teardown must not raise.
  Fault fault = Fault::none;
  U32 at = 0;
  /// One of many alike, of which only the last is judged.
  bool isQuiet = false;
};

using History = std::vector<Step>;

IntfId intf(std::string const& text);
std::string textOf(IntfId intfId);
/// The `number`-th of many sub-interfaces of a port.
inline IntfId oneOfMany(IntfId port, U32 number) {
  return intf(textOf(port) + '.' + std::to_string(Step::firstOfMany + number));
}

/// The history as a scenario of the stand-in agent; what the agent cannot do is a comment.
std::string scenarioOf(History const& history);

/// The history that a scenario gives: its events, without what it shows, expects, and does through
/// generic access.
History historyIn(std::string const& file);

/// The history that a seed decides, and a configuration change that it decides.
History historyOf(U64 seed);
History changesOf(U64 seed);

}  // namespace Simulation
