#include "MacsecProxy/Trace.h"

namespace MacsecProxy {

constinit std::atomic<U32> traceLevels{~U32{0}};

Kiv::TraceHandle const& _defaultTraceHandle() {
  static Kiv::TraceHandle const handle("MacsecProxySm", false, traceLevels);
  return handle;
}

}  // namespace MacsecProxy
