#include "cli/output/crash_report.h"

#include <fmt/format.h>

#include "cli/base/console.h"
#include "cli/output/story_teller.h"
#include "sim/tablet/base/text.h"

namespace cli {

namespace {

using nlohmann::ordered_json;
using Reset = CrashReport::Reset;

constexpr std::u16string_view kDumpFolder = u"C:\\Windows\\System32\\DriverState\\Services\\QCCDI\\Data\\ssr_dumps\\";

bool IsInDumpFolder(const std::u16string& path) {
  return path.size() > kDumpFolder.size() && tablet::EqualIgnoringCase(path.substr(0, kDumpFolder.size()), kDumpFolder);
}

std::string_view NameOf(Reset reset) {
  switch (reset) {
    case Reset::kNotAskedFor:
      return "not asked for";
    case Reset::kDone:
      return "done";
    case Reset::kNoDriver:
      return "no driver";
    case Reset::kRefused:
      return "refused";
    case Reset::kCalledOff:
      return "called off";
    case Reset::kStillWaits:
      return "waiting";
  }
  return "unknown";
}

}  // namespace

// Its messages are told apart by their tags.
void CrashReport::Take(const tablet::TraceEvent& message) {
  int const line = message.line.value_or(0);
  if (message.function == "CheckSSRDumpFile") {
    looked_for = true;
    if (line == 4444) found = true;
    if (line == 4461) ++failed_toasts;
  }
  if (message.function == "ExecuteSilentResetQCThread") {
    if (line == 4370) reset = Reset::kCalledOff;
    if (line == 4374) reset = Reset::kStillWaits;
    if (line == 4394) reset = Reset::kNoDriver;
  }
}

CrashReport CrashReport::Of(TabletRun& run) {
  CrashReport report;
  for (const tablet::Event& event : run.machine().journal().events()) {
    if (const auto* message = std::get_if<tablet::TraceEvent>(&event.what)) report.Take(*message);
  }
  for (const tablet::FileChange& file : run.machine().drive().Changes()) {
    if (!IsInDumpFolder(file.moved_from)) continue;
    report.dumps.push_back({tablet::ToUtf8(file.moved_from), tablet::ToUtf8(file.path)});
  }
  std::vector<tablet::FileFacts> files;
  run.machine().drive().Find(std::u16string(kDumpFolder) + u"*", files);
  for (const tablet::FileFacts& file : files) {
    if ((file.attributes & tablet::kAttributeDirectory) == 0)
      report.left.push_back(tablet::ToUtf8(kDumpFolder) + tablet::ToUtf8(file.name));
  }
  report.toasts = run.machine().processes().started();
  for (const tablet::AmssDriver::Request& request : run.machine().amss().requests()) {
    report.reset = request.answer == 0 ? Reset::kDone : Reset::kRefused;
    report.reset_at = request.at;
  }
  return report;
}

std::string CrashReport::DumpsText() const {
  if (!looked_for) return "not looked for";
  if (!found) return "none was there";
  if (dumps.empty()) return "found, and not moved";
  std::string const& first = dumps.front().to;
  return fmt::format("{} moved to {}", Counted(dumps.size(), "file"), first.substr(0, first.rfind('\\')));
}

std::string CrashReport::LeftText() const {
  if (left.empty()) return {};
  constexpr std::size_t kNamed = 3;
  std::string text = fmt::format("{} left behind in {}:", Counted(left.size(), "file"),
                                 left.front().substr(0, left.front().rfind('\\')));
  for (std::size_t i = 0; i < left.size() && i < kNamed; ++i) {
    text += fmt::format("{}{}", i == 0 ? " " : ", ", left[i].substr(left[i].rfind('\\') + 1));
  }
  if (left.size() > kNamed) text += fmt::format(" and {} more", left.size() - kNamed);
  return text;
}

std::string CrashReport::ToastText() const {
  if (!found) return "none was due";
  std::string const attempts = Counted(failed_toasts, "attempt") + " failed";
  if (toasts.empty()) return "not shown: " + attempts;
  const tablet::StartedProgram& toast = toasts.back();
  std::string const user = toast.user.empty() ? "nobody" : tablet::ToUtf8(toast.user);
  std::string text = fmt::format("shown to {} in session {} at {} s", user, toast.session, FormatTime(toast.at));
  if (failed_toasts != 0) text += fmt::format(", after {}", attempts);
  return text;
}

std::string CrashReport::ResetText() const {
  switch (reset) {
    case Reset::kNotAskedFor:
      return "not asked for";
    case Reset::kDone:
      return fmt::format("reset at {} s", FormatTime(reset_at));
    case Reset::kNoDriver:
      return "not reset: the driver for it could not be opened";
    case Reset::kRefused:
      return fmt::format("not reset: the driver refused at {} s", FormatTime(reset_at));
    case Reset::kCalledOff:
      return "not reset: the service was stopped during first-boot setup";
    case Reset::kStillWaits:
      return "not reset: first-boot setup did not end";
  }
  return {};
}

ordered_json ToJson(const CrashReport& report) {
  ordered_json dumps = ordered_json::array();
  for (const CrashReport::Move& move : report.dumps) dumps.push_back({{"from", move.from}, {"to", move.to}});
  ordered_json toast;
  if (!report.toasts.empty()) {
    const tablet::StartedProgram& shown = report.toasts.back();
    toast = {{"at_ms", shown.at.count()}, {"session", shown.session}, {"user", nullptr}};
    if (!shown.user.empty()) toast["user"] = tablet::ToUtf8(shown.user);
  }
  ordered_json reset_at;
  if (report.reset == Reset::kDone || report.reset == Reset::kRefused) reset_at = report.reset_at.count();
  return {{"looked_for", report.looked_for}, {"found", report.found},
          {"dumps", std::move(dumps)},       {"left_behind", report.left},
          {"toast", std::move(toast)},       {"failed_toasts", report.failed_toasts},
          {"reset", NameOf(report.reset)},   {"reset_at_ms", std::move(reset_at)}};
}

}  // namespace cli
