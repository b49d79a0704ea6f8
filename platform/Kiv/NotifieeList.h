#pragma once

#include <cstddef>
#include <typeinfo>
#include <vector>

#include "Kiv/Integers.h"
#include "Kiv/KeyGroup.h"
#include "Kiv/PtrInterface.h"

namespace Kiv {

class Delivery;

/// The notifiees that are registered with one entity, in the order of registration, and the loops
/// that deliver one change to them.
///
/// The list may change under a delivery: a notifiee that registers is appended and, having
/// registered after the change was made, passed over; one that goes leaves a hole behind, a place
/// that hears nothing. Once nothing is being delivered, holes that outnumber the notifiees are
/// closed. Nothing is copied, nothing allocated and no count touched to deliver a change.
///
/// Whoever changes the list under a delivery says so to the delivery: the quick loops end there,
/// and one that looks at each place goes on.
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
  /// `onNotificationException()` called and keeps no other from hearing the change; the delivery
  /// keeps the exception, unless it has an earlier one, for whoever ends it. Defined in
  /// Kiv/Delivery.h, since it needs both classes.
  ///
  /// REQUIRES: `delivery` is in progress, or nobody raises.
  template <auto slot, class Key>
  [[gnu::always_inline]] void deliver(Delivery& delivery, Key key, U64 change) noexcept;

 private:
  friend class PtrInterface::NotifieeConst;

  struct Hearer;

  /// How notifiees of one class that stand one behind the other are told through one operation, in
  /// a loop of their class's own. Each of them points to it.
  struct Row {
    /// That of the `Operation`; null in `byItself`.
    std::type_info const* operation;
    /// `tellNeighbours`, with the class's own function; null in `byItself`.
    Hearer const* (*tell)(Delivery& delivery, U64 keyBits, Hearer const* at) noexcept;
  };
  /// The row of those who are told each by itself.
  static constexpr Row byItself{nullptr, nullptr};

  /// Who hears at a place, and its row; nulls when nobody does.
  struct Hearer {
    PtrInterface::NotifieeConst* notifiee = nullptr;
    Row const* row = nullptr;
  };

  /// The first room, and how many holes are left alone.
  static constexpr std::size_t few = 16;
  /// The marks of places stand eight in a word.
  static constexpr std::size_t inWord = 8;
  static constexpr U64 inEachByte = 0x0101010101010101U, highBits = inEachByte << 7U;
  static constexpr U64 highBitOfFirst = 0x80;
  /// Stands for a place behind all.
  static constexpr std::size_t allTold = ~std::size_t{0};

  struct Place {
    /// Null for a hole.
    PtrInterface::NotifieeConst* notifiee;
    /// The changes up to this one are not for the notifiee.
    U64 deafUntil;
  };

  /// What `marks_` says of a place: of an interest in one group what its `groupMark` says, in six
  /// bits; of one in all of them; and of a place that nobody has had yet.
  static U64 markOf(U32 group) noexcept { return groupMark(group) / 4; }
  static constexpr U64 everyMark = 0x80, noMark = 0x40;
  void markIs(std::size_t place, U32 interest) noexcept;

  /// The places of a word, by the high bits of bytes, whose interest has the mark of `group` or is
  /// in all groups. A hole keeps its mark.
  U64 marked(U32 group, std::size_t word) const noexcept {
    U64 const marks = marks_[word], differences = marks ^ markOf(group) * inEachByte;
    // The subtraction sets the high bit of a byte that is 0, and may set that of a byte above it
    // that is 1: a mark proves nothing anyway. It never sets that of a place nobody has had, whose
    // byte is at least 0x40 here.
    return (((differences - inEachByte) & ~differences) | marks) & highBits;
  }

  // Three ways to tell those at the places up to `end`. The first two are for the order of
  // registration, and for changes made after everybody had begun to hear; each returns the place
  // from which the third goes on when a notifiee has disturbed the delivery or switched tracing on,
  // or `allTold`. The third serves all else.

  /// Where nobody has an interest in one group alone, or keys have none.
  template <auto slot, class Key>
  [[gnu::always_inline]] std::size_t tellAll(Delivery& delivery, Key key, std::size_t end) noexcept;
  /// While nothing is traced; goes by the marks.
  template <auto slot, class Key>
  [[gnu::always_inline]] std::size_t tellMarked(Delivery& delivery, Key key,
                                                std::size_t end) noexcept;
  /// Looks at each place.
  template <auto slot, class Key>
  [[gnu::noinline]] void tellRest(Delivery& delivery, Key key, U64 change, std::size_t place,
                                  std::size_t end) noexcept;

  /// A function that calls `slot` of a notifiee, virtually, with `key`.
  template <auto slot, class Key>
  static auto callOf(Key key) noexcept;
  /// Tells one notifiee, which `handle` does; the delivery takes what that raises unless it has an
  /// earlier exception. Returns whether it is undisturbed.
  template <class Handle>
  [[gnu::always_inline]] static bool tell(Delivery& delivery, PtrInterface::NotifieeConst& notifiee,
                                          Handle handle) noexcept;
  template <auto slot>
  static bool tellsThrough(Row const& row) noexcept;
  /// Tells the one at `at`, and those behind it who hear and are of the same row, up to one who
  /// disturbs the delivery. Returns the place behind the last one told.
  template <class Handle>
  [[gnu::always_inline]] static Hearer const* tellNeighbours(Delivery& delivery, Hearer const* at,
                                                             Handle handle) noexcept;
  /// The `tell` of a row.
  template <class Notifiee, auto slot, class Handle>
  static Hearer const* tellRow(Delivery& delivery, U64 keyBits, Hearer const* at) noexcept;
  /// The same for those who have no row for the operation. Apart, so that a row pays nothing for
  /// it.
  template <auto slot, class Key>
  [[gnu::noinline]] static Hearer const* tellEach(Delivery& delivery, Key key,
                                                  Hearer const* at) noexcept;
  /// Called while the exception of `notifiee` is handled.
  static void hasRaised(Delivery& delivery, PtrInterface::NotifieeConst& notifiee) noexcept;

  void closeHolesIfMany() noexcept {
    if (holes_ > few && holes_ > size()) [[unlikely]]
      closeHoles();
  }
  void closeHoles() noexcept;

  std::vector<Place> places_;
  /// By place, who hears at present, nobody for the others and for holes; and one nobody more,
  /// where rows end.
  std::vector<Hearer> hearers_;
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
