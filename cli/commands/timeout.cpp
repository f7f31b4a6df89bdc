#include "cli/commands/timeout.h"

#include <fmt/format.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <optional>

namespace cli {

using std::chrono::milliseconds;

milliseconds ParseDuration(const std::string& option, const std::string& text, milliseconds unit, milliseconds least) {
  static constexpr std::array<std::pair<const char*, int>, 4> kUnits{
      {{"ms", 1}, {"s", 1000}, {"min", 60'000}, {"h", 3'600'000}}};
  char* end = nullptr;
  double const number = std::strtod(text.c_str(), &end);
  std::string const given = end;
  double factor = given.empty() ? static_cast<double>(unit.count()) : 0;
  for (auto const& [name, size] : kUnits) factor = given == name ? size : factor;
  double const count = std::round(number * factor);
  constexpr double kMost = 4.5e15;
  if (end == text.c_str() || factor == 0 || !(count >= static_cast<double>(least.count())) || count > kMost) {
    throw CLI::ValidationError(
        option,
        fmt::format("\"{}\" is not a time of at least {} ms, such as 500ms, 5s, 2min or 1h", text, least.count()));
  }
  return milliseconds(static_cast<std::int64_t>(count));
}

void AddTimeout(CLI::App& app, milliseconds& timeout) {
  auto const take = [&timeout](const std::string& text) {
    timeout = ParseDuration("--timeout", text, std::chrono::seconds(1), milliseconds(100));
  };
  app.add_option_function<std::string>(
         "--timeout", take, "processor time without a call of the Windows API after which the service counts as hung")
      ->type_name("TIME")
      ->default_str(timeout.count() == 0 ? "" : fmt::format("{}s", std::chrono::duration<double>(timeout).count()));
  // Its name in earlier versions.
  app.add_option_function<std::string>("--patience", take)->group("");
}

void AddUntil(CLI::App& app, std::optional<std::int64_t>& until) {
  app.add_option_function<std::string>(
         "--until",
         [&until](const std::string& text) { until = ParseDuration("--until", text, milliseconds(1), {}).count(); },
         "end the run at this virtual time; without a unit, milliseconds")
      ->type_name("TIME");
}

}  // namespace cli
