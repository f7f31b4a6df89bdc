// Paragraphs under headings in the first column.
#pragma once

#include <fmt/format.h>

#include <string>
#include <string_view>

#include "cli/base/console.h"

namespace cli {

class Table {
 public:
  explicit Table(Console& console) : console_(console) {}

  void Row(std::string_view heading, std::string_view text, Console::Style style = Console::Style::kPlain) {
    std::string const first = fmt::format("{:<10}", heading);
    console_.Line(fmt::format("{}  {}", console_.Styled(Console::Style::kStrong, first), console_.Styled(style, text)));
  }
  /// One more line of the paragraph.
  void More(std::string_view text, Console::Style style = Console::Style::kPlain) {
    console_.Line(fmt::format("{:<10}  {}", "", console_.Styled(style, text)));
  }

 private:
  Console& console_;
};

/// A line for each item under one heading; `without` if there are no items.
template <typename Items, typename Show>
void Paragraph(Table& table, std::string_view heading, const Items& items, std::string_view without, Show show) {
  if (items.empty()) table.Row(heading, without);
  bool first = true;
  for (const auto& item : items) {
    if (first) {
      table.Row(heading, show(item));
    } else {
      table.More(show(item));
    }
    first = false;
  }
}

}  // namespace cli
