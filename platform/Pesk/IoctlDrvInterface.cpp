#include "Pesk/IoctlDrvInterface.h"

#include "Kiv/KivType.h"

namespace Pesk {

constinit Kiv::KivType const IoctlDrvInterface::_kivType{"Pesk::IoctlDrvInterface",
                                                         &Kiv::PtrInterface::_kivType};

Kiv::KivType const* IoctlDrvInterface::fwkType() const { return &_kivType; }

}  // namespace Pesk
