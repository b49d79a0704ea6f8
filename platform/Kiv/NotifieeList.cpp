#include "Kiv/NotifieeList.h"

#include <algorithm>

#include "Kiv/NotifieeConst.h"

namespace Kiv {

namespace {

constexpr std::size_t fewHoles = 16;

}  // namespace

void NotifieeList::reserve() {
  if (notifiees_.size() < notifiees_.capacity()) return;
  notifiees_.reserve(std::max(fewHoles, 2 * notifiees_.size()));
}

void NotifieeList::notifieeIs(PtrInterface::NotifieeConst& notifiee) noexcept {
  notifiee.place_ = notifiees_.size();
  notifiees_.push_back(&notifiee);
}

void NotifieeList::notifieeDel(PtrInterface::NotifieeConst& notifiee) noexcept {
  notifiees_[notifiee.place_] = nullptr;
  ++holes_;
  if (!delivering_) closeHolesIfMany();
}

void NotifieeList::closeHolesIfMany() noexcept {
  if (holes_ <= fewHoles || holes_ <= size()) return;
  std::erase(notifiees_, nullptr);
  holes_ = 0;
  for (std::size_t place = 0; place < notifiees_.size(); ++place) {
    notifiees_[place]->place_ = place;
  }
}

}  // namespace Kiv
