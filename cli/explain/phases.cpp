#include "cli/explain/phases.h"

#include <algorithm>

namespace cli {

namespace {

constexpr std::string_view kStart = "start";
constexpr std::string_view kSettings = "settings";
constexpr std::string_view kToast = "toast archive";
constexpr std::string_view kChoice = "choice";
constexpr std::string_view kExtraction = "extraction";
constexpr std::string_view kSetup = "wait for setup";
constexpr std::string_view kReset = "modem reset";
constexpr std::string_view kDumps = "dumps";
constexpr std::string_view kPartner = "partner";
constexpr std::string_view kStop = "stop";

/// A message that begins or ends a phase.
struct Mark {
  std::string_view function;
  int number;
  std::string_view phase;
  bool begins;
};

constexpr Mark kMarks[] = {
    {"CVantord::OnStart", 62, kStart, true},
    {"CVantord::OnStart", 69, kStart, false},
    {"CServiceBase::SetServiceStatus", 101, kStart, false},  // the first one reports RUNNING
    {"CVantord::ServiceWorkerThread", 104, kSettings, true},
    {"CImageSelector::HideModemFiles", 193, kChoice, false},
    {"CImageSelector::HideModemFiles", 199, kChoice, false},
    {"CImageSelector::HideModemFiles", 207, kChoice, false},
    {"CImageSelector::HideModemFiles", 222, kChoice, false},
    {"ExecuteSilentResetQCThread", 4374, kSetup, true},
    {"ExecuteSilentResetQCThread", 4370, kSetup, false},
    {"ExecuteSilentResetQCThread", 4378, kSetup, false},
    {"ExecuteSilentResetQCThread", 4378, kReset, true},
    {"ExecuteSilentResetQCThread", 4394, kReset, false},
    {"ExecuteSilentResetQCThread", 4412, kReset, false},
    {"ExecuteSilentResetQCThread", 4418, kReset, false},
    {"CheckSSRDumpFile", 4444, kDumps, true},
    {"CheckSSRDumpFile", 4466, kDumps, false},
    {"CVantord::StartServiceOEM", 119, kPartner, true},
    {"CVantord::StartServiceOEM", 91, kPartner, false},
    {"CVantord::StartServiceOEM", 94, kPartner, false},
    {"CVantord::OnStop", 114, kStop, true},
    {"CVantord::OnPreshutdown", 119, kStop, true},
};

}  // namespace

void Phases::Begin(std::string_view name, tablet::Millis time) {
  if (std::ranges::find(all_, name, &Phase::name) == all_.end()) all_.push_back({name, time, std::nullopt});
}

void Phases::End(std::string_view name, tablet::Millis time) {
  auto const found = std::ranges::find(all_, name, &Phase::name);
  if (found != all_.end() && !found->to) found->to = time;
}

/// Entries and exits of functions.
void Phases::TakeBound(const tablet::TraceEvent& message, tablet::Millis time) {
  bool const entry = message.text.ends_with(": (+)");
  if (message.function == "CImageSelector::UnzipBinary") {
    extractions_ += entry ? 1 : 0;
    std::string_view const phase = extractions_ > 1 ? kExtraction : kToast;
    End(kSettings, time);
    if (entry && extractions_ > 1) End(kChoice, time);
    if (entry) {
      Begin(phase, time);
    } else {
      End(phase, time);
      if (phase == kToast) Begin(kChoice, time);
    }
  }
}

void Phases::Take(const tablet::TraceEvent& message, tablet::Millis time) {
  if (!message.line) return TakeBound(message, time);
  if (message.function == "CVantord::StartServiceOEM") {
    // The worker's last step.
    End(kSettings, time);
    End(kDumps, time);
  }
  for (const Mark& mark : kMarks) {
    if (mark.number != *message.line || mark.function != message.function) continue;
    if (mark.begins) {
      Begin(mark.phase, time);
    } else {
      End(mark.phase, time);
    }
  }
}

void Phases::Finish(tablet::Millis last) { End(kStop, last); }

}  // namespace cli
