// Firmware (UEFI) variables, kept as Linux's efivarfs lays them out: a file NAME-GUID, 4 attribute bytes, the data.
#pragma once

#include <cstdint>
#include <deque>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "sim/tablet/base/guid.h"
#include "sim/tablet/base/win_error.h"

namespace tablet {

struct FirmwareKey {
  std::u16string name;
  Guid vendor;
  auto operator<=>(const FirmwareKey&) const = default;
};

struct FirmwareVariable {
  std::uint32_t attributes = 7;  ///< UEFI: non-volatile 1, boot-service access 2, runtime access 4
  std::vector<std::uint8_t> data;
  bool operator==(const FirmwareVariable&) const = default;
};

/// What the driver in front of the variables does wrong, on demand. Each request that meets its trouble leaves the
/// variables alone.
struct FirmwareTrouble {
  static constexpr std::uint32_t kEvery = UINT32_MAX;

  WinError status = 0;                   ///< the reply's status; 0: none of this trouble
  std::uint32_t count = kEvery;          ///< for how many requests
  WinError request_error = 0;            ///< with it, the request itself fails, its status written all the same
  std::deque<std::uint32_t> sizes = {};  ///< returned to the next requests for a size instead of the real one
};

class Firmware {
 public:
  using Variables = std::map<FirmwareKey, FirmwareVariable>;

  /// Reads the folder (which may be absent: no variables). Throws InputError for a file name that is not NAME-GUID, for
  /// two files of one variable and for files of fewer than 4 bytes.
  void Load(const std::filesystem::path& efi_folder);
  /// Writes the folder as it is now; files of variables that are gone are removed. Throws InputError for what cannot
  /// be written.
  void Save(const std::filesystem::path& efi_folder) const;

  const FirmwareVariable* Find(const FirmwareKey& key) const;
  /// Makes the variable or replaces its data; attributes of an existing one stay.
  void Put(const FirmwareKey& key, std::vector<std::uint8_t> data);
  void Remove(const FirmwareKey& key) { variables_.erase(key); }
  const Variables& variables() const { return variables_; }
  void Restore(Variables variables) { variables_ = std::move(variables); }

  FirmwareTrouble& trouble() { return trouble_; }

  /// Called for every look-up: the variable's name and content, null if it does not exist.
  std::function<void(const FirmwareKey& key, const FirmwareVariable* variable)> on_find;

 private:
  Variables variables_;
  FirmwareTrouble trouble_;
};

}  // namespace tablet
