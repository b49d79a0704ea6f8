#include "Bench.h"
#include "MacsecProxy/Trace.h"
#include "Programs.h"
#include "Velto/IntfId.h"
#include "Work.h"

#if __has_include(<spdlog/spdlog.h>)
#include <spdlog/sinks/null_sink.h>
#include <spdlog/spdlog.h>
#define HAS_SPDLOG
#endif

namespace Bench {

namespace {

struct Nothing {
  static void write(Velto::IntfId, Velto::IntfId) {}
};

struct Ours {
  static void write(Velto::IntfId port, Velto::IntfId key) {
    MacsecProxy::trace(__LINE__, "handle", port, " handle(Velto::IntfId): ", key);
  }
};

/// A machine and its handler of a key that is another machine's. All handlers begin at a cache
/// line, since where a function begins can cost more than a trace point.
template <class Tracer>
struct Handling {
  Velto::IntfId port = portId(1);
  Velto::IntfId key = portId(2);
  U64 own = 0;
  Tracer tracer;

  [[gnu::noinline, gnu::aligned(64)]] void handle(Velto::IntfId changed) {
    tracer.write(port, changed);
    if (changed == port) ++own;
  }
};

#ifdef HAS_SPDLOG
struct Spdlog {
  spdlog::logger logger{"bench", std::make_shared<spdlog::sinks::null_sink_st>()};
  void write(Velto::IntfId port, Velto::IntfId key) {
    logger.debug("{} handle: {}", port.hash(), key.hash());
  }
};
using WithSpdlog = Handling<Spdlog>;
#else
using WithSpdlog = void;
#endif

}  // namespace

void registerTraceBenchmarks() {
  auto const handle = [](auto& handling) {
    benchmark::DoNotOptimize(handling);
    handling.handle(handling.key);
  };
  Registration({.name = "a trace point that is off", .isDifference = true},
               contender<Handling<Ours>>("handler with it", handle))
      .beside({0.3, 0.6}, {contender<Handling<Nothing>>("handler without", handle)})
      .beside({}, {contender<WithSpdlog>("with spdlog, off", handle)});
}

}  // namespace Bench
