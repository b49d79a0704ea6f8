#include "Interface/DeviceIntfStatusDir.h"

#include "Kiv/KivType.h"

namespace Interface {

constinit Kiv::KivType const DeviceIntfStatusDir::_kivType{"Interface::DeviceIntfStatusDir",
                                                           &Kiv::Entity::_kivType};
constinit Kiv::AllocTrackTypeInfo DeviceIntfStatusDir::kivAllocTrackTypeInfo_{
    "Interface::DeviceIntfStatusDir"};

Kiv::KivType const* DeviceIntfStatusDir::fwkType() const { return &_kivType; }

Kiv::Ptr<DeviceIntfStatusDir> DeviceIntfStatusDir::DeviceIntfStatusDirIs() {
  return Kiv::Ptr<DeviceIntfStatusDir>::adopt(new DeviceIntfStatusDir);
}

void DeviceIntfStatusDir::intfStatusAndDeviceNameIs(Velto::IntfId intfId,
                                                    IntfStatusAndDeviceName const& entry) {
  intfStatusAndDeviceName_.valueIs(intfId, entry);
}

DeviceIntfStatusDir::IntfStatusAndDeviceName DeviceIntfStatusDir::intfStatusAndDeviceNameDel(
    Velto::IntfId intfId) {
  return intfStatusAndDeviceName_.valueDel(intfId);
}

void DeviceIntfStatusDir::intfStatusByIfIndexIs(U32 ifIndex, Velto::IntfId intfId) {
  intfStatusByIfIndex_.valueIs(ifIndex, intfId);
}

Velto::IntfId DeviceIntfStatusDir::intfStatusByIfIndexDel(U32 ifIndex) {
  return intfStatusByIfIndex_.valueDel(ifIndex);
}

}  // namespace Interface
