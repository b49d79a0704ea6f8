#pragma once

#include <string>

#include "Kiv/Ptr.h"
#include "MacsecProxy/MacsecProxySm.h"
#include "Programs.h"

namespace Bench {

/// The library with its entities, as an agent holds them.
class LibraryProgram {
 public:
  void portIs(Velto::IntfId intfId, std::string const& device) {
    eth_->intfStatusIs(intfId, device.c_str());
    devices_->intfStatusAndDeviceNameIs(intfId, {device.c_str()});
  }
  void portDel(Velto::IntfId intfId) {
    eth_->intfStatusDel(intfId);
    devices_->intfStatusAndDeviceNameDel(intfId);
  }

  void configIs(SubIntf const& one) { config_->proxyConfigIs(one.proxy, one.patch, one.client); }
  void configDel(Velto::IntfId proxy) { config_->proxyConfigDel(proxy); }

  auto const& records() const { return status_->proxySubIntfStatus(); }

  bool running() const { return coordinator_ != nullptr; }
  void start() {
    coordinator_ = MacsecProxy::macsecProxySmFactory(config_, status_, encaps_, eth_, devices_);
  }
  void stop() { coordinator_ = nullptr; }

  /// The coordinator is gone and has left the tables as they were. What it told the driver is not
  /// in the log, but counted.
  void crash() {
    auto const status = MacsecProxy::Status::StatusIs();
    auto const encaps = Interface::SubIntfDynDot1qEncap::SubIntfDynDot1qEncapIs();
    for (auto walk = status_->proxyIntf().iteratorConst(); walk; ++walk) {
      status->proxyIntfIs(walk.key(), walk.value());
    }
    for (auto walk = status_->proxySubIntfStatus().iteratorConst(); walk; ++walk) {
      MacsecProxy::ProxySubIntfStatus const& record = *walk.value();
      status->proxySubIntfStatusIs(walk.key(), record.patchSubIntfId(), record.clientIntfId(),
                                   record.encryptTag(), record.clientTag());
    }
    for (auto walk = encaps_->encap().iteratorConst(); walk; ++walk) {
      encaps->encapIs(walk.key(), walk.value());
    }
    stop();
    Pesk::Driver::instance().logDelAll();
    status_ = status;
    encaps_ = encaps;
  }

  /// Puts into the tables what an earlier run could have left of sub-interfaces and ports that are
  /// not configured any more. REQUIRES: not running.
  void leave(U32 records, U32 marks) {
    for (U32 number = 0; number < records; ++number) {
      SubIntf const one = subIntf(10000 + number / 2000, number % 2000);
      U32 const tag = 2 * (number % 2000) + 1;
      encaps_->encapIs(one.proxy, Bridging::Dot1qEncap(Bridging::VlanId(tag + 1)));
      encaps_->encapIs(one.patch, Bridging::Dot1qEncap(Bridging::VlanId(tag)));
      status_->proxySubIntfStatusIs(one.proxy, one.patch, one.client, Bridging::VlanId(tag),
                                    Bridging::VlanId(tag + 1));
    }
    for (U32 number = 0; number < marks; ++number) {
      status_->proxyIntfIs(portId(20000 + number), true);
    }
  }

  /// Empties the tables, as on a switch that has never run. REQUIRES: not running.
  void tablesDelAll() {
    status_ = MacsecProxy::Status::StatusIs();
    encaps_ = Interface::SubIntfDynDot1qEncap::SubIntfDynDot1qEncapIs();
  }

  Kiv::Ptr<MacsecProxy::MacsecProxyIntfSm> machine(Velto::IntfId port) const {
    return coordinator_->macsecProxyIntfSm(port);
  }
  MacsecProxy::Status const& status() const { return *status_; }
  Interface::SubIntfDynDot1qEncap const& encaps() const { return *encaps_; }

 private:
  Kiv::Ptr<MacsecProxy::Config> config_ = MacsecProxy::Config::ConfigIs();
  Kiv::Ptr<MacsecProxy::Status> status_ = MacsecProxy::Status::StatusIs();
  Kiv::Ptr<Interface::SubIntfDynDot1qEncap> encaps_ =
      Interface::SubIntfDynDot1qEncap::SubIntfDynDot1qEncapIs();
  Kiv::Ptr<Interface::EthIntfStatusDir> eth_ = Interface::EthIntfStatusDir::EthIntfStatusDirIs();
  Kiv::Ptr<Interface::DeviceIntfStatusDir> devices_ =
      Interface::DeviceIntfStatusDir::DeviceIntfStatusDirIs();
  Kiv::Ptr<MacsecProxy::MacsecProxySm> coordinator_;
};

}  // namespace Bench
