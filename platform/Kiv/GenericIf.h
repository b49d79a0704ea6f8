#pragma once

#include "Kiv/Integers.h"

namespace Kiv {

class KivAttr;
class KivType;

/// Generic access: reading, changing, walking and calling an object's attributes without knowing
/// its class. These are the shapes of a type's entry points; `KivType::Access` holds them.
///
/// Values travel through untyped pointers:
///  - a value (an identifier, a number, a flag) as a pointer to it;
///  - an object, as an argument, as the object's own pointer, which may be null; as a result, in a
///    `PtrInterface const*` that receives one counted reference, which the caller must release
///    (`Ptr::adopt` it), or null.
/// Results are written only on success, and not at all when `result` is null. What an operation
/// raises comes through unchanged.
class GenericIf {
 public:
  /// What can be done to an attribute. Other codes are never valid.
  enum class AttributeOp : U32 {
    /// The value or object; of a collection, the one at `key`, empty when there is none.
    read = 0,
    /// Of a collection, inserts or overwrites at `key` the value at `args`. Of an instantiating
    /// attribute, makes the object from the arguments that `args` points to, or keeps the one that
    /// is there; the result is the object.
    insert = 1,
    /// Removes; the result is what was removed, empty when there was nothing.
    remove = 2,
    /// The number of members, a U32.
    size = 3,
    /// A U32 that changes with every insertion and removal.
    version = 4,
    /// Whether there is a member at `key`, a bool.
    has = 5,
    /// Calls the handler with the arguments that `args` points to; no result.
    call = 8,
  };

  /// How an attribute operation ended.
  enum Result : int {
    done = 0,
    /// The attribute does not have this operation. Nothing happened.
    notValid = 1,
    /// The class has no attribute of that index. Nothing happened.
    noSuchAttribute = 2,
  };

  /// `args` is, for the insertion into a collection of values, a pointer to the value; for a call
  /// and for an instantiating attribute, an array of pointers, one for each argument in order.
  /// `attr` is not null, and says by its index alone which attribute is meant.
  using AttributeOpFunction = int(void* result, void* object, KivAttr const* attr, AttributeOp op,
                                  void* key, void* args);

  /// A walk over one collection. Created by the type's iterator entry point, which also gives the
  /// operations that it is used through.
  class Iterator {
   public:
    /// The operations of a type's walks. Each takes the attribute that the walk was made for.
    struct IteratorVTable {
      /// The value or object of the current member. REQUIRES: it has not been removed, or it is an
      /// object, which the walk holds.
      void (*iterObj)(KivAttr const* attr, Iterator const* iterator, void* out);
      /// The current key, also after the member was removed.
      void (*iterKey)(KivAttr const* attr, Iterator const* iterator, void* out);
      /// Whether the walk stands on a member.
      bool (*iterNonnull)(KivAttr const* attr, Iterator const* iterator);
      /// Goes on to the next member in the collection's order.
      void (*iterInc)(KivAttr const* attr, Iterator* iterator);
      /// Ends the walk; null is accepted.
      void (*iterDel)(KivAttr const* attr, Iterator* iterator);
    };

    virtual ~Iterator() = default;

   protected:
    Iterator() = default;
    Iterator(Iterator const&) = default;
    Iterator& operator=(Iterator const&) = default;

   private:
    friend class GenericIfImpl;
    virtual void obj(void* out) const = 0;
    virtual void key(void* out) const = 0;
    virtual bool nonnull() const = 0;
    virtual void inc() = 0;
  };

  /// A new walk over a collection, standing on its first member, whose operations are stored in
  /// `*operations`; null, and nothing stored, for any other attribute. End it with `iterDel`.
  using IteratorFunction = Iterator*(void* object, KivAttr const* attr,
                                     Iterator::IteratorVTable const** operations);

  /// Makes an object from the type's constructor arguments; `result` receives a reference.
  using ConstructFromCtorArgs = void(void* result, void* const* args);

  /// What can be done to any counted object: a reference added, and dropped, which the last time
  /// destroys it; how many there are; and the type record of its class.
  struct Methods {
    void (*referenceIs)(void const* object);
    void (*referenceDel)(void const* object);
    U32 (*references)(void const* object);
    KivType const* (*fwkType)(void const* object);
  };
};

}  // namespace Kiv
