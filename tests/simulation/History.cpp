#include <fmt/format.h>

#include <fstream>
#include <numeric>
#include <random>
#include <span>
#include <stdexcept>

#include "Step.h"

namespace Simulation {

namespace {

/// A step that may happen, and how often. In its text, $S is a proxy sub-interface, $M its port, $P
/// and $C a patch sub-interface and a client for it, $p and $c ones that others have too, $I any
/// interface, $D a device name for it, $T a pair of tags and $N a number.
struct Kind {
  U32 weight;
  char const* text;
};

constexpr Kind left[] = {
    {1, "left mark $M"},
    {1, "left encap $S $N"},
    {1, "left encap $p $N"},
    {3, "left record $S $p $c $T"},
};
/// The first two change the configuration.
constexpr Kind events[] = {
    {320, "proxy set $S $P $C"},
    {240, "proxy remove $S"},
    {80, "eth set $I $D"},
    {10, "eth blank $I"},
    {10, "eth remove $I"},
    {100, "device set $I n$N"},
    {20, "device remove $I"},
    {15, "order drawn $N"},
    {5, "order reverse"},
    {50, "stop"},
    {50, "crash"},
    {15, "call machine $M handleIntf $M"},
    {10, "call machine $M handleIntf $C"},
    {2, "call machine $M handleClientIntf $C"},
    {15, "call machine $M handleProxyConfig $S"},
    {10, "call machine $M doUpdateDmaMacsecProxy $M true"},
    {10, "set machine $M macsecTag 0 4094 clear"},
    {10, "call machine $M handleInitialized"},
    {10, "call machine $M cleanup\ncall machine $M handleInitialized"},
    {10, "call machine $M deleteProxySubIntfStatus $S\ncall machine $M handleProxyConfig $S"},
    // What no configuration explains.
    {1, "call machine $M addProxySubIntfStatus $S $P"},
    {1, "call coordinator handleProxyConfig $S"},
    {1, "call coordinator handleInitialized"},
    {1, "del coordinator macsecProxyIntfSm $M"},
};
/// Around the last of 2,047 pairs.
constexpr Kind floods[] = {
    {2, "repeat 1000 304$N proxy set $M.{} et9.{} $C"},
    {1, "repeat 1000 302$N proxy remove $M.{}"},
};

/// Few names, so that everything meets everything. One port has a name so long that the driver's
/// buffer does not hold it, one patch sub-interface is a proxy sub-interface, one client a port.
std::string const ports[] = {"et1", "et2", "et" + std::string(110, '3')};
constexpr U32 perPort = 4, places = 12, interfaces = 2 * places + 2;
std::string const patches[] = {"et8.1", "et8.2", "et1.1"};
std::string const clients[] = {"et5", "et6", "et2", "-"};

class Generator {
 public:
  explicit Generator(U64 seed) : random_(seed * 0x9E3779B97F4A7C15U + 1), collides_(oneIn(2)) {}

  History history() {
    hasFaults_ = oneIn(2);
    bool const isBig = oneIn(60);
    if (oneIn(2)) add("order drawn $N");
    for (U32 which = 0; which < interfaces; which += which < places ? perPort : 1) {
      if (!oneIn(5)) add("eth set $I $D", which);
      if (oneIn(3)) add("device set $I n$N", which);
    }
    for (U32 some = below(7); some > 3; --some) add(left);
    for (U32 some = below(5); some > 0; --some) add(events[0].text);
    add("start");
    U32 const length = isBig ? 20 : 25 + below(40);
    for (U32 step = 0; step < length; ++step) {
      add(isBig && oneIn(3) ? std::span<Kind const>(floods) : events);
      std::string const& text = history_.back().text;
      isDown_ |= text == "stop" || text == "crash";
      if (!isDown_) continue;
      if (oneIn(3)) add(left);
      if (!oneIn(3)) continue;
      add("start");
      isDown_ = false;
    }
    return history_;
  }

