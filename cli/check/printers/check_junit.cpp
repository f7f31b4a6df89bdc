#include "cli/check/printers/check_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

namespace cli {

namespace {

std::string LineOf(const CheckFinding& finding) {
  return fmt::format("{}: {}; {} [{}]\n", Marked(finding.place.Text()), Marked(finding.text), Marked(finding.next),
                     finding.id);
}

class Suite {
 public:
  explicit Suite(const TabletCheck& check) : check_(check) {}

  std::string Text() {
    std::set<std::size_t> told;
    for (const CheckCase& one : check_.cases) {
      std::string lines;
      for (std::size_t const index : one.findings) {
        told.insert(index);
        if (check_.findings[index].fails()) lines += LineOf(check_.findings[index]);
      }
      AddCase(TitleOf(one), one.fails() ? one.reason : "", lines);
    }
    std::string rest;
    for (std::size_t i = 0; i < check_.findings.size(); ++i) {
      if (!told.contains(i) && check_.findings[i].fails()) rest += LineOf(check_.findings[i]);
    }
    AddCase("the tablet itself", rest.empty() ? "" : "the tablet would fail", rest);
    return fmt::format("  <testsuite name=\"{}\" tests=\"{}\" failures=\"{}\">\n{}  </testsuite>\n",
                       Marked(check_.folder), count_, failures_, cases_);
  }

 private:
  void AddCase(const std::string& name, const std::string& failure, const std::string& lines) {
    ++count_;
    cases_ += fmt::format("    <testcase classname=\"{}\" name=\"{}\"", Marked(check_.folder), Marked(name));
    if (failure.empty() && lines.empty()) {
      cases_ += "/>\n";
      return;
    }
    ++failures_;
    cases_ += fmt::format(">\n      <failure message=\"{}\">{}</failure>\n    </testcase>\n",
                          Marked(failure.empty() ? "a warning" : failure), lines);
  }

  const TabletCheck& check_;
  std::size_t count_ = 0;
  std::size_t failures_ = 0;
  std::string cases_;
};

}  // namespace

std::string JunitOf(const std::vector<TabletCheck>& checks) {
  std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n";
  for (const TabletCheck& check : checks) text += Suite(check).Text();
  return text + "</testsuites>\n";
}

}  // namespace cli
