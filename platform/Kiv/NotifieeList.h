#pragma once

#include <cstddef>
#include <exception>
#include <vector>

#include "Kiv/Integers.h"
#include "Kiv/KeyGroup.h"
#include "Kiv/PtrInterface.h"

namespace Kiv {

class Delivery;

/// The notifiees that are registered with one entity, in the order of registration, and the loop
/// that delivers one change to them.
///
/// The list may change under a delivery: a notifiee that registers is appended and, having
/// registered after the change was made, passed over; one that goes leaves a hole behind, a place
/// that hears nothing. Once nothing is being delivered, holes that outnumber the notifiees are
/// closed. Nothing is copied, nothing allocated and no count touched to deliver a change.
///
/// Whoever changes the list under a delivery says so to the delivery, whose loop looks for nothing
/// else while it is not disturbed.
class NotifieeList {
 public:
  NotifieeList() = default;
  NotifieeList(NotifieeList const&) = delete;
  NotifieeList& operator=(NotifieeList const&) = delete;

  /// Numbers one more change of the entity and returns its number, 1 for the first.
  U64 changeIs() noexcept { return ++latestChange_; }

  /// How many notifiees are registered, active or not.
  std::size_t size() const noexcept { return places_.size() - holes_; }

  /// Makes room for one more, so that the next registration cannot fail. Raises `std::bad_alloc`.
  void reserve();

  /// Appends `notifiee`, which hears the changes from now on or none.
  ///
  /// REQUIRES: `notifiee` is on no list, and there is room for it.
  void notifieeIs(PtrInterface::NotifieeConst& notifiee, bool hears) noexcept;
  /// REQUIRES: `notifiee` is on this list.
  void notifieeDel(PtrInterface::NotifieeConst& notifiee) noexcept;
  /// Has a notifiee hear the changes from now on, or none.
  ///
  /// REQUIRES: `notifiee` is on this list.
  void hearsIs(PtrInterface::NotifieeConst const& notifiee, bool hears) noexcept;

  /// Calls `slot` with `key` on every notifiee that hears the change of that number and has an
  /// interest in the key, on behalf of this thread's `delivery`. A notifiee that raises has its
  /// `onNotificationException()` called and keeps no other from hearing the change; `first` takes
  /// the exception unless it holds an earlier one. Defined in Kiv/Delivery.h, since it needs both
  /// classes.
  template <auto slot, class Key>
  [[gnu::always_inline]] void deliver(Delivery& delivery, Key key, U64 change,
                                      std::exception_ptr& first) noexcept;

 private:
  /// The first room, and how many holes are left alone.
  static constexpr std::size_t few = 16;
  /// The marks of places stand eight in a word.
  static constexpr std::size_t inWord = 8;
  static constexpr U64 inEachByte = 0x0101010101010101U, highBits = inEachByte << 7U;
  static constexpr U64 highBitOfFirst = 0x80;

  struct Place {
    /// Null for a hole.
    PtrInterface::NotifieeConst* notifiee;
    /// The changes up to this one are not for the notifiee.
    U64 deafUntil;
  };

  /// What `marks_` says of a place: a number that few groups share, of an interest in one of them;
  /// of one in all of them; and of a place that nobody has had yet.
  static U64 markOf(U32 group) noexcept { return group * 0x9E3779B1U >> 26U; }
  static constexpr U64 everyMark = 0x80, noMark = 0x40;
  void markIs(std::size_t place, U32 interest) noexcept;

  /// The places of a word that somebody has or had (a hole keeps its mark), by the high bits of
  /// bytes.
  U64 taken(std::size_t word) const noexcept { return ~marks_[word] << 1U & highBits; }
  /// Of those, the ones whose interest has the mark of `group` or is in all groups.
  U64 marked(U32 group, std::size_t word) const noexcept {
    U64 const marks = marks_[word], differences = marks ^ markOf(group) * inEachByte;
    // The subtraction sets the high bit of a byte that is 0, and may set that of a byte above it
    // that is 1: a mark proves nothing anyway. It never sets that of a place nobody has had, whose
    // byte is at least 0x40 here.
    return (((differences - inEachByte) & ~differences) | marks) & highBits;
  }

  /// The places from `place` to the end of its word that may have to be told of a key of `group`,
  /// or, with `all`, of any key.
  U64 candidates(std::size_t place, U32 group, bool all) const noexcept {
    std::size_t const word = place / inWord;
    return (all ? taken(word) : marked(group, word)) >> 8 * (place % inWord);
  }

  /// Whether a change is for every hearer, whoever wants only some group of keys or has begun to
  /// hear apart.
  template <class Key>
  bool isForAllHearers(U64 change) const noexcept {
    return lastBeginning_ < change && (!hasGroups<Key> || selective_ == 0);
  }

  /// Who at `place` is to be told of a change, at a key of `group` or, with `all`, whatever the
  /// key; null when nobody is.
  PtrInterface::NotifieeConst* hearer(std::size_t place, U64 change, U32 group,
                                      bool all) const noexcept;

  /// Tells one notifiee; `first` takes what it raises unless it holds an earlier exception. Returns
  /// whether the delivery is undisturbed.
  template <auto slot, class Key>
  [[gnu::always_inline]] static bool tell(Delivery& delivery, PtrInterface::NotifieeConst& notifiee,
                                          Key key, std::exception_ptr& first) noexcept;
  /// Called while the exception of `notifiee` is handled.
  static void hasRaised(PtrInterface::NotifieeConst& notifiee, std::exception_ptr& first) noexcept;

  void closeHolesIfMany() noexcept {
    if (holes_ > few && holes_ > size()) [[unlikely]]
      closeHoles();
  }
  void closeHoles() noexcept;

  std::vector<Place> places_;
  /// By place, who hears at present; null for the others and for holes.
  std::vector<PtrInterface::NotifieeConst*> hearers_;
  /// By place, a byte for the notifiee's interest.
  std::vector<U64> marks_;
  std::size_t holes_ = 0;
  /// How many have an interest in one group alone.
  std::size_t selective_ = 0;
  U64 latestChange_ = 0;
  /// The change after which the last one began to hear.
  U64 lastBeginning_ = 0;
  bool delivering_ = false;
};

}  // namespace Kiv
