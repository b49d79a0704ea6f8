#include "Generic.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <memory>
#include <type_traits>

#include "Kiv/Builtin.h"

namespace Agent::Generic {

namespace {

using Kiv::KivAttr;
using Kind = KivAttr::Kind;

void* untyped(Object const& object) {
  return const_cast<void*>(static_cast<void const*>(object.ptr()));
}

/// The values as generic access takes them: objects by their own pointers, the others by pointers
/// to them, valid as long as `values` is.
std::vector<void*> pointersTo(std::vector<Value>& values) {
  std::vector<void*> pointers;
  pointers.reserve(values.size());
  for (Value& value : values) {
    pointers.push_back(std::visit(
        []<class T>(T& held) -> void* {
          if constexpr (std::is_same_v<T, Object>) {
            return untyped(held);
          } else {
            return &held;
          }
        },
        value));
  }
  return pointers;
}

template <class... Values>
Value emptyOf(std::string_view type, std::type_identity<std::variant<Object, Values...>>) {
  Value value;
  ((type == Kiv::TypeOf<Values>::record()->name() ? void(value.emplace<Values>()) : void()), ...);
  return value;
}

/// The empty value of a type; null for any that is none of the values' types.
Value emptyOf(Kiv::KivType const* type) {
  return type == nullptr ? Value() : emptyOf(type->name(), std::type_identity<Value>());
}

/// Has `write` fill in a value of the kind that `value` holds. An object arrives with one
/// reference, which is taken over.
template <class Write>
void receive(Value& value, Write write) {
  if (std::holds_alternative<Object>(value)) {
    Kiv::PtrInterface const* object = nullptr;
    write(&object);
    value = Object::adopt(object);
  } else {
    std::visit([&](auto& held) { write(&held); }, value);
  }
}

/// An empty value of the kind that an operation gives, if it gives one.
std::optional<Value> resultOf(KivAttr const& attr, Op op) {
  switch (op) {
    case Op::call:
      return std::nullopt;
    case Op::size:
    case Op::version:
      return U32{0};
    case Op::has:
      return false;
    case Op::insert:
      if (attr.kind == Kind::collection) return std::nullopt;
      [[fallthrough]];
    default:
      return emptyOf(attr.valueType);
  }
}

}  // namespace

KivAttr attribute(Kiv::KivType const& type, std::string_view nameOrIndex) {
  // No attribute has the index 0, which is that of all unknown names.
  U32 index = 0;
  char const* const last = nameOrIndex.data() + nameOrIndex.size();
  if (std::from_chars(nameOrIndex.data(), last, index).ptr != last) index = 0;
  for (KivAttr const& attr : type.access().attributes) {
    if (attr.name == nameOrIndex || attr.index == index) return attr;
  }
  KivAttr unknown;
  unknown.index = index;
  return unknown;
}

std::vector<Kiv::KivArgument> parameters(KivAttr const& attr, Op op) {
  Kiv::KivArgument const key{"key", attr.keyType};
  if (op == Op::insert && attr.kind == Kind::collection) return {key, {"value", attr.valueType}};
  if (op == Op::insert || op == Op::call) {
    return {attr.arguments().begin(), attr.arguments().end()};
  }
  bool const isAtKey = op == Op::read || op == Op::remove || op == Op::has;
  if (isAtKey && attr.keyType != nullptr) return {key};
  return {};
}

Answer operate(Object const& object, KivAttr const& attr, Op op, std::vector<Value> values) {
  std::vector<void*> pointers = pointersTo(values);
  // Of a collection the key stands first, also among the arguments of a member's constructor.
  void* const key = attr.keyType != nullptr && !pointers.empty() ? pointers.front() : nullptr;
  void* args = pointers.data();
  if (attr.kind == Kind::collection) args = pointers.size() > 1 ? pointers[1] : nullptr;
  Answer answer{Kiv::GenericIf::done, resultOf(attr, op)};
  auto const ask = [&](void* result) {
    answer.result = object->fwkType()->access().genericIfAttributeOp(result, untyped(object), &attr,
                                                                     op, key, args);
  };
  if (answer.value) {
    receive(*answer.value, ask);
  } else {
    ask(nullptr);
  }
  if (answer.result != Kiv::GenericIf::done) answer.value.reset();
  return answer;
}

bool walk(Object const& object, KivAttr const& attr, Visit const& visit) {
  using Iterator = Kiv::GenericIf::Iterator;
  Iterator::IteratorVTable const* operations = nullptr;
  auto const end = [&](Iterator* iterator) { operations->iterDel(&attr, iterator); };
  std::unique_ptr<Iterator, decltype(end)> const iterator(
      object->fwkType()->access().genericIfIterator(untyped(object), &attr, &operations), end);
  if (iterator == nullptr) return false;
  for (; operations->iterNonnull(&attr, iterator.get());
       operations->iterInc(&attr, iterator.get())) {
    Value key = emptyOf(attr.keyType);
    receive(key, [&](void* out) { operations->iterKey(&attr, iterator.get(), out); });
    Value value = emptyOf(attr.valueType);
    receive(value, [&](void* out) { operations->iterObj(&attr, iterator.get(), out); });
    visit(key, value);
  }
  return true;
}

void walk(Object const& object, std::string_view name, Visit const& visit) {
  walk(object, attribute(*object->fwkType(), name), visit);
}

Object construct(Kiv::KivType const& type, std::vector<Value> values) {
  Value made;
  receive(made, [&](void* result) {
    type.access().genericIfConstructFromCtorArgs(result, pointersTo(values).data());
  });
  return std::get<Object>(made);
}

}  // namespace Agent::Generic
