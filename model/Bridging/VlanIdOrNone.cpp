#include "Bridging/VlanIdOrNone.h"

namespace Bridging {

constinit Kiv::KivType const VlanIdOrNone::_kivType{"Bridging::VlanIdOrNone", nullptr};

}  // namespace Bridging
