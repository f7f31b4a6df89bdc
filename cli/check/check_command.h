// vantord-tablet check: whether tablets come up with their firmware, whatever code or ID they have.
#pragma once

#include <filesystem>
#include <optional>
#include <vector>

#include "cli/base/console.h"
#include "cli/check/tablet_check.h"
#include "cli/import/import.h"

namespace cli {

struct CheckOptions {
  std::vector<std::filesystem::path> tablets;
  CheckSettings settings;
  ImportOptions import;  ///< for sources that are not a tablet's folder
  std::optional<std::filesystem::path> junit;
  std::optional<std::filesystem::path> sarif;
  std::optional<std::filesystem::path> report;  ///< a page of HTML
  bool force = false;                           ///< these files replace others
  bool json = false;
};

/// Returns the exit code: kBadInput when one of the tablets is not well-formed, kNotAsExpected when one would fail.
int Check(const CheckOptions& options, Console& console);

}  // namespace cli
