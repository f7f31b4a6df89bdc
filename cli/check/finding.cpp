#include "cli/check/finding.h"

#include <fmt/format.h>

#include <algorithm>

#include "cli/base/json_text.h"

namespace cli {

namespace {

using enum Severity;

// The rules of archives' entries and the warnings of lint have lint's own names after "entry-" and "archive-".
constexpr CheckRule kRules[] = {
    {"folder", kError, "the tablet's folder is well-formed"},
    {"service", kError, "the service is registered, starts by itself, and its program is on the drive"},
    {"version", kWarning, "the service's \"Version\" is a text of at most 14 characters"},
    {"zone-mask", kWarning, "\"ulZoneMask\" is a number of 4 bytes"},
    {"distribute", kError, "\"Distribute\" is a number of 4 bytes, 0 or 1"},
    {"ssr-flag", kWarning, "\"PELT_KNOW_TO_GO_SSR\" is a number of 4 bytes"},
    {"image-id", kError, "\"ModemImageID\" in the registry is a text of 1 to 9 characters of ASCII"},
    {"image-id-unmapped", kError, "the tablet's image ID is in the map of image IDs"},
    {"sales-code", kError, "the sales code in firmware can be read: 3 characters"},
    {"sales-code-unmapped", kError, "the tablet's sales code is in the map of sales codes"},
    {"firmware-image-id", kError, "the image ID in firmware can be read: at most 10 bytes"},
    {"firmware-vendor", kError, "the firmware variables that the service reads have its vendor's GUID"},
    {"firmware-driver", kError, "the driver for firmware variables is there and answers"},
    {"map-type", kError, "each entry of the maps is a text"},
    {"map-empty", kError, "each entry of the maps names an archive"},
    {"map-cut", kError, "the names in the maps have at most 9 characters"},
    {"map-unreachable", kError, "a tablet can have the code or ID of each entry of the maps"},
    {"driver-path", kError, "the driver's image paths are texts of at most 259 characters"},
    {"driver-instance", kError, "an instance of the modem's driver has a firmware path"},
    {"driver-instances", kWarning, "only one instance of the modem's driver has a firmware path"},
    {"key-access", kError, "the service's account may read and write its keys"},
    {"image-state", kWarning, "\"ImageState\" is a state that Windows writes, in its letter case"},
    {"crash-dumps", kWarning, "\"CrashDumpEnabled\" is a number of 4 bytes"},
    {"user-sid", kWarning, "the identifiers of users are texts"},
    {"toast-program", kWarning, "the program that notifies the user is there where dumps are collected"},
    {"toast-archive", kWarning, "the notice's pictures can be unpacked"},
    {"archive-missing", kError, "the chosen archive is a file on the drive"},
    {"archive-not-found", kError, "the service finds an archive in the chosen file"},
    {"archive-hangs", kError, "the service comes to the end of the archive"},
    {"archive-unknown", kError, "everything that the service does with the archive is modelled"},
    {"archive-unused", kWarning, "something leads to each file in the archives' folder"},
    {"entry-header", kError, "the headers of each entry can be read and agree"},
    {"entry-password", kError, "no entry is encrypted"},
    {"entry-full", kError, "each entry fits on the drive"},
    {"entry-method", kError, "each entry is stored or deflated"},
    {"entry-folder", kError, "a name that ends as a folder's does is a folder's"},
    {"entry-file", kError, "the file of each entry can be made"},
    {"entry-empty", kError, "no entry is empty"},
    {"entry-zip64", kError, "no entry needs Zip64"},
    {"entry-data", kError, "the data of each entry can be unpacked"},
    {"entry-device", kError, "no entry has a device's name"},
    {"archive-escapes", kWarning, "no entry lands outside of the system folder"},
    {"archive-parent", kWarning, "no entry's name steps up to a parent folder"},
    {"archive-drive", kWarning, "no entry's name begins with a drive"},
    {"archive-absolute", kWarning, "no entry's name begins with a separator"},
    {"archive-backslash", kWarning, "no entry's name holds a backslash"},
    {"archive-device", kWarning, "no part of a name is a device's"},
    {"archive-stream", kWarning, "no part of a name holds a colon"},
    {"archive-trailing", kWarning, "no part of a name ends in a dot or a blank"},
    {"archive-duplicate", kWarning, "no two entries land in one place"},
    {"archive-case", kWarning, "no two entries differ in letter case only"},
    {"archive-encoding", kWarning, "the names of entries are UTF-8"},
    {"archive-long-name", kWarning, "the names of entries have at most 259 bytes"},
    {"archive-long-path", kWarning, "the paths of entries have at most 259 characters"},
    {"archive-encrypted", kWarning, "no entry is marked as encrypted"},
    {"archive-checksum", kError, "the data of each entry is what its checksum declares"},
    {"archive-short", kError, "each entry has as many bytes as it declares"},
    {"archive-folder", kWarning, "the folders of entries can be made"},
    {"archive-image", kWarning, "the archive itself brings the files that the driver is pointed at"},
    {"archive-zip64", kWarning, "the archive has no Zip64 records"},
    {"archive-cut-off", kError, "the file is as long as the archive was made"},
    {"archive-end-record", kError, "the end record is where the service can reach it"},
    {"driver-file", kError, "the files that the driver is pointed at are there after the deployment"},
    {"not-deployed", kError, "a start deploys the archive"},
    {"driver-not-updated", kError, "the driver points at the new files after the deployment"},
    {"run", kError, "the service ends without an error when it is told to"},
    {"modem-reset", kWarning, "the modem is reset after the deployment"},
    {"second-boot", kError, "the start after a deployment deploys and changes nothing"},
    {"deployed-differs", kError, "where no start deploys, the files are those of the tablet's archive"},
    {"other-archives", kWarning, "where no start deploys, no code leads to another archive"},
    {"stop-anywhere", kError, "whenever the power goes or the stop comes, the next start mends it"},
    {"not-checked", kError, "the check itself comes to its end"},
    {"policy-archive", kError, "each code and ID leads to the archive that the policy names"},
    {"policy-free", kError, "so much space is left on the drive as the policy asks for"},
    {"policy-size", kError, "no deployment writes more than the policy allows"},
    {"policy-version", kError, "files of the archives have the versions that the policy names"},
    {"assumed", kNote, "an imported source says everything that the check needs"},
    {"policy-unused", kNote, "each allowance of the policy is needed"},
};

}  // namespace

std::string_view NameOf(Severity severity) {
  if (severity == kError) return "error";
  return severity == kWarning ? "warning" : "note";
}

std::string FindingPlace::Text() const {
  std::string text = line == 0 ? file : fmt::format("{}:{}", file, line);
  return entry.empty() ? text : fmt::format("{}: {}", text, entry);
}

Severity CheckFinding::severity() const {
  const CheckRule* const rule = FindCheckRule(id);
  return rule == nullptr ? kError : rule->severity;
}

std::span<const CheckRule> CheckRules() { return kRules; }

const CheckRule* FindCheckRule(std::string_view id) {
  const auto* const found = std::ranges::find(kRules, id, &CheckRule::id);
  return found == std::end(kRules) ? nullptr : found;
}

nlohmann::ordered_json ToJson(const CheckFinding& finding) {
  nlohmann::ordered_json line;
  if (finding.place.line != 0) line = finding.place.line;
  return {{"id", finding.id},        {"severity", NameOf(finding.severity())}, {"file", finding.place.file},
          {"line", std::move(line)}, {"entry", OrNull(finding.place.entry)},   {"text", finding.text},
          {"next", finding.next},    {"allowed", OrNull(finding.allowed)}};
}

}  // namespace cli
