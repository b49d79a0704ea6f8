#pragma once

#include <string>

#include "SimulatedAgent.h"

namespace Simulation {

/// Runs a history and judges every step; then ends it by a kill and a start, by a clean stop and a
/// start, and, without faults in it, in other orders of delivery. With `killEverywhere`, what an
/// agent killed at each single write would leave is started again, too. `seed` decides what is
/// configured while it is down. Raises `Broken`.
void live(History const& history, U64 seed, bool killEverywhere);

/// The same as `live` in a process of its own, which may as well die. Returns the rule that is
/// broken, or "".
std::string brokenBy(History const& history, U64 seed, bool killEverywhere);

/// Every allocation and every driver command of every kind of step fails in turn.
void failEverywhere();
/// The driver throws at its every command of a scenario in turn.
void throwEverywhere(History const& scenario);

}  // namespace Simulation
