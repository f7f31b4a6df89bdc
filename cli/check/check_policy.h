// What a tablet must be beside well: vantord-check.json, the policy of a check.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/check/case_trial.h"
#include "cli/check/finding.h"

namespace cli {

/// The name under which a tablet's folder has its own policy.
inline constexpr std::string_view kPolicyFile = "vantord-check.json";
/// In place of an archive's name: no archive may be deployed.
inline constexpr std::string_view kExpectedToFail = "fail";

struct PolicyValue {
  std::string text;
  int line = 0;
};

struct CheckPolicy {
  struct Allowance {
    std::string id;      ///< of a warning
    std::string reason;  ///< never empty
    std::string place;   ///< part of the finding's place or text; empty: any
    int line = 0;
    bool used = false;
  };

  std::string file;
  std::map<std::string, PolicyValue, std::less<>> codes;  ///< archive or kExpectedToFail, by code; "*": all others
  std::map<std::string, PolicyValue, std::less<>> ids;
  std::optional<PolicyValue> none;  ///< of a tablet with neither
  std::vector<Allowance> allowances;
  std::optional<std::uint64_t> free_bytes;
  int free_line = 0;
  std::optional<std::uint64_t> most_bytes;
  int most_line = 0;
  std::map<std::string, std::vector<WantedVersion>, std::less<>> versions;  ///< by archive

  FindingPlace At(int line) const { return {file, line, {}}; }
};

/// Throws InputError with file, line and key.
CheckPolicy ReadPolicy(const std::filesystem::path& file);

}  // namespace cli
