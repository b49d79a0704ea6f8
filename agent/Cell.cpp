#include "Cell.h"

#include <fmt/format.h>

#include <string>
#include <type_traits>
#include <typeinfo>

#include "Kiv/Entity.h"
#include "Kiv/Strep.h"
#include "Library.h"
#include "Pesk/Bitmap.h"

namespace Agent {

Cell cellOf(Velto::IntfId intfId) {
  if (intfId == Velto::IntfId()) return nullptr;
  return std::string(intfId.stringValue().view());
}

Cell cellOf(Object const& object) {
  if (!object) return nullptr;
  if (Kiv::dynamicPtr<Kiv::Entity const>(object)) {
    return std::string(Kiv::valueToStrepOfRawPtr(object.ptr(), typeid(Kiv::Entity)).view());
  }
  if (auto const bitmap = Kiv::dynamicPtr<Pesk::Bitmap const>(object)) {
    return fmt::format("{} (id {}, size {}, {} in use)", object->fwkType()->name(), bitmap->id(),
                       bitmap->size(), Library::bitsInUse(*bitmap).size());
  }
  return object->fwkType()->name();
}

Cell cellOf(Value const& value) {
  return std::visit(
      []<class T>(T const& held) -> Cell {
        if constexpr (std::is_arithmetic_v<T>) {
          return held;
        } else if constexpr (std::is_same_v<T, Bridging::VlanIdOrNone>) {
          return held.value();
        } else if constexpr (std::is_same_v<T, Pesk::HBitmap::BitState>) {
          return held == T::set ? "set" : "clear";
        } else {
          return cellOf(held);
        }
      },
      value);
}

}  // namespace Agent
