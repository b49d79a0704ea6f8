#include "Kiv/Entity.h"

#include <atomic>

#include "Kiv/KivType.h"

namespace Kiv {

namespace {

constinit std::atomic<U32> entitiesMade{0};

}  // namespace

constinit KivType const Entity::_kivType{"Kiv::Entity", &PtrInterface::_kivType};

Entity::Entity() noexcept : entityNumber_(++entitiesMade) {}

}  // namespace Kiv
