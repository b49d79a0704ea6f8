#include "Pesk/Bitmap.h"

#include "Kiv/KivType.h"

namespace Pesk {

constinit Kiv::KivType const HBitmap::_kivTypeBitState{"Pesk::HBitmap::BitState", nullptr};
constinit Kiv::KivType const Bitmap::_kivType{"Pesk::Bitmap", &Kiv::PtrInterface::_kivType};
constinit Kiv::AllocTrackTypeInfo Bitmap::kivAllocTrackTypeInfo_{"Pesk::Bitmap"};

Kiv::KivType const* Bitmap::fwkType() const { return &_kivType; }

Bitmap::Bitmap(U64 const& id, U32 size, HBitmap::BitState initialBitState)
    : id_(id),
      size_(size),
      initialBitState_(initialBitState),
      words_((U64{size} + wordBits - 1) / wordBits, allBits),
      wordsWithClear_((words_.size() + wordBits - 1) / wordBits, 0) {
  if (initialBitState == HBitmap::BitState::clear && size > 0) clearBitsInRange(1, size);
}

}  // namespace Pesk
