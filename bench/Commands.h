#pragma once

#include <array>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "Kiv/Integers.h"

namespace Bench {

/// One command on its way to the driver; all that follows the text is NUL.
using Buffer = std::array<char, 128>;

/// A buffer of NULs, made as the library makes its own: by halves, which is cheapest.
[[gnu::always_inline]] inline Buffer noText() {
  Buffer buffer;
  constexpr std::size_t half = std::tuple_size_v<Buffer> / 2;
  std::memset(buffer.data(), 0, half);
  std::memset(buffer.data() + half, 0, half);
  return buffer;
}

/// Both commands, written with the standard library's formatting. Texts end with a NUL.
struct Snprintf {
  static void proxy(Buffer& buffer, std::string_view device, U32 enable) {
    std::snprintf(buffer.data(), buffer.size(), "macsec_proxy %s %u", device.data(), enable);
  }
  static void client(Buffer& buffer, std::string_view proxy, std::string_view device, U32 tag,
                     U32 enable) {
    std::snprintf(buffer.data(), buffer.size(), "macsec_proxy_client %s %s %u %u", proxy.data(),
                  device.data(), tag, enable);
  }
};

/// The same by hand, except for names too long to fit for certain.
struct ByHand {
  static void proxy(Buffer& buffer, std::string_view device, U32 enable) {
    if (device.size() > certain) return Snprintf::proxy(buffer, device, enable);
    number(put(put(buffer.data(), "macsec_proxy "), device), enable);
  }
  static void client(Buffer& buffer, std::string_view proxy, std::string_view device, U32 tag,
                     U32 enable) {
    if (proxy.size() + device.size() > certain) {
      return Snprintf::client(buffer, proxy, device, tag, enable);
    }
    char* at = put(put(buffer.data(), "macsec_proxy_client "), proxy);
    *at++ = ' ';
    number(number(put(at, device), tag), enable);
  }

 private:
  static constexpr std::size_t certain = 80;

  static char* put(char* at, std::string_view text) {
    std::memcpy(at, text.data(), text.size());
    return at + text.size();
  }
  static char* number(char* at, U32 value) {
    *at++ = ' ';
    return std::to_chars(at, at + 10, value).ptr;
  }
};

}  // namespace Bench
