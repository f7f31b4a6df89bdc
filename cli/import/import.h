// A tablet's folder from what people have: an image, a Windows volume, what was collected on a device.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace cli {

/// What the source did not say: `unknown` is "the sales code", `taken` is "none", `say` is the option or the line of
/// tablet.json that says otherwise.
struct Assumption {
  std::string unknown;
  std::string taken;
  std::string say;
};

struct ImportOptions {
  enum class Modem { kAsTheSource, kYes, kNo, kLate };

  int index = 1;       ///< of the image in a WIM file, from 1
  bool dirty = false;  ///< read hives whose latest changes are only in their logs
  std::optional<std::string> sales_code = {};
  std::optional<std::string> image_id = {};
  Modem modem = Modem::kAsTheSource;
  bool force = false;  ///< a tablet that is there already is replaced
};

struct ImportResult {
  std::vector<Assumption> assumed;
  std::string name;  ///< of the tablet: what it was imported from
  std::size_t files = 0;
  std::uint64_t bytes = 0;
};

/// True for an image file, a Windows volume, and a folder or zip file of collect-tablet; false for a tablet's folder.
bool IsImportable(const std::filesystem::path& source);

/// Makes `folder` a tablet. Nothing of the source is changed or executed. Throws InputError.
ImportResult ImportTablet(const std::filesystem::path& source, const std::filesystem::path& folder,
                          const ImportOptions& options);

/// "the sales code: none; --sales-code CODE says it"
std::string TextOf(const Assumption& assumption);

}  // namespace cli
