#include "Kiv/PtrInterface.h"

#include <new>

#include "Kiv/KivType.h"

namespace Kiv {

bool VFPtrInterface::threadSafePointers_ = false;

constinit KivType const PtrInterface::_kivType{"Kiv::PtrInterface", nullptr};

PtrInterface::~PtrInterface() = default;

NotifieeList* PtrInterface::notifieeList() const { return nullptr; }

void PtrInterface::hasNotificationActiveIs(bool active) { notificationActive_ = active; }

void PtrInterface::zeroReferencesIs(bool zero) {
  if (zero) delete this;
}

KivType const* PtrInterface::fwkType() const { return &_kivType; }

void* PtrInterface::kivMemAlloc(std::size_t size, AllocTrackTypeInfo& record) {
  void* memory = ::operator new(size);
  record.trackAllocation();
  return memory;
}

void PtrInterface::kivMemFree(void* memory, AllocTrackTypeInfo& record) noexcept {
  record.trackDeallocation();
  ::operator delete(memory);
}

}  // namespace Kiv
