#include <fmt/format.h>

#include <array>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "Bench.h"
#include "MacsecProxy/DriverCommand.h"
#include "Work.h"

namespace Bench {

namespace {

/// What a command says. Texts end with a NUL, as those of a device name do.
struct Fields {
  std::string proxy;
  std::string client;
  U32 tag;
};

using Buffer = std::array<char, 128>;

struct Ours {
  static void write(Fields const& fields) {
    MacsecProxy::DriverCommand command("macsec_proxy_client");
    command.field(fields.proxy.c_str()).field(fields.client.c_str()).field(fields.tag).field(1);
    benchmark::DoNotOptimize(command);
  }
};

struct Snprintf {
  static void write(Fields const& fields) {
    Buffer buffer{};
    std::snprintf(buffer.data(), buffer.size(), "macsec_proxy_client %s %s %u %u",
                  fields.proxy.c_str(), fields.client.c_str(), fields.tag, 1U);
    benchmark::DoNotOptimize(buffer);
  }
};

struct Fmt {
  static void write(Fields const& fields) {
    Buffer buffer{};
    fmt::format_to_n(buffer.data(), buffer.size() - 1, "macsec_proxy_client {} {} {} {}",
                     fields.proxy.c_str(), fields.client.c_str(), fields.tag, 1U);
    benchmark::DoNotOptimize(buffer);
  }
};

struct ByHand {
  static void write(Fields const& fields) {
    std::string_view const proxy = fields.proxy.c_str();
    std::string_view const client = fields.client.c_str();
    constexpr std::string_view name = "macsec_proxy_client ";
    constexpr std::size_t rest = std::string_view("  4294967295 1").size();
    if (name.size() + proxy.size() + client.size() + rest >= Buffer().size()) {
      return Snprintf::write(fields);
    }
    Buffer buffer{};
    char* at = put(buffer.data(), name);
    at = put(at, proxy);
    *at++ = ' ';
    at = put(at, client);
    *at++ = ' ';
    at = std::to_chars(at, buffer.data() + buffer.size(), fields.tag).ptr;
    put(at, " 1");
    benchmark::DoNotOptimize(buffer);
  }
  static char* put(char* at, std::string_view text) {
    std::memcpy(at, text.data(), text.size());
    return at + text.size();
  }
};

template <class Writer>
struct Write {
  static void run(benchmark::State& state) {
    std::mt19937 random(1);
    std::vector<Fields> all(256);
    for (Fields& fields : all) {
      fields = {"eth" + std::to_string(random() % 64), "vlan" + std::to_string(random() % 10000),
                static_cast<U32>(random() % 4094 + 1)};
    }
    std::size_t at = 0;
    for (auto _ : state) Writer::write(all[at++ % all.size()]);
  }
};

}  // namespace

void registerCommandBenchmarks() {
  Registration({.name = "client command into 128 bytes"}, contender<Write, Ours>("DriverCommand"))
      .beside({1.3, 2}, {contender<Write, ByHand>("std::to_chars by hand")})
      .beside({0.2, 0.5}, {contender<Write, Snprintf>("snprintf")})
      .beside({}, {contender<Write, Fmt>("fmt::format_to_n")});
}

}  // namespace Bench
