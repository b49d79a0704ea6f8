#pragma once

#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "Kiv/Integers.h"

namespace Agent {

/// One table of the state. Cells are texts, numbers, truth values, lists, or null for nothing.
struct Table {
  using Row = std::vector<nlohmann::ordered_json>;

  std::string name;
  std::vector<std::string> columns;
  std::vector<Row> rows;
  std::string whenEmpty = "none";
};

/// Writes what happens to standard output: for people, or as one JSON object a line.
class Printer {
 public:
  /// Without `echo` a person is not shown the events that they typed themselves.
  Printer(bool json, bool echo) : json_(json), echo_(echo) {}

  /// An event, before it is fed in.
  void event(std::string_view text);
  /// Something that an event caused; `kind` says what.
  void detail(std::string const& kind, std::string_view text);
  /// What an event gave back.
  void result(nlohmann::ordered_json const& value);
  void table(Table const& table);
  /// Asks a person for a line.
  void prompt();

  /// While there is one, only the first few details of each kind are shown to a person; in the end
  /// it is said how many more there were.
  class Brief {
   public:
    explicit Brief(Printer& printer) : printer_(printer) { printer_.brief_ = true; }
    ~Brief() { printer_.endBrief(); }
    Brief(Brief const&) = delete;
    Brief& operator=(Brief const&) = delete;

   private:
    Printer& printer_;
  };

  /// Hands everything over to standard output. Raises `std::system_error` when that fails.
  void flush();

 private:
  void endBrief();
  void object(nlohmann::ordered_json const& object);
  void tableForPeople(Table const& table);

  bool json_;
  bool echo_;
  bool brief_ = false;
  std::map<std::string, U32> briefCount_;
  std::string out_;
};

}  // namespace Agent
