#pragma once

#include <vector>

#include "Kiv/Integers.h"
#include "Kiv/PtrInterface.h"
#include "Pesk/HBitmap.h"

namespace Pesk {

/// An array of bits with the indexes 1 to `size`.
///
/// Beside the bits it keeps, for each word of 64, whether the word has a clear bit, so that the
/// lowest clear index is found in a few word operations however full the bitmap is (one more for
/// each 4,096 indexes).
class Bitmap : public Kiv::PtrInterface {
 public:
  /// `id` is the caller's name for the bitmap. Every bit is in `initialBitState`. Raises
  /// `std::bad_alloc`.
  Bitmap(U64 const& id, U32 size, HBitmap::BitState initialBitState);

  U64 const& id() const noexcept { return id_; }
  U32 size() const noexcept { return size_; }
  HBitmap::BitState initialBitState() const noexcept { return initialBitState_; }

  /// A clear index from `first` to `last` inclusive, 0 when all are set; of several, the lowest.
  /// Raises a range error when the range leaves 1 to `size`.
  U32 findClearBitInRange(U32 first, U32 last, HBitmap::IndexPreference preference) const;

  /// Sets or clears every bit from `first` to `last` inclusive; none when `last` is below `first`.
  /// Raises a range error, with nothing changed, when the range leaves 1 to `size`.
  void setBitsInRange(U32 first, U32 last);
  void clearBitsInRange(U32 first, U32 last);

  /// Whether the bit is set. Raises a range error when `index` is not in 1 to `size`.
  bool bitIsSet(U32 index) const;

  Kiv::KivType const* fwkType() const override;
  static Kiv::KivType const _kivType;
  KIV_ALLOC_TRACKED

 private:
  static constexpr U32 wordBits = 64;

  void checkRange(U32 first, U32 last) const;
  template <class Change>
  void changeRange(U32 first, U32 last, Change change);

  U64 id_;
  U32 size_;
  HBitmap::BitState initialBitState_;
  /// Bit b of word w belongs to the index 64 w + b + 1. Bits beyond `size` are set.
  std::vector<U64> words_;
  /// Bit b of word w is set while word 64 w + b of `words_` has a clear bit.
  std::vector<U64> wordsWithClear_;
};

}  // namespace Pesk
