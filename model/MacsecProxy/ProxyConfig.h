#pragma once

#include "Kiv/PtrInterface.h"
#include "Velto/IntfId.h"

namespace MacsecProxy {

/// The configuration of one proxy sub-interface. Never changes; a changed configuration is another
/// object.
class ProxyConfig : public Kiv::PtrInterface {
 public:
  ProxyConfig(Velto::IntfId proxySubIntfId, Velto::IntfId patchSubIntfId,
              Velto::IntfId clientIntfId) noexcept
      : proxySubIntfId_(proxySubIntfId),
        patchSubIntfId_(patchSubIntfId),
        clientIntfId_(clientIntfId) {}

  /// The proxy sub-interface; its parent is the proxy interface.
  Velto::IntfId proxySubIntfId() const noexcept { return proxySubIntfId_; }
  /// The patch sub-interface that it is paired with.
  Velto::IntfId patchSubIntfId() const noexcept { return patchSubIntfId_; }
  /// The interface whose traffic it serves; empty for no client.
  Velto::IntfId clientIntfId() const noexcept { return clientIntfId_; }

  friend bool operator==(ProxyConfig const& left, ProxyConfig const& right) noexcept {
    return left.proxySubIntfId() == right.proxySubIntfId() &&
           left.patchSubIntfId() == right.patchSubIntfId() &&
           left.clientIntfId() == right.clientIntfId();
  }

  KIV_ALLOC_TRACKED

 private:
  Velto::CompactIntfId proxySubIntfId_;
  Velto::CompactIntfId patchSubIntfId_;
  Velto::CompactIntfId clientIntfId_;
};

}  // namespace MacsecProxy
