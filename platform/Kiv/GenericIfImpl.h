#pragma once

#include <cstddef>
#include <type_traits>
#include <utility>

#include "Kiv/GenericIf.h"
#include "Kiv/KivAttr.h"
#include "Kiv/KivType.h"
#include "Kiv/Ptr.h"
#include "Kiv/PtrInterface.h"

namespace Kiv {

/// The entry points of generic access, written once for every class. What a class adds is the table
/// of its attributes, whose lines `Attributes` builds.
class GenericIfImpl {
 public:
  /// The generic methods of a class that derives from `Base`, a counted object.
  template <class Base>
  static constexpr GenericIf::Methods GenericIfPtrInterfaceMethods{
      [](void const* object) { static_cast<Base const*>(object)->referenceIs(); },
      [](void const* object) { static_cast<Base const*>(object)->referenceDel(); },
      [](void const* object) { return static_cast<Base const*>(object)->references(); },
      [](void const* object) { return static_cast<Base const*>(object)->fwkType(); }};

  /// The attribute operation of the class `T`.
  template <class T>
  static int genericIfAttributeOp(void* result, void* object, KivAttr const* attr,
                                  GenericIf::AttributeOp op, void* key, void* args) {
    KivAttr const* const own = T::_kivType.attribute(attr->index);
    if (own == nullptr) return GenericIf::noSuchAttribute;
    if (!own->allows(op)) return GenericIf::notValid;
    own->operate(result, object, op, key, args);
    return GenericIf::done;
  }

  /// The iterator entry point of the class `T`.
  template <class T>
  static GenericIf::Iterator* genericIfIterator(
      void* object, KivAttr const* attr, GenericIf::Iterator::IteratorVTable const** operations) {
    KivAttr const* const own = T::_kivType.attribute(attr->index);
    if (own == nullptr || own->iterator == nullptr) return nullptr;
    GenericIf::Iterator* const iterator = own->iterator(object);
    *operations = &iteratorOperations;
    return iterator;
  }

  /// The constructor entry point of a class whose objects `factory` makes.
  template <auto factory>
  static void genericIfConstructFromCtorArgs(void* result, void* const* args) {
    store(result, [args]<class R, class... A>(R (*make)(A...)) {
      return withArguments<A...>(args, make);
    }(factory));
  }

  /// Calls `callee` with the arguments of the types `A` that `args` points to.
  template <class... A, class Callee>
  static decltype(auto) withArguments(void* const* args, Callee const& callee) {
    return [&]<std::size_t... I>(std::index_sequence<I...>)->decltype(auto) {
      return callee(Argument<std::remove_cvref_t<A>>::from(args[I])...);
    }
    (std::index_sequence_for<A...>{});
  }

  /// Writes a result: a value as it is, an object as one reference.
  template <class Value>
  static void store(void* result, Value value) {
    if (result != nullptr) *static_cast<Value*>(result) = std::move(value);
  }
  template <class T>
  static void store(void* result, Ptr<T> object) {
    if (result != nullptr) *static_cast<PtrInterface const**>(result) = object.release();
  }

 private:
  /// An argument: a value behind its pointer, or an object by its own.
  template <class A>
  struct Argument {
    static A const& from(void* pointer) { return *static_cast<A const*>(pointer); }
  };
  template <class T>
  struct Argument<Ptr<T>> {
    static Ptr<T> from(void* pointer) { return Ptr<T>(static_cast<T*>(pointer)); }
  };

  /// Each walk knows its collection, so one table of operations serves them all.
  static constexpr GenericIf::Iterator::IteratorVTable iteratorOperations{
      [](KivAttr const*, GenericIf::Iterator const* iterator, void* out) { iterator->obj(out); },
      [](KivAttr const*, GenericIf::Iterator const* iterator, void* out) { iterator->key(out); },
      [](KivAttr const*, GenericIf::Iterator const* iterator) { return iterator->nonnull(); },
      [](KivAttr const*, GenericIf::Iterator* iterator) { iterator->inc(); },
      [](KivAttr const*, GenericIf::Iterator* iterator) { delete iterator; }};
};

}  // namespace Kiv
