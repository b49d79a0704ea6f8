#include "Kiv/Trace.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <memory>

#include "Kiv/Exception.h"
#include "MacsecProxy/Trace.h"

namespace {

using Kiv::Trace, Kiv::TraceHandle, Kiv::TraceHelper;

std::string levelsOf(TraceHandle const& handle) {
  std::string enabled;
  for (U32 level = 0; level < Trace::levels; ++level) {
    if (TraceHelper::createIfEnabled(handle, level)) enabled += std::to_string(level);
  }
  return enabled + '|';
}

void allLevelsAre(std::string_view facility, bool on) {
  for (U32 level = 0; level < Trace::levels; ++level) Trace::levelIs(facility, level, on);
}

TEST(Trace, LevelsByFacility) {
  Trace::levelIs("early", 2, true);
  auto early = std::make_unique<TraceHandle>("early", false);
  TraceHandle const other("other", false), flagged("flagged", true);
  auto const levels = [&] { return levelsOf(*early) + levelsOf(other) + levelsOf(flagged); };
  Trace::levelIs("early", 9, true);
  Trace::levelIs("other", 0, true);
  EXPECT_EQ(levels(), "29|0|0123456789|");
  Trace::levelIs("early", 2, false);
  Trace::levelIs("flagged", 3, false);
  EXPECT_THROW(Trace::levelIs("early", 10, true), Kiv::RangeException);
  EXPECT_EQ(levels(), "9|0|012456789|");
  early.reset();
  Trace::levelIs("early", 3, true);
  early = std::make_unique<TraceHandle>("early", false);
  EXPECT_EQ(levels(), "39|0|012456789|");
  for (char const* facility : {"early", "other", "flagged"}) {
    EXPECT_TRUE(Trace::isAnythingOn()) << facility;
    allLevelsAre(facility, false);
  }
  EXPECT_FALSE(Trace::isAnythingOn());
}

struct Costly {
  U32& built;
  friend std::ostream& operator<<(std::ostream& stream, Costly const& costly) {
    return stream << ++costly.built;
  }
};

/// Sinks replaced and restored; nothing is built for a level that is off.
TEST(Trace, RecordsReachTheSinkInForce) {
  std::ostringstream text;
  U32 built = 0;
  auto const trace = [&](bool on) {
    Trace::levelIs("MacsecProxySm", 8, on);
    MacsecProxy::trace(7, "handle", "(bool): ", true, ", ", Costly{built});
  };
  auto const into = [&](char const* sink) {
    return [&text, sink](Trace::Record const& r) {
      text << sink << r.facility << r.level << ' ' << r.file << ':' << r.line << ' ' << r.function
           << r.message << '\n';
    };
  };
  allLevelsAre("MacsecProxySm", true);
  Trace::Sink const before = Trace::sinkIs(into("outer "));
  for (bool const on : {false, true}) trace(on);
  Trace::Sink const outer = Trace::sinkIs(into("inner "));
  trace(true);
  Trace::sinkIs(outer);
  for (bool const on : {true, false}) trace(on);
  // A record that cannot be handled is lost.
  Trace::sinkIs([](auto&) { throw std::runtime_error("full"); });
  EXPECT_NO_THROW(trace(true));
  Trace::sinkIs(before);
  allLevelsAre("MacsecProxySm", false);
  EXPECT_EQ(text.str(),
            "outer MacsecProxySm8 MacsecProxySm:7 handle(bool): 1, 1\n"
            "inner MacsecProxySm8 MacsecProxySm:7 handle(bool): 1, 2\n"
            "outer MacsecProxySm8 MacsecProxySm:7 handle(bool): 1, 3\n");
  EXPECT_EQ(built, 4U);
}

/// What a fresh process makes of its environment, on standard error.
[[noreturn]] void report() {
  bool const before = Trace::isAnythingOn();
  TraceHandle const alpha("Alpha", false), beta("Beta", false);
  std::cerr << before << Trace::isAnythingOn() << ' ';
  Trace::levelIs("Late", 9, true);
  std::cerr << levelsOf(alpha) << levelsOf(beta) << levelsOf(TraceHandle("Late", false)) << '\n';
  if (auto const helper = TraceHelper::createIfEnabled(alpha, 8)) {
    helper->stream() << "text";
    helper->trace("File", 3, "function");
  }
  std::_Exit(0);
}

TEST(TraceDeathTest, EnvironmentOfAnyHost) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  std::string wrong, complaints;
  for (std::string const item : {"Beta/10", "Beta/4-2", "/1", "Beta", "Beta/", "", "Beta/x-3"}) {
    wrong += item + ',';
    complaints += "KIV_TRACE: \"" + item +
                  "\" is not FACILITY/LEVEL, FACILITY/FIRST-LAST or "
                  "FACILITY/* (levels 0 to 9); left out\n";
  }
  std::pair<std::string, std::string> const cases[] = {
      {"", "10 ||9|\n"},
      {"Alpha/8", "11 8||9|\nAlpha/8 File:3 function: text\n"},
      {"*/0-3,Alpha/5", "11 01235|0123|01239|\n"},
      {"Alpha/0,*/9,Alpha/7-7,Beta/*", "11 079|0123456789|9|\n"},
      {wrong + "Beta/6", complaints + "11 |6|9|\n"},
  };
  for (auto const& [variable, said] : cases) {
    ASSERT_EQ(setenv("KIV_TRACE", variable.c_str(), 1), 0);
    EXPECT_EXIT(report(), testing::ExitedWithCode(0), testing::Eq(said)) << variable;
  }
  unsetenv("KIV_TRACE");
}

}  // namespace
