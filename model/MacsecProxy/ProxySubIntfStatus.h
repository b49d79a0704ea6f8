#pragma once

#include "Bridging/VlanId.h"
#include "Kiv/PtrInterface.h"
#include "Velto/IntfId.h"

namespace MacsecProxy {

/// The status of one proxy sub-interface in service. Written whole and never changed.
class ProxySubIntfStatus : public Kiv::PtrInterface {
 public:
  ProxySubIntfStatus(Velto::IntfId proxySubIntfId, Velto::IntfId patchSubIntfId,
                     Velto::IntfId clientIntfId, Bridging::VlanId encryptTag,
                     Bridging::VlanId clientTag) noexcept
      : proxySubIntfId_(proxySubIntfId),
        patchSubIntfId_(patchSubIntfId),
        clientIntfId_(clientIntfId),
        encryptTag_(encryptTag),
        clientTag_(clientTag) {}

  Velto::IntfId proxySubIntfId() const noexcept { return proxySubIntfId_; }
  /// As configured when the record was written.
  Velto::IntfId patchSubIntfId() const noexcept { return patchSubIntfId_; }
  /// As configured when the record was written; empty for no client.
  Velto::IntfId clientIntfId() const noexcept { return clientIntfId_; }
  /// The odd tag of the pair, the encapsulation of the patch sub-interface.
  Bridging::VlanId encryptTag() const noexcept { return encryptTag_; }
  /// The even tag of the pair, the encapsulation of the proxy sub-interface; the driver steers the
  /// client's traffic with it.
  Bridging::VlanId clientTag() const noexcept { return clientTag_; }

  KIV_ALLOC_TRACKED

 private:
  Velto::CompactIntfId proxySubIntfId_;
  Velto::CompactIntfId patchSubIntfId_;
  Velto::CompactIntfId clientIntfId_;
  Bridging::VlanId encryptTag_;
  Bridging::VlanId clientTag_;
};

}  // namespace MacsecProxy
