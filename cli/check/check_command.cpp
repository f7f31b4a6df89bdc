#include "cli/check/check_command.h"

#include <fmt/format.h>

#include "cli/base/exit_code.h"
#include "cli/base/json_text.h"
#include "cli/base/output_file.h"
#include "cli/check/check_document.h"
#include "cli/check/check_junit.h"
#include "cli/check/check_page.h"
#include "cli/check/check_sarif.h"
#include "cli/check/check_text.h"
#include "sim/tablet/base/input_error.h"

namespace cli {

namespace {

/// One tablet. What cannot be read at all is a finding too, and ends no other check. The folder of a source that is no
/// tablet's folder yet is made here.
TabletCheck CheckOne(const std::filesystem::path& source, const CheckSettings& settings, Console& console) {
  try {
    return CheckTablet(source, settings, console);
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
  if (options.sarif) WriteOutput(*options.sarif, SarifOf(checks).dump(2, ' ', false, kReplace) + "\n");
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
    TabletCheck check = CheckOne(source, options.settings, console);
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
