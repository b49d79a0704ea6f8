#pragma once

#include <cstddef>
#include <exception>
#include <vector>

#include "Kiv/Integers.h"
#include "Kiv/PtrInterface.h"

namespace Kiv {

/// The notifiees that are registered with one entity, in the order of registration, and the loop
/// that delivers one change to them.
///
/// The list may change under a delivery: a notifiee that registers is appended and, having
/// registered after the change was made, passed over; one that goes leaves a hole behind. Once
/// nothing is being delivered, holes that outnumber the notifiees are closed. Nothing is copied and
/// nothing allocated to deliver a change.
class NotifieeList {
 public:
  NotifieeList() = default;
  NotifieeList(NotifieeList const&) = delete;
  NotifieeList& operator=(NotifieeList const&) = delete;

  /// Numbers one more change of the entity and returns its number, 1 for the first.
  U64 changeIs() noexcept { return ++latestChange_; }
  /// The number of the latest change, 0 when there was none.
  U64 latestChange() const noexcept { return latestChange_; }

  /// How many notifiees are registered, active or not.
  std::size_t size() const noexcept { return notifiees_.size() - holes_; }

  /// Makes room for one more, so that the next registration cannot fail. Raises `std::bad_alloc`.
  void reserve();

  /// REQUIRES: `notifiee` is on no list, and there is room for it.
  void notifieeIs(PtrInterface::NotifieeConst& notifiee) noexcept;
  /// REQUIRES: `notifiee` is on this list.
  void notifieeDel(PtrInterface::NotifieeConst& notifiee) noexcept;

  /// Calls `slot` with `key` on every notifiee that hears the change of that number. A notifiee
  /// that raises has its `onNotificationException()` called and keeps no other from hearing the
  /// change; `first` takes the exception unless it holds an earlier one.
  template <class Notifiee, class Key>
  void deliver(void (Notifiee::*slot)(Key), Key key, U64 change,
               std::exception_ptr& first) noexcept;

 private:
  void closeHolesIfMany() noexcept;

  std::vector<PtrInterface::NotifieeConst*> notifiees_;
  std::size_t holes_ = 0;
  U64 latestChange_ = 0;
  bool delivering_ = false;
};

}  // namespace Kiv
