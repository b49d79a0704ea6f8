#include "MacsecProxy/Trace.h"

namespace MacsecProxy {

Kiv::TraceHandle const& _defaultTraceHandle() {
  static Kiv::TraceHandle const handle("MacsecProxySm", false);
  return handle;
}

}  // namespace MacsecProxy
