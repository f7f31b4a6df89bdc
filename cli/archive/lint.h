// What the service would do with an archive: a verdict for each entry and for the whole, and warnings.
#pragma once

#include <chrono>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>

namespace cli {

struct LintSubject {
  std::filesystem::path archive;
  std::optional<std::filesystem::path> tablet;  ///< whose drive and driver count; without one: an empty drive
  std::chrono::milliseconds time_out{10'000};  ///< processor time without a call after which the service counts as hung
};

/// The findings as the document has them, see docs/commands.md. Deploys the archive in a child of this process, into a
/// folder for temporary files. Throws InputError.
nlohmann::ordered_json Lint(const LintSubject& subject);

}  // namespace cli
