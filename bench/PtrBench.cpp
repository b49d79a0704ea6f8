#include <string>
#include <type_traits>
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

/// An object, and the switch of all counted pointers in that position.
template <class Object>
struct Held {
  explicit Held(bool threadSafe)
      : before(std::exchange(Kiv::VFPtrInterface::threadSafePointers_, threadSafe)) {}
  ~Held() { Kiv::VFPtrInterface::threadSafePointers_ = before; }
  Held(Held const&) = delete;
  Held& operator=(Held const&) = delete;

  bool before;
  typename Object::Pointer const object = Object::make();
};

#ifdef HAS_BOOST
template <class Counter>
struct Boost : boost::intrusive_ref_counter<Boost<Counter>, Counter> {
  using Pointer = boost::intrusive_ptr<Boost>;
  static Pointer make() { return Pointer(new Boost); }
  virtual ~Boost() = default;
};
using BoostUnsafe = Held<Boost<boost::thread_unsafe_counter>>;
using BoostSafe = Held<Boost<boost::thread_safe_counter>>;
#else
using BoostUnsafe = void;
using BoostSafe = void;
#endif

template <int further, class Pointer>
[[gnu::noinline]] void pass(Pointer pointer) {
  benchmark::DoNotOptimize(pointer);
  if constexpr (further > 0) pass<further - 1, Pointer>(pointer);
}

template <class Once>
void registerBoth(std::string const& name, Goal off, Goal on, Once once) {
  Registration({.name = name + ", switch off"}, contender<Held<Ours>>("Kiv::Ptr", once, false))
      .beside(off, {contender<BoostUnsafe>("boost::intrusive_ptr, unsafe", once, false)});
  Registration({.name = name + ", switch on"}, contender<Held<Ours>>("Kiv::Ptr", once, true))
      .beside(on, {contender<BoostSafe>("boost::intrusive_ptr, safe", once, true)});
}

}  // namespace

void registerPtrBenchmarks() {
  registerBoth("counted pointer: copy, drop", {1.3, 1.6}, {1.0, 1.1}, [](auto& held) {
    auto copy = held.object;
    benchmark::DoNotOptimize(copy);
  });
  registerBoth("counted pointer: three calls", {1.1, 1.3}, {1.0, 1.1}, [](auto& held) {
    pass<2, std::remove_cvref_t<decltype(held.object)>>(held.object);
  });
}

}  // namespace Bench
