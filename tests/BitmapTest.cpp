#include "Pesk/Bitmap.h"

#include <gtest/gtest.h>

#include <random>

#include "Kiv/Exception.h"

namespace {

using State = Pesk::HBitmap::BitState;

/// A bitmap beside a model of it, whose index 0 counts as set.
class BitmapOfSize : public testing::TestWithParam<U32> {
 protected:
  void make(State state) {
    bitmap = Kiv::makeNew<Pesk::Bitmap>(U64{7}, size, state);
    model.assign(size + 1, state == State::set);
    model[0] = true;
  }
  void change(bool set, U32 first, U32 last) {
    set ? bitmap->setBitsInRange(first, last) : bitmap->clearBitsInRange(first, last);
    std::fill(model.begin() + first, model.begin() + last + 1, set);
  }
  U32 found(U32 first, U32 last) const {
    return bitmap->findClearBitInRange(first, last, Pesk::HBitmap::IndexPreference::lowest);
  }
  U32 lowestClear(U32 first, U32 last) const {
    auto const end = model.begin() + last + 1, found = std::find(model.begin() + first, end, false);
    return found == end ? 0 : static_cast<U32>(found - model.begin());
  }
  bool same() const {
    for (U32 index = 1; index <= size; ++index) {
      if (bitmap->bitIsSet(index) != model[index]) return false;
    }
    return true;
  }

  U32 const size = GetParam();
  Kiv::Ptr<Pesk::Bitmap> bitmap;
  std::vector<bool> model;
};
INSTANTIATE_TEST_SUITE_P(Bitmap, BitmapOfSize, testing::Values(1, 63, 64, 65, 4094, 5000));

TEST_P(BitmapOfSize, GeneratedHistory) {
  std::mt19937 random(size);
  for (State const state : {State::set, State::clear}) {
    make(state);
    EXPECT_TRUE(bitmap->id() == 7 && bitmap->size() == size && bitmap->initialBitState() == state);
    for (U32 step = 0; step < 3000; ++step) {
      ASSERT_TRUE(step % 500 != 0 || same());
      U32 const first = 1 + static_cast<U32>(random() % size);
      U32 const last = first + static_cast<U32>(random() % (size - first + 1));
      // More is set than cleared, so that a search has far to go.
      if (step % 2 == 0) change(true, first, last);
      if (step % 2 == 1) change(false, first, std::min(size, first + 1));
      ASSERT_EQ(found(1, size), lowestClear(1, size));
      ASSERT_EQ(found(first, size), lowestClear(first, size));
      ASSERT_EQ(found(first, last), lowestClear(first, last));
    }
    change(true, 1, size);
    EXPECT_EQ(found(1, size), 0U);
    change(false, 1, size);
    EXPECT_EQ(found(1, size), 1U);
  }
  // Range errors change nothing.
  change(true, 1, 1);
  std::pair<U32, U32> const ranges[] = {{0, 0},   {0, size},  {1, size + 1}, {size, size + 1},
                                        {1, ~0U}, {~0U, ~1U}, {~0U, 1},      {size + 1, size + 1}};
  for (auto const& [first, last] : ranges) {
    EXPECT_THROW(bitmap->setBitsInRange(first, last), Kiv::RangeException) << first << ' ' << last;
    EXPECT_THROW(bitmap->clearBitsInRange(first, last), Kiv::RangeException);
    EXPECT_THROW(found(first, last), Kiv::RangeException);
  }
  EXPECT_THROW(bitmap->bitIsSet(0), Kiv::RangeException);
  EXPECT_THROW(bitmap->bitIsSet(size + 1), Kiv::RangeException);
  EXPECT_TRUE(same());
}

}  // namespace
