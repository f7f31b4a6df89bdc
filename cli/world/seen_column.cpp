#include "cli/world/seen_column.h"

#include <fmt/format.h>

#include <algorithm>
#include <sstream>
#include <vector>

namespace cli {

namespace {

constexpr std::string_view kBetween = "<br>";

/// A text as a table takes it: in backticks, without bars and line ends.
std::string AsCode(std::string_view text) {
  std::string out = "`";
  for (char const one : text) {
    out += one == '\r' ? "\\r" : one == '\n' ? "\\n" : one == '|' ? "\\|" : one == '`' ? "'" : std::string(1, one);
  }
  return out + "`";
}

/// Where the last cell of a row begins, after its bar; npos if the line is not a row.
std::size_t LastCell(const std::string& line) {
  if (!line.starts_with("| ") || !line.ends_with(" |")) return std::string::npos;
  std::size_t at = line.size() - 1;
  do {
    at = line.rfind('|', at - 1);
  } while (at != std::string::npos && at > 0 && line[at - 1] == '\\');
  return at == std::string::npos ? at : at + 1;
}

std::string CellText(const std::string& line, std::size_t cell) {
  std::string const text = line.substr(cell, line.size() - 1 - cell);
  std::size_t const first = text.find_first_not_of(' ');
  return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

/// The question of a row, "| `name` | ..."; empty if it has none.
std::string QuestionOf(const std::string& line) {
  if (!line.starts_with("| `")) return {};
  std::size_t const end = line.find("` |", 3);
  return end == std::string::npos ? "" : line.substr(3, end - 3);
}

std::string WithEntry(const std::string& cell, const std::string& machine, const std::string& entry) {
  std::vector<std::string> entries;
  bool replaced = false;
  for (std::size_t at = 0; at < cell.size();) {
    std::size_t const end = std::min(cell.find(kBetween, at), cell.size());
    std::string one = cell.substr(at, end - at);
    if (one.starts_with(machine + ", ")) {
      one = entry;
      replaced = true;
    }
    entries.push_back(std::move(one));
    at = end + kBetween.size();
  }
  if (!replaced) entries.push_back(entry);
  return fmt::format("{}", fmt::join(entries, kBetween));
}

}  // namespace

std::string WithSeenAnswers(const std::string& page, const KitResult& result) {
  std::istringstream in(page);
  std::string out;
  bool inTable = false;
  for (std::string line; std::getline(in, line);) {
    std::size_t const cell = LastCell(line);
    if (cell == std::string::npos) {
      inTable = inTable && line.starts_with("|");
    } else if (CellText(line, cell) == kSeenColumn) {
      inTable = true;
    } else if (auto const answer = result.answers.find(QuestionOf(line)); inTable && answer != result.answers.end()) {
      std::string const entry = fmt::format("{}, {}: {}", result.machine, result.date, AsCode(answer->second));
      line = line.substr(0, cell) + " " + WithEntry(CellText(line, cell), result.machine, entry) + " |";
    }
    out += line + "\n";
  }
  return out;
}

}  // namespace cli
