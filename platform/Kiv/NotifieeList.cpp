#include "Kiv/NotifieeList.h"

#include <algorithm>

#include "Kiv/NotifieeConst.h"

namespace Kiv {

void NotifieeList::reserve() {
  if (places_.size() < places_.capacity()) return;
  places_.reserve(std::max(few, 2 * places_.size()));
}

void NotifieeList::notifieeIs(PtrInterface::NotifieeConst& notifiee, bool hears) noexcept {
  notifiee.place_ = places_.size();
  places_.push_back({&notifiee, always, notifiee.interest_});
  hearsIs(notifiee, hears);
}

void NotifieeList::notifieeDel(PtrInterface::NotifieeConst& notifiee) noexcept {
  places_[notifiee.place_] = {nullptr, always, everyGroup};
  ++holes_;
  if (!delivering_) closeHolesIfMany();
}

void NotifieeList::hearsIs(PtrInterface::NotifieeConst const& notifiee, bool hears) noexcept {
  places_[notifiee.place_].deafUntil = hears ? latestChange_ : always;
}

void NotifieeList::closeHoles() noexcept {
  std::erase_if(places_, [](Place const& place) { return place.notifiee == nullptr; });
  holes_ = 0;
  for (std::size_t place = 0; place < places_.size(); ++place) {
    places_[place].notifiee->place_ = place;
  }
}

}  // namespace Kiv
