#include "Expect.h"

#include <fmt/format.h>

#include <algorithm>

#include "Pesk/Driver.h"

namespace Agent {

namespace {

void require(bool met, std::string const& there) {
  if (!met) throw Unmet{there};
}

/// The commands that no expectation has taken yet, for a message.
std::string commandsSent(Session const& session) {
  constexpr std::size_t most = 10;
  auto const& log = Pesk::Driver::instance().log();
  std::string sent;
  for (std::size_t place = session.firstExpected; place < log.size(); ++place) {
    if (place - session.firstExpected == most) {
      return sent + fmt::format(", and {} more", log.size() - place);
    }
    sent += (sent.empty() ? "" : ", ") + fmt::format("\"{}\"", log[place].text);
  }
  return sent.empty() ? "no further command" : sent;
}

std::string recordText(SubIntf subIntf, Velto::IntfId patch, Velto::IntfId client,
                       Bridging::VlanId encryptTag, Bridging::VlanId clientTag) {
  auto const textOf = [](Velto::IntfId intfId) {
    return intfId == Velto::IntfId() ? "-" : std::string(intfId.stringValue().view());
  };
  return fmt::format("record {} {} {} {} {}", textOf(subIntf), textOf(patch), textOf(client),
                     encryptTag.value(), clientTag.value());
}

std::string recordAt(Session const& session, SubIntf subIntf) {
  auto const record = session.world.entities().status->proxySubIntfStatus(subIntf);
  if (!record) return "no record";
  return recordText(subIntf, record->patchSubIntfId(), record->clientIntfId(), record->encryptTag(),
                    record->clientTag());
}

std::string encapAt(Session const& session, SubIntf subIntf) {
  auto const& encaps = *session.world.entities().dynDot1qEncap;
  if (!encaps.encapHas(subIntf)) return "no encapsulation";
  return fmt::format("encapsulation {}", encaps.encap(subIntf).value());
}

std::string markAt(Session const& session, Port port) {
  auto const& status = *session.world.entities().status;
  if (!status.proxyIntfHas(port)) return "no mark";
  return status.proxyIntf(port) ? "mark" : "mark of an interface not in use";
}

/// State is compared by its text, which a message then has at hand.
void requireSame(std::string const& expected, std::string const& there) {
  require(expected == there, there);
}

}  // namespace

void expectCommand(Session& session, Rest text) {
  auto const& log = Pesk::Driver::instance().log();
  auto const from = log.begin() + static_cast<std::ptrdiff_t>(session.firstExpected);
  auto const found = std::find_if(
      from, log.end(), [&](Pesk::Driver::Command const& sent) { return sent.text == text.text; });
  require(found != log.end(), commandsSent(session));
  session.firstExpected = static_cast<std::size_t>(found - log.begin()) + 1;
}

void expectNothing(Session& session) {
  require(session.firstExpected == Pesk::Driver::instance().log().size(), commandsSent(session));
}

void expectRecord(Session& session, SubIntf subIntf, SubIntf patch, Client client, Tag encryptTag,
                  Tag clientTag) {
  requireSame(recordText(subIntf, patch, client, encryptTag, clientTag),
              recordAt(session, subIntf));
}

void expectNoRecord(Session& session, SubIntf subIntf) {
  requireSame("no record", recordAt(session, subIntf));
}

void expectEncap(Session& session, SubIntf subIntf, Tag tag) {
  requireSame(fmt::format("encapsulation {}", tag.value()), encapAt(session, subIntf));
}

void expectNoEncap(Session& session, SubIntf subIntf) {
  requireSame("no encapsulation", encapAt(session, subIntf));
}

void expectMark(Session& session, Port port) { requireSame("mark", markAt(session, port)); }

void expectNoMark(Session& session, Port port) { requireSame("no mark", markAt(session, port)); }

void expectError(Session& session, Rest text) {
  require(session.raised() == text.text, session.raised().value_or("no error"));
}

}  // namespace Agent
