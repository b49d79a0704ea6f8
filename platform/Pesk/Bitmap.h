#pragma once

#include <bit>
#include <cstddef>
#include <vector>

#include "Kiv/Exception.h"
#include "Kiv/Integers.h"
#include "Kiv/PtrInterface.h"
#include "Pesk/HBitmap.h"

namespace Pesk {

/// An array of bits with the indexes 1 to `size`, which may be 0.
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

  /// A clear index from `first` to `last` inclusive, 0 when all are set or `last` is below `first`;
  /// of several, the lowest.
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
  static constexpr U64 allBits = ~U64{0};

  void checkRange(U32 first, U32 last) const;
  /// Has `change` change the bits of a range, in one word after the other.
  template <class Change>
  [[gnu::always_inline]] void changeRange(U32 first, U32 last, Change change);

  U64 id_;
  U32 size_;
  HBitmap::BitState initialBitState_;
  /// Bit b of word w belongs to the index 64 w + b + 1. Bits beyond `size` are set.
  std::vector<U64> words_;
  /// Bit b of word w is set while word 64 w + b of `words_` has a clear bit.
  std::vector<U64> wordsWithClear_;
};

inline void Bitmap::checkRange(U32 first, U32 last) const {
  // An empty range may begin right behind the last index.
  if (first < 1 || last > size_ || first > U64{size_} + 1) [[unlikely]] {
    Kiv::throwRangeException("Bitmap range outside 1 to size not allowed");
  }
}

inline U32 Bitmap::findClearBitInRange(U32 first, U32 last,
                                       HBitmap::IndexPreference /*preference*/) const {
  checkRange(first, last);
  if (last < first) return 0;
  U32 word = (first - 1) / wordBits;
  U64 clear = ~words_[word] & allBits << (first - 1) % wordBits;
  if (clear == 0) {
    // Not in the word that `first` is in: on to the next word with a clear bit.
    ++word;
    std::size_t group = word / wordBits;
    if (group >= wordsWithClear_.size()) return 0;
    U64 candidates = wordsWithClear_[group] & allBits << word % wordBits;
    while (candidates == 0) {
      if (++group == wordsWithClear_.size()) return 0;
      candidates = wordsWithClear_[group];
    }
    word = static_cast<U32>(group * wordBits) + static_cast<U32>(std::countr_zero(candidates));
    clear = ~words_[word];
  }
  U32 const index = word * wordBits + static_cast<U32>(std::countr_zero(clear)) + 1;
  return index <= last ? index : 0;
}

template <class Change>
inline void Bitmap::changeRange(U32 first, U32 last, Change change) {
  checkRange(first, last);
  if (last < first) return;
  U32 word = (first - 1) / wordBits;
  U32 const lastWord = (last - 1) / wordBits;
  U64 bits = allBits << (first - 1) % wordBits;
  for (; word < lastWord; ++word, bits = allBits) change(word, bits);
  change(word, bits & allBits >> (wordBits - 1 - (last - 1) % wordBits));
}

inline void Bitmap::setBitsInRange(U32 first, U32 last) {
  changeRange(first, last, [this](U32 word, U64 bits) {
    words_[word] |= bits;
    if (words_[word] == allBits) wordsWithClear_[word / wordBits] &= ~(U64{1} << word % wordBits);
  });
}

inline void Bitmap::clearBitsInRange(U32 first, U32 last) {
  changeRange(first, last, [this](U32 word, U64 bits) {
    words_[word] &= ~bits;
    wordsWithClear_[word / wordBits] |= U64{1} << word % wordBits;
  });
}

inline bool Bitmap::bitIsSet(U32 index) const {
  checkRange(index, index);
  return (words_[(index - 1) / wordBits] >> (index - 1) % wordBits & 1U) != 0;
}

}  // namespace Pesk
