#include <dlfcn.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <memory>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "Interface/DeviceIntfStatusDir.h"
#include "Interface/EthIntfStatusDir.h"
#include "Interface/SubIntfDynDot1qEncap.h"
#include "Kiv/AllocTrackTypeInfo.h"
#include "Kiv/TypeRegistry.h"
#include "MacsecProxy/Config.h"
#include "MacsecProxy/Status.h"
#include "Pesk/Driver.h"

// The whole life of the library in a process that does not link it: MACSECPROXY_LIBRARY is its
// file.

namespace {

std::vector<std::string> registered() {
  std::vector<std::string> names;
  for (auto const* type : Kiv::typeNodes()) names.emplace_back(type->name());
  return names;
}

TEST(Host, LoadsTheLibraryAndRunsItByNameAlone) {
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
  {
    auto const config = MacsecProxy::Config::ConfigIs();
    auto const status = MacsecProxy::Status::StatusIs();
    auto const encap = Interface::SubIntfDynDot1qEncap::SubIntfDynDot1qEncapIs();
    auto const eth = Interface::EthIntfStatusDir::EthIntfStatusDirIs();
    auto const device = Interface::DeviceIntfStatusDir::DeviceIntfStatusDirIs();
    std::array<void*, 5> const args{config.ptr(), status.ptr(), encap.ptr(), eth.ptr(),
                                    device.ptr()};
    Kiv::KivType const* const type = Kiv::typeNode("MacsecProxy::MacsecProxySm");
    Kiv::PtrInterface const* made = nullptr;
    type->access().genericIfConstructFromCtorArgs(&made, args.data());
    auto coordinator = Kiv::Ptr<Kiv::PtrInterface const>::adopt(made);
    EXPECT_EQ(type->access().methods->references(made), 1U);
    EXPECT_EQ(coordinator->fwkType(), type);

    Velto::IntfId const et1("et1"), sub("et1.1"), patch("et2.1"), client("et7");
    eth->intfStatusIs(et1, Kiv::String("dev1"));
    eth->intfStatusIs(client, Kiv::String("dev7"));
    config->proxyConfigIs(sub, patch, client);
    EXPECT_EQ(encap->encap(sub).value(), 2U);
    config->proxyConfigDel(sub);
    coordinator = nullptr;
    std::string log;
    for (auto const& command : Pesk::Driver::instance().log()) log += command.text + '\n';
    EXPECT_EQ(log,
              "macsec_proxy_client dev1 dev7 2 1\nmacsec_proxy dev1 1\n"
              "macsec_proxy_client et1.1 dev7 0 0\nmacsec_proxy dev1 0\n");
  }
  std::set<std::string> classes;
  for (auto const* record = Kiv::AllocTrackTypeInfo::first(); record; record = record->next()) {
    EXPECT_EQ(record->live(), 0U) << record->className();
    classes.insert(record->className());
  }
  EXPECT_TRUE(classes.count("MacsecProxy::MacsecProxyIntfSm") && classes.count("Pesk::Bitmap"));
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
