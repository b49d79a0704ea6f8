#include <fmt/format.h>

#include <random>

#include "Step.h"

namespace Simulation {

namespace {

/// Few names, so that everything meets everything: three ports (one with a name so long that the
/// driver's command buffer does not hold it), patch sub-interfaces of which one is a proxy
/// sub-interface, clients of which one is a port.
struct Names {
  std::vector<IntfId> ports{intf("et1"), intf("et2"), intf(fmt::format("et{:3>110}", ""))};
  std::vector<IntfId> subIntfs, patches, clients{intf("et5"), intf("et6"), intf("et2"), IntfId()};
  /// Everything that may have a device name.
  std::vector<IntfId> devices{intf("et5"), intf("et6")};

  Names() {
    for (IntfId const port : ports) {
      for (char const* number : {".1", ".2", ".3", ".4"}) {
        subIntfs.push_back(intf(textOf(port) + number));
        devices.push_back(intf(fmt::format("et7{}", subIntfs.size())));
      }
      devices.push_back(port);
    }
    patches = {intf("et8.1"), intf("et8.2"), intf("et1.1")};
  }
};

class Generator {
 public:
  explicit Generator(U64 seed) : random_(seed * 0x9E3779B97F4A7C15U + 1) {}

  U32 below(U32 limit) { return static_cast<U32>(random_() % limit); }
  bool oneIn(U32 chances) { return below(chances) == 0; }

  History history() {
    hasFaults_ = !oneIn(2);
    collides_ = oneIn(2);
    bool const isBig = oneIn(300);
    U32 const length = isBig ? 12 : 20 + below(40);
    history_.push_back({Kind::order, {}, {}, {}, "", below(4)});
    for (IntfId const interface : names().devices) {
      if (!oneIn(5)) eth(interface);
      if (oneIn(3)) device(interface);
    }
    for (U32 left = below(7); left > 3; --left) leftover();
    for (U32 entries = below(5); entries > 0; --entries) proxySet();
    history_.push_back({Kind::start});
    running_ = true;
    while (history_.size() < 20 + length) {
      if (isBig && oneIn(3)) {
        many();
      } else {
        next();
      }
    }
    return history_;
  }

  History changes() {
    collides_ = oneIn(2);
    for (U32 change = 1 + below(3); change > 0; --change) {
      if (oneIn(2)) {
        proxySet();
      } else {
        proxyRemove();
      }
    }
    return history_;
  }

 private:
  static Names const& names() {
    static Names const names;
    return names;
  }
  template <class T>
  T const& from(std::vector<T> const& choices) {
    return choices[below(static_cast<U32>(choices.size()))];
  }
  IntfId interface() { return from(oneIn(2) ? names().ports : names().devices); }

  Step& add(Step step) { return history_.emplace_back(std::move(step)); }

  /// A name that only this interface ever has; rarely an empty one or one that fills a command.
  std::string nameFor(IntfId interface) {
    U32 const kind = below(12);
    if (kind == 0) return "";
    return fmt::format("dev{:.5}{}", textOf(interface),
                       kind == 1  ? std::string(115, 'x')
                       : kind < 4 ? "b"
                                  : "");
  }
  void eth(IntfId interface) { add({Kind::ethSet, interface, {}, {}, nameFor(interface)}); }
  void device(IntfId interface) {
    add({Kind::deviceSet, interface, {}, {}, fmt::format("n{}", below(5))});
  }

  /// A sub-interface has a patch sub-interface and a client of its own, or shares some with others.
  void proxySet() {
    U32 const place = below(static_cast<U32>(names().subIntfs.size()));
    bool const shares = collides_ && oneIn(2);
    IntfId const patch = shares ? from(names().patches)
                                : intf(fmt::format("et9.{}{}", place + 1, oneIn(4) ? "5" : ""));
    IntfId const client = shares ? from(names().clients) : intf(fmt::format("et7{}", place + 1));
    fault(add({Kind::proxySet, names().subIntfs[place], patch, oneIn(6) ? IntfId() : client}));
  }
  void proxyRemove() { fault(add({Kind::proxyRemove, from(names().subIntfs)})); }
  void fault(Step& step) {
    if (!hasFaults_ || !running_ || !oneIn(20)) return;
    step.fault = oneIn(2) ? Fault::driver : Fault::allocation;
    step.at = 1 + below(step.fault == Fault::driver ? 4 : 25);
  }

  void leftover() {
    switch (below(3)) {
      case 0:
        add({Kind::leftMark, from(names().ports)});
        break;
      case 1:
        add({Kind::leftEncap,
             from(oneIn(2) ? names().subIntfs : names().patches),
             {},
             {},
             "",
             1 + below(8)});
        break;
      default:
        add({Kind::leftRecord, from(names().subIntfs), from(names().patches), from(names().clients),
             "", 1 + 2 * below(4)});
    }
  }

  /// Around the last of 2,047 pairs.
  void many() {
    IntfId const port = from(names().ports);
    if (oneIn(3)) {
      add({Kind::drain, port, {}, {}, "", 2020 + below(30)});
    } else {
      add({Kind::fill, port, intf("et9"), {}, "", 2042 + below(7)});
    }
  }

  void next() {
    U32 const choice = below(100);
    if (choice < 32) return proxySet();
    if (choice < 56) return proxyRemove();
    if (choice < 64) return eth(interface());
    if (choice < 66) {
      add({oneIn(2) ? Kind::ethBlank : Kind::ethRemove, interface()});
    } else if (choice < 76) {
      device(interface());
      fault(history_.back());
    } else if (choice < 78) {
      add({Kind::deviceRemove, interface()});
    } else if (choice < 80) {
      add({Kind::order, {}, {}, {}, "", below(1000)});
    } else if (choice < 90) {
      // The last three calls leave counts or machines that the configuration does not explain.
      fault(add({Kind::generic,
                 from(names().subIntfs),
                 {},
                 {},
                 "",
                 hasFaults_ && oneIn(8) ? 10 + below(3) : below(10)}));
    } else if (running_) {
      add({oneIn(2) ? Kind::stop : Kind::crash});
      running_ = false;
      for (U32 left = below(8); left > 5; --left) leftover();
    } else {
      add({Kind::start});
      running_ = true;
      fault(history_.back());
    }
    // Not down for long.
    if (!running_ && oneIn(3)) {
      add({Kind::start});
      running_ = true;
    }
  }

  std::mt19937_64 random_;
  History history_;
  bool hasFaults_ = false;
  bool collides_ = false;
  bool running_ = false;
};

}  // namespace

History historyOf(U64 seed) { return Generator(seed).history(); }
History changesOf(U64 seed) { return Generator(seed).changes(); }

}  // namespace Simulation