  History changed() {
    for (U32 some = 1 + below(3); some > 0; --some) add(std::span(events).first(2));
    return history_;
  }

 private:
  U32 below(U32 limit) { return static_cast<U32>(random_() % limit); }
  bool oneIn(U32 chances) { return below(chances) == 0; }
  template <class Choices>
  auto const& from(Choices const& choices) {
    return choices[below(static_cast<U32>(std::size(choices)))];
  }

  void add(std::span<Kind const> kinds) {
    U32 const all = std::accumulate(kinds.begin(), kinds.end(), 0U,
                                    [](U32 sum, Kind const& kind) { return sum + kind.weight; });
    U32 at = below(all);
    while (at >= kinds.front().weight) {
      at -= kinds.front().weight;
      kinds = kinds.subspan(1);
    }
    add(kinds.front().text);
  }
  void add(char const* text) { add(text, below(interfaces)); }
  void add(char const* text, U32 which) {
    place_ = which % places;
    Step step;
    for (; *text != '\0'; ++text) {
      step.text += *text == '$' ? named(*++text, which) : std::string(1, *text);
    }
    if (hasFaults_ && oneIn(20)) {
      step.fault = oneIn(2) ? Fault::driver : Fault::allocation;
      step.at = 1 + below(step.fault == Fault::driver ? 4 : 25);
    }
    history_.push_back(step);
  }

  std::string named(char letter, U32 which) {
    std::string const own = fmt::format("{}", place_ + 1);
    std::string const& port = ports[place_ / perPort];
    std::string interface = which < places       ? port
                            : which < 2 * places ? "et7" + own
                                                 : clients[which - 2 * places];
    bool const shares = collides_ && oneIn(2);
    if (letter == 'S') return fmt::format("{}.{}", port, 1 + place_ % perPort);
    if (letter == 'M') return port;
    if (letter == 'P' && shares) return from(patches);
    if (letter == 'P') return fmt::format("et9.{}{}", own, oneIn(4) ? "5" : "");
    if (letter == 'C') return shares ? from(clients) : oneIn(6) ? "-" : "et7" + own;
    if (letter == 'p') return from(patches);
    if (letter == 'c') return from(clients);
    if (letter == 'I') return interface;
    if (letter == 'T') return fmt::format("{} {}", 2 * place_ + 1, 2 * place_ + 2);
    if (letter == 'N') return fmt::format("{}", 1 + below(8));
    // A device name that only this interface ever has; rarely an empty one or one that fills a
    // command.
    if (oneIn(12)) return "\"\"";
    std::string const rest = oneIn(12) ? std::string(115, 'x') : oneIn(6) ? "b" : "";
    return fmt::format("dev{:.5}{}", interface, rest);
  }

  std::mt19937_64 random_;
  bool collides_;
  bool hasFaults_ = false;
  bool isDown_ = false;
  U32 place_ = 0;
  History history_;
};

}  // namespace

History historyOf(U64 seed) { return Generator(seed).history(); }
History changesOf(U64 seed) { return Generator(seed).changed(); }

History historyIn(std::string const& file) {
  History history;
  std::ifstream input(file);
  for (std::string line; std::getline(input, line);) {
    if (!line.starts_with("driver") && !line.starts_with("trace")) history.push_back({line});
  }
  if (!input.eof()) throw std::runtime_error(file + " cannot be read");
  return history;
}

std::string scenarioOf(History const& history) {
  std::string text;
  for (Step const& step : history) {
    bool const ofDriver = step.fault == Fault::driver || step.fault == Fault::deadly;
    if (ofDriver) text += fmt::format("driver throw {}\n", step.at);
    if (step.fault == Fault::allocation) text += fmt::format("# allocation {} fails\n", step.at);
    text += step.text + (ofDriver ? "\ndriver throw 0\n" : "\n");
  }
  return text;
}

}  // namespace Simulation
