// The records of a trace: what tracefmt and traceview write as text, and the JSON Lines of `run --events`.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <variant>

#include "cli/explain/line_reader.h"
#include "cli/explain/prefix_format.h"
#include "sim/tablet/kernel/journal.h"

namespace cli {

/// One message of the service, or another event of JSON Lines.
struct TraceRecord {
  std::uint64_t line = 0;          ///< of the file, from 1
  std::optional<std::int64_t> at;  ///< milliseconds since 1970 by the trace's clock, or since power-on
  std::string stamp;               ///< the same as written; empty without
  std::optional<std::uint32_t> process;
  std::string thread;  ///< "0E40", or its name; empty where the prefix has none
  std::optional<std::uint64_t> sequence;
  bool is_own = false;  ///< of the service: the rest is set
  std::variant<tablet::TraceEvent, tablet::StatusEvent, tablet::Happening, tablet::DebuggerEvent, tablet::CallEvent>
      what;
};

/// What was met so far.
struct TraceFacts {
  std::string kind;               ///< "tracefmt text" or "JSON Lines"
  std::uint64_t messages = 0;     ///< of the service
  std::uint64_t others = 0;       ///< records of other providers, and calls
  std::uint64_t unformatted = 0;  ///< "No Format Information found"
  std::uint64_t unreadable = 0;   ///< lines that are no record and belong to none
  std::uint64_t first_unreadable = 0;
  bool without_prefix = false;  ///< as -noprefix writes it: neither times nor processes
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
  /// Throws InputError when the trace holds nothing of the service, with the reason as far as it shows.
  void CheckThatMessagesCame() const;

 private:
  bool NextLine();
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

  std::string shown_;
  LineReader lines_;
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
