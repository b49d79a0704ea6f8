#include <fmt/format.h>

#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "Bench.h"
#include "Commands.h"
#include "MacsecProxy/DriverCommand.h"
#include "Work.h"

namespace Bench {

namespace {

/// What a command says.
struct Fields {
  std::string proxy;
  std::string client;
  U32 tag;
};

struct Ours {
  static void write(Fields const& fields) {
    MacsecProxy::DriverCommand command("macsec_proxy_client");
    command.field(fields.proxy.c_str()).field(fields.client.c_str()).field(fields.tag).field(1);
    benchmark::DoNotOptimize(command);
  }
};

template <class Command>
struct Peer {
  static void write(Fields const& fields) {
    Buffer buffer{};
    Command::client(buffer, fields.proxy, fields.client, fields.tag, 1);
    benchmark::DoNotOptimize(buffer);
  }
};

struct Fmt {
  static void client(Buffer& buffer, std::string_view proxy, std::string_view device, U32 tag,
                     U32 enable) {
    fmt::format_to_n(buffer.data(), buffer.size() - 1, "macsec_proxy_client {} {} {} {}", proxy,
                     device, tag, enable);
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
      .beside({1.3, 2}, {contender<Write, Peer<ByHand>>("std::to_chars by hand")})
      .beside({0.2, 0.5}, {contender<Write, Peer<Snprintf>>("snprintf")})
      .beside({}, {contender<Write, Peer<Fmt>>("fmt::format_to_n")});
}

}  // namespace Bench
