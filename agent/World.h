#pragma once

#include <utility>

#include "Entities.h"
#include "Generic.h"
#include "Library.h"

namespace Agent {

/// The agent's process as far as the library is concerned: the entities and, while it runs, the
/// coordinator. Beside it there is the driver, of which a process has one.
class World {
 public:
  World() = default;
  explicit World(Entities entities) noexcept : entities_(std::move(entities)) {}
  /// What still runs goes without a trace.
  ~World() { abandon(); }
  World(World const&) = delete;
  World& operator=(World const&) = delete;

  Entities const& entities() const noexcept { return entities_; }
  bool isRunning() const noexcept { return coordinator_ != nullptr; }
  /// Null while nothing runs.
  Object const& coordinator() const noexcept { return coordinator_; }
  /// The machines of the run. REQUIRES: it is running.
  Library::View view() const { return Library::view(coordinator_); }

  /// Raises what the library's start-up raises; nothing runs then.
  void start() { coordinator_ = Library::start(entities_); }
  /// The clean end of a run: the library takes everything out of service.
  void stop() { coordinator_ = nullptr; }
  /// The end of a run by the death of its process: nothing is taken out of service, and what the
  /// platform keeps is as it was.
  void crash();

 private:
  void abandon();

  Entities entities_;
  Object coordinator_;
};

}  // namespace Agent
