#include "cli/explain/reading/trace_reader.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "cli/base/console.h"
#include "cli/base/output_file.h"
#include "cli/base/service_facts.h"
#include "cli/boot/call_text.h"
#include "cli/output/message_zones.h"
#include "sim/tablet/base/input_error.h"
#include "sim/tablet/system/message_origin.h"

namespace cli {

namespace {

using nlohmann::json;

constexpr std::string_view kFirstLine = "EventTrace";
constexpr std::string_view kUnformatted = "No Format Information found";
/// The friendly name that the package's .tmf files give the service's messages.
constexpr std::string_view kFriendlyName = "Vantord";
/// Lines at the beginning that may be something else.
constexpr std::uint64_t kLinesToTry = 1000;
/// Of a simulated tablet, in milliseconds: far more than any.
constexpr std::uint64_t kLongestRun = 1'000'000'000'000;
constexpr std::size_t kLongestMessage = LineReader::kLongest;

constexpr const char* kNextStep =
    "give the text of \"tracefmt trace.etl -p FOLDER\", where FOLDER is the package with its .tmf files; a prefix of "
    "your own is named by --prefix";

bool IsBlank(std::string_view line) { return line.find_first_not_of(" \t") == std::string_view::npos; }

template <typename Number>
Number NumberOr(const json& object, const char* key, Number otherwise) {
  auto const found = object.find(key);
  return found != object.end() && found->is_number_integer() ? found->get<Number>() : otherwise;
}

std::string TextOr(const json& object, const char* key) {
  auto const found = object.find(key);
  return found != object.end() && found->is_string() ? found->get<std::string>() : std::string();
}

/// False for an event of another kind.
bool ReadEvent(const json& object, TraceRecord& record) {
  std::string const kind = TextOr(object, "kind");
  if (kind == "trace") {
    tablet::TraceEvent message;
    message.text = TextOr(object, "text");
    message.guid = TextOr(object, "guid");
    tablet::ReadOrigin(message);
    record.what = std::move(message);
  } else if (kind == "status") {
    record.what = tablet::StatusEvent{.state = TextOr(object, "state"),
                                      .controls_accepted = NumberOr<std::uint32_t>(object, "controls_accepted", 0),
                                      .exit_code = NumberOr<std::uint32_t>(object, "exit_code", 0),
                                      .check_point = NumberOr<std::uint32_t>(object, "check_point", 0),
                                      .wait_hint = 0};
  } else if (kind == "event") {
    record.what = tablet::Happening{TextOr(object, "text")};
  } else if (kind == "debugger") {
    record.what = tablet::DebuggerEvent{TextOr(object, "text")};
  } else {
    return false;
  }
  return true;
}

}  // namespace

TraceReader::TraceReader(const std::filesystem::path& file, std::optional<PrefixFormat> prefix)
    : file_(file),
      shown_(file == kStandardStream ? "standard input" : file.string()),
      lines_(file),
      own_prefix_(std::move(prefix)) {}

bool TraceReader::NextLine() {
  if (!has_line_) has_line_ = lines_.Next(line_);
  return has_line_;
}

/// What is known by its first bytes and is not text.
void TraceReader::RefuseWhatIsNoText() {
  std::string_view const start = lines_.Beginning();
  if (start.empty()) throw tablet::InputError(shown_, "is empty", kNextStep);
  if (start.starts_with("PK\x03\x04") || start.starts_with("\x1F\x8B") || start.starts_with("MSCF")) {
    throw tablet::InputError(shown_, "is an archive", "unpack it and give the trace in it");
  }
  if (start.starts_with("ElfFile")) {
    throw tablet::InputError(shown_, "is a log of the event viewer, not a trace", kNextStep);
  }
}

/// Recognises what the trace is.
void TraceReader::Begin() {
  begun_ = true;
  RefuseWhatIsNoText();
  if (EtlReader::Recognises(lines_.Beginning())) {
    if (file_ == kStandardStream) throw tablet::InputError(shown_, "is a trace log", "name its file in place of \"-\"");
    log_.emplace(file_);
    facts_.kind = "trace log";
    facts_.others = log_->others();
    facts_.lost_events = log_->lost_events();
    for (std::uint32_t const number : log_->sequences()) gaps_.Take(number, 0, "");
    return;
  }
  if (EndsWithIgnoringCase(shown_, ".etl"))
    throw tablet::InputError(shown_, "is no trace log of a known layout", kNextStep);
  while (NextLine() && (IsBlank(line_) || line_ == kFirstLine)) has_line_ = false;
  is_json_ = has_line_ && line_.starts_with('{');
  facts_.kind = is_json_ ? "JSON Lines" : "tracefmt text";
}

bool TraceReader::NextOfLog(TraceRecord& record) {
  if (!log_->Next(record)) return false;
  ++facts_.messages;
  return true;
}

bool TraceReader::Next(TraceRecord& record) {
  if (!begun_) Begin();
  if (log_) return NextOfLog(record);
  if (!(is_json_ ? NextJson(record) : NextText(record))) return false;
  if (record.sequence) gaps_.Take(*record.sequence, record.line, record.stamp);
  return true;
}

void TraceReader::Unreadable() {
  if (facts_.unreadable++ == 0) facts_.first_unreadable = lines_.number();
  has_line_ = false;
  bool const nothing = facts_.messages + facts_.others + facts_.unformatted == 0;
  if (nothing && facts_.unreadable == kLinesToTry) {
    throw tablet::InputError(shown_, fmt::format("none of the first {} lines is a message of a trace", kLinesToTry),
                             kNextStep);
  }
}

std::optional<Prefix> TraceReader::Match() {
  if (own_prefix_) return own_prefix_->Match(line_);
  const PrefixFormat& likely = numbers_ ? numbered_ : usual_;
  if (auto prefix = likely.Match(line_)) return prefix;
  const PrefixFormat& other = numbers_ ? usual_ : numbered_;
  auto prefix = other.Match(line_);
  if (prefix) numbers_ = !numbers_;
  return prefix;
}

/// Whether a line without a prefix can be a part of the message before it: not when it looks like a damaged record.
bool TraceReader::MayContinue() const {
  bool const bracket = line_.size() > 1 && line_[0] == '[' && line_[1] >= '0' && line_[1] <= '9';
  tablet::TraceEvent message;
  message.text = line_;
  tablet::ReadOrigin(message);
  return !bracket && message.function.empty();
}

/// The message where the text is one of the service's. Under another name, or under none, only what the service is
/// known to send counts.
std::optional<tablet::TraceEvent> TraceReader::OwnMessage(const std::string& text,
                                                          std::optional<std::string_view> provider) {
  tablet::TraceEvent message;
  message.text = text;
  tablet::ReadOrigin(message);
  if (message.function.empty()) return std::nullopt;
  bool const named =
      provider && provider->size() == kFriendlyName.size() && EndsWithIgnoringCase(*provider, kFriendlyName);
  if (!named && ZoneOf(message) == "unknown") return std::nullopt;
  return message;
}

void TraceReader::Judge(TraceRecord& record, std::optional<tablet::TraceEvent> message, std::string_view text) {
  record.is_own = message.has_value();
  if (message) {
    ++facts_.messages;
    record.what = std::move(*message);
  } else if (text.find(kUnformatted) != std::string_view::npos) {
    ++facts_.unformatted;
  } else {
    ++facts_.others;
  }
}

/// A line without a prefix, where no line has one: as -noprefix writes it.
bool TraceReader::TakeBareLine(TraceRecord& record) {
  bool const first = facts_.messages + facts_.others + facts_.unformatted == 0;
  if (own_prefix_ || !(first || facts_.without_prefix)) return false;
  std::optional<tablet::TraceEvent> message = OwnMessage(line_, std::nullopt);
  if (!message && !facts_.without_prefix) return false;
  facts_.without_prefix = true;
  record = {};
  record.line = lines_.number();
  Judge(record, std::move(message), line_);
  return true;
}

bool TraceReader::NextText(TraceRecord& record) {
  for (; NextLine(); has_line_ = false) {
    if (IsBlank(line_) || line_ == kFirstLine) continue;
    auto const prefix = Match();
    if (!prefix && TakeBareLine(record)) {
      has_line_ = false;
      return true;
    }
    if (prefix) {
      TakeLine(record, *prefix);
      return true;
    }
    Unreadable();
  }
  return false;
}

/// The line and what continues its message.
void TraceReader::TakeLine(TraceRecord& record, const Prefix& prefix) {
  record = {};
  record.line = lines_.number();
  record.at = prefix.milliseconds;
  record.stamp = prefix.stamp;
  record.process = prefix.process;
  if (prefix.thread) record.thread = fmt::format("{:04X}", *prefix.thread);
  record.sequence = prefix.sequence;
  std::string text(prefix.text);
  std::optional<tablet::TraceEvent> message = OwnMessage(text, prefix.provider);
  has_line_ = false;  // from here on the prefix points to what is gone
  while (NextLine() && !Match() && (IsBlank(line_) || MayContinue())) {
    if (message && !IsBlank(line_) && message->text.size() + line_.size() < kLongestMessage) {
      message->text += '\n' + line_;
    }
    has_line_ = false;
  }
  Judge(record, std::move(message), text);
}

bool TraceReader::NextJson(TraceRecord& record) {
  for (; NextLine(); has_line_ = false) {
    if (IsBlank(line_)) continue;
    json const object = json::parse(line_, nullptr, false);
    if (!object.is_object()) {
      Unreadable();
      continue;
    }
    record = {};
    record.line = lines_.number();
    auto const time = object.find("time_ms");
    if (time != object.end() && time->is_number_unsigned() && time->get<std::uint64_t>() <= kLongestRun) {
      record.at = time->get<std::int64_t>();
    }
    record.thread = TextOr(object, "thread");
    auto const sequence = object.find("seq");
    if (sequence != object.end() && sequence->is_number_unsigned()) record.sequence = sequence->get<std::uint64_t>();
    record.is_own = ReadEvent(object, record);
    bool const message = std::holds_alternative<tablet::TraceEvent>(record.what);
    facts_.messages += record.is_own && message ? 1 : 0;
    facts_.others += record.is_own ? 0 : 1;
    has_line_ = false;
    return true;
  }
  return false;
}

void TraceReader::CheckThatMessagesCame() const {
  if (facts_.messages != 0) return;
  if (facts_.unformatted != 0) {
    throw tablet::InputError(
        shown_, fmt::format("No Format Information found for {} messages, and none is readable", facts_.unformatted),
        "give tracefmt the folder of the package, which has the .tmf files: tracefmt trace.etl -p FOLDER");
  }
  if (facts_.others != 0) {
    throw tablet::InputError(
        shown_, fmt::format("has {} of other providers and none of the service", Counted(facts_.others, "message")),
        fmt::format("trace the provider {} with flag 1 and level 5", service_facts::kTraceProvider));
  }
  throw tablet::InputError(shown_, "no line of it is a message of a trace", kNextStep);
}

}  // namespace cli
