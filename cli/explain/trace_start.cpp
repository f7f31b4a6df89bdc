#include "cli/explain/trace_start.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

#include "cli/base/console.h"
#include "cli/output/story_teller.h"
#include "sim/tablet/base/text.h"

namespace cli {

namespace {

/// Different messages that are explained; more than the service has.
constexpr std::size_t kMostExplained = 300;
constexpr tablet::Millis kDisorder{1000};

bool Is(const tablet::TraceEvent& message, std::string_view function, int number) {
  return message.line == number && message.function == function;
}

}  // namespace

Meaning PartsOf(std::string_view meaning) {
  constexpr std::string_view kCause = " Cause: ";
  constexpr std::string_view kAction = " Do: ";
  std::size_t const cause = meaning.find(kCause);
  std::size_t const action = meaning.find(kAction);
  if (cause == std::string_view::npos || action == std::string_view::npos || action < cause) return {meaning, {}, {}};
  return {meaning.substr(0, cause), meaning.substr(cause + kCause.size(), action - cause - kCause.size()),
          meaning.substr(action + kAction.size())};
}

std::string_view NameOf(StartEnd end) {
  switch (end) {
    case StartEnd::kStopped:
      return "stopped";
    case StartEnd::kNoModem:
      return "no modem";
    case StartEnd::kRunning:
      return "running";
    case StartEnd::kUnfinished:
      return "unfinished";
  }
  return "unknown";
}

bool BeginsStart(const tablet::TraceEvent& message) { return Is(message, "CVantord::OnStart", 62); }

std::string WhoOf(const tablet::TraceEvent& message) {
  return message.line ? fmt::format("{}:{}", message.function, *message.line) : message.text;
}

TraceStart::TraceStart(std::size_t number, const TraceRecord& record)
    : number_(number),
      stamp_(record.stamp),
      process_(record.process),
      first_line_(record.line),
      last_line_(record.line),
      begin_(record.at) {}

tablet::Event TraceStart::Take(const TraceRecord& record) {
  last_line_ = record.line;
  if (record.at && begin_) {
    tablet::Millis const time(*record.at - *begin_);
    // Records of several processors may be a little out of order; clocks are set while a tablet starts.
    if (last_ - time > kDisorder) {
      ++steps_back_;
      begin_ = *record.at - last_.count();
    }
    last_ = std::max(last_, time);
  }
  tablet::Event event{
      .seq = record.sequence.value_or(0), .time = last_, .thread = record.thread, .call = 0, .what = record.what};
  if (const auto* message = std::get_if<tablet::TraceEvent>(&event.what)) TakeMessage(*message);
  return event;
}

void TraceStart::TakeMessage(const tablet::TraceEvent& message) {
  has_beginning_ = has_beginning_ || BeginsStart(message);
  ran_ =
      ran_ || Is(message, "CServiceBase::SetServiceStatus", 101) || Is(message, "CVantord::ServiceWorkerThread", 104);
  stopped_ = stopped_ || Is(message, "CVantord::OnStop", 114) || Is(message, "CVantord::OnPreshutdown", 119);
  no_modem_ = no_modem_ || Is(message, "CVantord::OnStart", 69);
  std::string_view const zone = ZoneOf(message);
  saw_details_ = saw_details_ || zone == "ZONE_DETAIL";
  saw_bounds_ = saw_bounds_ || (zone == "ZONE_FUNCTION" && !message.line);
  findings_.Take(message);
  TakeCrash(message);
  counts_.Take(message);
  phases_.Take(message, last_);
  Explain(message);
}

/// What a run knows from the tablet, as far as the service logs it.
void TraceStart::TakeCrash(const tablet::TraceEvent& message) {
  using Reset = CrashReport::Reset;
  crash_.Take(message);
  if (Is(message, "ExecuteSilentResetQCThread", 4412) || Is(message, "ExecuteSilentResetQCThread", 4418)) {
    crash_.reset = message.line == 4418 ? Reset::kDone : Reset::kRefused;
    crash_.reset_at = last_;
  }
  if (Is(message, "CopyMoveFiles", 1874)) {
    std::string const text = TextOnly(message);
    auto const from = Between(text, "Moving '", "' to '");
    auto const to = Between(text, "' to '", "'");
    if (from && to) crash_.dumps.push_back({*from, *to});
  }
  if (Is(message, "CopyMoveFiles", 1877) && !crash_.dumps.empty()) crash_.dumps.pop_back();
  if (Is(message, "GetActiveUserToken", 4094)) {
    std::string const session = Between(TextOnly(message), "Session id (", ")").value_or("");
    std::from_chars(session.data(), session.data() + session.size(), session_);
  }
  if (Is(message, "CheckSSRDumpFile", 4466)) {
    tablet::StartedProgram toast;
    toast.at = last_;
    toast.session = session_;
    crash_.toasts.push_back(std::move(toast));
  }
}

void TraceStart::Explain(const tablet::TraceEvent& message) {
  bool const failure = IsFailure(message);
  Meaning const meaning = PartsOf(MeaningOf(message));
  bool const remark = ZoneOf(message) == "always" && !meaning.cause.empty() && !meaning.action.starts_with("Nothing");
  if (!failure && !remark) return;
  auto const same = std::ranges::find_if(explained_, [&](const Explained& one) {
    return one.message.line == message.line && one.message.function == message.function &&
           (one.failure || one.message.text == message.text);
  });
  if (same != explained_.end()) {
    ++same->count;
  } else if (explained_.size() < kMostExplained) {
    explained_.push_back({message, failure, 1, last_});
  } else {
    ++unexplained_;
  }
}

StartEnd TraceStart::end() const {
  if (no_modem_) return StartEnd::kNoModem;
  if (stopped_) return StartEnd::kStopped;
  return ran_ ? StartEnd::kRunning : StartEnd::kUnfinished;
}

std::string TraceStart::EndText() const {
  switch (end()) {
    case StartEnd::kStopped:
      return "the service was stopped";
    case StartEnd::kNoModem:
      return "the service stopped itself: it found no modem";
    case StartEnd::kRunning:
      return "no stop is in the trace";
    case StartEnd::kUnfinished:
      return "the trace ends before the service runs";
  }
  return {};
}

std::string TraceStart::Failure() const {
  Deployment const outcome = findings().Outcome();
  if (outcome.state == Deployment::State::kFailed) return outcome.reason;
  return end() == StartEnd::kNoModem ? EndText() : std::string();
}

std::vector<std::string> TraceStart::Notes() const {
  std::vector<std::string> notes;
  if (!has_beginning_) notes.emplace_back("the trace begins after the start: what was logged before is not known");
  if (has_beginning_ && ran_ && !saw_details_) {
    notes.emplace_back(
        "no message of ZONE_DETAIL is there: set 0x40000 in ulZoneMask for lookups and names of archives");
  }
  if (has_beginning_ && ran_ && !saw_bounds_) {
    notes.emplace_back("no message of ZONE_FUNCTION is there: set 0x1 in ulZoneMask for the times of the extraction");
  }
  if (steps_back_ != 0) {
    notes.push_back(
        fmt::format("the clock steps back {}: the time that passed there is left out", Counted(steps_back_, "time")));
  }
  return notes;
}

}  // namespace cli
