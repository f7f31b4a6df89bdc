#include "sim/tablet/devices/firmware.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <optional>
#include <set>
#include <system_error>

#include "sim/tablet/base/input_error.h"
#include "sim/tablet/base/text.h"

namespace tablet {

namespace {

constexpr std::size_t kGuidCharacters = 36;
constexpr std::size_t kAttributeBytes = 4;

/// "NAME-guid", the GUID in lower case and without braces, as Linux names them.
std::string FileNameOf(const FirmwareKey& key) {
  std::string guid = key.vendor.ToString().substr(1, kGuidCharacters);
  std::transform(guid.begin(), guid.end(), guid.begin(),
                 [](char c) { return c >= 'A' && c <= 'F' ? static_cast<char>(c + ('a' - 'A')) : c; });
  return ToUtf8(key.name) + "-" + guid;
}

std::optional<FirmwareKey> KeyOf(const std::string& file_name) {
  if (file_name.size() < kGuidCharacters + 2) return std::nullopt;
  std::size_t const hyphen = file_name.size() - kGuidCharacters - 1;
  std::optional<Guid> const vendor = Guid::Parse(file_name.substr(hyphen + 1));
  if (file_name[hyphen] != '-' || !vendor) return std::nullopt;
  return FirmwareKey{ToUtf16(file_name.substr(0, hyphen)), *vendor};
}

FirmwareVariable ReadVariable(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) throw InputError(file.string(), "cannot be read", "check that it is a file and its permissions");
  std::vector<std::uint8_t> const bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  if (bytes.size() < kAttributeBytes) {
    throw InputError(file.string(), "has " + std::to_string(bytes.size()) + " bytes",
                     "a firmware variable begins with 4 attribute bytes (07 00 00 00), its data follows");
  }
  FirmwareVariable variable;
  variable.attributes = 0;
  for (std::size_t i = 0; i < kAttributeBytes; ++i) variable.attributes |= std::uint32_t{bytes[i]} << (8 * i);
  variable.data.assign(bytes.begin() + kAttributeBytes, bytes.end());
  return variable;
}

void WriteVariable(const std::filesystem::path& file, const FirmwareVariable& variable) {
  std::string bytes;
  for (std::size_t i = 0; i < kAttributeBytes; ++i) bytes += static_cast<char>(variable.attributes >> (8 * i));
  bytes.append(variable.data.begin(), variable.data.end());
  std::ofstream out(file, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  out.close();
  if (!out) throw InputError(file.string(), "cannot be written", "check the folder's permissions and the free space");
}

/// The folder's entries, ordered by name, so that messages always name the same file.
std::set<std::filesystem::path> EntriesOf(const std::filesystem::path& folder) {
  std::error_code error;
  std::filesystem::directory_iterator const entries(folder, error);
  if (error) throw InputError(folder.string(), "cannot be listed: " + error.message(), "check that it is a folder");
  std::set<std::filesystem::path> paths;
  for (const auto& entry : entries) paths.insert(entry.path());
  return paths;
}

}  // namespace

void Firmware::Load(const std::filesystem::path& efi_folder) {
  Variables variables;
  if (std::filesystem::exists(efi_folder)) {
    for (const std::filesystem::path& file : EntriesOf(efi_folder)) {
      std::optional<FirmwareKey> const key = KeyOf(file.filename().string());
      if (!key) {
        throw InputError(file.string(), "is not named as a firmware variable",
                         "name it NAME-GUID, as in SALES_CODE-9806d87d-b4fb-4d02-97d2-8597337abc83");
      }
      if (!variables.emplace(*key, ReadVariable(file)).second) {
        throw InputError(file.string(), "names a variable that another file here names too",
                         "GUIDs are the same in either case: remove one of the files");
      }
    }
  }
  variables_ = std::move(variables);
}

void Firmware::Save(const std::filesystem::path& efi_folder) const {
  std::error_code error;
  std::filesystem::create_directories(efi_folder, error);
  if (error) throw InputError(efi_folder.string(), "cannot be made: " + error.message(), "check the folder above it");
  std::set<std::string> written;
  for (const auto& [key, variable] : variables_) {
    std::string const name = FileNameOf(key);
    WriteVariable(efi_folder / name, variable);
    written.insert(name);
  }
  for (const std::filesystem::path& file : EntriesOf(efi_folder)) {
    std::string const name = file.filename().string();
    if (!KeyOf(name) || written.contains(name)) continue;
    if (!std::filesystem::remove(file, error)) {
      throw InputError(file.string(), "cannot be removed: " + error.message(), "check the folder's permissions");
    }
  }
}

const FirmwareVariable* Firmware::Find(const FirmwareKey& key) const {
  auto const found = variables_.find(key);
  const FirmwareVariable* const variable = found == variables_.end() ? nullptr : &found->second;
  if (on_find) on_find(key, variable);
  return variable;
}

void Firmware::Put(const FirmwareKey& key, std::vector<std::uint8_t> data) { variables_[key].data = std::move(data); }

}  // namespace tablet
