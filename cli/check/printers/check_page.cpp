#include "cli/check/printers/check_text.h"

#include <fmt/format.h>

#include <set>

#include "cli/report/report_page.h"

namespace cli {

namespace {

constexpr std::string_view kHead = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta name="color-scheme" content="light dark">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'">
)";

// Beside the style of a run's page.
constexpr std::string_view kStyle = R"(
main { overflow-wrap: anywhere; }
.case { border-top: 1px solid var(--line); padding: .35rem 0; }
.case summary, .case .row { display: grid; grid-template-columns: 11rem 7rem 8.5rem 1fr; gap: .1rem .8rem;
  overflow-wrap: anywhere; }
.case summary { cursor: pointer; }
.case summary > span:first-child::before { content: "\25B8\00A0"; color: var(--soft); }
.case[open] summary > span:first-child::before { content: "\25BE\00A0"; }
.case .row > span:first-child { padding-left: 1.05rem; }
.case summary::-webkit-details-marker { display: none; }
.case summary { list-style: none; }
.case .why { color: var(--soft); }
.findings { list-style: none; margin: .5rem 0; padding: 0 0 0 1.05rem; }
.findings li { margin: .35rem 0; overflow-wrap: anywhere; }
.findings code { overflow-wrap: anywhere; }
.findings .next, .note { color: var(--soft); }
.warning { color: var(--warm); }
.start { margin: .5rem 0 .5rem 1.05rem; padding: .6rem .8rem; background: var(--page); border: 1px solid var(--line);
  border-radius: .4rem; overflow-x: auto; font: .78rem/1.45 ui-monospace, "Cascadia Mono", "DejaVu Sans Mono", monospace; }
@media (max-width: 40rem) {
  .case summary, .case .row { grid-template-columns: 1fr 1fr; }
  .case .why { grid-column: 1 / -1; padding-left: 1.05rem; }
}
)";

std::string_view ClassOf(const CheckCase& one) {
  if (one.fails()) return "bad";
  bool const good = one.result == CheckCase::Result::kDeploys || one.result == CheckCase::Result::kKeeps;
  return good ? "good" : "note";
}

std::string_view ClassOf(const CheckFinding& finding) {
  if (!finding.fails()) return "note";
  return finding.severity() == Severity::kError ? "bad" : "warning";
}

std::string ItemOf(const CheckFinding& finding) {
  std::string const word = finding.allowed ? "allowed" : std::string(NameOf(finding.severity()));
  std::string item = fmt::format(
      "<li><strong class=\"{}\">{}</strong> <code>{}</code> {}; <span class=\"next\">{}</span> "
      "<code class=\"note\">{}</code>",
      ClassOf(finding), word, Marked(finding.place.Text()), Marked(finding.text), Marked(finding.next),
      Marked(finding.id));
  if (finding.allowed) item += fmt::format(" <span class=\"note\">{}</span>", Marked(*finding.allowed));
  return item + "</li>\n";
}

class TabletSection {
 public:
  explicit TabletSection(const TabletCheck& check) : check_(check) {}

  std::string Text() {
    std::string text = fmt::format("<section>\n<h2>{}</h2>\n<p class=\"{}\">{}</p>\n",
                                   Marked(check_.folder + (check_.name.empty() ? "" : ": " + check_.name)),
                                   check_.well() ? "good" : "bad", Marked(VerdictOf(check_)));
    for (const CheckCase& one : check_.cases) text += RowOf(one);
    std::string rest;
    for (std::size_t i = 0; i < check_.findings.size(); ++i) {
      if (!told_.contains(i)) rest += ItemOf(check_.findings[i]);
    }
    if (!rest.empty()) text += "<h3>The tablet itself</h3>\n<ul class=\"findings\">\n" + rest + "</ul>\n";
    if (std::string const stops = StopsOf(check_); !stops.empty())
      text += "<p class=\"note\">" + Marked(stops) + ".</p>\n";
    return text + "</section>\n";
  }

 private:
  std::string RowOf(const CheckCase& one) {
    std::string const cells = fmt::format(
        "<span>{}</span><span>{}</span><span class=\"{}\">{}</span><span class=\"why\">{}</span>", Marked(TitleOf(one)),
        Marked(one.row.archive), ClassOf(one), NameOf(one.result), Marked(one.reason));
    std::string inside;
    for (std::size_t const index : one.findings) {
      told_.insert(index);
      inside += ItemOf(check_.findings[index]);
    }
    if (!inside.empty()) inside = "<ul class=\"findings\">\n" + inside + "</ul>\n";
    if (one.archive) inside += StartOf(check_.archives[*one.archive]);
    if (inside.empty()) return "<div class=\"case\"><div class=\"row\">" + cells + "</div></div>\n";
    return "<details class=\"case\"><summary>" + cells + "</summary>\n" + inside + "</details>\n";
  }

  /// The start that was tried, once for each archive.
  std::string StartOf(const CheckedArchive& archive) {
    if (archive.trial.story.empty()) return {};
    if (!shown_.insert(&archive).second) {
      return fmt::format("<p class=\"findings note\">Its start is the one shown above for {}.</p>\n",
                         Marked(archive.path));
    }
    std::string lines;
    for (const std::string& line : archive.trial.story) lines += Marked(line) + "\n";
    return "<pre class=\"start\" tabindex=\"0\">" + lines + "</pre>\n";
  }

  const TabletCheck& check_;
  std::set<std::size_t> told_;
  std::set<const CheckedArchive*> shown_;
};

}  // namespace

std::string CheckPage(const std::vector<TabletCheck>& checks) {
  std::size_t well = 0;
  std::string sections;
  for (const TabletCheck& check : checks) {
    well += check.well() ? 1U : 0U;
    sections += TabletSection(check).Text();
  }
  std::string const outcome = well == checks.size() ? "Every tablet comes up with its firmware"
                                                    : fmt::format("{} of {} would fail", checks.size() - well,
                                                                  Counted(checks.size(), "tablet"));
  std::string page(kHead);
  page +=
      fmt::format("<title>Check: {}</title>\n<style>\n{}{}</style>\n</head>\n<body>\n", outcome, ReportStyle(), kStyle);
  page += fmt::format(
      "<header>\n<p class=\"kicker\">Vantord on a simulated tablet</p>\n<h1>Check before shipping</h1>\n"
      "<p class=\"outcome {}\">{}.</p>\n</header>\n<main>\n",
      well == checks.size() ? "good" : "bad", outcome);
  page += sections;
  page += "</main>\n<footer><p>Made by vantord-tablet " VANTORD_TABLET_VERSION
          ". The same tablets give the same page.</p></footer>\n</body>\n</html>\n";
  return page;
}

}  // namespace cli
