#include <utility>

#include "Bench.h"
#include "Kiv/Ptr.h"
#include "Kiv/PtrInterface.h"
#include "Work.h"

#if __has_include(<boost/smart_ptr/intrusive_ptr.hpp>)
#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <boost/smart_ptr/intrusive_ref_counter.hpp>
#define HAS_BOOST
#endif

namespace Bench {

namespace {

struct Ours : Kiv::PtrInterface {
  using Pointer = Kiv::Ptr<Ours>;
  static Pointer make() { return Kiv::makeNew<Ours>(); }
};

#ifdef HAS_BOOST
template <class Counter>
struct Boost : boost::intrusive_ref_counter<Boost<Counter>, Counter> {
  using Pointer = boost::intrusive_ptr<Boost>;
  static Pointer make() { return Pointer(new Boost); }
  virtual ~Boost() = default;
};
using BoostUnsafe = Boost<boost::thread_unsafe_counter>;
using BoostSafe = Boost<boost::thread_safe_counter>;
#else
using BoostUnsafe = void;
using BoostSafe = void;
#endif

/// Runs `once` with the switch of all counted pointers in that position.
template <class Once>
void loop(benchmark::State& state, bool threadSafe, Once once) {
  bool const before = std::exchange(Kiv::VFPtrInterface::threadSafePointers_, threadSafe);
  for (auto _ : state) once();
  Kiv::VFPtrInterface::threadSafePointers_ = before;
}

template <class Object>
struct CopyAndDrop {
  static void run(benchmark::State& state, bool threadSafe) {
    auto const object = Object::make();
    loop(state, threadSafe, [&] {
      auto copy = object;
      benchmark::DoNotOptimize(copy);
    });
  }
};

template <int further, class Pointer>
[[gnu::noinline]] void pass(Pointer pointer) {
  benchmark::DoNotOptimize(pointer);
  if constexpr (further > 0) pass<further - 1, Pointer>(pointer);
}

template <class Object>
struct ThreeCalls {
  static void run(benchmark::State& state, bool threadSafe) {
    auto const object = Object::make();
    loop(state, threadSafe, [&] { pass<2, typename Object::Pointer>(object); });
  }
};

template <template <class> class Job>
void registerBoth(std::string const& name, Goal off, Goal on) {
  Registration({.name = name + ", switch off"}, contender<Job, Ours>("Kiv::Ptr", false))
      .beside(off, {contender<Job, BoostUnsafe>("boost::intrusive_ptr, unsafe", false)});
  Registration({.name = name + ", switch on"}, contender<Job, Ours>("Kiv::Ptr", true))
      .beside(on, {contender<Job, BoostSafe>("boost::intrusive_ptr, safe", true)});
}

}  // namespace

void registerPtrBenchmarks() {
  registerBoth<CopyAndDrop>("counted pointer: copy, drop", {1.3, 1.6}, {1.0, 1.1});
  registerBoth<ThreeCalls>("counted pointer: three calls", {1.1, 1.3}, {1.0, 1.1});
}

}  // namespace Bench
