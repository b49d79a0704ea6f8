#include "MacsecProxy/Trace.h"

namespace MacsecProxy {

constinit Kiv::TraceHandle const* traceHandleMade = nullptr;

Kiv::TraceHandle const& _defaultTraceHandle() {
  static Kiv::TraceHandle const handle("MacsecProxySm", false);
  traceHandleMade = &handle;
  return handle;
}

}  // namespace MacsecProxy
