#include "cli/sweep/sweep_check.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>

#include "cli/sweep/sweep_messages.h"
#include "sim/tablet/base/text.h"

namespace cli {

namespace {

constexpr std::u16string_view kSystem32 = u"C:\\WINDOWS\\SYSTEM32\\";
constexpr std::u16string_view kToastFolder = u"C:\\WINDOWS\\TOASTGENERATOR\\";

/// Where a run may make, write or change something.
bool IsInside(const tablet::FileChange& change) {
  std::u16string const path = tablet::FoldCase(change.path);
  return path.starts_with(kSystem32) || path.starts_with(kToastFolder) || path.starts_with(kRetailLog);
}

/// What a change outside of the target folders is called: with the rule that lets it be, where there is one.
std::string Outside(const tablet::FileChange& change, const Expectations& expected) {
  std::u16string const path = tablet::FoldCase(change.path);
  std::string shown = tablet::ToUtf8(change.path);
  if (expected.above_target.contains(path)) return shown + std::string(kStepUp);
  bool const is_target = path + u'\\' == kSystem32 || path + u'\\' == kToastFolder;
  bool const attributes_only = change.attributes && !change.created && !change.written && change.moved_from.empty();
  if (is_target && attributes_only) return shown + std::string(kTargetFolder);
  return shown + " was made or changed";
}

/// What is open, except what stays open on purpose: the modem's control device and the key of each deleted value. The
/// status handle is never closed.
std::vector<std::string> Unexpected(std::vector<std::string> left, std::size_t deletions) {
  auto const expect = [&](std::string_view kind, std::size_t count) {
    for (; count != 0; --count) {
      auto const found = std::ranges::find(left, kind);
      if (found != left.end()) left.erase(found);
    }
  };
  expect("service status", 1);
  expect("device", 1);
  expect("key", deletions);
  return left;
}

}  // namespace

RunJudge::RunJudge(const SweepGround& ground, const SweepTask& task, TabletRun& run, Verdict& verdict)
    : ground_(ground), task_(task), run_(run), verdict_(verdict), before_(MarksOf(run.machine().registry())) {}

RunFacts RunJudge::Facts(RunEnd::Kind end, std::vector<std::string> broken) const {
  const tablet::ServiceManager& services = run_.machine().services();
  RunFacts facts{.calls = ground_.calls,
                 .failed = {},
                 .cut_at = task_.cut_at,
                 .end = end,
                 .status = services.status().state,
                 .deaths = services.deaths(),
                 .broken = std::move(broken)};
  for (std::size_t const known : task_.known) facts.failed.push_back(&ground_.calls[known]);
  return facts;
}

void RunJudge::Broken(std::string_view promise, const std::string& detail, std::vector<std::string> lines) {
  if (lines.empty()) lines = {detail};
  if (const KnownLimitation* const limitation = LimitationFor(promise, Facts(end_, std::move(lines)))) {
    verdict_.limitations.emplace_back(limitation->name);
  } else {
    verdict_.findings.push_back({std::string(promise), detail});
  }
}

void RunJudge::CheckDrive(bool at_a_cut) {
  tablet::Tablet& machine = run_.machine();
  DeploymentMarks const now = MarksOf(machine.registry());
  if (now != before_ && !IsComplete(ground_.expected, *ground_.archive, machine.drive())) {
    Broken(at_a_cut ? "paths-after-files" : "failed-deployment",
           fmt::format("the image is not complete, and {}",
                       now.request != before_.request ? "\"Distribute\" has changed" : "an image path has changed"));
  }
  for (const std::string& dump : LostDumps(ground_.expected, machine.drive())) Broken("dumps", dump + " is lost");
  for (const tablet::FileChange& change : machine.drive().Changes()) {
    if (!IsInside(change)) Broken("inside", Outside(change, ground_.expected));
  }
}

bool RunJudge::MayHang(const RunEnd& end) const {
  return LimitationFor("ends", Facts(end.kind, {end.message})) != nullptr;
}

void RunJudge::CheckEnd(const RunEnd& end) {
  end_ = end.kind;
  tablet::ServiceManager& services = run_.machine().services();
  verdict_.end = NameOf(end.kind);
  verdict_.calls += run_.machine().scheduler().calls();
  bool const stopped =
      services.status().state == tablet::kServiceStopped && services.ended() && !services.ended()->died;
  if (!stopped || services.deaths() != 0) Broken("ends", end.message);
  CheckDrive(false);
  if (stopped) CheckHandles();
  if (task_.kind == SweepTask::Kind::kFault) CheckReported();
}

void RunJudge::CheckHandles() {
  std::vector<std::string> const left = Unexpected(run_.machine().left_open(), *ground_.deletions);
  if (!left.empty()) Broken("handles", fmt::format("left open: {}", fmt::join(left, ", ")), left);
}

void RunJudge::CheckReported() {
  const KnownCall& call = ground_.calls[task_.known[0]];
  const MessageRule* const rule = RuleFor(call, task_.faults[0].error);
  if (rule == nullptr) {
    verdict_.findings.push_back({"told", "no rule names the message for a failure of this call"});
    return;
  }
  if (rule->message.empty()) return;
  // Without a trace session there is no message; nor is there in a run that ends before.
  bool const ended = run_.machine().services().status().state == tablet::kServiceStopped;
  if (!call.heard || !ended || !verdict_.triggered) return;
  if (IsReported(*rule, call, run_.machine().journal().Messages())) return;
  // What changed nothing needs no message.
  bool const harmless =
      rule->unless_harmless &&
      Differences(ground_.after_one, WithoutSetup(StateOf(run_.machine(), ground_.description.power_on))).empty();
  if (harmless) return;
  Broken("told", fmt::format("no message with \"{}\"", rule->message));
}

void RunJudge::CheckState(std::string_view promise, const TabletState& state,
                          const std::vector<const TabletState*>& wanted) {
  std::vector<std::string> fewest;
  for (const TabletState* const one : wanted) {
    std::vector<std::string> lines = Differences(*one, state);
    if (lines.empty()) return;
    if (fewest.empty() || lines.size() < fewest.size()) fewest = std::move(lines);
  }
  std::string detail = fewest.front();
  if (fewest.size() > 1) detail += fmt::format(" (and {} more)", fewest.size() - 1);
  Broken(promise, detail, fewest);
}

}  // namespace cli
