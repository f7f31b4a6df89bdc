// Firmware (UEFI) variables, kept as Linux's efivarfs lays them out: a file NAME-GUID, 4 attribute bytes, the data.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tablet/guid.h"
#include "tablet/win_error.h"

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

class Firmware {
 public:
  using Variables = std::map<FirmwareKey, FirmwareVariable>;

  /// Reads the folder (which may be absent: no variables). Throws InputError for a file name that is no NAME-GUID and
  /// for files of fewer than 4 bytes.
  void Load(const std::filesystem::path& efi_folder);
  /// Writes the folder as it is now; files of variables that are gone are removed.
  void Save(const std::filesystem::path& efi_folder) const;

  const FirmwareVariable* Find(const FirmwareKey& key) const;
  void Put(const FirmwareKey& key, std::vector<std::uint8_t> data);
  void Remove(const FirmwareKey& key) { variables_.erase(key); }
  const Variables& variables() const { return variables_; }

 private:
  Variables variables_;
};

}  // namespace tablet
