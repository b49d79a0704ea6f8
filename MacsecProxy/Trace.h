#pragma once

#include <atomic>

#include "Kiv/Integers.h"
#include "Kiv/Trace.h"
#include "MacsecProxy/Api.h"

namespace MacsecProxy {

/// The library's one trace handle, facility "MacsecProxySm"; made on first use.
Kiv::TraceHandle const& _defaultTraceHandle();

/// The levels that are on, bit n for level n; all of them until the handle is made, so that the
/// first trace point makes it.
MACSECPROXY_LOCAL extern std::atomic<U32> traceLevels;

/// The level of every trace point.
constexpr U32 traceLevel = 8;

/// Whether trace points write. True until the first one has made the handle.
inline bool isTraced() noexcept {
  return (traceLevels.load(std::memory_order_relaxed) >> traceLevel & 1U) != 0;
}

/// The part of a trace point that runs when its level is on, or at the very first one.
template <class... Parts>
[[gnu::cold, gnu::noinline]] void writeTrace(U32 line, char const* function,
                                             Parts... parts) noexcept {
  try {
    if (auto const helper = Kiv::TraceHelper::createIfEnabled(_defaultTraceHandle(), traceLevel)) {
      (helper->stream() << ... << parts);
      helper->trace("MacsecProxySm", line, function);
    }
  } catch (...) {
    // The record is lost: what is traced goes its way.
  }
}

/// A trace point: writes `parts` one after the other as one message of level 8. Builds nothing when
/// that level is off, and raises nothing: a record is lost when there is no memory for it or the
/// sink raises. `function` is the short name of the handler. All records give "MacsecProxySm" as
/// their source file, the machines' common name; `line` is that of the trace point.
template <class... Parts>
void trace(U32 line, char const* function, Parts... parts) noexcept {
  if (isTraced()) [[unlikely]]
    writeTrace(line, function, parts...);
}

}  // namespace MacsecProxy
