#include "Kiv/NotifieeConst.h"

#include "Kiv/Delivery.h"
#include "Kiv/NotifieeList.h"

namespace Kiv {

PtrInterface const* PtrInterface::NotifieeConst::kivReactor() const { return nullptr; }
void PtrInterface::NotifieeConst::handleNotification(ActivityConfig* /*activity*/) {}
void PtrInterface::NotifieeConst::onNotificationException() {}
void PtrInterface::NotifieeConst::onZeroReferences() {}
ActivityConfig* PtrInterface::NotifieeConst::kivFwkActivity() const { return nullptr; }
PtrInterface* PtrInterface::NotifieeConst::actsm() { return nullptr; }

void PtrInterface::NotifieeConst::hasNotificationActiveIs(bool active) {
  if (active == hasNotificationActive()) return;
  PtrInterface::hasNotificationActiveIs(active);
  if (registered_) notifier_->notifieeList()->hearsIs(*this, active);
}

void PtrInterface::NotifieeConst::zeroReferencesIs(bool zero) {
  if (zero) {
    if (Delivery::ofThisThread().takesOver(*this)) {
      referenceRevive();
      return;
    }
    if (registered_) notifier_->notifieeList()->hearsIs(*this, false);
    // What is left of it after its class's destructor is told by itself, if at all.
    row_ = &NotifieeList::byItself;
    onZeroReferences();
  }
  PtrInterface::zeroReferencesIs(zero);
}

PtrInterface::NotifieeConst::~NotifieeConst() {
  if (registered_) notifier_->notifieeList()->notifieeDel(*this);
}

void PtrInterface::NotifieeConst::isRegisteredNotifieeIs(bool registered) {
  if (registered == registered_ || !notifier_) return;
  NotifieeList* const list = notifier_->notifieeList();
  if (list == nullptr) return;
  if (registered) {
    list->reserve();
    list->notifieeIs(*this, hasNotificationActive());
  } else {
    list->notifieeDel(*this);
  }
  registered_ = registered;
}

void PtrInterface::NotifieeConst::notifierIs(Ptr<PtrInterface const> const& notifier) {
  if (notifier == notifier_) return;
  bool const registered = registered_;
  NotifieeList* const list = notifier ? notifier->notifieeList() : nullptr;
  if (registered && list != nullptr) list->reserve();
  isRegisteredNotifieeIs(false);
  notifier_ = notifier;
  isRegisteredNotifieeIs(registered);
}

}  // namespace Kiv
