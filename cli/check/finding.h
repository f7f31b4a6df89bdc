// What is wrong with a tablet, or may be: one finding, with its place and the next step.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace cli {

/// Errors fail a check. Warnings do too, unless the policy allows them. Notes do not.
enum class Severity { kError, kWarning, kNote };

/// "error", "warning" or "note".
std::string_view NameOf(Severity severity);

struct FindingPlace {
  std::string file;   ///< a path that the user gave, or one below it
  int line = 0;       ///< counted from 1; 0: the file as a whole
  std::string entry;  ///< of an archive; empty: none

  /// "file:12", "archive.bin: entry name"
  std::string Text() const;
};

struct CheckFinding {
  std::string id;  ///< of CheckRules: stays the same between versions
  FindingPlace place;
  std::string text;                         ///< what is wrong, half a sentence
  std::string next;                         ///< what to do, half a sentence
  std::optional<std::string> allowed = {};  ///< why the policy lets it be

  Severity severity() const;
  bool fails() const { return !allowed && severity() != Severity::kNote; }
};

/// What a check looks for, by name; docs/check.md lists the same.
struct CheckRule {
  std::string_view id;
  Severity severity = Severity::kError;
  std::string_view about;  ///< half a sentence
};
std::span<const CheckRule> CheckRules();
/// Null for an unknown name.
const CheckRule* FindCheckRule(std::string_view id);

nlohmann::ordered_json ToJson(const CheckFinding& finding);

}  // namespace cli
