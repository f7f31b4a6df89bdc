#include "cli/archive/lint_command.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "cli/archive/lint.h"
#include "cli/base/exit_code.h"
#include "cli/base/json_text.h"

namespace cli {

namespace {

using nlohmann::ordered_json;
using Style = Console::Style;

std::string TextOf(const ordered_json& value) { return value.is_string() ? value.get<std::string>() : std::string(); }

/// Where an entry of this name should land.
std::string PlainLanding(std::string name) {
  std::replace(name.begin(), name.end(), '/', '\\');
  if (name.ends_with('\\')) name.pop_back();
  return "C:\\windows\\system32\\" + name;
}

void PrintEntry(Console& console, const ordered_json& entry) {
  std::string const verdict = TextOf(entry["verdict"]);
  bool const accepted = verdict == "accepted";
  std::string const size = entry["folder"].get<bool>() ? "folder" : HumanBytes(entry["bytes"].get<std::uint64_t>());
  std::string const lands = entry["lands"].is_null() ? "-" : TextOf(entry["lands"]);
  std::string const head = fmt::format("{:>5}  {:<11}", entry["index"].get<std::size_t>(), verdict);
  console.Line(fmt::format("{}  {:>10}  {}", console.Styled(accepted ? Style::kGood : Style::kBad, head), size,
                           TextOf(entry["name"])));
  if (accepted && lands != PlainLanding(TextOf(entry["name"]))) {
    console.Line(console.Styled(Style::kDim, fmt::format("{:>32}lands at {}", "", lands)));
  }
  if (!accepted && !entry["code"].is_null()) {
    console.Line(fmt::format("{:>32}{}: {}", "", TextOf(entry["code"]), TextOf(entry["reason"])));
  }
}

void Print(Console& console, const ordered_json& found) {
  std::string const verdict = TextOf(found["verdict"]);
  bool const deploys = verdict == "deploys";
  console.Line(console.Styled(Style::kStrong, TextOf(found["archive"])));
  for (const ordered_json& entry : found["entries"]) PrintEntry(console, entry);
  for (const ordered_json& warning : found["warnings"]) {
    std::string const entry =
        warning["entry"].is_null() ? "" : fmt::format("entry {}: ", warning["entry"].get<std::size_t>());
    console.Line(fmt::format("  {}  {}{}", console.Styled(Style::kBad, "warning"), entry, TextOf(warning["text"])));
  }
  std::string sizes = HumanBytes(found["unpacked_bytes"].get<std::uint64_t>()) + " unpacked";
  if (!found["free_bytes"].is_null()) {
    sizes += fmt::format(", {} free on the tablet", HumanBytes(found["free_bytes"].get<std::uint64_t>()));
  }
  console.Line(fmt::format("  {}  {}; {}",
                           console.Styled(deploys ? Style::kGood : Style::kBad, fmt::format("{:<9}", verdict)),
                           TextOf(found["reason"]), sizes));
}

}  // namespace

int LintArchives(const LintOptions& options, Console& console) {
  ordered_json archives = ordered_json::array();
  bool clean = true;
  for (const std::filesystem::path& archive : options.archives) {
    LintSubject subject{archive, options.tablet, options.time_out};
    if (!options.json && console.is_terminal()) {
      subject.on_progress = [&](std::uint64_t done, std::uint64_t whole) {
        if (whole == 0) console.EndProgress();
        console.Progress(fmt::format("of {}", archive.string()), done, whole);
      };
    }
    ordered_json found = Lint(subject);
    clean = clean && found["verdict"] == "deploys" && found["warnings"].empty();
    if (!options.json) Print(console, found);
    archives.push_back(std::move(found));
  }
  int const code = clean ? kDone : kNotAsExpected;
  if (options.json) PrintJson(console, {{"schema", 1}, {"exit_code", code}, {"archives", std::move(archives)}});
  return code;
}

}  // namespace cli
