#pragma once

#include <cstddef>
#include <exception>
#include <initializer_list>
#include <string>
#include <string_view>

#include "Bridging/VlanId.h"
#include "Kiv/Integers.h"
#include "Kiv/String.h"
#include "Velto/IntfId.h"

namespace Agent {

/// Where in the input something stands. Lines and columns count from 1, columns in bytes.
struct Place {
  std::string file;
  U32 line = 0;
  std::size_t column = 1;
};

/// Input that cannot be carried out, or an expectation that is not met. A batch ends with it.
class Fault : public std::exception {
 public:
  static constexpr int broken = 1;
  static constexpr int badInput = 2;

  Fault(int exitStatus, Place where, std::string what, std::string more)
      : status(exitStatus),
        place(std::move(where)),
        message(std::move(what)),
        detail(std::move(more)) {}

  char const* what() const noexcept override { return message.c_str(); }
  /// The two lines that a user sees.
  std::string text() const;

  /// The exit status of a batch that ends with it.
  int status;
  Place place;
  std::string message;
  /// A hint, or what is there instead of what was expected.
  std::string detail;
};

/// The kinds of arguments that commands take.
struct Port : Velto::IntfId {};
/// An identifier with a parent: PORT.NUMBER.
struct SubIntf : Velto::IntfId {};
/// An interface; empty for `-` and at the end of the line.
struct Client : Velto::IntfId {};
/// Any interface; empty for `-`.
struct Intf : Velto::IntfId {};
/// May be the empty text, written "".
struct Device : Kiv::String {};
struct Tag : Bridging::VlanId {};
struct Number {
  U32 value;
};
/// All that is left of the line behind one blank, taken as it is.
struct Rest {
  std::string text;
  Place place;
};

/// One line of input, read word by word. Words are separated by blanks and tabs; one in double
/// quotes may contain them, or be empty. A `#` where a word could begin starts a comment.
///
/// Whatever cannot be read raises a `Fault` that names its place.
class Line {
 public:
  /// `start` is the place of the first byte of `text`. A carriage return at the end is left out.
  Line(Place start, std::string text);

  /// Whether there is another word.
  bool hasMore() const noexcept { return next_ < text_.size() && text_[next_] != '#'; }
  /// The place of the next word, or of the end.
  Place place() const { return placeOf(next_); }

  /// The next word.
  std::string word();
  /// The next word as an argument of type `Argument`.
  template <class Argument>
  Argument take();
  /// The next word, which must be one of `words`, as its number among them. `what` says in a
  /// message what they are.
  std::size_t choice(std::string const& what, std::initializer_list<std::string_view> words);
  /// Makes sure that nothing is left.
  void end() const;

  /// What has been read so far, without the blanks around it.
  std::string_view taken() const noexcept;

 private:
  Place placeOf(std::size_t offset) const;
  /// The next word, which `accept` turns into an argument or refuses by raising a `Refusal`.
  template <class Accept>
  auto read(Accept accept);
  void skipBlanks();

  Place start_;
  std::string text_;
  std::size_t first_ = 0;
  std::size_t taken_ = 0;
  std::size_t next_ = 0;
};

/// Makes a text fit for a terminal: control bytes are written as \xNN.
std::string printable(std::string_view text);
/// The same in quotes, and cut when it is long: for a message.
std::string inQuotes(std::string_view text);

}  // namespace Agent
