#include "cli/check/printers/check_text.h"

#include <fmt/format.h>

#include <algorithm>

#include "cli/base/escape.h"

namespace cli {

namespace {

using Style = Console::Style;
using Result = CheckCase::Result;

Style StyleOf(const CheckCase& one) {
  if (one.fails()) return Style::kBad;
  return one.result == Result::kDeploys || one.result == Result::kKeeps ? Style::kGood : Style::kDim;
}

Style StyleOf(const CheckFinding& finding) {
  if (!finding.fails()) return Style::kDim;
  return finding.severity() == Severity::kError ? Style::kBad : Style::kAccent;
}

void PrintCases(const TabletCheck& check, Console& console) {
  std::size_t widest = 0;
  for (const CheckCase& one : check.cases) widest = std::max(widest, TitleOf(one).size());
  console.Line(console.Styled(Style::kStrong, fmt::format("  {:<{}}  {:<10}  {:<16}  {}", "a tablet with", widest,
                                                          "gets", "result", "reason")));
  for (const CheckCase& one : check.cases) {
    std::string const result = fmt::format("{:<16}", NameOf(one.result));
    console.Line(fmt::format("  {:<{}}  {:<10}  {}  {}", TitleOf(one), widest, one.row.archive,
                             console.Styled(StyleOf(one), result), one.reason));
  }
}

void PrintFinding(const CheckFinding& finding, Console& console) {
  std::string const word = finding.allowed ? "allowed" : std::string(NameOf(finding.severity()));
  console.Line(fmt::format("  {}  {}: {}; {} [{}]", console.Styled(StyleOf(finding), fmt::format("{:<7}", word)),
                           console.Styled(Style::kStrong, finding.place.Text()), finding.text, finding.next,
                           finding.id));
  if (finding.allowed) console.Line(console.Styled(Style::kDim, fmt::format("{:>11}{}", "", *finding.allowed)));
}

}  // namespace

std::string VerdictOf(const TabletCheck& check) {
  auto const count = [&](Severity severity) {
    return std::ranges::count_if(check.findings, [&](auto& one) { return one.fails() && one.severity() == severity; });
  };
  auto const errors = static_cast<std::uint64_t>(count(Severity::kError));
  auto const warnings = static_cast<std::uint64_t>(count(Severity::kWarning));
  if (check.well()) {
    bool const needed = std::ranges::any_of(check.cases, [](auto& one) { return one.result != Result::kNotNeeded; });
    return needed ? "well: every case comes up with its firmware" : "well: no firmware is needed";
  }
  std::string text = check.well_formed ? "" : "not well-formed: ";
  if (errors != 0) text += Counted(errors, "error");
  if (warnings != 0) text += (errors != 0 ? ", " : "") + Counted(warnings, "warning");
  return text;
}

std::string Marked(std::string_view text) { return XmlText(Escaped(text)); }

std::string StopsOf(const TabletCheck& check) {
  if (check.stops.archives == 0) return {};
  bool const broken = std::ranges::any_of(check.findings, [](auto& one) { return one.id == "stop-anywhere"; });
  return fmt::format("{} and {} of threads tried with {}{}: {}", Counted(check.stops.cuts, "power cut"),
                     Counted(check.stops.schedules, "order"), Counted(check.stops.archives, "archive"),
                     check.stops.all ? ", at every call" : "",
                     broken ? "not all is mended" : "the next start mends each");
}

void PrintCheck(const TabletCheck& check, Console& console) {
  console.Line(console.Styled(Style::kStrong, check.folder) + (check.name.empty() ? "" : "  " + check.name));
  if (!check.cases.empty()) PrintCases(check, console);
  if (!check.findings.empty()) console.Line("");
  for (const CheckFinding& finding : check.findings) PrintFinding(finding, console);
  if (std::string const stops = StopsOf(check); !stops.empty()) {
    console.Line("");
    console.Line("  " + stops);
  }
  console.Line("  " + console.Styled(check.well() ? Style::kGood : Style::kBad, VerdictOf(check)));
}

}  // namespace cli
