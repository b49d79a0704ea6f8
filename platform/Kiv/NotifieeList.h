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
  /// the exception unless it holds an earlier one.
  template <auto slot, class Key>
  [[gnu::always_inline]] void deliver(Delivery& delivery, Key key, U64 change,
                                      std::exception_ptr& first) noexcept;

 private:
  /// The first room, and how many holes are left alone.
  static constexpr std::size_t few = 16;
  /// How many places `nextFor` looks at in one go, with a few vector instructions.
  static constexpr std::size_t placesAtOnce = 32;

  struct Place {
    /// Null for a hole.
    PtrInterface::NotifieeConst* notifiee;
    /// The changes up to this one are not for the notifiee.
    U64 deafUntil;
  };

  /// The next place from `place` on of a notifiee that is to be told of the keys of `group`, `end`
  /// when there is none.
  std::size_t nextFor(U32 group, std::size_t place, std::size_t end) const noexcept {
    if (group == everyGroup) return place;
    U32 const* const interests = interests_.data();
    auto const matches = [interests, group](std::size_t from) {
      // Counted without a branch, so that the compiler looks at several in one instruction.
      U32 count = 0;
      for (std::size_t at = from; at < from + placesAtOnce; ++at) {
        count += static_cast<U32>(interests[at] == group);
        count += static_cast<U32>(interests[at] == everyGroup);
      }
      return count;
    };
    while (end - place >= placesAtOnce && matches(place) == 0) place += placesAtOnce;
    while (place < end && interests[place] != group && interests[place] != everyGroup) ++place;
    return place;
  }

  /// Whether a change is for every hearer, whoever wants only some group of keys or has begun to
  /// hear apart.
  bool isForAllHearers(U64 change, U32 group) const noexcept {
    return lastBeginning_ < change && (group == everyGroup || selective_ == 0);
  }

  /// Whether somebody at `place` is to be told of a change.
  bool hears(std::size_t place, U64 change) const noexcept {
    return hearers_[place] != nullptr && places_[place].deafUntil < change;
  }

  /// Tells one notifiee; `first` takes what it raises unless it holds an earlier exception.
  template <auto slot, class Key>
  [[gnu::always_inline]] static void tell(Delivery& delivery, PtrInterface::NotifieeConst& notifiee,
                                          Key key, std::exception_ptr& first) noexcept;
  /// Called while the exception of `notifiee` is handled.
  static void hasRaised(PtrInterface::NotifieeConst& notifiee, std::exception_ptr& first) noexcept;

  void closeHolesIfMany() noexcept {
    if (holes_ > few && holes_ > size()) closeHoles();
  }
  void closeHoles() noexcept;

  std::vector<Place> places_;
  /// By place, who hears at present; null for the others and for holes.
  std::vector<PtrInterface::NotifieeConst*> hearers_;
  /// By place, the notifiee's interest.
  std::vector<U32> interests_;
  std::size_t holes_ = 0;
  /// How many have an interest in one group alone.
  std::size_t selective_ = 0;
  U64 latestChange_ = 0;
  /// The change after which the last one began to hear.
  U64 lastBeginning_ = 0;
  bool delivering_ = false;
};

}  // namespace Kiv
