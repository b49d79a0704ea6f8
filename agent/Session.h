#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "Kiv/Trace.h"
#include "Line.h"
#include "Printer.h"
#include "World.h"

namespace Agent {

class Session;

/// When a command may be given, and whether it is shown as an event.
enum class Role { query, event, whileStopped, whileRunning };

using CarryOut = std::function<void(Session&)>;

/// A command with its arguments, read and found good, and not carried out yet.
struct Order {
  Role role;
  Place place;
  std::string text;
  CarryOut carryOut;
};

/// Raised by an expectation that is not met; says what is there instead.
struct Unmet {
  std::string there;
};

/// One run of the agent, from the first line of its first file to the last of its last: the world,
/// where its doings are printed, and what expectations are measured against.
class Session {
 public:
  explicit Session(Printer& printer, Entities entities = {});
  ~Session();
  Session(Session const&) = delete;
  Session& operator=(Session const&) = delete;

  World world;
  Printer& printer;

  /// Shows an event and carries the order out, as `perform` does.
  void carryOut(Order const& order);
  /// Carries out an order and prints what it caused. An error that the library raises is part of
  /// that. Raises a `Fault` for one that may not be given now, with nothing changed, and for an
  /// expectation that is not met.
  void perform(Order const& order);

  /// Prints the commands that have reached the driver and are not printed yet.
  void printCommands();

  /// The text of the error that the last event raised.
  std::optional<std::string> const& raised() const noexcept { return raised_; }

  /// The number of the first command in the driver's log that no expectation has taken yet.
  std::size_t firstExpected = 0;

 private:
  void checkRole(Order const& order) const;

  Kiv::Trace::Sink formerSink_;
  std::size_t printed_ = 0;
  std::optional<std::string> raised_;
};

}  // namespace Agent
