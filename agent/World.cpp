#include "World.h"

#include <utility>

#include "Kiv/Trace.h"
#include "Pesk/Driver.h"
#include "Snapshot.h"

namespace Agent {

void World::crash() {
  Entities survivors = Snapshot(entities_).entities();
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
