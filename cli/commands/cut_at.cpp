#include "cli/commands/cut_at.h"

#include <fmt/format.h>

#include <charconv>
#include <string_view>
#include <vector>

#include "sim/tablet/base/nearest.h"
#include "sim/tablet/kernel/fault_catalog.h"

namespace cli {

CutAt ParseCutAt(const std::string& text) {
  std::size_t const at = text.find('@');
  std::string const number = text.substr(at == std::string::npos ? 0 : at + 1);
  std::uint64_t value = 0;
  auto const [end, error] = std::from_chars(number.data(), number.data() + number.size(), value);
  if (error != std::errc() || end != number.data() + number.size() || value == 0) {
    throw CLI::ValidationError("--cut-at", fmt::format("\"{}\" is not a call; give its number, as in 150, or which one "
                                                       "of a name, as in WriteFile@20",
                                                       text));
  }
  if (at == std::string::npos) return {.number = value, .call = {}, .occurrence = 0};
  std::string const call = text.substr(0, at);
  if (tablet::FindCataloged(call) != nullptr) return {.number = 0, .call = call, .occurrence = value};
  std::vector<std::string_view> names;
  for (const tablet::CatalogedCall& known : tablet::FaultCatalog()) names.push_back(known.name);
  throw CLI::ValidationError("--cut-at",
                             fmt::format("there is no call \"{}\"; {} \"vantord-tablet fault list\" shows all", call,
                                         tablet::DidYouMean(call, names)));
}

}  // namespace cli
