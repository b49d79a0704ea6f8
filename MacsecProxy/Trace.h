#pragma once

#include "Kiv/Integers.h"
#include "Kiv/Trace.h"

namespace MacsecProxy {

/// The library's one trace handle, facility "MacsecProxySm"; made on first use.
Kiv::TraceHandle const& _defaultTraceHandle();

/// The same once it is made, null before.
extern Kiv::TraceHandle const* traceHandleMade;

/// The part of a trace point that runs when its level is on, or at the very first one.
template <class... Parts>
[[gnu::cold, gnu::noinline]] void writeTrace(U32 line, char const* function,
                                             Parts const&... parts) {
  if (auto const helper = Kiv::TraceHelper::createIfEnabled(_defaultTraceHandle(), 8)) {
    (helper->stream() << ... << parts);
    helper->trace("MacsecProxySm", line, function);
  }
}

/// A trace point: writes `parts` one after the other as one message of level 8. Builds nothing when
/// that level is off. `function` is the short name of the handler. All records give "MacsecProxySm"
/// as their source file, the machines' common name; `line` is that of the trace point.
template <class... Parts>
void trace(U32 line, char const* function, Parts const&... parts) {
  if (traceHandleMade != nullptr && !traceHandleMade->isEnabled(8)) [[likely]]
    return;
  writeTrace(line, function, parts...);
}

}  // namespace MacsecProxy
