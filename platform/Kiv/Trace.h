#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <sstream>
#include <string_view>

#include "Kiv/Integers.h"

namespace Kiv {

/// What is traced, and where the records go. A trace point belongs to a facility and has a level,
/// 0 to 9; each level of each facility is switched by itself, at any time, and is off at first.
///
/// The environment variable KIV_TRACE switches levels on in any host: a list of items separated by
/// commas, each the name of a facility or `*` for all, a slash, and a level, a range of levels or
/// `*`: `KIV_TRACE=MacsecProxySm/8`, `KIV_TRACE=*/0-3,MacsecProxySm/*`. It is read once, before the
/// first trace point; an item that cannot be read is reported on standard error and left out.
///
/// All of it may be used from any thread.
class Trace {
 public:
  static constexpr U32 levels = 10;

  /// One record, valid while the sink handles it: what is said, of which level of which facility,
  /// and the place in the source that says it.
  struct Record {
    std::string_view facility;
    U32 level;
    std::string_view message;
    std::string_view file;
    U32 line;
    std::string_view function;
  };
  using Sink = std::function<void(Record const&)>;

  /// Switches a level of one facility, by its full name, whether or not it is there yet. Raises a
  /// range error when `level` is above 9.
  static void levelIs(std::string_view facility, U32 level, bool on);

  /// Sends records to `sink` from now on, which is called by who traces; an empty one stands for
  /// the default, a line on standard error. Returns the sink used until then, empty for the
  /// default.
  static Sink sinkIs(Sink sink);

  /// Whether any level of any facility is on. True until the first handle, or the first `levelIs`,
  /// has read the environment.
  static bool isAnythingOn() noexcept { return isAnythingOn_.load(std::memory_order_relaxed); }

 private:
  friend class TraceHandle;

  static std::atomic<bool> isAnythingOn_;
};

/// One facility's entry to the trace. Levels are asked for through `TraceHelper`.
class TraceHandle {
 public:
  /// `facility` must outlive the handle. `flag` switches every level of the facility on to begin
  /// with.
  TraceHandle(char const* facility, bool flag) : TraceHandle(facility, flag, ownLevels_) {}
  /// Keeps the levels that are on in `enabledLevels`, bit n for level n, which trace points may
  /// read without the handle. It must outlive the handle.
  TraceHandle(char const* facility, bool flag, std::atomic<U32>& enabledLevels);
  ~TraceHandle();
  TraceHandle(TraceHandle const&) = delete;
  TraceHandle& operator=(TraceHandle const&) = delete;

  std::string_view facility() const noexcept { return facility_; }
  /// Whether a level, 0 to 9, is on.
  bool isEnabled(U32 level) const noexcept {
    return (enabledLevels_.load(std::memory_order_relaxed) >> level & 1U) != 0;
  }

 private:
  friend class Trace;

  std::string_view facility_;
  std::atomic<U32> ownLevels_{0};
  std::atomic<U32>& enabledLevels_;
};

/// One message on its way: made when its level is on, filled through `stream`, sent by `trace`.
class TraceHelper {
 public:
  /// A helper when `level`, 0 to 9, of the handle's facility is on, null otherwise.
  static std::unique_ptr<TraceHelper> createIfEnabled(TraceHandle const& handle, U32 level) {
    if (!handle.isEnabled(level)) [[likely]]
      return nullptr;
    return std::unique_ptr<TraceHelper>(new TraceHelper(handle, level));
  }

  std::ostream& stream() noexcept { return stream_; }

  /// Sends the message to the sink, with the place that it comes from; nothing when the stream has
  /// failed, as it does without memory. Raises `std::bad_alloc` and what the sink raises.
  void trace(std::string_view file, U32 line, std::string_view function);

 private:
  TraceHelper(TraceHandle const& handle, U32 level) : handle_(handle), level_(level) {}

  TraceHandle const& handle_;
  U32 level_;
  std::ostringstream stream_;
};

}  // namespace Kiv
