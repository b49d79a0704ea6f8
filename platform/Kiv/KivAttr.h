#pragma once

#include <array>
#include <span>

#include "Kiv/GenericIf.h"
#include "Kiv/Integers.h"
#include "Kiv/KivType.h"

namespace Kiv {

/// One argument of a handler or a constructor.
struct KivArgument {
  char const* name = nullptr;
  KivType const* type = nullptr;
};

/// The record of one attribute of a type: what it is called, what it holds and what can be done to
/// it.
class KivAttr {
 public:
  enum class Kind : U8 {
    /// A plain value, fixed at construction.
    value,
    /// A reference handed to the constructor and never changed.
    fixedReference,
    /// A reference held by a reactor, which the machine can re-point.
    rebindableReference,
    /// A reference to an object that the machine makes and owns.
    instantiatingReference,
    /// Values by key.
    collection,
    /// Objects that the machine makes, by their own key attribute.
    instantiatingCollection,
    /// A handler; it returns nothing.
    function,
  };

  static constexpr std::size_t maxArguments = 7;

  U32 index = 0;
  char const* name = nullptr;
  Kind kind = Kind::value;
  /// For a fixed or rebindable reference: whether its target may only be read.
  bool isReadOnly = false;
  KivType const* owningType = nullptr;
  KivType const* valueType = nullptr;
  /// Of a collection; null for the others.
  KivType const* keyType = nullptr;
  /// Of an instantiating collection, the member's attribute that is its key; null for the others.
  char const* keyAttribute = nullptr;

  /// The arguments of a function, or of the constructor of what an instantiating attribute makes.
  std::span<KivArgument const> arguments() const noexcept {
    return {argumentStore.data(), argumentCount};
  }

  /// Whether the operation is valid for an attribute of this kind.
  bool allows(GenericIf::AttributeOp op) const noexcept;

  /// Carries out a valid operation on an object of the owning type.
  void (*operate)(void* result, void* object, GenericIf::AttributeOp op, void* key,
                  void* args) = nullptr;
  /// Starts a walk; null when the attribute is not a collection.
  GenericIf::Iterator* (*iterator)(void* object) = nullptr;

  std::array<KivArgument, maxArguments> argumentStore{};
  std::size_t argumentCount = 0;
};

}  // namespace Kiv
