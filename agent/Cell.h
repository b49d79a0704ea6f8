#pragma once

#include <nlohmann/json.hpp>

#include "Generic.h"
#include "Velto/IntfId.h"

namespace Agent {

/// What is printed of values: a truth value, a number, a text, or null for nothing.
using Cell = nlohmann::ordered_json;

/// Nothing for the empty identifier.
Cell cellOf(Velto::IntfId intfId);
/// The object's type and, where there is one, what tells it from others of that type.
Cell cellOf(Object const& object);
Cell cellOf(Value const& value);

}  // namespace Agent
