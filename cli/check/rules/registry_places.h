// Where in a tablet's files something is said: the line of a registry value, of a key of tablet.json.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <string_view>

#include "cli/check/finding.h"
#include "sim/tablet/base/guid.h"
#include "sim/tablet/base/json_source.h"

namespace cli {

/// Of a well-formed tablet's folder.
class TabletPlaces {
 public:
  explicit TabletPlaces(const std::filesystem::path& folder);

  /// The line that sets a value; the last one counts. Without such a line, that of its key; without that, the folder
  /// registry/. `key` is below HKEY_LOCAL_MACHINE.
  FindingPlace OfValue(std::u16string_view key, std::u16string_view value) const;
  /// The line of a key of tablet.json, "drive.free_bytes"; the file where it is not given.
  FindingPlace OfSetting(std::string_view key) const;
  FindingPlace OfFolder() const { return {folder_.string(), 0, {}}; }
  FindingPlace OfFile(const std::filesystem::path& below) const { return {(folder_ / below).string(), 0, {}}; }
  /// The file of a firmware variable; efi/ where there is none.
  FindingPlace OfVariable(std::string_view name, const tablet::Guid& vendor) const;

 private:
  void ReadRegistryFile(const std::filesystem::path& file);
  void ReadLine(const std::string& line, const FindingPlace& place, std::u16string& key);

  std::filesystem::path folder_;
  std::map<std::u16string, FindingPlace> values_;  ///< by key, a line feed and the value's name, in upper case
  std::map<std::u16string, FindingPlace> keys_;
  tablet::JsonNode description_;
};

}  // namespace cli
