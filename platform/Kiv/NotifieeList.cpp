#include "Kiv/NotifieeList.h"

#include <algorithm>

#include "Kiv/Delivery.h"
#include "Kiv/NotifieeConst.h"

namespace Kiv {

void NotifieeList::reserve() {
  if (places_.size() < places_.capacity()) return;
  std::size_t const room = std::max(few, 2 * places_.size());
  // What a delivery goes through may move also where a later allocation fails.
  if (delivering_) Delivery::ofThisThread().disturb();
  // The places last: their room stands for all.
  hearers_.reserve(room + 1);
  if (hearers_.empty()) hearers_.emplace_back();
  marks_.reserve(room / inWord + 1);
  places_.reserve(room);
}

void NotifieeList::notifieeIs(PtrInterface::NotifieeConst& notifiee, bool hears) noexcept {
  notifiee.place_ = static_cast<U32>(places_.size());
  places_.push_back({&notifiee, 0});
  // The nobody that was behind the last place is the newcomer's now.
  hearers_.emplace_back();
  markIs(notifiee.place_, notifiee.interest_);
  if (notifiee.interest_ != everyGroup) ++selective_;
  hearsIs(notifiee, hears);
}

void NotifieeList::notifieeDel(PtrInterface::NotifieeConst& notifiee) noexcept {
  hearsIs(notifiee, false);
  places_[notifiee.place_].notifiee = nullptr;
  if (notifiee.interest_ != everyGroup) --selective_;
  ++holes_;
  if (!delivering_) closeHolesIfMany();
}

void NotifieeList::hearsIs(PtrInterface::NotifieeConst const& notifiee, bool hears) noexcept {
  Place& place = places_[notifiee.place_];
  hearers_[notifiee.place_] = hears ? Hearer{place.notifiee, notifiee.row_} : Hearer{};
  if (hears) place.deafUntil = lastBeginning_ = latestChange_;
  if (delivering_) Delivery::ofThisThread().disturb();
}

void NotifieeList::markIs(std::size_t place, U32 interest) noexcept {
  if (place == inWord * marks_.size()) marks_.push_back(noMark * inEachByte);
  U64& marks = marks_[place / inWord];
  std::size_t const bit = place % inWord * 8;
  U64 const mark = interest == everyGroup ? everyMark : markOf(interest);
  marks = (marks & ~(U64{0xFF} << bit)) | mark << bit;
}

void NotifieeList::hasRaised(Delivery& delivery, PtrInterface::NotifieeConst& notifiee) noexcept {
  delivery.keepException();
  notifiee.onNotificationException();
}

void NotifieeList::closeHoles() noexcept {
  std::size_t to = 0;
  marks_.clear();
  for (std::size_t from = 0; from < places_.size(); ++from) {
    if (places_[from].notifiee == nullptr) continue;
    places_[from].notifiee->place_ = static_cast<U32>(to);
    places_[to] = places_[from];
    hearers_[to] = hearers_[from];
    markIs(to, places_[to].notifiee->interest_);
    ++to;
  }
  places_.resize(to);
  hearers_.resize(to + 1);
  hearers_.back() = {};
  holes_ = 0;
}

}  // namespace Kiv
