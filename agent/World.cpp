#include "World.h"

#include <utility>

#include "Kiv/Trace.h"
#include "Pesk/Driver.h"

namespace Agent {

namespace {

/// New entities that hold the same, in the same order, and that nobody watches.
Entities copyOf(Entities const& entities) {
  Entities made;
  for (auto walk = entities.config->proxyConfig().iteratorConst(); walk; ++walk) {
    auto const& entry = *walk.value();
    made.config->proxyConfigIs(walk.key(), entry.patchSubIntfId(), entry.clientIntfId());
  }
  for (auto walk = entities.status->proxyIntf().iteratorConst(); walk; ++walk) {
    made.status->proxyIntfIs(walk.key(), walk.value());
  }
  for (auto walk = entities.status->proxySubIntfStatus().iteratorConst(); walk; ++walk) {
    auto const& record = *walk.value();
    made.status->proxySubIntfStatusIs(walk.key(), record.patchSubIntfId(), record.clientIntfId(),
                                      record.encryptTag(), record.clientTag());
  }
  for (auto walk = entities.dynDot1qEncap->encap().iteratorConst(); walk; ++walk) {
    made.dynDot1qEncap->encapIs(walk.key(), walk.value());
  }
  for (auto walk = entities.ethIntfStatusDir->intfStatus().iteratorConst(); walk; ++walk) {
    made.ethIntfStatusDir->intfStatusIs(walk.key(), walk.value());
  }
  auto const& devices = entities.deviceIntfStatusDir->intfStatusAndDeviceName();
  for (auto walk = devices.iteratorConst(); walk; ++walk) {
    made.deviceIntfStatusDir->intfStatusAndDeviceNameIs(walk.key(), walk.value());
  }
  return made;
}

}  // namespace

void World::crash() {
  Entities survivors = copyOf(entities_);
  abandon();
  entities_ = std::move(survivors);
}

/// Ends the run where nobody can see it. A process that dies runs no teardown; here the coordinator
/// must be released all the same, or it would leak. So its teardown writes to entities that are
/// thrown away afterwards, commands a driver that is thrown away, and traces to nobody.
void World::abandon() {
  Pesk::Driver scratch;
  std::swap(Pesk::Driver::instance(), scratch);
  Kiv::Trace::Sink const sink = Kiv::Trace::sinkIs([](Kiv::Trace::Record const&) {});
  coordinator_ = nullptr;
  Kiv::Trace::sinkIs(sink);
  std::swap(Pesk::Driver::instance(), scratch);
}

}  // namespace Agent
