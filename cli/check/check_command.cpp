#include "cli/check/check_command.h"

#include <fmt/format.h>

#include "cli/base/exit_code.h"
#include "cli/base/json_text.h"
#include "cli/base/output_file.h"
#include "cli/base/work_folder.h"
#include "cli/check/printers/check_text.h"
#include "sim/tablet/base/input_error.h"

namespace cli {

namespace {

/// The source's path in place of that of the folder it was imported into.
void NameSource(std::string& path, const std::string& folder, const std::string& source) {
  if (path.starts_with(folder)) path = source + path.substr(folder.size());
}

/// An image, a volume or a collection: imported into a temporary folder, with places as below the source. What the
/// source did not say is a note.
TabletCheck CheckImported(const std::filesystem::path& source, const CheckOptions& options, Console& console) {
  WorkFolder const work = WorkFolder::Temporary();
  std::filesystem::path const folder = work.path() / "tablet";
  ImportResult const imported = ImportTablet(source, folder, options.import);
  TabletCheck check = CheckTablet(folder, options.settings, console);
  check.folder = source.string();
  for (CheckFinding& finding : check.findings) NameSource(finding.place.file, folder.string(), source.string());
  for (CheckedArchive& archive : check.archives) {
    NameSource(archive.file, folder.string(), source.string());
    for (std::string& equal : archive.equal) NameSource(equal, folder.string(), source.string());
  }
  for (const Assumption& one : imported.assumed) {
    check.findings.push_back({"assumed",
                              {source.string(), 0, {}},
                              fmt::format("{}: {}", one.unknown, one.taken),
                              fmt::format("import it to say otherwise: {}", one.say)});
  }
  return check;
}

/// One tablet. What cannot be read at all is a finding too, and does not end the other checks.
TabletCheck CheckOne(const std::filesystem::path& source, const CheckOptions& options, Console& console) {
  try {
    return IsImportable(source) ? CheckImported(source, options, console)
                                : CheckTablet(source, options.settings, console);
  } catch (const tablet::InputError& error) {
    TabletCheck check;
    check.folder = source.string();
    check.well_formed = false;
    check.findings.push_back({"folder", {error.place(), 0, {}}, error.problem(), error.next()});
    return check;
  }
}

void WriteFiles(const CheckOptions& options, const std::vector<TabletCheck>& checks) {
  if (options.junit) WriteOutput(*options.junit, JunitOf(checks));
  if (options.sarif) WriteOutput(*options.sarif, JsonText(SarifOf(checks), 2) + "\n");
  if (options.report) WriteOutput(*options.report, CheckPage(checks));
}

}  // namespace

int Check(const CheckOptions& options, Console& console) {
  std::vector<Output> files;
  if (options.junit) files.push_back({"--junit", *options.junit});
  if (options.sarif) files.push_back({"--sarif", *options.sarif});
  if (options.report) files.push_back({"--report", *options.report});
  std::vector<std::filesystem::path> inputs = options.tablets;
  if (options.settings.policy) inputs.push_back(*options.settings.policy);
  CheckOutputs(files, inputs, options.force);
  std::vector<TabletCheck> checks;
  int code = kDone;
  for (const std::filesystem::path& source : options.tablets) {
    TabletCheck check = CheckOne(source, options, console);
    if (!check.well_formed) code = kBadInput;
    if (code == kDone && !check.well()) code = kNotAsExpected;
    if (!options.json) PrintCheck(check, console);
    checks.push_back(std::move(check));
  }
  WriteFiles(options, checks);
  if (options.json) PrintJson(console, DocumentOf(checks, code));
  return code;
}

}  // namespace cli
