#pragma once

#include "Line.h"
#include "Session.h"

namespace Agent {

/// The order that a line gives, with every argument checked. Raises a `Fault` for a line that gives
/// none. REQUIRES: the line has a word.
Order orderIn(Line line);

}  // namespace Agent
