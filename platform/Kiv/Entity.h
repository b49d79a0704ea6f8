#pragma once

#include "Kiv/NotifieeConst.h"
#include "Kiv/NotifieeList.h"
#include "Kiv/PtrInterface.h"

namespace Kiv {

/// An object of the agent's shared state, which others may watch through notifiees.
class Entity : public PtrInterface {
 public:
  class NotifieeConst;

  /// The entity's own list.
  NotifieeList* notifieeList() const final { return &notifieeList_; }

  /// The entity's number: 1 for the first entity made in the process, and so on. Names the entity
  /// in messages, the same on every run that makes the same entities.
  U32 entityNumber() const noexcept { return entityNumber_; }

  static KivType const _kivType;

 protected:
  Entity() noexcept;

 private:
  U32 entityNumber_;
  mutable NotifieeList notifieeList_;
};

/// The base of the notifiees of all entities.
class Entity::NotifieeConst : public PtrInterface::NotifieeConst {};

}  // namespace Kiv
