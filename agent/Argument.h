#pragma once

#include <functional>

#include "Generic.h"
#include "Kiv/KivType.h"
#include "Line.h"
#include "World.h"

namespace Agent {

/// An argument of generic access, read and not made yet: an object is the one that the agent holds
/// when the command is carried out, and a value that its type does not allow is the type's own
/// error then.
using Argument = std::function<Value(World const&)>;

/// Reads an argument as its type says. An object is the word for the one that the agent holds,
/// `new` for a fresh one of its type, or `null`.
Argument readArgument(Line& line, Kiv::KivType const& type);

}  // namespace Agent
