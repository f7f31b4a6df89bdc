// The records of a trace: what tracefmt and traceview write as text, the log itself, and the JSON Lines of
// `run --events`.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "cli/explain/reading/etl_reader.h"
#include "cli/explain/reading/line_reader.h"
#include "cli/explain/reading/prefix_format.h"
#include "cli/explain/reading/sequence_gaps.h"
#include "cli/explain/reading/trace_record.h"

namespace cli {

/// What was met so far.
struct TraceFacts {
  std::string kind;               ///< "tracefmt text", "trace log" or "JSON Lines"
  std::uint64_t messages = 0;     ///< of the service
  std::uint64_t others = 0;       ///< records of other providers, and calls
  std::uint64_t unformatted = 0;  ///< "No Format Information found"
  std::uint64_t unreadable = 0;   ///< lines that are neither a record nor part of one
  std::uint64_t first_unreadable = 0;
  std::uint64_t lost_events = 0;  ///< that the session could not record, as a log counts them
  bool without_prefix = false;    ///< as -noprefix writes it: neither times nor processes
};

class TraceReader {
 public:
  /// Throws InputError.
  TraceReader(const std::filesystem::path& file, std::optional<PrefixFormat> prefix);

  /// The next record, also those that are not the service's; false after the last one. Throws InputError where no line
  /// can be read as a record.
  bool Next(TraceRecord& record);

  const TraceFacts& facts() const { return facts_; }
  const LineReader& lines() const { return lines_; }
  const SequenceGaps& gaps() const { return gaps_; }
  /// Lines of a text, messages of the service in a log.
  std::uint64_t records() const { return log_ ? facts_.messages : lines_.number(); }
  bool ends_early() const { return log_ ? log_->ends_early() : lines_.ends_early(); }
  /// Throws InputError when the trace holds nothing of the service, with the reason as far as it shows.
  void CheckThatMessagesCame() const;

 private:
  bool NextLine();
  void Begin();
  bool NextOfLog(TraceRecord& record);
  bool NextText(TraceRecord& record);
  bool NextJson(TraceRecord& record);
  std::optional<Prefix> Match();
  bool MayContinue() const;
  void Unreadable();
  static std::optional<tablet::TraceEvent> OwnMessage(const std::string& text,
                                                      std::optional<std::string_view> provider);
  void Judge(TraceRecord& record, std::optional<tablet::TraceEvent> message, std::string_view text);
  bool TakeBareLine(TraceRecord& record);
  void TakeLine(TraceRecord& record, const Prefix& prefix);
  void RefuseWhatIsNoText();

  std::filesystem::path file_;
  std::string shown_;
  LineReader lines_;
  std::optional<EtlReader> log_;
  SequenceGaps gaps_;
  std::optional<PrefixFormat> own_prefix_;
  PrefixFormat usual_{PrefixFormat::kUsual};
  PrefixFormat numbered_{PrefixFormat::kNumbered};
  bool numbers_ = false;  ///< the last line matched with a sequence number
  TraceFacts facts_;
  std::string line_;
  bool has_line_ = false;  ///< line_ was read and not used
  bool begun_ = false;
  bool is_json_ = false;
};

}  // namespace cli
