#pragma once

#include "Generic.h"
#include "Line.h"
#include "Session.h"

namespace Agent {

/// The commands that reach the library's objects by name: one for each operation that an attribute
/// can have, and those that tell which these are. Arguments are checked against the type records
/// when a line is read. Which operations an attribute has is for the library to say: it is asked
/// also for one that is not valid, and its answer becomes a `Fault`.

void showTypes(Session& session);
CarryOut readType(Line& line);
CarryOut readWalk(Line& line);
CarryOut readOperation(Line& line, Generic::Op op);

template <Generic::Op op>
CarryOut readOperation(Line& line) {
  return readOperation(line, op);
}

}  // namespace Agent
