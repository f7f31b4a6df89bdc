// What the service would do with an archive: a verdict for each entry and for the whole, and warnings.
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>

namespace cli {

struct LintSubject {
  std::filesystem::path archive;
  std::optional<std::filesystem::path> tablet;  ///< whose drive and driver count; without one: an empty drive
  std::chrono::milliseconds time_out{10'000};  ///< processor time without a call after which the service counts as hung
  bool with_files = false;  ///< each accepted entry also has "file": attributes, time, checksum and version
  /// Told in the child how much of the archive was read, of both times that it is; with 0 of 0 before the child ends.
  std::function<void(std::uint64_t done, std::uint64_t whole)> on_progress = {};
};

/// The findings as the document has them, see docs/commands.md. Deploys the archive in a child of this process, into a
/// folder for temporary files. Throws InputError.
nlohmann::ordered_json Lint(const LintSubject& subject);

}  // namespace cli
