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

void* PtrInterface::kivMemAlloc(std::size_t size, AllocTrackTypeInfo& record) {
  void* memory = MemoryPool::blockIs(size);
  record.trackAllocation();
  return memory;
}

void PtrInterface::kivMemFree(void* memory, std::size_t size, AllocTrackTypeInfo& record) noexcept {
  record.trackDeallocation();
  MemoryPool::blockDel(memory, size);
}

}  // namespace Kiv
