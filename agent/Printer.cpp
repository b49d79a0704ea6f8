#include "Printer.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <iterator>
#include <system_error>
#include <utility>

#include "Line.h"

namespace Agent {

namespace {

using Json = nlohmann::ordered_json;

constexpr U32 briefDetails = 3;
constexpr std::size_t shownOfList = 4;

std::string cellText(Json const& cell) {
  if (cell.is_null()) return "-";
  if (cell.is_boolean()) return cell.get<bool>() ? "yes" : "no";
  if (cell.is_string()) {
    auto const& text = cell.get_ref<std::string const&>();
    return text.empty() ? "\"\"" : printable(text);
  }
  if (!cell.is_array()) return cell.dump();
  if (cell.empty()) return "-";
  std::string list;
  for (std::size_t place = 0; place < std::min(cell.size(), shownOfList); ++place) {
    list += fmt::format("{}{}", place == 0 ? "" : " ", cellText(cell[place]));
  }
  return cell.size() <= shownOfList ? list : fmt::format("{} ... ({} in all)", list, cell.size());
}

}  // namespace

void Printer::event(std::string_view text) {
  if (json_) {
    object({{"event", text}});
  } else if (echo_) {
    out_ += "> " + printable(text) + '\n';
  }
}

void Printer::detail(std::string const& kind, std::string_view text) {
  if (json_) {
    object({{kind, text}});
  } else if (!brief_ || briefCount_[kind]++ < briefDetails) {
    out_ += "    " + kind + ": " + printable(text) + '\n';
  }
}

void Printer::result(Json const& value) {
  if (json_) {
    object({{"result", value}});
  } else {
    detail("result", cellText(value));
  }
}

void Printer::endBrief() {
  for (auto const& [kind, count] : briefCount_) {
    if (count > briefDetails) {
      out_ += fmt::format("    {}: ... and {} more\n", kind, count - briefDetails);
    }
  }
  briefCount_.clear();
  brief_ = false;
}

void Printer::table(Table const& table) {
  if (!json_) return tableForPeople(table);
  Json rows = Json::array();
  for (Table::Row const& row : table.rows) {
    Json entry;
    for (std::size_t column = 0; column < row.size(); ++column) {
      entry[table.columns[column]] = row[column];
    }
    rows.push_back(std::move(entry));
  }
  Json shown{{"show", table.name}, {"rows", rows}};
  if (rows.empty()) shown["note"] = table.whenEmpty;
  object(shown);
}

void Printer::tableForPeople(Table const& table) {
  if (table.rows.empty()) {
    out_ += table.name + ": " + table.whenEmpty + '\n';
    return;
  }
  std::vector<std::vector<std::string>> lines{table.columns};
  for (Table::Row const& row : table.rows) {
    std::ranges::transform(row, std::back_inserter(lines.emplace_back()), cellText);
  }
  std::vector<std::size_t> widths(table.columns.size());
  for (auto const& line : lines) {
    for (std::size_t column = 0; column < line.size(); ++column) {
      widths[column] = std::max(widths[column], line[column].size());
    }
  }
  out_ += table.name + '\n';
  for (auto const& line : lines) {
    for (std::size_t column = 0; column < line.size(); ++column) {
      bool const last = column + 1 == line.size();
      out_ +=
          "  " + line[column] + std::string(last ? 0 : widths[column] - line[column].size(), ' ');
    }
    out_ += '\n';
  }
}

void Printer::prompt() {
  if (!json_) out_ += "> ";
}

void Printer::object(Json const& object) {
  // Names may be any bytes; what is not UTF-8 comes out as replacement characters.
  out_ += object.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n';
}

void Printer::flush() {
  std::string const out = std::exchange(out_, {});
  if (std::fwrite(out.data(), 1, out.size(), stdout) != out.size() || std::fflush(stdout) != 0) {
    throw std::system_error(errno, std::generic_category(), "standard output");
  }
}

}  // namespace Agent
