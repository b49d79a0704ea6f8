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
  void deliver(Delivery& delivery, Key key, U64 change, std::exception_ptr& first) noexcept;

 private:
  static constexpr U64 always = ~U64{0};
  /// The first room, and how many holes are left alone.
  static constexpr std::size_t few = 16;

  struct Place {
    PtrInterface::NotifieeConst* notifiee;
    /// The changes up to this one are not for the notifiee.
    U64 deafUntil;
    /// The notifiee's, so that passing over it touches nothing else.
    U32 interest;
  };

  /// The next place from `place` on of a notifiee that is to be told of the keys of `group`, `end`
  /// when there is none.
  std::size_t nextFor(U32 group, std::size_t place, std::size_t end) const noexcept {
    if (group == everyGroup) return place;
    Place const* const places = places_.data();
    while (place < end && places[place].interest != group && places[place].interest != everyGroup) {
      ++place;
    }
    return place;
  }

  void closeHolesIfMany() noexcept {
    if (holes_ > few && holes_ > size()) closeHoles();
  }
  void closeHoles() noexcept;

  std::vector<Place> places_;
  std::size_t holes_ = 0;
  U64 latestChange_ = 0;
  bool delivering_ = false;
};

}  // namespace Kiv
