#include "Line.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <limits>
#include <utility>

namespace Agent {

namespace {

constexpr std::string_view blanks = " \t";
constexpr U32 largestNumber = 1'000'000;

/// What is wrong with a word, and what would be right.
struct Refusal {
  std::string message;
  std::string hint;
};

Velto::IntfId intfIdOf(std::string const& word) {
  if (word.empty()) throw Refusal{"an interface needs a name", "such as et1"};
  return Velto::IntfId(Kiv::String(word));
}

Velto::IntfId subIntfIdOf(std::string const& word) {
  std::size_t const dot = word.rfind('.');
  if (dot == std::string::npos || dot == 0 || dot + 1 == word.size()) {
    throw Refusal{inQuotes(word) + " is not a sub-interface",
                  "a sub-interface is PORT.NUMBER, such as et1.100"};
  }
  return intfIdOf(word);
}

template <class Unsigned>
Unsigned numberOf(std::string const& word, Unsigned lowest, Unsigned highest, char const* what) {
  Unsigned number = 0;
  char const* const last = word.data() + word.size();
  auto const [end, error] = std::from_chars(word.data(), last, number);
  std::string hint = fmt::format("{} is {} to {}", what, lowest, highest);
  if (end != last || error == std::errc::invalid_argument) {
    throw Refusal{inQuotes(word) + " is not a number", std::move(hint)};
  }
  if (error != std::errc() || number < lowest || number > highest) {
    throw Refusal{word.substr(0, 20) + " is out of range", std::move(hint)};
  }
  return number;
}

}  // namespace

std::string Fault::text() const {
  bool const isBroken = status == broken;
  return fmt::format("{}:{}:{}: {}: {}\n  {}: {}\n", printable(place.file), place.line,
                     place.column, isBroken ? "not met" : "error", message,
                     isBroken ? "there is" : "hint", detail);
}

Line::Line(Place start, std::string text) : start_(std::move(start)), text_(std::move(text)) {
  if (text_.ends_with('\r')) text_.pop_back();
  skipBlanks();
  first_ = taken_ = next_;
}

std::string Line::word() {
  if (!hasMore()) throw Fault(Fault::badInput, place(), "a word is missing here", "");
  bool const isQuoted = text_[next_] == '"';
  std::size_t const from = isQuoted ? next_ + 1 : next_;
  std::size_t const to = isQuoted ? text_.find('"', from) : text_.find_first_of(blanks, from);
  if (isQuoted && to == std::string::npos) {
    throw Fault(Fault::badInput, place(), "the quotes are not closed",
                "a word in double quotes ends with another \"");
  }
  std::string found = text_.substr(from, to - from);
  taken_ = to == std::string::npos ? text_.size() : isQuoted ? to + 1 : to;
  if (taken_ < text_.size() && blanks.find(text_[taken_]) == std::string_view::npos) {
    throw Fault(Fault::badInput, placeOf(taken_), "a blank is missing here",
                "words are separated by blanks");
  }
  skipBlanks();
  return found;
}

void Line::end() const {
  if (!hasMore()) return;
  std::string_view const rest = std::string_view(text_).substr(next_);
  throw Fault(Fault::badInput, place(),
              "superfluous word " + inQuotes(rest.substr(0, rest.find_first_of(blanks))), "");
}

std::string_view Line::taken() const noexcept {
  return std::string_view(text_).substr(first_, taken_ - first_);
}

Place Line::placeOf(std::size_t offset) const {
  return {start_.file, start_.line, start_.column + offset};
}

template <class Accept>
auto Line::read(Accept accept) {
  Place at = place();
  try {
    return accept(word());
  } catch (Refusal const& refusal) {
    throw Fault(Fault::badInput, std::move(at), refusal.message, refusal.hint);
  }
}

std::size_t Line::choice(std::string const& what, std::initializer_list<std::string_view> words) {
  return read([&](std::string const& word) {
    auto const* const found = std::ranges::find(words, word);
    if (found == words.end()) {
      throw Refusal{inQuotes(word) + " is not " + what,
                    fmt::format("{} is one of {}", what, fmt::join(words, ", "))};
    }
    return static_cast<std::size_t>(found - words.begin());
  });
}

void Line::skipBlanks() {
  std::size_t const found = text_.find_first_not_of(blanks, taken_);
  next_ = found == std::string::npos ? text_.size() : found;
}

template <>
Port Line::take() {
  return read([](std::string const& word) { return Port{intfIdOf(word)}; });
}

template <>
SubIntf Line::take() {
  return read([](std::string const& word) { return SubIntf{subIntfIdOf(word)}; });
}

template <>
Intf Line::take() {
  return read([](std::string const& word) { return word == "-" ? Intf{} : Intf{intfIdOf(word)}; });
}

template <>
Client Line::take() {
  return hasMore() ? Client{take<Intf>()} : Client{};
}

template <>
Device Line::take() {
  return read([](std::string const& word) { return Device{Kiv::String(word)}; });
}

template <>
Tag Line::take() {
  return read([](std::string const& word) {
    return Tag{Bridging::VlanId(numberOf<U32>(word, 1, 4094, "a tag"))};
  });
}

template <>
Number Line::take() {
  return read([](std::string const& word) {
    return Number{numberOf<U32>(word, 0, largestNumber, "a number here")};
  });
}

template <>
U32 Line::take() {
  return read([](std::string const& word) {
    return numberOf<U32>(word, 0, std::numeric_limits<U32>::max(), "a U32");
  });
}

template <>
U64 Line::take() {
  return read([](std::string const& word) {
    return numberOf<U64>(word, 0, std::numeric_limits<U64>::max(), "a U64");
  });
}

template <>
Rest Line::take() {
  // The blank that ended the word before does not belong to it.
  std::size_t const from = std::min(taken_ + 1, text_.size());
  if (text_.find_first_not_of(blanks, from) == std::string::npos) {
    throw Fault(Fault::badInput, placeOf(from), "a text is missing here", "");
  }
  taken_ = next_ = text_.size();
  return {text_.substr(from), placeOf(from)};
}

std::string printable(std::string_view text) {
  std::string result;
  for (char const byte : text) {
    auto const value = static_cast<unsigned char>(byte);
    if (value < 0x20 || value == 0x7F) {
      result += fmt::format("\\x{:02x}", value);
    } else {
      result += byte;
    }
  }
  return result;
}

std::string inQuotes(std::string_view text) {
  constexpr std::size_t longest = 40;
  std::string const more = text.size() > longest ? "..." : "";
  return '"' + printable(text.substr(0, longest)) + more + '"';
}

}  // namespace Agent
