#include <gmock/gmock.h>

#include <algorithm>
#include <sstream>

#include "Allocations.h"
#include "Bridging/Dot1qEncap.h"
#include "Interface/EthIntfStatus.h"
#include "MacsecProxy/DriverCommand.h"
#include "MacsecProxy/ProxySubIntfStatus.h"
#include "Threads.h"
#include "Velto/SubIntfId.h"

namespace {

using Bridging::Dot1qEncap, Bridging::VlanId, Bridging::VlanIdOrNone;
using Velto::IntfId, Velto::CompactIntfId, Velto::SubIntfId;

static_assert(std::is_trivially_copyable_v<IntfId> && sizeof(IntfId) <= 8);
static_assert(sizeof(CompactIntfId) == 4 && sizeof(MacsecProxy::ProxySubIntfStatus) <= 32);
static_assert(sizeof(VlanId) == 2 && sizeof(VlanIdOrNone) == 2 && sizeof(Dot1qEncap) == 4);
static_assert(Dot1qEncap(VlanId(4094)).value() == 0x0FFE && Dot1qEncap().value() == 0);
static_assert(VlanIdOrNone(VlanId(7)) == VlanIdOrNone(7) && VlanIdOrNone().value() == 0);
static_assert(VlanId(1).value() == 1 && VlanIdOrNone(0) == VlanIdOrNone());
static_assert(VlanId(4094).value() == 4094 && VlanIdOrNone(4094).value() == 4094);

TEST(Values, VlanRanges) {
  using testing::ThrowsMessage, Kiv::RangeException;
  for (U32 const number : {0U, 4095U, 65536U + 5}) {
    EXPECT_THAT([=] { return VlanId(number); },
                ThrowsMessage<RangeException>("VlanId::value < 1 or > 4094 not allowed"));
    if (number == 0) continue;
    EXPECT_THAT([=] { return VlanIdOrNone(number); },
                ThrowsMessage<RangeException>("VlanIdOrNone::value > 4094 not allowed"));
  }
}

TEST(Values, DeviceNamesAsCText) {
  std::string const longest(0xFFFF, 'x');
  for (auto const& [name, text] : {std::pair<std::string, std::string>{"", ""},
                                   {{"a\0b", 3}, "a"},
                                   {longest + 'y', longest}}) {
    Interface::EthIntfStatus const status{Kiv::String(name)};
    EXPECT_EQ(status.deviceNameText(), text);
    EXPECT_EQ(status.deviceName().view(), name);
  }
}

IntfId intf(std::string_view text) { return IntfId(Kiv::String(text)); }

/// The text of the empty identifier's parent, asked for before any other static object has met an
/// identifier.
[[gnu::init_priority(101)]] std::string const textOfNone(
    SubIntfId::parentIntfId(CompactIntfId(IntfId())).stringValue().view());

TEST(Values, IdentifierTextsAndParents) {
  std::string const name(5000, 'n'), zero("n\0.1", 4);
  std::pair<std::string, std::string> const cases[] = {
      {"", ""},   {"et1", ""}, {"et1.100", "et1"}, {"a.b.c", "a.b"},          {"a.b", "a"},
      {".5", ""}, {"x.", "x"}, {"a..b", "a."},     {zero, zero.substr(0, 2)}, {name + ".1", name}};
  IntfId reused;
  EXPECT_TRUE(reused == intf("") && textOfNone.empty());
  for (auto const& [text, parentText] : cases) {
    IntfId const id = intf(text), parent = SubIntfId::parentIntfId(id), kept = CompactIntfId(id);
    EXPECT_TRUE(kept == id && SubIntfId::parentIntfId(kept) == parent) << text;
    reused.handleInitialized(Kiv::String(text.data(), text.size()));
    std::ostringstream texts;
    texts << reused << '|' << parent;
    EXPECT_EQ(texts.str(), text + '|' + parentText);
    EXPECT_EQ(id.stringValue().view(), text);
    EXPECT_TRUE(reused == id && reused.hash() == id.hash()) << text;
    EXPECT_TRUE(parent == intf(parentText) && parent.hash() == intf(parentText).hash()) << text;
    EXPECT_EQ(SubIntfId::parentIntfId(parent), SubIntfId::parentIntfId(intf(parentText))) << text;
  }
  IntfId const left = intf(name + ".a.1"), right = intf(name + ".a.2"), port = intf(name);
  std::size_t const before = Allocations::made;
  bool const siblings = left != right && (left < right) != (right < left) &&
                        SubIntfId::parentIntfId(left) == SubIntfId::parentIntfId(right) &&
                        SubIntfId::parentIntfId(SubIntfId::parentIntfId(left)) == port;
  EXPECT_TRUE(siblings && Allocations::made == before);
}

/// Each allocation in turn fails.
TEST(Values, WithoutMemoryAnIdentifierStaysWhatItWas) {
  IntfId id;
  for (int n = 0; n < 3000; ++n) {
    IntfId const before = id;
    Kiv::String const text(("a port of long name." + std::to_string(n)).c_str());
    for (std::size_t failAt = 1; id == before; ++failAt) {
      Allocations::failAt = failAt;
      try {
        id.handleInitialized(text);
      } catch (std::bad_alloc const&) {
        EXPECT_EQ(id, before);
      }
    }
    Allocations::failAt = 0;
    EXPECT_EQ(id.stringValue(), text);
  }
}

/// The same texts met by several threads at once, each starting elsewhere in them.
TEST(Values, IdentifiersFromSeveralThreads) {
  constexpr std::size_t names = 12000, threads = 4;
  auto const parentOf = [](std::size_t n) { return "thread" + std::to_string(n % 50); };
  auto const textOf = [&](std::size_t n) { return parentOf(n) + '.' + std::to_string(n); };
  std::vector<std::vector<IntfId>> met(threads, std::vector<IntfId>(names));
  inThreads(threads, [&](std::size_t t) {
    for (std::size_t n = t * names / threads, i = 0; i < names; ++i, n = (n + 1) % names) {
      met[t][n] = intf(textOf(n));
    }
  });
  for (std::size_t n = 0; n < names; ++n) {
    for (std::size_t t = 0; t < threads; ++t) ASSERT_EQ(met[t][n], met[0][n]);
    ASSERT_EQ(met[0][n].stringValue().view(), textOf(n));
    ASSERT_EQ(SubIntfId::parentIntfId(met[0][n]), intf(parentOf(n)));
  }
  std::ranges::sort(met[0]);
  EXPECT_LT(IntfId(), met[0].front());
  EXPECT_EQ(std::ranges::adjacent_find(met[0], std::greater_equal<>()), met[0].end());
}

TEST(DriverCommand, ATextOfAnyLengthIsCopiedWholeOrCutOff) {
  std::string text;
  for (int at = 0; at < 150; ++at) {
    MacsecProxy::DriverCommand command("name");
    command.field(text).field(4094U);
    std::string expected = ("name " + text + " 4094").substr(0, 127);
    expected.resize(command.bufferLength);
    EXPECT_EQ(std::string(command.buffer(), command.bufferLength), expected);
    text += static_cast<char>('0' + at % 75);
  }
}

}  // namespace
