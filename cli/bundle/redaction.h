// Replaces what identifies a tablet or its user throughout a staged tablet: docs/bundles.md lists it.
//
// An identifier keeps its length and its shape (letters stay letters, digits digits), and is the same everywhere, so
// that sizes, comparisons and look-ups come out as before.
#pragma once

#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "sim/tablet/registry/registry.h"

namespace cli {

class Redaction {
 public:
  /// Finds the identifiers of a staged tablet (see StageTablet). Throws InputError for a tablet that cannot be read.
  static Redaction Of(const std::filesystem::path& tablet);

  /// Replaces them in the staged tablet. `events` are those of a run of it: of files that it neither opened nor
  /// asked for their version only the size is kept.
  void Apply(const std::filesystem::path& tablet, const std::string& events) const;

  /// A text with its identifiers replaced: whole words, in either case.
  std::string Redacted(std::string text) const;
  /// How many different identifiers of each kind there are: {"user": 1, ...}.
  nlohmann::ordered_json Counts() const;

  /// Throws std::runtime_error when a file below `folder`, or its name, still holds an identifier.
  void ExpectNoneIn(const std::filesystem::path& folder) const;

 private:
  void Learn(const std::string& kind, std::string_view text);
  void LearnSids(std::string_view text);
  void LearnDescription(const std::filesystem::path& file);
  void LearnRegistry(const tablet::Registry& registry, const std::u16string& key);
  void LearnUsers(const std::filesystem::path& users);

  std::vector<std::uint8_t> RedactedBytes(std::vector<std::uint8_t> bytes) const;
  nlohmann::ordered_json RedactedJson(const nlohmann::ordered_json& value) const;
  void RedactRegistry(const std::filesystem::path& tablet) const;
  void CopyKey(const tablet::Registry& from, tablet::Registry& to, const std::u16string& key) const;
  void RedactFirmware(const std::filesystem::path& folder) const;
  void RedactDrive(const std::filesystem::path& tablet, const std::string& events) const;

  struct Entry {
    std::string kind;
    std::string replacement;  ///< as long as the identifier
  };
  /// By identifier, in lower case.
  std::map<std::string, Entry> entries_;
};

/// "2 users, 1 security identifier": Counts as a line for people.
std::string Describe(const nlohmann::ordered_json& counts);

}  // namespace cli
