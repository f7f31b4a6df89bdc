#include "cli/check/trial_watch.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <utility>

#include "cli/archive/lint_warnings.h"
#include "cli/base/service_facts.h"
#include "cli/boot/call_text.h"
#include "sim/tablet/base/text.h"
#include "sim/tablet/drive/drive_path.h"

namespace cli {

namespace {

constexpr std::string_view kBegins = "CImageSelector::UnzipBinary:247 : Unzipping ";
constexpr std::string_view kStatus = "Unzipping status ";
constexpr std::string_view kInvalidHandle = "0xffffffffffffffff";

}  // namespace

TrialWatch::TrialWatch(TabletRun& run) {
  run.machine().journal().Listen([this](const tablet::Event& event) {
    if (const auto* call = std::get_if<tablet::CallEvent>(&event.what)) OnCall(*call);
    if (const auto* message = std::get_if<tablet::TraceEvent>(&event.what)) OnMessage(message->text);
  });
}

void TrialWatch::OnCall(const tablet::CallEvent& call) {
  if (!unpacks_) return;
  // The service looks at a target's attributes before anything else.
  if (call.name == "GetFileAttributesW" && target_.empty()) target_ = call.subject;
  if (call.name == "CreateFileW") error_ = call.result == kInvalidHandle ? call.last_error : 0;
}

void TrialWatch::OnMessage(const std::string& text) {
  if (text.starts_with(kBegins)) {
    unpacks_ = ContainsIgnoringCase(text, service_facts::kArchivePart);
    // A service that was started again begins anew.
    if (unpacks_) {
      trial_ = Trial();
      trial_.opened = true;
    }
    return;
  }
  std::size_t const at = text.find(kStatus);
  if (!unpacks_ || at == std::string::npos) return;
  TriedEntry entry;
  entry.target = std::exchange(target_, {});
  entry.create_error = error_;
  std::uint32_t code = 0;
  std::from_chars(text.data() + at + kStatus.size(), text.data() + text.size(), code, 16);
  entry.code = code;
  trial_.entries.push_back(std::move(entry));
}

Trial TrialWatch::Take(const RunEnd* end) const {
  Trial trial = trial_;
  trial.ended = end != nullptr;
  if (end == nullptr || end->kind != RunEnd::Kind::kNotModelled || target_.empty()) return trial;
  // The run was halted within an entry.
  trial.not_modelled = end->message;
  TriedEntry& entry = trial.entries.emplace_back();
  entry.target = target_;
  entry.device = tablet::NamesDosDevice(tablet::ToUtf16(target_));
  return trial;
}

void CompleteSurvey(Survey& survey, const Trial& trial, const tablet::Drive& drive) {
  std::map<std::u16string, std::size_t> last;  // entry, by where it lands
  for (std::size_t i = 0; i < std::min(survey.entries.size(), trial.entries.size()); ++i) {
    if (!survey.entries[i].folder) last[tablet::FoldCase(tablet::ToUtf16(LandingOf(trial.entries[i])))] = i;
  }
  for (auto const& [path, index] : last) {
    if (path.empty() || !drive.Exists(path)) continue;
    SurveyedEntry& entry = survey.entries[index];
    entry.delivered = drive.Facts(path).size;
    entry.read_to_end = trial.entries[index].code == 0u;
    entry.crc_differs = entry.read_to_end && entry.delivered == entry.bytes && drive.Sum(path) != entry.crc;
  }
}

}  // namespace cli
