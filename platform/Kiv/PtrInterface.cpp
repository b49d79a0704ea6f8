#include "Kiv/PtrInterface.h"

#include "Kiv/KivType.h"
#include "Kiv/MemoryPool.h"

namespace Kiv {

bool VFPtrInterface::threadSafePointers_ = false;

constinit KivType const PtrInterface::_kivType{"Kiv::PtrInterface", nullptr};

NotifieeList* PtrInterface::notifieeList() const { return nullptr; }

void PtrInterface::hasNotificationActiveIs(bool active) { notificationActive_ = active; }

void PtrInterface::zeroReferencesIs(bool zero) {
  if (zero) delete this;
}

KivType const* PtrInterface::fwkType() const { return &_kivType; }

namespace {

[[gnu::noinline]] void* allocFromElsewhere(std::size_t size, AllocTrackTypeInfo& record) {
  return record.trackAllocation(MemoryPool::blockIs(size));
}

}  // namespace

void* PtrInterface::kivMemAlloc(std::size_t size, AllocTrackTypeInfo& record) {
  // The plain case calls nothing, so that it has nothing to save.
  if (void* const memory = MemoryPool::blockAtHand(size)) [[likely]]
    return record.trackAllocation(memory);
  return allocFromElsewhere(size, record);
}

void PtrInterface::kivMemFree(void* memory, std::size_t size, AllocTrackTypeInfo& record) noexcept {
  record.trackDeallocation();
  MemoryPool::blockDel(memory, size);
}

}  // namespace Kiv
