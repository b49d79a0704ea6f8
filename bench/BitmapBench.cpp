#include <type_traits>

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
struct Taken {
  explicit Taken(U32 taken) {
    if (taken > 0) bitmap.take(1, taken);
  }
  Bitmap bitmap;
};

template <class Once>
void registerJob(char const* name, Goal goal, U32 taken, Once once) {
  using Peer = std::conditional_t<std::is_void_v<Boost>, void, Taken<Boost>>;
  Registration({.name = name}, contender<Taken<Ours>>("Pesk::Bitmap", once, taken))
      .beside(goal, {contender<Peer>("boost::dynamic_bitset", once, taken)});
}

}  // namespace

void registerBitmapBenchmarks() {
  auto const lowest = [](auto& taken) {
    benchmark::DoNotOptimize(taken.bitmap);
    U32 tag = taken.bitmap.lowest();
    benchmark::DoNotOptimize(tag);
  };
  registerJob("lowest clear tag, empty", {0.8, 1.2}, 0, lowest);
  registerJob("lowest clear tag, half full", {0.2, 0.4}, tags / 2, lowest);
  registerJob("lowest clear tag, full", {0.1, 0.2}, tags, lowest);
  registerJob("a pair taken and given back, near full", {0.5, 0.7}, tags - 2, [](auto& taken) {
    U32 const tag = taken.bitmap.lowest();
    taken.bitmap.take(tag, tag + 1);
    benchmark::DoNotOptimize(taken.bitmap);
    taken.bitmap.give(tag, tag + 1);
  });
}

}  // namespace Bench
