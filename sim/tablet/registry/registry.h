// HKEY_LOCAL_MACHINE: keys and values, their names compared without regard to case and kept as first written.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sim/tablet/base/text.h"
#include "sim/tablet/base/win_error.h"
#include "sim/tablet/kernel/handles.h"

namespace tablet {

// Types of values that mean something here; every other number is kept as it is.
inline constexpr std::uint32_t kTypeText = 1;  ///< REG_SZ
inline constexpr std::uint32_t kTypeExpandText = 2;
inline constexpr std::uint32_t kTypeBinary = 3;
inline constexpr std::uint32_t kTypeDword = 4;

struct RegistryValue {
  std::uint32_t type = 0;
  std::vector<std::uint8_t> data;
  bool operator==(const RegistryValue&) const = default;
};

/// A REG_SZ with its terminator.
RegistryValue TextValue(std::u16string_view text);
RegistryValue DwordValue(std::uint32_t number);
/// The data read as UTF-16 up to its first zero character, whatever its type.
std::u16string TextOf(const RegistryValue& value);

/// What tablet.json says of a key: access to it and to everything below it is denied, all access or writing.
enum class KeyGuard { kNone, kReadOnly, kDenied };

/// Rights a key was opened with; the bits of Windows' KEY_* rights.
inline constexpr std::uint32_t kKeyQueryValue = 0x1;
inline constexpr std::uint32_t kKeySetValue = 0x2;
inline constexpr std::uint32_t kKeyCreateSubKey = 0x4;
inline constexpr std::uint32_t kKeyEnumerate = 0x8;

/// The longest name of one key, in characters.
inline constexpr std::size_t kLongestKeyName = 255;

class RegistryKey;

/// An open key: the object of an HKEY.
class OpenKey final : public Object {
 public:
  OpenKey(std::shared_ptr<RegistryKey> key, std::u16string path, std::uint32_t access)
      : key_(std::move(key)), path_(std::move(path)), access_(access) {}
  std::string_view kind() const override { return "key"; }
  const std::shared_ptr<RegistryKey>& key() const { return key_; }
  const std::u16string& path() const { return path_; }  ///< from the hive's root, no leading separator
  std::uint32_t access() const { return access_; }

 private:
  std::shared_ptr<RegistryKey> key_;
  std::u16string path_;
  std::uint32_t access_;
};

/// One difference between two states of the registry.
struct RegistryChange {
  enum class Kind { kKeyAdded, kKeyRemoved, kValueAdded, kValueChanged, kValueRemoved } kind;
  std::u16string key;
  std::u16string value;  ///< empty for the default value and for keys
  std::optional<RegistryValue> before;
  std::optional<RegistryValue> after;
};

/// What a key holds, in numbers. Lengths of names in characters, of data in bytes, without terminators of names.
struct KeySummary {
  std::size_t sub_keys = 0;
  std::size_t longest_sub_key = 0;
  std::size_t values = 0;
  std::size_t longest_value_name = 0;
  std::size_t longest_value_data = 0;
};

/// All paths are relative to HKEY_LOCAL_MACHINE, separated by single backslashes.
class Registry {
 public:
  Registry();
  ~Registry();
  Registry(const Registry&) = delete;
  Registry& operator=(const Registry&) = delete;

  // The Windows side. Each returns a Windows error code: kAccessDenied where a guard or the handle's own rights forbid
  // it, kFileNotFound for a missing key or value, kKeyDeleted for a handle whose key is gone, kBadPathName for a path
  // that begins with a separator, kInvalidParameter for a name that is too long. Outputs are written on success only.

  /// `base` null: the root. Creates the whole chain of missing keys. `existed` is the disposition. Whether a key may
  /// be made is up to the guards, not to the rights of `base`.
  WinError Create(const OpenKey* base, std::u16string_view path, std::uint32_t access, std::shared_ptr<OpenKey>& out,
                  bool& existed);
  WinError Open(const OpenKey* base, std::u16string_view path, std::uint32_t access, std::shared_ptr<OpenKey>& out);
  WinError Query(const OpenKey& key, std::u16string_view value, RegistryValue& out);
  WinError Set(const OpenKey& key, std::u16string_view value, RegistryValue data);
  WinError Delete(const OpenKey& key, std::u16string_view value);
  /// Names of the sub-keys, ordered by name without regard to case.
  WinError SubKeys(const OpenKey& key, std::vector<std::u16string>& names);
  WinError Describe(const OpenKey& key, KeySummary& out);

  // The machine's side: no access rules, no handles. Put and its like make the keys that are missing.

  std::optional<RegistryValue> Get(std::u16string_view path, std::u16string_view value) const;
  /// A text (REG_SZ or REG_EXPAND_SZ) without its terminator; nothing for values of other types.
  std::optional<std::u16string> GetText(std::u16string_view path, std::u16string_view value) const;
  /// A REG_DWORD; nothing for values of other types.
  std::optional<std::uint32_t> GetDword(std::u16string_view path, std::u16string_view value) const;
  void Put(std::u16string_view path, std::u16string_view value, RegistryValue data);
  void PutText(std::u16string_view path, std::u16string_view value, std::u16string_view text);
  void PutDword(std::u16string_view path, std::u16string_view value, std::uint32_t number);
  void MakeKey(std::u16string_view path);
  void RemoveKey(std::u16string_view path);  ///< with everything below it
  void RemoveValue(std::u16string_view path, std::u16string_view value);
  bool HasKey(std::u16string_view path) const;
  std::vector<std::u16string> SubKeyNames(std::u16string_view path) const;
  std::vector<std::u16string> ValueNames(std::u16string_view path) const;

  /// Makes SYSTEM\CurrentControlSet a link to SYSTEM\`control_set`, as Windows has it: what is read, written or removed
  /// below the one is so below the other. Before keys are put there.
  void ServeControlSet(std::u16string_view control_set);

  /// Guards the key and everything below it, also while it does not exist. The strictest guard on the way counts.
  void Guard(std::u16string path, KeyGuard guard);

  /// A deep copy of the keys and values (no guards); for comparison.
  std::unique_ptr<Registry> Snapshot() const;
  /// Makes the keys and values those of `state`; guards stay. Keys that are open are deleted for their holders.
  void Restore(const Registry& state);
  /// What must change in `before` to make `after`, ordered by path and name. A removed key is
  /// listed once, for everything below it; of a new key each value is listed.
  static std::vector<RegistryChange> Compare(const Registry& before, const Registry& after);

  /// Called for every query of a value by the simulated processes: the key's path as first written, the name as asked
  /// for.
  std::function<void(std::u16string_view key, std::u16string_view value, WinError result, const RegistryValue& data)>
      on_query;

 private:
  class Implementation;
  std::unique_ptr<Implementation> state_;
};

}  // namespace tablet
