#include "Pesk/IoctlDrvFab.h"

#include "Kiv/KivType.h"
#include "Pesk/Driver.h"

namespace Pesk {

constinit Kiv::KivType const IoctlDrvFab::_kivType{"Pesk::IoctlDrvFab",
                                                   &IoctlDrvInterface::_kivType};
constinit Kiv::AllocTrackTypeInfo IoctlDrvFab::kivAllocTrackTypeInfo_{"Pesk::IoctlDrvFab"};

Kiv::KivType const* IoctlDrvFab::fwkType() const { return &_kivType; }

int IoctlDrvFab::doIoctl(char const* command, U32 bufferLength, U32 argument3, U32 argument4,
                         U32 argument5) {
  return Driver::instance().commandIs(command, bufferLength, argument3, argument4, argument5);
}

}  // namespace Pesk
