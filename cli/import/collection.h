// What collect-tablet has gathered on a device: a folder, or a zip file of it.
//
//   collect-tablet.txt   "collect-tablet 1", then lines of "key=value"
//   registry/*.reg       as reg.exe exports it
//   files.txt            "attributes:size:SHA-256 or -:path without the drive", a line for each file and folder
//   C/                   the files that were gathered
//   efi/                 firmware variables, as in a tablet's folder
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "cli/import/volume.h"
#include "sim/tablet/registry/registry.h"

namespace cli {

inline constexpr const char* kCollectionMark = "collect-tablet.txt";

class Collection : public Volume {
 public:
  /// `folder` is the collected one; `shown` takes its place in messages. Throws InputError.
  Collection(std::filesystem::path folder, std::string shown);

  std::vector<std::string> LeftOut() const override;
  /// The value of a key of collect-tablet.txt; empty without it.
  std::string Said(const std::string& key) const;
  /// Reads registry/ with the hives and the current control set under their usual names.
  void ReadRegistry(tablet::Registry& registry) const;
  std::filesystem::path firmware() const { return folder_ / "efi"; }

 private:
  struct Listed {
    std::string path;  ///< "\Windows\a"
    std::string size;
    std::string digest;
  };
  void ReadMark();
  void ReadList();

  std::filesystem::path folder_;
  std::map<std::string, std::string> said_;
  std::vector<Listed> files_;
};

/// Unpacks a collection's zip file into an existing empty folder. Throws InputError.
void UnpackCollection(const std::filesystem::path& file, const std::filesystem::path& folder);

}  // namespace cli
