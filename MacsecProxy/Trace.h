#pragma once

#include "Kiv/Integers.h"
#include "Kiv/Trace.h"

namespace MacsecProxy {

/// The library's one trace handle, facility "MacsecProxySm"; made on first use.
Kiv::TraceHandle const& _defaultTraceHandle();

/// A trace point: writes `parts` one after the other as one message of level 8. Builds nothing when
/// that level is off. `function` is the short name of the handler.
template <class... Parts>
void trace(U32 line, char const* function, Parts const&... parts) {
  if (auto const helper = Kiv::TraceHelper::createIfEnabled(_defaultTraceHandle(), 8)) {
    (helper->stream() << ... << parts);
    helper->trace("MacsecProxySm", line, function);
  }
}

}  // namespace MacsecProxy
