// What a sweep knows of a tablet beforehand: the contents of its archives, read by another reader than the service's,
// the request for the deployment, the dumps.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "sim/tablet/machine/tablet.h"

namespace cli {

struct ExpectedFile {
  std::u16string path;  ///< full, "C:\..."
  std::uint64_t size = 0;
  std::uint32_t sum = 0;
};

/// What says whether firmware was deployed, as a run finds or leaves it.
struct DeploymentMarks {
  std::optional<tablet::RegistryValue> request;  ///< "Distribute"
  std::map<std::u16string, tablet::RegistryValue> image_paths;
  bool operator==(const DeploymentMarks&) const = default;
};
DeploymentMarks MarksOf(const tablet::Registry& registry);

/// The contents of an archive of the modem. They are unpacked on request only: few runs need them.
class ExpectedArchive {
 public:
  explicit ExpectedArchive(std::filesystem::path file) : file_(std::move(file)) {}

  /// Nothing for an archive that libarchive cannot read: it has no files that could be in place.
  const std::optional<std::vector<ExpectedFile>>& Files() const;
  bool is_read() const { return is_read_; }

 private:
  std::filesystem::path file_;
  mutable bool is_read_ = false;
  mutable std::optional<std::vector<ExpectedFile>> files_;
};

struct Expectations {
  std::map<std::u16string, ExpectedArchive> archives;  ///< by path in upper case
  std::uint64_t largest_archive = 0;                   ///< bytes, of the modem's archives
  std::uint64_t most_entries = 0;                      ///< files in one of them
  std::map<std::u16string, std::uint32_t> dumps;       ///< name -> sum
  /// In upper case: where entries lead whose name begins with a step up ("../"), and the folders on the way. Those are
  /// outside of their target, which the rule for names lets them be.
  std::set<std::u16string> above_target;
};
Expectations ExpectationsOf(tablet::Tablet& machine);

/// Whether a run has needed the contents of an archive; ReadArchives reads all that no run has.
bool NeedsArchives(const Expectations& expected);
void ReadArchives(const Expectations& expected);

/// Whether every file of an archive of the modem is in place, with its bytes. False for an unknown archive.
bool IsComplete(const Expectations& expected, std::u16string_view archive, tablet::Drive& drive);

/// The dumps that are neither in the modem's folder nor in one of the retail log, whole.
std::vector<std::string> LostDumps(const Expectations& expected, tablet::Drive& drive);

inline constexpr std::u16string_view kModemArchiveFolder = u"C:\\WINDOWS\\SYSTEM32\\MODEM_CORE\\";
inline constexpr std::u16string_view kDumpFolder =
    u"C:\\WINDOWS\\SYSTEM32\\DRIVERSTATE\\SERVICES\\QCCDI\\DATA\\SSR_DUMPS";
inline constexpr std::u16string_view kRetailLog = u"C:\\USERS\\PUBLIC\\DOCUMENTS\\RETAILLOG";

}  // namespace cli
