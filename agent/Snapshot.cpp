#include "Snapshot.h"

namespace Agent {

namespace {

template <class Map>
auto membersOf(Map const& map) {
  Snapshot::Members<typename Map::ValueType> members;
  members.reserve(map.size());
  for (auto walk = map.iteratorConst(); walk; ++walk) {
    members.emplace_back(walk.key(), walk.value());
  }
  return members;
}

}  // namespace

Snapshot::Snapshot(Entities const& entities)
    : config(membersOf(entities.config->proxyConfig())),
      marks(membersOf(entities.status->proxyIntf())),
      records(membersOf(entities.status->proxySubIntfStatus())),
      encaps(membersOf(entities.dynDot1qEncap->encap())),
      eth(membersOf(entities.ethIntfStatusDir->intfStatus())),
      devices(membersOf(entities.deviceIntfStatusDir->intfStatusAndDeviceName())) {}

Entities Snapshot::entities() const {
  Entities made;
  for (auto const& [key, entry] : config) {
    made.config->proxyConfigIs(key, entry->patchSubIntfId(), entry->clientIntfId());
  }
  for (auto const& [key, mark] : marks) made.status->proxyIntfIs(key, mark);
  for (auto const& [key, record] : records) {
    made.status->proxySubIntfStatusIs(key, record->patchSubIntfId(), record->clientIntfId(),
                                      record->encryptTag(), record->clientTag());
  }
  for (auto const& [key, encap] : encaps) made.dynDot1qEncap->encapIs(key, encap);
  for (auto const& [key, entry] : eth) made.ethIntfStatusDir->intfStatusIs(key, entry);
  for (auto const& [key, entry] : devices) {
    made.deviceIntfStatusDir->intfStatusAndDeviceNameIs(key, entry);
  }
  return made;
}

}  // namespace Agent
