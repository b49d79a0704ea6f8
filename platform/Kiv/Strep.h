#pragma once

#include <typeinfo>

#include "Kiv/PtrInterface.h"
#include "Kiv/String.h"

namespace Kiv {

/// The text form of a reference to an object, for messages.
///
/// `type` says how the reference is declared: as `Kiv::Entity` the text is the name of the object's
/// type, '#' and the entity's number, for example "MacsecProxy::Status#2"; as anything else it is
/// the name of the object's type, '@' and its address. A null reference is "null".
String valueToStrepOfRawPtr(PtrInterface const* object, std::type_info const& type);

}  // namespace Kiv
