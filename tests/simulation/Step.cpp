#include "Step.h"

#include <fmt/format.h>

#include <fstream>
#include <sstream>
#include <stdexcept>

#include "Velto/SubIntfId.h"

namespace Simulation {

namespace {

std::string quoted(std::string const& device) { return device.empty() ? "\"\"" : device; }

std::string callOf(Step const& step) {
  std::string const a = textOf(step.intf);
  std::string const port = textOf(Velto::SubIntfId::parentIntfId(step.intf));
  switch (step.number) {
    case 0:
      return fmt::format("call machine {0} handleIntf {0}", port);
    case 3:
      return fmt::format("call machine {} handleProxyConfig {}", port, a);
    case 5:
      return fmt::format(
          "call machine {0} deleteProxySubIntfStatus {1}\ncall machine {0} handleProxyConfig {1}",
          port, a);
    case 6:
      return fmt::format("call machine {0} doUpdateDmaMacsecProxy {0} true", port);
    case 7:
      return fmt::format("set machine {} macsecTag 0 4094 clear", port);
    case 8:
      return fmt::format("call machine {} handleInitialized", port);
    case 9:
      return fmt::format("call machine {0} cleanup\ncall machine {0} handleInitialized", port);
    case 10:
      return fmt::format("call coordinator handleProxyConfig {}", a);
    case 11:
      return "call coordinator handleInitialized";
    case 12:
      return fmt::format("del coordinator macsecProxyIntfSm {}", port);
    default:
      return fmt::format("# call {} through generic access, {}", step.number, a);
  }
}

std::string lineOf(Step const& step) {
  std::string const a = textOf(step.intf);
  std::string const last = std::to_string(Step::firstOfMany + step.number - 1);
  switch (step.kind) {
    case Kind::ethSet:
      return fmt::format("eth set {} {}", a, quoted(step.device));
    case Kind::ethBlank:
      return "eth blank " + a;
    case Kind::ethRemove:
      return "eth remove " + a;
    case Kind::deviceSet:
      return fmt::format("device set {} {}", a, quoted(step.device));
    case Kind::deviceRemove:
      return "device remove " + a;
    case Kind::proxySet:
      return fmt::format("proxy set {} {} {}", a, textOf(step.patch), textOf(step.client));
    case Kind::proxyRemove:
      return "proxy remove " + a;
    case Kind::leftRecord:
      return fmt::format("left record {} {} {} {} {}", a, textOf(step.patch),
                         step.client == IntfId() ? "-" : textOf(step.client), step.number,
                         step.number + 1);
    case Kind::leftEncap:
      return fmt::format("left encap {} {}", a, step.number);
    case Kind::leftMark:
      return "left mark " + a;
    case Kind::start:
      return "start";
    case Kind::stop:
      return "stop";
    case Kind::crash:
      return "crash";
    case Kind::order:
      return step.number < 2 ? fmt::format("order {}", step.number ? "reverse" : "registration")
                             : fmt::format("# another order for each change, seed {}", step.number);
    case Kind::fill:
      return fmt::format("repeat {} {} proxy set {}.{{}} {}.{{}} {}", Step::firstOfMany, last, a,
                         textOf(step.patch), textOf(step.client));
    case Kind::drain:
      return fmt::format("repeat {} {} proxy remove {}.{{}}", Step::firstOfMany, last, a);
    case Kind::generic:
      return callOf(step);
  }
  return "";
}

}  // namespace

IntfId intf(std::string const& text) { return IntfId(Kiv::String(text.c_str())); }
std::string textOf(IntfId intfId) { return intfId.stringValue().charPtr(); }

std::string scenarioOf(History const& history) {
  std::string text;
  for (Step const& step : history) {
    if (step.fault == Fault::driver) text += fmt::format("driver throw {}\n", step.at);
    if (step.fault == Fault::allocation) {
      text += fmt::format("# allocation {} of the next line fails\n", step.at);
    }
    text += lineOf(step) + '\n';
    if (step.fault == Fault::driver) text += "driver throw 0\n";
  }
  return text;
}

History historyIn(std::string const& file) {
  History history;
  auto const add = [&](std::string const& line) {
    std::istringstream words(line);
    std::string verb, noun, a, b, c;
    words >> verb;
    if (verb == "start") return history.push_back({Kind::start});
    if (verb == "stop") return history.push_back({Kind::stop});
    if (verb == "crash") return history.push_back({Kind::crash});
    words >> noun >> a >> b >> c;
    std::string const phrase = verb + ' ' + noun;
    std::string const device = b == "\"\"" ? "" : b;
    IntfId const client = c == "-" ? IntfId() : intf(c);
    U32 number = 0;
    if (phrase == "left encap") number = static_cast<U32>(std::stoul(b));
    if (phrase == "left record") words >> number;
    if (phrase == "eth set") return history.push_back({Kind::ethSet, intf(a), {}, {}, device});
    if (phrase == "eth blank") return history.push_back({Kind::ethBlank, intf(a)});
    if (phrase == "eth remove") return history.push_back({Kind::ethRemove, intf(a)});
    if (phrase == "device set")
      return history.push_back({Kind::deviceSet, intf(a), {}, {}, device});
    if (phrase == "device remove") return history.push_back({Kind::deviceRemove, intf(a)});
    if (phrase == "proxy set") {
      return history.push_back({Kind::proxySet, intf(a), intf(b), client});
    }
    if (phrase == "proxy remove") return history.push_back({Kind::proxyRemove, intf(a)});
    if (phrase == "left mark") return history.push_back({Kind::leftMark, intf(a)});
    if (phrase == "left encap") {
      return history.push_back({Kind::leftEncap, intf(a), {}, {}, "", number});
    }
    if (phrase == "left record") {
      return history.push_back({Kind::leftRecord, intf(a), intf(b), client, "", number});
    }
    if (phrase == "order registration") return history.push_back({Kind::order});
    if (phrase == "order reverse") return history.push_back({Kind::order, {}, {}, {}, "", 1});
  };

  std::ifstream input(file);
  if (!input) throw std::invalid_argument("cannot read " + file);
  for (std::string line; std::getline(input, line);) {
    if (!line.starts_with("repeat ")) {
      add(line);
      continue;
    }
    std::istringstream words(line.substr(7));
    U32 first = 0, last = 0;
    std::string rest;
    std::getline(words >> first >> last, rest);
    for (U32 number = first; number <= last; ++number) {
      std::string round = rest;
      for (std::size_t at = 0; (at = round.find("{}", at)) != round.npos;) {
        round.replace(at, 2, std::to_string(number));
      }
      add(round);
      history.back().isQuiet = number != last;
    }
  }
  return history;
}

}  // namespace Simulation
