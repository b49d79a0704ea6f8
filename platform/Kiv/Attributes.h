#pragma once

#include <cstddef>
#include <type_traits>
#include <utility>

#include "Kiv/Builtin.h"
#include "Kiv/GenericIf.h"
#include "Kiv/GenericIfImpl.h"
#include "Kiv/HashMap.h"
#include "Kiv/KivAttr.h"
#include "Kiv/Ptr.h"

namespace Kiv {

/// Picks, of overloaded member functions, the one with these arguments.
template <class... A>
struct Overload {
  template <class T, class R>
  constexpr auto operator()(R (T::*member)(A...)) const noexcept {
    return member;
  }
  template <class T, class R>
  constexpr auto operator()(R (T::*member)(A...) const) const noexcept {
    return member;
  }
};
template <class... A>
inline constexpr Overload<A...> overload{};

/// What a member function takes and returns, without references.
template <class Member>
struct MemberTraits;
template <class T, class R, class... A>
struct MemberTraits<R (T::*)(A...)> {
  using Result = std::remove_cvref_t<R>;

  static R call(T& self, R (T::*member)(A...), void* const* args) {
    return GenericIfImpl::withArguments<A...>(
        args, [&](auto const&... arguments) -> R { return (self.*member)(arguments...); });
  }

  template <class... Names>
  static constexpr void nameArguments(KivAttr& attr, Names... names) noexcept {
    static_assert(sizeof...(Names) == sizeof...(A), "each argument has one name");
    attr.argumentStore = {KivArgument{names, TypeOf<std::remove_cvref_t<A>>::record()}...};
    attr.argumentCount = sizeof...(A);
  }
};
template <class T, class R, class... A>
struct MemberTraits<R (T::*)(A...) const> : MemberTraits<R (T::*)(A...)> {};
template <class T, class R, class... A>
struct MemberTraits<R (T::*)(A...) noexcept> : MemberTraits<R (T::*)(A...)> {};
template <class T, class R, class... A>
struct MemberTraits<R (T::*)(A...) const noexcept> : MemberTraits<R (T::*)(A...)> {};

template <class Reference>
inline constexpr bool pointsToConst = false;
template <class Target>
inline constexpr bool pointsToConst<Ptr<Target const>> = true;

/// A walk over a collection of values.
template <class Key, class Value>
class MemberIterator : public GenericIf::Iterator {
 public:
  explicit MemberIterator(HashMap<Key, Value> const& members) noexcept
      : members_(members), walk_(members.iteratorConst()) {}

 protected:
  void obj(void* out) const override { GenericIfImpl::store(out, members_.value(walk_.key())); }
  void key(void* out) const override { GenericIfImpl::store(out, walk_.key()); }
  bool nonnull() const override { return static_cast<bool>(walk_); }
  void inc() override { ++walk_; }

 private:
  HashMap<Key, Value> const& members_;
  typename HashMap<Key, Value>::IteratorConst walk_;
};

/// A walk over a collection of objects: holds the one that it stands on.
template <class Key, class Object>
class MemberIterator<Key, Ptr<Object>> : public GenericIf::Iterator {
 public:
  explicit MemberIterator(HashMap<Key, Ptr<Object>> const& members) noexcept
      : walk_(members.iteratorConst()) {
    hold();
  }

 protected:
  void obj(void* out) const override { GenericIfImpl::store(out, held_); }
  void key(void* out) const override { GenericIfImpl::store(out, walk_.key()); }
  bool nonnull() const override { return static_cast<bool>(walk_); }
  void inc() override {
    ++walk_;
    hold();
  }

 private:
  void hold() noexcept { held_ = walk_ ? walk_.value() : Ptr<Object>(); }

  typename HashMap<Key, Ptr<Object>>::IteratorConst walk_;
  Ptr<Object> held_;
};

/// Builds the lines of the attribute table of the class `T`: one call makes one line. A line is
/// given its index, its name and the names of its arguments; the types, and what the operations do,
/// follow from the member functions it is made of. Lines stand in the order of their indexes, which
/// the table asserts.
///
///     Attributes<Machine>::function<&Machine::handleIntf>(137, "handleIntf", "intfId")
template <class T>
class Attributes {
  using Op = GenericIf::AttributeOp;
  using Kind = KivAttr::Kind;

  template <auto member>
  using Traits = MemberTraits<decltype(member)>;
  template <auto member>
  using Result = typename Traits<member>::Result;

 public:
  /// A value.
  template <auto read>
  static constexpr KivAttr value(U32 index, char const* name) noexcept {
    KivAttr attr = line<Result<read>>(index, name, Kind::value);
    attr.operate = [](void* result, void* object, Op, void*, void*) {
      GenericIfImpl::store(result, Result<read>((self(object).*read)()));
    };
    return attr;
  }

