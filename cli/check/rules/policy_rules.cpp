#include "cli/check/rules/policy_rules.h"

#include <fmt/format.h>

#include <algorithm>

#include "sim/tablet/base/text.h"

namespace cli {

namespace {

using Kind = CheckCase::Kind;
using CaseResult = CheckCase::Result;

void Allow(CheckFinding& finding, CheckPolicy& policy) {
  for (CheckPolicy::Allowance& allowance : policy.allowances) {
    bool const there = finding.place.Text().find(allowance.place) != std::string::npos ||
                       finding.text.find(allowance.place) != std::string::npos;
    if (allowance.id != finding.id || !there) continue;
    allowance.used = true;
    if (!finding.allowed) finding.allowed = allowance.reason;
  }
}

class Comparison {
 public:
  Comparison(CheckPolicy& policy, TabletCheck& check, const TabletPlaces& places)
      : policy_(policy), check_(check), places_(places) {}

  void Work() {
    for (CheckCase& one : check_.cases) {
      if (const PolicyValue* const wanted = Wanted(one)) Compare(one, *wanted);
    }
    for (std::size_t i = 0; i < check_.findings.size(); ++i) AllowWhatWasToFail(i);
    for (std::size_t i = 0; i < check_.archives.size(); ++i) CheckSizes(i);
    for (const CheckPolicy::Allowance& allowance : policy_.allowances) {
      if (allowance.used) continue;
      Add({"policy-unused", policy_.At(allowance.line),
           fmt::format("nothing needs the allowance of \"{}\"{}", allowance.id,
                       allowance.place.empty() ? "" : fmt::format(" at \"{}\"", allowance.place)),
           "remove it"});
    }
  }

 private:
  std::size_t Add(CheckFinding finding) { return AddFinding(check_.findings, std::move(finding), nullptr); }

  const PolicyValue* Wanted(const CheckCase& one) const {
    if (one.kind == Kind::kOwn || one.result == CaseResult::kNotNeeded) return nullptr;
    if (one.kind == Kind::kNone) return policy_.none ? &*policy_.none : nullptr;
    auto const& map = one.kind == Kind::kCode ? policy_.codes : policy_.ids;
    auto found = map.find(one.row.name);
    if (found == map.end()) found = map.find("*");
    return found == map.end() ? nullptr : &found->second;
  }

  void Compare(CheckCase& one, const PolicyValue& wanted) {
    std::string const title = TitleOf(one);
    bool const same = tablet::EqualIgnoringCase(tablet::ToUtf16(one.row.archive), tablet::ToUtf16(wanted.text));
    if (wanted.text != kExpectedToFail) {
      if (!same)
        Refuse(one, wanted, fmt::format("{} gets {}, and the policy expects {}", title, one.row.archive, wanted.text));
    } else if (one.fails()) {
      one.result = CaseResult::kFailsAsWanted;
    } else {
      Refuse(one, wanted, fmt::format("{} gets {}, and the policy expects that it fails", title, one.row.archive));
    }
  }

  void Refuse(CheckCase& one, const PolicyValue& wanted, std::string text) {
    one.result = CaseResult::kFails;
    one.reason = text;
    one.findings.push_back(
        Add({"policy-archive", policy_.At(wanted.line), std::move(text), "correct the maps, or the policy"}));
  }

  /// What only those cases meet that were to fail.
  void AllowWhatWasToFail(std::size_t index) {
    bool met = false;
    for (const CheckCase& one : check_.cases) {
      if (std::ranges::find(one.findings, index) == one.findings.end()) continue;
      if (one.result != CaseResult::kFailsAsWanted) return;
      met = true;
    }
    if (met) check_.findings[index].allowed = "the policy expects that it fails";
  }

  void CheckSizes(std::size_t index) {
    const CheckedArchive& archive = check_.archives[index];
    const TrialResult& trial = archive.trial;
    if (!archive.present || !trial.crash.empty()) return;
    if (policy_.most_bytes && trial.written > *policy_.most_bytes) {
      RefuseArchive(index, "policy-size", {archive.file, 0, {}},
                    fmt::format("its deployment writes {}, and the policy allows {}", HumanBytes(trial.written),
                                HumanBytes(*policy_.most_bytes)),
                    "make the archive smaller, or correct the policy");
    }
    if (!policy_.free_bytes) return;
    if (!trial.free_bytes) {
      RefuseArchive(index, "policy-free", places_.OfSetting("drive.free_bytes"),
                    "the policy asks for free space, and tablet.json does not say how much there is",
                    "write drive.free_bytes into tablet.json");
    } else if (*trial.free_bytes < *policy_.free_bytes) {
      RefuseArchive(index, "policy-free", {archive.file, 0, {}},
                    fmt::format("its deployment leaves {} free, and the policy asks for {}",
                                HumanBytes(*trial.free_bytes), HumanBytes(*policy_.free_bytes)),
                    "make room on the drive, or correct the policy");
    }
  }

  /// Every case that gets the archive fails.
  void RefuseArchive(std::size_t index, std::string_view id, FindingPlace place, const std::string& text,
                     std::string next) {
    std::size_t const finding = Add({std::string(id), std::move(place), text, std::move(next)});
    check_.archives[index].findings.push_back(finding);
    for (CheckCase& one : check_.cases) {
      if (one.archive != index || one.fails() || one.result == CaseResult::kFailsAsWanted) continue;
      one.result = CaseResult::kFails;
      one.reason = text;
      one.findings.push_back(finding);
    }
  }

  CheckPolicy& policy_;
  TabletCheck& check_;
  const TabletPlaces& places_;
};

}  // namespace

std::size_t AddFinding(std::vector<CheckFinding>& findings, CheckFinding finding, CheckPolicy* policy) {
  auto const same = std::ranges::find_if(findings, [&](const CheckFinding& known) {
    return known.id == finding.id && known.text == finding.text && known.place.Text() == finding.place.Text();
  });
  if (same != findings.end()) return static_cast<std::size_t>(same - findings.begin());
  if (policy != nullptr && finding.severity() == Severity::kWarning) Allow(finding, *policy);
  findings.push_back(std::move(finding));
  return findings.size() - 1;
}

void ApplyPolicy(CheckPolicy& policy, TabletCheck& check, const TabletPlaces& places) {
  Comparison(policy, check, places).Work();
}

}  // namespace cli
