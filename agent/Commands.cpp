#include "Commands.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <tuple>
#include <utility>
#include <vector>

#include "Expect.h"
#include "Introspect.h"
#include "Kiv/Delivery.h"
#include "Kiv/Trace.h"
#include "Pesk/Driver.h"
#include "Show.h"

namespace Agent {

namespace {

using Reader = CarryOut (*)(Line&);

/// Reads the arguments of `handler`, all of them, before anything is carried out.
template <class... Arguments>
CarryOut readArguments(Line& line, void (*handler)(Session&, Arguments...)) {
  std::tuple<Arguments...> const arguments{line.take<Arguments>()...};
  line.end();
  return [handler, arguments](Session& session) {
    std::apply([&](Arguments const&... each) { handler(session, each...); }, arguments);
  };
}

template <auto handler>
CarryOut reads(Line& line) {
  return readArguments(line, handler);
}

auto& eth(Session& session) { return *session.world.entities().ethIntfStatusDir; }
auto& devices(Session& session) { return *session.world.entities().deviceIntfStatusDir; }
auto& config(Session& session) { return *session.world.entities().config; }
auto& status(Session& session) { return *session.world.entities().status; }
auto& encaps(Session& session) { return *session.world.entities().dynDot1qEncap; }

void ethSet(Session& to, Port port, Device name) { eth(to).intfStatusIs(port, name); }
void ethBlank(Session& to, Port port) {
  eth(to).intfStatusIs(port, Kiv::Ptr<Interface::EthIntfStatus const>());
}
void ethRemove(Session& to, Port port) { eth(to).intfStatusDel(port); }

void deviceSet(Session& to, Port port, Device name) {
  devices(to).intfStatusAndDeviceNameIs(port, {name});
}
void deviceRemove(Session& to, Port port) { devices(to).intfStatusAndDeviceNameDel(port); }

void proxySet(Session& to, SubIntf subIntf, SubIntf patch, Client client) {
  config(to).proxyConfigIs(subIntf, patch, client);
}
void proxyRemove(Session& to, SubIntf subIntf) { config(to).proxyConfigDel(subIntf); }

void leftRecord(Session& to, SubIntf subIntf, SubIntf patch, Client client, Tag encrypt, Tag tag) {
  status(to).proxySubIntfStatusIs(subIntf, patch, client, encrypt, tag);
}
void leftEncap(Session& to, SubIntf subIntf, Tag tag) {
  encaps(to).encapIs(subIntf, Bridging::Dot1qEncap(tag));
}
void leftMark(Session& to, Port port) { status(to).proxyIntfIs(port, true); }

void start(Session& session) { session.world.start(); }
void stop(Session& session) { session.world.stop(); }
void crash(Session& session) { session.world.crash(); }

template <Kiv::Delivery::Order order>
void orderOf(Session&) {
  Kiv::Delivery::orderIs(order);
}
void orderDrawn(Session&, Number seed) {
  Kiv::Delivery::orderIs(Kiv::Delivery::Order::drawn, seed.value);
}
void driverThrow(Session&, Number command) { Pesk::Driver::instance().throwAtIs(command.value); }
template <bool on>
void trace(Session&) {
  Kiv::Trace::levelIs("MacsecProxySm", 8, on);
}

CarryOut readRepeat(Line& line);
void help(Session& session);

struct Command {
  std::string_view phrase;
  std::string_view arguments;
  std::string_view help;
  Role role;
  Reader read;

