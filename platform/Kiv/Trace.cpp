#include "Kiv/Trace.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Kiv/Exception.h"

namespace Kiv {

namespace {

constexpr U32 everyLevel = (1U << Trace::levels) - 1;

void printRecord(Trace::Record const& record) {
  std::ostringstream line;
  line << record.facility << '/' << record.level << ' ' << record.file << ':' << record.line << ' '
       << record.function << ": " << record.message << '\n';
  std::cerr << line.str();
}

/// The levels that "8", "0-3" or "*" stands for; nothing when the text is none of these.
std::optional<U32> levelsOf(std::string_view text) {
  auto const levelOf = [](std::string_view digit) -> std::optional<U32> {
    if (digit.size() != 1 || digit[0] < '0' || digit[0] > '9') return std::nullopt;
    return static_cast<U32>(digit[0] - '0');
  };
  if (text == "*") return everyLevel;
  std::size_t const dash = text.find('-');
  auto const first = levelOf(text.substr(0, dash));
  auto const last = dash == std::string_view::npos ? first : levelOf(text.substr(dash + 1));
  if (!first || !last || *first > *last) return std::nullopt;
  return (2U << *last) - (1U << *first);
}

/// The switches of all facilities. Made on first use and never destroyed: trace points may run
/// while static objects come and go.
class Switches {
 public:
  static Switches& instance() {
    static auto* const switches = new Switches;
    return *switches;
  }

  std::mutex mutex;
  U32 ofEveryFacility = 0;
  std::map<std::string, U32, std::less<>> byFacility;
  std::vector<TraceHandle*> handles;
  Trace::Sink sink;

  U32 of(std::string_view facility) const {
    auto const found = byFacility.find(facility);
    return found != byFacility.end() ? found->second : ofEveryFacility;
  }

  bool isAnythingOn() const {
    return ofEveryFacility != 0 ||
           std::ranges::any_of(byFacility, [](auto const& item) { return item.second != 0; });
  }

 private:
  Switches() {
    char const* const wanted = std::getenv("KIV_TRACE");
    std::string_view rest = wanted != nullptr ? wanted : "";
    while (!rest.empty()) {
      std::string_view const item = rest.substr(0, rest.find(','));
      rest.remove_prefix(std::min(rest.size(), item.size() + 1));
      std::size_t const slash = item.find('/');
      auto const levels = slash != std::string_view::npos && slash != 0
                              ? levelsOf(item.substr(slash + 1))
                              : std::nullopt;
      if (!levels) {
        std::cerr << "KIV_TRACE: \"" << item
                  << "\" is not FACILITY/LEVEL, FACILITY/FIRST-LAST or FACILITY/* "
                     "(levels 0 to 9); left out\n";
        continue;
      }
      std::string_view const facility = item.substr(0, slash);
      (facility == "*" ? ofEveryFacility : byFacility[std::string(facility)]) |= *levels;
    }
    for (auto& [facility, enabled] : byFacility) enabled |= ofEveryFacility;
  }
};

}  // namespace

constinit std::atomic<bool> Trace::isAnythingOn_{true};

void Trace::levelIs(std::string_view facility, U32 level, bool on) {
  if (level >= levels) throwRangeException("Trace level > 9 not allowed");
  Switches& switches = Switches::instance();
  std::lock_guard const lock(switches.mutex);
  U32& enabled =
      switches.byFacility.try_emplace(std::string(facility), switches.of(facility)).first->second;
  enabled = on ? enabled | 1U << level : enabled & ~(1U << level);
  isAnythingOn_ = switches.isAnythingOn();
  for (TraceHandle* const handle : switches.handles) {
    if (handle->facility() == facility) handle->enabledLevels_ = enabled;
  }
}

Trace::Sink Trace::sinkIs(Sink sink) {
  Switches& switches = Switches::instance();
  std::lock_guard const lock(switches.mutex);
  return std::exchange(switches.sink, std::move(sink));
}

TraceHandle::TraceHandle(char const* facility, bool flag, std::atomic<U32>& enabledLevels)
    : facility_(facility), enabledLevels_(enabledLevels) {
  Switches& switches = Switches::instance();
  std::lock_guard const lock(switches.mutex);
  if (flag) switches.byFacility.insert_or_assign(std::string(facility_), everyLevel);
  switches.handles.push_back(this);
  Trace::isAnythingOn_ = switches.isAnythingOn();
  enabledLevels_ = switches.of(facility_);
}

TraceHandle::~TraceHandle() {
  Switches& switches = Switches::instance();
  std::lock_guard const lock(switches.mutex);
  std::erase(switches.handles, this);
}

void TraceHelper::trace(std::string_view file, U32 line, std::string_view function) {
  if (stream_.fail()) return;
  Trace::Sink sink;
  {
    Switches& switches = Switches::instance();
    std::lock_guard const lock(switches.mutex);
    sink = switches.sink;
  }
  std::string const message = stream_.str();
  Trace::Record const record{handle_.facility(), level_, message, file, line, function};
  if (sink) {
    sink(record);
  } else {
    printRecord(record);
  }
}

}  // namespace Kiv
