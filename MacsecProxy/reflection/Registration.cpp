#include "Kiv/TypeRegistry.h"
#include "MacsecProxy/MacsecProxyIntfSm.h"
#include "MacsecProxy/MacsecProxySm.h"

namespace MacsecProxy {

namespace {

/// Registers both type records when the library is loaded. The records are constant-initialised, so
/// they are there by then; and one object registers both, so that the order is certain.
struct Registration {
  Registration() {
    Kiv::typeNodeIs(&MacsecProxySm::_kivType);
    Kiv::typeNodeIs(&MacsecProxyIntfSm::_kivType);
  }
};

Registration const registration;

}  // namespace

}  // namespace MacsecProxy
