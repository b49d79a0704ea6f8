#include <dlfcn.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "Kiv/KivType.h"
#include "Kiv/TypeRegistry.h"

// The library in a process that does not link it: MACSECPROXY_LIBRARY is its file. What such a
// process can have it do is played as scenarios, by the agent.

namespace {

std::vector<std::string> registered() {
  std::vector<std::string> names;
  for (auto const* type : Kiv::typeNodes()) names.emplace_back(type->name());
  return names;
}

TEST(Host, FindsWhatItNeedsByNameHoweverOftenItLoads) {
  ASSERT_EQ(registered(), std::vector<std::string>{});
  for (int load = 0; load < 2; ++load) {
    void* const library = dlopen(MACSECPROXY_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    EXPECT_EQ(registered(), (std::vector<std::string>{"MacsecProxy::MacsecProxySm",
                                                      "MacsecProxy::MacsecProxyIntfSm"}));
    dlclose(library);  // the records stay: the library is never unloaded
    // As a second copy of the library would.
    static Kiv::KivType const again("MacsecProxy::MacsecProxySm", nullptr);
    Kiv::typeNodeIs(&again);
  }
}

TEST(Host, SeesOfTheLibraryOnlyWhatItNeeds) {
  std::unique_ptr<FILE, int (*)(FILE*)> const symbols(
      popen("nm -D --defined-only -C " MACSECPROXY_LIBRARY, "r"), &pclose);
  std::regex const wanted(
      "\\w+ \\w (MacsecProxy::macsecProxySmFactory\\(.*|"
      "MacsecProxy::MacsecProxy(Intf)?Sm::(~?\\w+\\(.*|_kivType|kivAllocTrackTypeInfo_)|"
      "(vtable|typeinfo|typeinfo name) for MacsecProxy::MacsecProxy(Intf)?Sm)\n");
  std::regex const privateOnes(".*(::MacsecProxy(Intf)?Sm\\(|::send\\().*\n");
  std::array<char, 4096> line;
  std::size_t seen = 0;
  while (std::fgets(line.data(), line.size(), symbols.get()) != nullptr) {
    EXPECT_TRUE(std::regex_match(line.data(), wanted) &&
                !std::regex_match(line.data(), privateOnes))
        << "a stranger: " << line.data();
    ++seen;
  }
  EXPECT_GT(seen, 40U);
}

}  // namespace
