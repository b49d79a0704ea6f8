#include "Kiv/Strep.h"

#include <sstream>

#include "Kiv/Entity.h"
#include "Kiv/KivType.h"

namespace Kiv {

String valueToStrepOfRawPtr(PtrInterface const* object, std::type_info const& type) {
  if (object == nullptr) return "null";
  std::ostringstream text;
  text << object->fwkType()->name();
  auto const* const entity = type == typeid(Entity) ? dynamic_cast<Entity const*>(object) : nullptr;
  if (entity != nullptr) {
    text << '#' << entity->entityNumber();
  } else {
    text << '@' << static_cast<void const*>(object);
  }
  return String(std::string_view(text.str()));
}

}  // namespace Kiv
