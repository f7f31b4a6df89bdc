#include "cli/explain/explain_command.h"

#include <fmt/format.h>

#include <map>

#include "cli/base/exit_code.h"
#include "cli/base/json_text.h"
#include "cli/base/output_file.h"
#include "cli/base/table.h"
#include "cli/explain/explain_output.h"
#include "cli/explain/sequence_gaps.h"
#include "cli/explain/start_splitter.h"
#include "cli/output/story_teller.h"

namespace cli {

namespace {

using nlohmann::ordered_json;
using Style = Console::Style;

/// Starts of which --json has everything; those after them are counted.
constexpr std::size_t kMostStarts = 200;

std::optional<PrefixFormat> PrefixOf(const ExplainOptions& options) {
  if (!options.prefix) return std::nullopt;
  return PrefixFormat(*options.prefix);
}

/// One trace, from its first line to the summary.
class Explanation {
 public:
  Explanation(const ExplainOptions& options, Console& console)
      : options_(options), console_(console), reader_(options.file, PrefixOf(options)) {
    starts_.on_event = [this](const TraceStart& start, const tablet::Event& event) { Tell(start, event); };
    starts_.on_end = [this](const TraceStart& start) { End(start); };
  }

  int Run() {
    TraceRecord record;
    while (reader_.Next(record)) {
      if (record.sequence) gaps_.Take(*record.sequence, record.line, record.stamp);
      if (record.is_own) starts_.Take(record);
    }
    reader_.CheckThatMessagesCame();
    starts_.Finish();
    int const code = failed_ == 0 ? kDone : kNotAsExpected;
    if (options_.json) {
      PrintDocument(code);
    } else {
      PrintTrace();
    }
    return code;
  }

 private:
  void Tell(const TraceStart& start, const tablet::Event& event) {
    if (options_.json || options_.quiet) return;
    if (told_ != start.number()) {
      if (auto const other = tellers_.find(told_); other != tellers_.end()) other->second.Flush();
      console_.Line(console_.Styled(Style::kStrong, Heading(start)));
      told_ = start.number();
    }
    auto const detail = options_.verbose ? StoryTeller::Detail::kEverything : StoryTeller::Detail::kFailures;
    auto const teller = tellers_
                            .try_emplace(
                                told_, [this](const StoryLine& line) { Show(line); }, detail)
                            .first;
    teller->second.Tell(event);
  }

  void Show(const StoryLine& line) {
    Style const style = line.kind.empty() ? Style::kDim : line.kind == "message" ? Style::kPlain : Style::kAccent;
    console_.Line(console_.Styled(style, Format(line)));
  }

  void End(const TraceStart& start) {
    if (auto const teller = tellers_.find(start.number()); teller != tellers_.end()) {
      teller->second.Flush();
      tellers_.erase(teller);
    }
    failed_ += start.Failure().empty() ? 0 : 1;
    if (options_.json) {
      if (documents_.size() < kMostStarts) documents_.push_back(ToJson(start));
    } else {
      PrintStart(console_, start);
      told_ = 0;
    }
  }

  std::string Encoding() const {
    if (reader_.lines().is_utf16()) return "UTF-16";
    return reader_.lines().first_in_code_page() == 0 ? "UTF-8" : "code page 1252";
  }

  void PrintTrace() {
    const TraceFacts& facts = reader_.facts();
    Table table(console_);
    table.Row("Trace", fmt::format("{}, {} in {}, {} of other providers", facts.kind,
                                   Counted(facts.messages, "message") + " of the service",
                                   Counted(reader_.lines().number(), "line"), facts.others + facts.unformatted));
    for (const std::string& note : NotesOf(reader_, gaps_)) table.More(note);
    if (gaps_.lost() != 0) Paragraph(table, "Missing", GapLines(gaps_), "", [](const auto& line) { return line; });
    std::string const failed = failed_ == 0 ? "none of them failed" : fmt::format("{} failed", failed_);
    table.Row("Starts", fmt::format("{}, {}", starts_.starts(), failed), failed_ == 0 ? Style::kGood : Style::kBad);
  }

  void PrintDocument(int code) {
    const TraceFacts& facts = reader_.facts();
    PrintJson(console_, {{"schema", 1},
                         {"trace", options_.file.string()},
                         {"exit_code", code},
                         {"kind", facts.kind},
                         {"encoding", Encoding()},
                         {"lines", reader_.lines().number()},
                         {"messages", facts.messages},
                         {"others", facts.others},
                         {"unformatted", facts.unformatted},
                         {"unreadable", facts.unreadable},
                         {"starts_in_trace", starts_.starts()},
                         {"failed_starts", failed_},
                         {"lost", gaps_.lost()},
                         {"gaps", ToJson(gaps_)},
                         {"notes", NotesOf(reader_, gaps_)},
                         {"starts", documents_}});
  }

  const ExplainOptions& options_;
  Console& console_;
  TraceReader reader_;
  SequenceGaps gaps_;
  StartSplitter starts_;
  std::map<std::size_t, StoryTeller> tellers_;  ///< of the starts whose messages may still come
  std::size_t told_ = 0;                        ///< the number of the start whose story was told last
  std::uint64_t failed_ = 0;
  ordered_json documents_ = ordered_json::array();
};

}  // namespace

int Explain(const ExplainOptions& options, Console& console) { return Explanation(options, console).Run(); }

}  // namespace cli
