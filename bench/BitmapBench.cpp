#include "Bench.h"
#include "Kiv/Ptr.h"
#include "Pesk/Bitmap.h"
#include "Work.h"

#if __has_include(<boost/dynamic_bitset.hpp>)
#include <boost/dynamic_bitset.hpp>
#define HAS_BOOST
#endif

namespace Bench {

namespace {

constexpr U32 tags = 4094;

/// Tags from 1; 0 for none.
struct Ours {
  U32 lowest() const { return map->findClearBitInRange(1, tags, lowestOf); }
  void take(U32 first, U32 last) { map->setBitsInRange(first, last); }
  void give(U32 first, U32 last) { map->clearBitsInRange(first, last); }

  static constexpr auto lowestOf = Pesk::HBitmap::IndexPreference::lowest;
  Kiv::Ptr<Pesk::Bitmap> map =
      Kiv::makeNew<Pesk::Bitmap>(U64{0}, tags, Pesk::HBitmap::BitState::clear);
};

#ifdef HAS_BOOST
/// It looks for set bits, so that a set bit stands for a clear tag.
struct Boost {
  U32 lowest() const { return static_cast<U32>(free.find_first() + 1); }
  void take(U32 first, U32 last) {
    for (U32 tag = first; tag <= last; ++tag) free.reset(tag - 1);
  }
  void give(U32 first, U32 last) {
    for (U32 tag = first; tag <= last; ++tag) free.set(tag - 1);
  }

  boost::dynamic_bitset<U64> free = boost::dynamic_bitset<U64>(tags).set();
};
#else
using Boost = void;
#endif

template <class Bitmap>
struct Lowest {
  static void run(benchmark::State& state, U32 taken) {
    Bitmap bitmap;
    if (taken > 0) bitmap.take(1, taken);
    for (auto _ : state) {
      benchmark::DoNotOptimize(bitmap);
      U32 tag = bitmap.lowest();
      benchmark::DoNotOptimize(tag);
    }
  }
};

template <class Bitmap>
struct TakeAndGive {
  static void run(benchmark::State& state) {
    Bitmap bitmap;
    bitmap.take(1, tags - 2);
    for (auto _ : state) {
      U32 const tag = bitmap.lowest();
      bitmap.take(tag, tag + 1);
      benchmark::DoNotOptimize(bitmap);
      bitmap.give(tag, tag + 1);
    }
  }
};

template <template <class> class Job, class... Arguments>
void registerJob(char const* name, Goal goal, Arguments... arguments) {
  Registration({.name = name}, contender<Job, Ours>("Pesk::Bitmap", arguments...))
      .beside(goal, {contender<Job, Boost>("boost::dynamic_bitset", arguments...)});
}

}  // namespace

void registerBitmapBenchmarks() {
  registerJob<Lowest>("lowest clear tag, empty", {0.8, 1.2}, U32{0});
  registerJob<Lowest>("lowest clear tag, half full", {0.2, 0.4}, tags / 2);
  registerJob<Lowest>("lowest clear tag, full", {0.1, 0.2}, tags);
  registerJob<TakeAndGive>("a pair taken and given back, near full", {0.5, 0.7});
}

}  // namespace Bench
