#include "Argument.h"

#include <array>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "Kiv/Builtin.h"
#include "Pesk/IoctlDrvFab.h"

namespace Agent {

namespace {

template <class T>
Argument is(T value) {
  return [value](World const&) { return Value(value); };
}

template <class T>
Argument read(Line& line) {
  return is(line.take<T>());
}
template <>
Argument read<Velto::IntfId>(Line& line) {
  return is<Velto::IntfId>(line.take<Intf>());
}
template <>
Argument read<bool>(Line& line) {
  return is(line.choice("a bool", {"true", "false", "1", "0"}) % 2 == 0);
}
template <>
Argument read<Bridging::VlanIdOrNone>(Line& line) {
  return [tag = line.take<U32>()](World const&) { return Bridging::VlanIdOrNone(tag); };
}
template <>
Argument read<Pesk::HBitmap::BitState>(Line& line) {
  using enum Pesk::HBitmap::BitState;
  return is(line.choice("a bit state", {"set", "clear", "0", "1"}) % 2 == 0 ? set : clear);
}

/// What an object argument of a type can be.
struct Held {
  Kiv::KivType const* type;
  std::string_view word;
  Object (*held)(World const&);
  Object (*fresh)();
};

template <auto entity>
constexpr Held entityHeld(std::string_view word) {
  using Pointer = std::remove_cvref_t<decltype(std::declval<Entities>().*entity)>;
  return {Kiv::TypeOf<Pointer>::record(), word,
          [](World const& world) -> Object { return world.entities().*entity; },
          []() -> Object { return Entities().*entity; }};
}

constexpr std::array holdings{
    entityHeld<&Entities::config>("config"),
    entityHeld<&Entities::status>("status"),
    entityHeld<&Entities::dynDot1qEncap>("encaps"),
    entityHeld<&Entities::ethIntfStatusDir>("ethernet"),
    entityHeld<&Entities::deviceIntfStatusDir>("devices"),
    Held{&Pesk::IoctlDrvInterface::_kivType, "driver",
         [](World const& world) {
           return Generic::read<Object>(world.coordinator(), "ioctlDrvFab");
         },
         []() -> Object { return Kiv::makeNew<Pesk::IoctlDrvFab>(); }},
};

Value null(World const&) { return Object(); }

Argument readObject(Line& line, Kiv::KivType const& type) {
  std::string const what = std::string("an object of type ") + type.name();
  for (Held const& object : holdings) {
    if (std::string_view(object.type->name()) != type.name()) continue;
    switch (line.choice(what, {object.word, "new", "null"})) {
      case 0:
        return object.held;
      case 1:
        return [fresh = object.fresh](World const&) { return fresh(); };
      default:
        return null;
    }
  }
  line.choice(what, {"null"});
  return null;
}

template <class... Values>
Argument readArgument(Line& line, Kiv::KivType const& type,
                      std::type_identity<std::variant<Object, Values...>>) {
  Argument argument;
  ((std::string_view(type.name()) == Kiv::TypeOf<Values>::record()->name()
        ? void(argument = read<Values>(line))
        : void()),
   ...);
  return argument ? argument : readObject(line, type);
}

}  // namespace

Argument readArgument(Line& line, Kiv::KivType const& type) {
  return readArgument(line, type, std::type_identity<Value>());
}

}  // namespace Agent
