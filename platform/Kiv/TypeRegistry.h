#pragma once

#include <string_view>
#include <vector>

#include "Kiv/KivType.h"

namespace Kiv {

// The process's registry of type records, through which generic access finds types by name. Ready
// at any time, also before the static initialisation of the library that holds it. Safe from any
// thread.

/// Registers a type, for good. A type whose name is registered already is left out, so that a
/// library loaded twice registers once. Raises `std::bad_alloc`.
void typeNodeIs(KivType const* type);

/// The registered type of that name, null when there is none.
KivType const* typeNode(std::string_view name);

/// All registered types, in the order of registration.
std::vector<KivType const*> typeNodes();

}  // namespace Kiv
