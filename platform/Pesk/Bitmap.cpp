#include "Pesk/Bitmap.h"

#include <algorithm>
#include <bit>

#include "Kiv/Exception.h"
#include "Kiv/KivType.h"

namespace Pesk {

namespace {

constexpr U64 all = ~U64{0};

/// The bits from `bit` up.
constexpr U64 fromBit(U32 bit) { return all << bit; }

}  // namespace

constinit Kiv::KivType const HBitmap::_kivTypeBitState{"Pesk::HBitmap::BitState", nullptr};
constinit Kiv::KivType const Bitmap::_kivType{"Pesk::Bitmap", &Kiv::PtrInterface::_kivType};
constinit Kiv::AllocTrackTypeInfo Bitmap::kivAllocTrackTypeInfo_{"Pesk::Bitmap"};

Kiv::KivType const* Bitmap::fwkType() const { return &_kivType; }

Bitmap::Bitmap(U64 const& id, U32 size, HBitmap::BitState initialBitState)
    : id_(id),
      size_(size),
      initialBitState_(initialBitState),
      words_((U64{size} + wordBits - 1) / wordBits, all),
      wordsWithClear_((words_.size() + wordBits - 1) / wordBits, 0) {
  if (initialBitState == HBitmap::BitState::clear && size > 0) clearBitsInRange(1, size);
}

U32 Bitmap::findClearBitInRange(U32 first, U32 last,
                                HBitmap::IndexPreference /*preference*/) const {
  checkRange(first, last);
  if (last < first) return 0;
  U32 const bit = first - 1;
  U32 word = bit / wordBits;
  U64 clear = ~words_[word] & fromBit(bit % wordBits);
  if (clear == 0) {
    // Not in the word that `first` is in: on to the next word with a clear bit.
    ++word;
    std::size_t group = word / wordBits;
    if (group >= wordsWithClear_.size()) return 0;
    U64 candidates = wordsWithClear_[group] & fromBit(word % wordBits);
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

void Bitmap::setBitsInRange(U32 first, U32 last) {
  changeRange(first, last, [](U64& word, U64 bits) { word |= bits; });
}

void Bitmap::clearBitsInRange(U32 first, U32 last) {
  changeRange(first, last, [](U64& word, U64 bits) { word &= ~bits; });
}

bool Bitmap::bitIsSet(U32 index) const {
  checkRange(index, index);
  return (words_[(index - 1) / wordBits] >> (index - 1) % wordBits & 1U) != 0;
}

void Bitmap::checkRange(U32 first, U32 last) const {
  if (first < 1 || last > size_ || first > U64{size_} + 1) {
    Kiv::throwRangeException("Bitmap range outside 1 to size not allowed");
  }
}

template <class Change>
void Bitmap::changeRange(U32 first, U32 last, Change change) {
  checkRange(first, last);
  for (U64 bit = first - 1; bit < last;) {
    std::size_t const word = bit / wordBits;
    auto const from = static_cast<U32>(bit % wordBits);
    auto const count = static_cast<U32>(std::min<U64>(wordBits - from, last - bit));
    change(words_[word], (count == wordBits ? all : (U64{1} << count) - 1) << from);
    U64 const mark = U64{1} << word % wordBits;
    U64& group = wordsWithClear_[word / wordBits];
    group = words_[word] == all ? group & ~mark : group | mark;
    bit += count;
  }
}

}  // namespace Pesk