  std::string usage() const {
    return fmt::format("{}{}{}", phrase, arguments.empty() ? "" : " ", arguments);
  }
};

using enum Role;
using Generic::Op;
using Kiv::Delivery;

/// Word by word, no phrase is the beginning of another one.
constexpr std::array commands{
    Command{"eth set", "PORT DEVICE", "set Ethernet status", event, reads<ethSet>},
    Command{"eth blank", "PORT", "set Ethernet status to a null record", event, reads<ethBlank>},
    Command{"eth remove", "PORT", "remove Ethernet status", event, reads<ethRemove>},
    Command{"device set", "PORT DEVICE", "set a device name", event, reads<deviceSet>},
    Command{"device remove", "PORT", "remove a device name", event, reads<deviceRemove>},
    Command{"proxy set", "SUB PATCH [CLIENT]", "configure or replace", event, reads<proxySet>},
    Command{"proxy remove", "SUB", "unconfigure", event, reads<proxyRemove>},
    Command{"left record", "SUB PATCH CLIENT|- ENCRYPTTAG CLIENTTAG", "lay down an old record",
            whileStopped, reads<leftRecord>},
    Command{"left encap", "SUB TAG", "lay down an old encapsulation", whileStopped,
            reads<leftEncap>},
    Command{"left mark", "PORT", "lay down an old mark", whileStopped, reads<leftMark>},
    Command{"start", "", "start the library", whileStopped, reads<start>},
    Command{"stop", "", "stop it, with its teardown", whileRunning, reads<stop>},
    Command{"crash", "", "stop it without any teardown", whileRunning, reads<crash>},
    Command{"order registration", "", "tell those who registered first of a change first", event,
            reads<orderOf<Delivery::Order::registration>>},
    Command{"order reverse", "", "tell those who registered last of a change first", event,
            reads<orderOf<Delivery::Order::reverse>>},
    Command{"order drawn", "SEED", "tell of each change in another order, which SEED decides",
            event, reads<orderDrawn>},
    Command{"driver throw", "N", "the driver throws on its N-th command from now; 0: on none",
            event, reads<driverThrow>},
    Command{"trace on", "", "show what the library traces", event, reads<trace<true>>},
    Command{"trace off", "", "do not show it", event, reads<trace<false>>},
    Command{"repeat", "FIRST LAST COMMAND...", "a command for each number, put in place of {}",
            event, readRepeat},
    Command{"show config", "", "show the configuration and the directories", query,
            reads<showConfig>},
    Command{"show status", "", "show the marks and the records", query, reads<showStatus>},
    Command{"show encaps", "", "show the encapsulations", query, reads<showEncaps>},
    Command{"show driver", "", "show what the driver holds", query, reads<showDriver>},
    Command{"show machines", "", "show counts, machines and clients", query, reads<showMachines>},
    Command{"show all", "", "show all of these", query, reads<showAll>},
    Command{"expect command", "TEXT...", "sent since the last command expected", query,
            reads<expectCommand>},
    Command{"expect nothing", "", "sent since the last command expected", query,
            reads<expectNothing>},
    Command{"expect record", "SUB PATCH CLIENT|- ENCRYPTTAG CLIENTTAG", "in the status", query,
            reads<expectRecord>},
    Command{"expect no record", "SUB", "in the status", query, reads<expectNoRecord>},
    Command{"expect mark", "PORT", "in the status", query, reads<expectMark>},
    Command{"expect no mark", "PORT", "in the status", query, reads<expectNoMark>},
    Command{"expect encap", "SUB TAG", "in the table", query, reads<expectEncap>},
    Command{"expect no encap", "SUB", "in the table", query, reads<expectNoEncap>},
    Command{"expect error", "TEXT...", "raised by the last event", query, reads<expectError>},
    Command{"types", "", "show the types that the library has registered", query, reads<showTypes>},
    Command{"type", "NAME", "show what a type is and its attributes", query, readType},
    Command{"get", "OBJECT ATTRIBUTE [KEY]", "read; OBJECT is coordinator or machine PORT",
            whileRunning, readOperation<Op::read>},
    Command{"set", "OBJECT ATTRIBUTE ARGUMENTS...", "insert KEY VALUE, or make an object",
            whileRunning, readOperation<Op::insert>},
    Command{"del", "OBJECT ATTRIBUTE [KEY]", "remove", whileRunning, readOperation<Op::remove>},
    Command{"count", "OBJECT ATTRIBUTE", "count the members", whileRunning,
            readOperation<Op::size>},
    Command{"version", "OBJECT ATTRIBUTE", "a number that changes with the members", whileRunning,
            readOperation<Op::version>},
    Command{"has", "OBJECT ATTRIBUTE KEY", "tell whether there is a member", whileRunning,
            readOperation<Op::has>},
    Command{"walk", "OBJECT ATTRIBUTE", "show the members in their order", whileRunning, readWalk},
    Command{"call", "OBJECT HANDLER ARGUMENTS...", "call a handler", whileRunning,
            readOperation<Op::call>},
    Command{"help", "", "show the commands", query, reads<help>},
};

void help(Session& session) {
  Table table{"commands", {"command", "what it does"}, {}};
  for (Command const& command : commands) {
    table.rows.push_back({command.usage(), std::string(command.help)});
  }
  session.printer.table(table);
}

/// The commands that begin most like `phrase`.
std::string hintFor(std::string_view phrase) {
  std::size_t longest = 2;
  std::string alike;
  for (Command const& command : commands) {
    auto const common = static_cast<std::size_t>(std::ranges::mismatch(phrase, command.phrase).in1 -
                                                 phrase.begin());
    if (common < longest) continue;
    if (common > longest) alike.clear();
    longest = common;
    alike += (alike.empty() ? "perhaps " : " | ") + command.usage();
  }
  return alike.empty() ? "`help` lists the commands" : alike;
}

Command const& commandIn(Line& line) {
  std::string phrase;
  for (;;) {
    Place const place = line.place();
    if (!line.hasMore()) {
      throw Fault(Fault::badInput, place, "the command is incomplete", hintFor(phrase));
    }
    if (!phrase.empty()) phrase += ' ';
    phrase += line.word();
    bool begins = false;
    for (Command const& command : commands) {
      if (command.phrase == phrase) return command;
      begins |= command.phrase.starts_with(phrase + ' ');
    }
    if (!begins) {
      throw Fault(Fault::badInput, place, "unknown command " + inQuotes(phrase), hintFor(phrase));
    }
  }
}

CarryOut readRepeat(Line& line) {
  constexpr U32 mostRounds = 100'000;
  Place const place = line.place();
  U32 const first = line.take<Number>().value;
  U32 const last = line.take<Number>().value;
  if (first > last || last - first >= mostRounds) {
    throw Fault(
        Fault::badInput, place, fmt::format("from {} to {} is not possible", first, last),
        fmt::format("LAST is not below FIRST, and there are at most {} rounds", mostRounds));
  }
  auto const command = line.take<Rest>();
  std::vector<Order> rounds;
  for (U32 round = first; round <= last; ++round) {
    std::string text = command.text;
    std::string const number = std::to_string(round);
    for (std::size_t at = 0; (at = text.find("{}", at)) != std::string::npos; at += number.size()) {
      text.replace(at, 2, number);
    }
    Line roundLine(command.place, std::move(text));
    if (Line peeked = roundLine; peeked.hasMore() && peeked.word() == "repeat") {
      throw Fault(Fault::badInput, roundLine.place(), "a repeat cannot be repeated",
                  "write one `repeat` for each");
    }
    rounds.push_back(orderIn(std::move(roundLine)));
  }
  return [rounds](Session& session) {
    Printer::Brief const brief(session.printer);
    for (Order const& round : rounds) session.perform(round);
  };
}

}  // namespace

Order orderIn(Line line) {
  Place place = line.place();
  Command const& command = commandIn(line);
  try {
    CarryOut carryOut = command.read(line);
    return {command.role, std::move(place), std::string(line.taken()), std::move(carryOut)};
  } catch (Fault& fault) {
    if (fault.detail.empty()) fault.detail = "usage: " + command.usage();
    throw;
  }
}

}  // namespace Agent
