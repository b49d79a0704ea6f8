#pragma once

#include <string>
#include <vector>

#include "Kiv/Integers.h"

namespace Simulation {

/// What fails inside a step. A deadly driver is one that may fail in a teardown, too, which ends
/// the process.
enum class Fault : U8 { none, driver, allocation, deadly };

/// One step of a history: lines of the agent's language that belong together. What cannot be done
/// in the state that the agent is in is passed over.
struct Step {
  std::string text;
  Fault fault = Fault::none;
  /// Which command or allocation of the step fails.
  U32 at = 0;
};
using History = std::vector<Step>;

/// What a seed decides: a history, and changes of the configuration while an agent is down.
History historyOf(U64 seed);
History changesOf(U64 seed);
/// The events of a scenario's file. Raises `std::runtime_error` when it cannot be read.
History historyIn(std::string const& file);
/// The history as a scenario; what the agent cannot do is a comment.
std::string scenarioOf(History const& history);

}  // namespace Simulation
