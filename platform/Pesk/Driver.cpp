#include "Pesk/Driver.h"

#include <algorithm>
#include <charconv>
#include <optional>

#include "Kiv/Store.h"

namespace Pesk {

namespace {

std::vector<std::string_view> fieldsOf(std::string_view text) {
  std::vector<std::string_view> fields;
  for (;;) {
    std::size_t const blank = text.find(' ');
    fields.push_back(text.substr(0, blank));
    if (blank == std::string_view::npos) return fields;
    text.remove_prefix(blank + 1);
  }
}

std::optional<U32> numberIn(std::string_view field, U32 largest) {
  U32 number = 0;
  auto const [end, error] = std::from_chars(field.data(), field.data() + field.size(), number);
  if (error != std::errc{} || end != field.data() + field.size() || number > largest) {
    return std::nullopt;
  }
  return number;
}

}  // namespace

Driver* const Driver::instance_ = new Driver;

int Driver::commandIs(char const* command, U32 bufferLength, U32 argument3, U32 argument4,
                      U32 argument5) {
  if (throwAt_ != 0 && --throwAt_ == 0) {
    throw DriverError("driver refused \"" + std::string(command) + '"');
  }
  ++commands_;
  if (hasLog_) log(command, bufferLength, argument3, argument4, argument5);
  if (hasState_ && !understand(command)) ++notUnderstood_;
  Kiv::Store::written();
  return 0;
}

void Driver::log(char const* command, U32 bufferLength, U32 argument3, U32 argument4,
                 U32 argument5) {
  Command arrived{command, {}, bufferLength, argument3, argument4, argument5};
  std::copy_n(command, std::min<std::size_t>(bufferLength, arrived.buffer.size()),
              arrived.buffer.begin());
  log_.push_back(std::move(arrived));
}

bool Driver::understand(std::string_view text) {
  std::vector<std::string_view> const fields = fieldsOf(text);
  auto const enable = numberIn(fields.back(), 1);
  if (!enable) return false;
  if (fields[0] == "macsec_proxy" && fields.size() == 3) {
    if (*enable != 0) {
      proxyMode_.emplace(fields[1]);
    } else {
      proxyMode_.erase(std::string(fields[1]));
    }
    return true;
  }
  if (fields[0] == "macsec_proxy_client" && fields.size() == 5) {
    auto const tag = numberIn(fields[3], 4094);
    if (!tag) return false;
    if (*enable != 0) {
      steering_[std::string(fields[2])] = Steering{std::string(fields[1]), *tag};
    } else {
      steering_.erase(std::string(fields[2]));
    }
    return true;
  }
  return false;
}

}  // namespace Pesk
