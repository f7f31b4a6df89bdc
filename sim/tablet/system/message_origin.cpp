#include "sim/tablet/system/message_origin.h"

#include <charconv>

namespace tablet {

// The function's own name is full of colons.
void ReadOrigin(TraceEvent& event) {
  std::string_view const text = event.text;
  std::size_t const space = text.find(' ');
  if (space == std::string_view::npos) return;
  std::string_view const origin = text.substr(0, space);
  std::string_view const rest = text.substr(space);
  std::size_t const colon = origin.rfind(':');
  if (colon == std::string_view::npos || colon == 0) return;

  std::string_view const digits = origin.substr(colon + 1);
  if (digits.empty()) {
    if (rest == " (+)" || rest == " (-)") event.function = origin.substr(0, colon);
    return;
  }
  int line = 0;
  auto const [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), line);
  if (error != std::errc() || end != digits.data() + digits.size() || !rest.starts_with(" : ")) return;
  event.function = origin.substr(0, colon);
  event.line = line;
}

}  // namespace tablet
