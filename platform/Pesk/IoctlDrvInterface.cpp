#include "Pesk/IoctlDrvInterface.h"

#include "Kiv/KivType.h"

namespace Pesk {

constinit Kiv::KivType const IoctlDrvInterface::_kivType{"Pesk::IoctlDrvInterface",
                                                         &Kiv::PtrInterface::_kivType};

}  // namespace Pesk
