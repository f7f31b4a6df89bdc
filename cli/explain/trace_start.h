// One start of the service in a trace: what it came to, as far as its messages show it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/explain/message_findings.h"
#include "cli/explain/phases.h"
#include "cli/explain/reading/trace_reader.h"
#include "cli/output/crash_report.h"
#include "cli/output/message_zones.h"

namespace cli {

/// How a start ended in the trace.
enum class StartEnd {
  kStopped,     ///< a stop or a shutdown of Windows was handled
  kNoModem,     ///< the service stopped itself
  kRunning,     ///< the trace, or the process, ended while the service ran
  kUnfinished,  ///< or before it ran
};

/// A message that wants an explanation, with how often it came.
struct Explained {
  tablet::TraceEvent message;  ///< the first one
  bool failure = false;        ///< else a remark
  std::uint64_t count = 0;
  tablet::Millis first{0};
};

class TraceStart {
 public:
  /// `record`: the first one of this start, which Take is given too.
  TraceStart(std::size_t number, const TraceRecord& record);

  /// The record as an event of this start: its time is that since the start's first message. Times do not go back.
  tablet::Event Take(const TraceRecord& record);
  /// When nothing more of it can come.
  void Finish() { phases_.Finish(last_); }

  std::size_t number() const { return number_; }
  const std::string& stamp() const { return stamp_; }
  std::optional<std::uint32_t> process() const { return process_; }
  std::uint64_t first_line() const { return first_line_; }
  std::uint64_t last_line() const { return last_line_; }
  /// Whether the trace has the start's first message; else it begins in the middle.
  bool has_beginning() const { return has_beginning_; }
  tablet::Millis length() const { return last_; }

  const Findings& findings() const { return findings_.findings(); }
  const CrashReport& crash() const { return crash_; }
  const MessageCounts& counts() const { return counts_; }
  const std::vector<Phase>& phases() const { return phases_.all(); }
  const std::vector<Explained>& explained() const { return explained_; }
  std::uint64_t unexplained() const { return unexplained_; }
  StartEnd end() const;
  /// Half a sentence.
  std::string EndText() const;
  /// Why this start counts as failed; empty when it does not.
  std::string Failure() const;
  /// What limits the findings: zones that were off, a beginning that is missing.
  std::vector<std::string> Notes() const;

 private:
  void TakeMessage(const tablet::TraceEvent& message);
  void TakeCrash(const tablet::TraceEvent& message);
  void Explain(const tablet::TraceEvent& message);

  std::size_t number_;
  std::string stamp_;
  std::optional<std::uint32_t> process_;
  std::uint64_t first_line_;
  std::uint64_t last_line_;
  std::optional<std::int64_t> begin_;
  tablet::Millis last_{0};
  std::uint64_t steps_back_ = 0;
  bool has_beginning_ = false;
  bool ran_ = false;
  bool stopped_ = false;
  bool no_modem_ = false;
  bool saw_details_ = false;
  bool saw_bounds_ = false;

  MessageFindings findings_;
  CrashReport crash_;
  MessageCounts counts_;
  Phases phases_;
  std::vector<Explained> explained_;
  std::uint64_t unexplained_ = 0;
  std::uint32_t session_ = 0;
};

/// "stopped", "no modem", "running" or "unfinished".
std::string_view NameOf(StartEnd end);
/// Whether a message is the first one of a start.
bool BeginsStart(const tablet::TraceEvent& message);

/// "CVantord::OnStart:62"; of an entry or an exit the whole text.
std::string WhoOf(const tablet::TraceEvent& message);

/// The parts of a message's meaning.
struct Meaning {
  std::string_view meaning;
  std::string_view cause;  ///< empty for what is normal
  std::string_view action;
};
Meaning PartsOf(std::string_view meaning);

}  // namespace cli
