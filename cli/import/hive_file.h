// The registry files of a Windows that is not running: SYSTEM and SOFTWARE of a volume or an image.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sim/tablet/registry/registry.h"

namespace cli {

/// A hive, read from a copy: the file may change meanwhile. Paths are below the hive's root, names in any case. Cells
/// of a hive have no checksum, so not all damage is noticed. Every member throws InputError for damage that is.
class HiveFile {
 public:
  struct Options {
    std::string shown;                        ///< the file as the user knows it, for messages
    std::vector<std::filesystem::path> logs;  ///< its .LOG1 and .LOG2, as far as there are any
    bool take_dirty = false;                  ///< read a hive with pending changes as it is
  };

  /// Throws InputError for what is not a hive, is cut off, or, without take_dirty, has changes that are only in its
  /// logs.
  HiveFile(const std::filesystem::path& file, Options options);
  ~HiveFile();
  HiveFile(const HiveFile&) = delete;
  HiveFile& operator=(const HiveFile&) = delete;

  /// Why the hive is not up to date; empty for one that is.
  const std::string& pending() const { return pending_; }

  bool Has(std::u16string_view path) const;
  /// Names of the sub-keys; none where the key is missing.
  std::vector<std::u16string> SubKeys(std::u16string_view path) const;
  /// A REG_DWORD; nothing for values of other types.
  std::optional<std::uint32_t> Dword(std::u16string_view path, std::u16string_view value) const;
  /// Copies a key with everything below it to `to`. False where the hive has no such key.
  bool Copy(std::u16string_view path, std::u16string_view to, tablet::Registry& registry) const;

 private:
  class Handle;
  class Walk;

  std::string shown_;
  std::string pending_;
  std::size_t bytes_ = 0;
  std::unique_ptr<Handle> hive_;
};

}  // namespace cli
