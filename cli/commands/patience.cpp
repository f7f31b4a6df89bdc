#include "cli/commands/patience.h"

#include <fmt/format.h>

namespace cli {

void AddPatience(CLI::App& app, std::chrono::milliseconds& patience) {
  app.add_option_function<double>(
         "--patience",
         [&patience](double seconds) {
           patience = std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000));
         },
         "processor time without a call after which the service counts as hung")
      ->type_name("SECONDS")
      ->check(CLI::Range(0.1, 1e6))
      ->default_str(fmt::format("{}", std::chrono::duration<double>(patience).count()));
}

}  // namespace cli
