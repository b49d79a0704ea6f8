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
    command.field(fields.proxy).field(fields.client).field(fields.tag).field(1);
    benchmark::DoNotOptimize(command);
  }
};

template <class Command>
struct Peer {
  static void write(Fields const& fields) {
    Buffer buffer = noText();
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
struct Written {
  Written() {
    std::mt19937 random(1);
    for (Fields& fields : all) {
      fields = {fmt::format("eth{}", random() % 64), fmt::format("vlan{}", random() % 10000),
                static_cast<U32>(random() % 4094 + 1)};
    }
  }
  void next() { Writer::write(all[at++ % many]); }

  /// More than a processor learns by heart.
  static constexpr std::size_t many = 16384;
  std::vector<Fields> all = std::vector<Fields>(many);
  std::size_t at = 0;
};

}  // namespace

void registerCommandBenchmarks() {
  auto const next = [](auto& written) { written.next(); };
  Registration({.name = "client command into 128 bytes"},
               contender<Written<Ours>>("DriverCommand", next))
      .beside({1.3, 2}, {contender<Written<Peer<ByHand>>>("std::to_chars by hand", next)})
      .beside({0.2, 0.5}, {contender<Written<Peer<Snprintf>>>("snprintf", next)})
      .beside({}, {contender<Written<Peer<Fmt>>>("fmt::format_to_n", next)});
}

}  // namespace Bench
