#pragma once

#include "Session.h"

namespace Agent {

/// The `show` commands: each prints one part of the state, a table for each collection.
void showConfig(Session& session);
void showStatus(Session& session);
void showEncaps(Session& session);
void showDriver(Session& session);
void showMachines(Session& session);
void showAll(Session& session);

}  // namespace Agent
