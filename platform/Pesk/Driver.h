#pragma once

#include <array>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "Kiv/Integers.h"

namespace Pesk {

/// Raised by a driver that was told to fail a command.
class DriverError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The forwarding driver of this switch, in memory. It keeps a log of every command that reaches
/// it, and the forwarding state that follows from those it understands:
///
///     macsec_proxy DEVICE ENABLE
///     macsec_proxy_client PROXY CLIENT-DEVICE TAG ENABLE
///
/// The first switches the proxy mode of a port on (1) or off (0). The second steers a client's
/// traffic through the port of the device PROXY with TAG, or ends the client's steering, whoever
/// PROXY names. Fields are separated by single blanks and may be empty.
///
/// A process has one, for one thread: whoever has machines on several brings channels of his own.
class Driver {
 public:
  /// One command as it arrived.
  struct Command {
    std::string text;
    std::array<char, 128> buffer;
    U32 bufferLength;
    U32 argument3;
    U32 argument4;
    U32 argument5;
  };

  /// Where a client's traffic goes.
  struct Steering {
    std::string proxyDevice;
    U32 tag;

    friend bool operator==(Steering const&, Steering const&) = default;
  };

  /// The driver behind every `IoctlDrvFab`.
  static Driver& instance() noexcept { return *instance_; }

  /// Takes one command and returns 0; a buffer of fewer than 128 bytes is copied as far as it goes.
  /// Raises `DriverError`, with nothing logged or changed, when it was told to throw.
  int commandIs(char const* command, U32 bufferLength, U32 argument3, U32 argument4, U32 argument5);

  /// Every command since the driver was made, last reset or had its log emptied, oldest first.
  std::vector<Command> const& log() const noexcept { return log_; }
  void logDelAll() { log_.clear(); }
  /// Whether commands are logged; they are at first. A long run does without.
  void hasLogIs(bool hasLog) noexcept { hasLog_ = hasLog; }
  /// How many commands there were since the driver was made or last reset.
  U64 commands() const noexcept { return commands_; }

  /// The devices in proxy mode, by name.
  std::set<std::string> const& proxyMode() const noexcept { return proxyMode_; }
  /// The clients that are steered, by device name.
  std::map<std::string, Steering> const& steering() const noexcept { return steering_; }
  /// How many of the commands since the driver was made or last reset could not be understood;
  /// those that are not read (`hasStateIs`) do not count.
  U32 notUnderstood() const noexcept { return notUnderstood_; }
  /// Whether commands are read and the state kept; they are at first. Whoever measures what sends
  /// the commands does without.
  void hasStateIs(bool hasState) noexcept { hasState_ = hasState; }

  /// Has the `command`-th command from now raise `DriverError`, 1 being the next one; 0 has none
  /// raise.
  void throwAtIs(U32 command) noexcept { throwAt_ = command; }
  /// Which command from now will raise; 0 when none will.
  U32 throwAt() const noexcept { return throwAt_; }

  /// Back to the state of a driver just made.
  void reset() { *this = Driver(); }

 private:
  /// Never destroyed: channels may be released at the very end of the process.
  static Driver* const instance_;

  [[gnu::noinline]] void log(char const* command, U32 bufferLength, U32 argument3, U32 argument4,
                             U32 argument5);
  bool understand(std::string_view text);

  std::vector<Command> log_;
  std::set<std::string> proxyMode_;
  std::map<std::string, Steering> steering_;
  U32 notUnderstood_ = 0;
  U32 throwAt_ = 0;
  bool hasLog_ = true;
  bool hasState_ = true;
  U64 commands_ = 0;
};

}  // namespace Pesk
