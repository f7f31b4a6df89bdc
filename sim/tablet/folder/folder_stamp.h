// Whether a tablet's folder is still as it was: people may work in it during a run.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>

namespace tablet {

class FolderStamp {
 public:
  /// Looks at everything in a tablet's folder that means something: names, sizes, times of change; not at contents.
  explicit FolderStamp(const std::filesystem::path& folder);

  /// A path that came, went or changed since; nothing when all is as it was.
  std::optional<std::string> Difference() const;

 private:
  struct Facts {
    std::uint64_t size = 0;
    std::int64_t changed = 0;  ///< nanoseconds since 1970
    bool operator==(const Facts&) const = default;
  };
  static std::map<std::string, Facts> Look(const std::filesystem::path& folder);

  std::filesystem::path folder_;
  std::map<std::string, Facts> seen_;
};

}  // namespace tablet
