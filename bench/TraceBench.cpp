#include "Bench.h"
#include "MacsecProxy/Trace.h"
#include "Velto/IntfId.h"
#include "Work.h"
#include "World.h"

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

#ifdef HAS_SPDLOG
struct Spdlog {
  static void write(Velto::IntfId port, Velto::IntfId key) {
    static spdlog::logger logger("bench", std::make_shared<spdlog::sinks::null_sink_st>());
    logger.debug("{} handle: {}", port.hash(), key.hash());
  }
};
#else
using Spdlog = void;
#endif

/// A machine's handler of a key that is another machine's.
template <class Tracer>
struct Handler {
  Velto::IntfId port;
  U64 own = 0;

  [[gnu::noinline]] void handle(Velto::IntfId key) {
    Tracer::write(port, key);
    if (key == port) ++own;
  }

  static void run(benchmark::State& state) {
    Handler handler{portId(1)};
    Velto::IntfId key = portId(2);
    for (auto _ : state) {
      benchmark::DoNotOptimize(key);
      handler.handle(key);
      benchmark::DoNotOptimize(handler);
    }
  }
};

}  // namespace

void registerTraceBenchmarks() {
  Registration({.name = "a trace point that is off", .isDifference = true},
               contender<Handler, Ours>("handler with it"))
      .beside({0.3, 0.6}, {contender<Handler, Nothing>("handler without")})
      .beside({}, {contender<Handler, Spdlog>("with spdlog, off")});
}

}  // namespace Bench
