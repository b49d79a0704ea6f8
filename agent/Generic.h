#pragma once

#include <functional>
#include <optional>
#include <string_view>
#include <variant>
#include <vector>

#include "Bridging/VlanIdOrNone.h"
#include "Kiv/GenericIf.h"
#include "Kiv/Integers.h"
#include "Kiv/KivAttr.h"
#include "Kiv/KivType.h"
#include "Kiv/Ptr.h"
#include "Kiv/PtrInterface.h"
#include "Pesk/HBitmap.h"
#include "Velto/IntfId.h"

namespace Agent {

/// A counted object of whatever class, or null.
using Object = Kiv::Ptr<Kiv::PtrInterface const>;

/// What generic access takes and gives.
using Value = std::variant<Object, Velto::IntfId, bool, U32, U64, Bridging::VlanIdOrNone,
                           Pesk::HBitmap::BitState>;

/// Generic access with typed values: what travels through untyped pointers, and who must release
/// what, is known here and nowhere else in the agent. Raises what the library raises.
namespace Generic {

using Op = Kiv::GenericIf::AttributeOp;

/// The attribute of that name or index. One that the type does not have comes without a name; the
/// library can be asked about it all the same.
Kiv::KivAttr attribute(Kiv::KivType const& type, std::string_view nameOrIndex);

/// What a valid operation takes: the key of a collection's member first.
std::vector<Kiv::KivArgument> parameters(Kiv::KivAttr const& attr, Op op);

struct Answer {
  /// A `Kiv::GenericIf::Result`.
  int result;
  /// Empty for an operation that gives nothing, and for one that was not done.
  std::optional<Value> value;
};

/// Asks `object` to carry out an operation. REQUIRES: `values` are what `parameters` says, when the
/// operation is valid.
Answer operate(Object const& object, Kiv::KivAttr const& attr, Op op,
               std::vector<Value> values = {});

/// The value of an attribute, or of its member at the key in `values`. REQUIRES: it is a `T`.
template <class T>
T read(Object const& object, std::string_view name, std::vector<Value> values = {}) {
  Kiv::KivAttr const attr = attribute(*object->fwkType(), name);
  return std::get<T>(operate(object, attr, Op::read, std::move(values)).value.value());
}

using Visit = std::function<void(Value const& key, Value const& value)>;

/// Walks a collection. Returns false when the attribute is not one.
bool walk(Object const& object, Kiv::KivAttr const& attr, Visit const& visit);
/// Walks a collection that is known to be one.
void walk(Object const& object, std::string_view name, Visit const& visit);

/// An object made from the arguments of its type's constructor. REQUIRES: the type can do that.
Object construct(Kiv::KivType const& type, std::vector<Value> values);

}  // namespace Generic

}  // namespace Agent