  /// A reference that never changes.
  template <auto read>
  static constexpr KivAttr reference(U32 index, char const* name) noexcept {
    KivAttr attr = value<read>(index, name);
    attr.kind = Kind::fixedReference;
    attr.isReadOnly = pointsToConst<Result<read>>;
    return attr;
  }

  /// A reference that is held by a reactor.
  template <auto read>
  static constexpr KivAttr rebindableReference(U32 index, char const* name) noexcept {
    KivAttr attr = reference<read>(index, name);
    attr.kind = Kind::rebindableReference;
    return attr;
  }

  /// A reference to an object that `make` makes from its arguments and `remove` lets go of.
  template <auto read, auto make, auto remove, class... Names>
  static constexpr KivAttr instantiatingReference(U32 index, char const* name,
                                                  Names... argumentNames) noexcept {
    KivAttr attr = line<Result<read>>(index, name, Kind::instantiatingReference);
    Traits<make>::nameArguments(attr, argumentNames...);
    attr.operate = [](void* result, void* object, Op op, void*, void* args) {
      if (op == Op::insert) {
        GenericIfImpl::store(result, Traits<make>::call(self(object), make, argumentArray(args)));
      } else if (op == Op::remove) {
        GenericIfImpl::store(result, (self(object).*remove)());
      } else {
        GenericIfImpl::store(result, Result<read>((self(object).*read)()));
      }
    };
    return attr;
  }

  /// A collection of values, `members`, changed through `insert` and `remove`.
  template <auto members, auto insert, auto remove>
  static constexpr KivAttr collection(U32 index, char const* name) noexcept {
    return keyed<members, remove>(
        index, name, Kind::collection, [](void*, void* object, void* key, void* value) {
          using Map = Result<members>;
          (self(object).*insert)(*static_cast<typename Map::KeyType const*>(key),
                                 *static_cast<typename Map::ValueType const*>(value));
        });
  }

  /// A collection of objects, `members`, that `make` makes from its arguments. `keyAttribute` names
  /// the member's attribute that is its key.
  template <auto members, auto make, auto remove, class... Names>
  static constexpr KivAttr instantiatingCollection(U32 index, char const* name,
                                                   char const* keyAttribute,
                                                   Names... argumentNames) noexcept {
    KivAttr attr = keyed<members, remove>(
        index, name, Kind::instantiatingCollection,
        [](void* result, void* object, void*, void* args) {
          GenericIfImpl::store(result, Traits<make>::call(self(object), make, argumentArray(args)));
        });
    attr.keyAttribute = keyAttribute;
    Traits<make>::nameArguments(attr, argumentNames...);
    return attr;
  }

  /// A handler.
  template <auto handler, class... Names>
  static constexpr KivAttr function(U32 index, char const* name, Names... argumentNames) noexcept {
    KivAttr attr = line<void>(index, name, Kind::function);
    Traits<handler>::nameArguments(attr, argumentNames...);
    attr.operate = [](void*, void* object, Op, void*, void* args) {
      Traits<handler>::call(self(object), handler, argumentArray(args));
    };
    return attr;
  }

 private:
  static T& self(void* object) noexcept { return *static_cast<T*>(object); }
  static void* const* argumentArray(void* args) noexcept { return static_cast<void* const*>(args); }

  template <class Value>
  static constexpr KivAttr line(U32 index, char const* name, Kind kind) noexcept {
    KivAttr attr;
    attr.index = index;
    attr.name = name;
    attr.kind = kind;
    attr.owningType = &T::_kivType;
    attr.valueType = TypeOf<Value>::record();
    return attr;
  }

  /// What the two kinds of collections have in common; they differ in how a member is inserted.
  template <auto members, auto remove, class Insert>
  static constexpr KivAttr keyed(U32 index, char const* name, Kind kind, Insert) noexcept {
    using Map = Result<members>;
    using Key = typename Map::KeyType;
    KivAttr attr = line<typename Map::ValueType>(index, name, kind);
    attr.keyType = TypeOf<Key>::record();
    attr.operate = [](void* result, void* object, Op op, void* key, void* args) {
      Map const& map = (self(object).*members)();
      switch (op) {
        case Op::read:
          return GenericIfImpl::store(result, map.value(*static_cast<Key const*>(key)));
        case Op::insert:
          return Insert{}(result, object, key, args);
        case Op::remove:
          return GenericIfImpl::store(result,
                                      (self(object).*remove)(*static_cast<Key const*>(key)));
        case Op::size:
          return GenericIfImpl::store(result, map.size());
        case Op::version:
          return GenericIfImpl::store(result, map.version());
        default:
          return GenericIfImpl::store(result, map.has(*static_cast<Key const*>(key)));
      }
    };
    attr.iterator = [](void* object) -> GenericIf::Iterator* {
      return new MemberIterator<Key, typename Map::ValueType>((self(object).*members)());
    };
    return attr;
  }
};

}  // namespace Kiv
