#include "cli/explain/explain_command.h"

#include <fmt/format.h>

#include <map>
#include <memory>

#include "cli/base/exit_code.h"
#include "cli/base/json_text.h"
#include "cli/base/output_file.h"
#include "cli/base/table.h"
#include "cli/base/unfinished.h"
#include "cli/boot/observer.h"
#include "cli/explain/comparison.h"
#include "cli/explain/explain_output.h"
#include "cli/explain/start_splitter.h"
#include "cli/output/story_teller.h"
#include "cli/report/chrome_trace.h"
#include "cli/report/report_page.h"
#include "cli/report/timeline.h"
#include "sim/tablet/base/input_error.h"
#include "sim/tablet/folder/folder.h"

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

/// The messages of a run of the tablet, from power-on to its end. The folder stays as it is. Throws InputError, also
/// for a tablet that collects no trace; ends the program when the service hangs.
std::vector<tablet::Event> SimulateStart(const std::filesystem::path& folder, Console& console) {
  tablet::Description const description = tablet::ReadTabletFolder(folder);
  TabletRun run(description, folder, folder, {});
  run.machine().drive().KeepInMemory();
  Observer const observer(run);  // ends a run that polls without end
  run.OnHang([&console](const RunEnd& end) {
    console.Warn(end.message + "; \"vantord-tablet run\" shows where");
    EndNow(kServiceFailed);
  });
  run.Run(std::nullopt);
  std::vector<tablet::Event> messages;
  for (const tablet::Event& event : run.machine().journal().events()) {
    if (std::holds_alternative<tablet::TraceEvent>(event.what)) messages.push_back(event);
  }
  if (messages.empty()) {
    throw tablet::InputError((folder / "tablet.json").string(), "its run logs no message",
                             "let it collect the trace: \"trace\": {\"collect\": true}");
  }
  return messages;
}

/// The events of one start of a trace, kept for the page, the timeline and the comparison.
struct KeptStart {
  std::size_t number = 0;
  std::string heading;
  nlohmann::ordered_json document;
  Findings findings;
  std::vector<tablet::Event> events;
  std::vector<std::uint64_t> lines;  ///< of the file, one for each event
  std::uint64_t left_out = 0;        ///< events beyond the most that are kept
  bool failed = false;
};

class StartKeeper {
 public:
  /// Events of a start that are kept: a hundred times those of a deployment.
  static constexpr std::size_t kMost = 50'000;

  /// `number`: the start that is wanted; nothing: the last one that failed, or else the last one.
  explicit StartKeeper(std::optional<std::size_t> number) : wanted_(number) {}

  void Take(const TraceStart& start, const tablet::Event& event);
  void End(const TraceStart& start);
  /// Null where the trace does not have it.
  const KeptStart* chosen() const { return chosen_.get(); }

 private:
  std::optional<std::size_t> wanted_;
  std::map<std::size_t, std::unique_ptr<KeptStart>> open_;
  std::unique_ptr<KeptStart> chosen_;
};

void StartKeeper::Take(const TraceStart& start, const tablet::Event& event) {
  if (wanted_ && *wanted_ != start.number()) return;
  std::unique_ptr<KeptStart>& kept = open_[start.number()];
  if (!kept) kept = std::make_unique<KeptStart>();
  if (kept->events.size() == kMost) {
    ++kept->left_out;
    return;
  }
  kept->events.push_back(event);
  kept->lines.push_back(start.last_line());
}

void StartKeeper::End(const TraceStart& start) {
  auto const found = open_.find(start.number());
  if (found == open_.end()) return;
  std::unique_ptr<KeptStart> kept = std::move(found->second);
  open_.erase(found);
  kept->number = start.number();
  kept->failed = !start.Failure().empty();
  if (!wanted_ && chosen_ && chosen_->failed && !kept->failed) return;
  kept->heading = Heading(start);
  kept->document = ToJson(start);
  kept->findings = start.findings();
  chosen_ = std::move(kept);
}

/// One trace, from its first line to the summary.
class Explanation {
 public:
  Explanation(const ExplainOptions& options, Console& console)
      : options_(options), console_(console), reader_(options.file, PrefixOf(options)) {
    OpenOutputs();
    // Bad input is better known before a long trace than after it.
    if (options.tablet) simulation_ = SimulateStart(*options.tablet, console);
    if (options.tablet || report_ || trace_) keeper_.emplace(options.start);
    starts_.on_event = [this](const TraceStart& start, const tablet::Event& event) { Tell(start, event); };
    starts_.on_end = [this](const TraceStart& start) { End(start); };
  }

  int Run() {
    TraceRecord record;
    while (reader_.Next(record)) {
      if (record.is_own) starts_.Take(record);
    }
    reader_.CheckThatMessagesCame();
    starts_.Finish();
    ShowChosen();
    bool const good = failed_ == 0 && !(comparison_ && comparison_->differs());
    int const code = good ? kDone : kNotAsExpected;
    if (options_.json) {
      PrintDocument(code);
    } else {
      PrintTrace();
    }
    return code;
  }

 private:
  void OpenOutputs() {
    std::vector<Output> files;
    if (options_.report) files.push_back({"--report", *options_.report});
    if (options_.trace) files.push_back({"--trace", *options_.trace});
    std::vector<std::filesystem::path> inputs{options_.file};
    if (options_.tablet) inputs.push_back(*options_.tablet);
    CheckOutputs(files, inputs, options_.force);
    if (options_.report) report_.emplace(*options_.report);
    if (options_.trace) trace_.emplace(*options_.trace);
  }

  /// The page, the timeline and the comparison, of one start.
  void ShowChosen() {
    if (!keeper_) return;
    const KeptStart* const chosen = keeper_->chosen();
    if (chosen == nullptr) {
      throw tablet::InputError(options_.file.string(), fmt::format("has no start {}", options_.start.value_or(0)),
                               fmt::format("it has {}", Counted(starts_.starts(), "start")));
    }
    tablet::Millis const end(chosen->document["length_ms"].get<std::int64_t>());
    Timeline const timeline = Timeline::Of(chosen->events, end);
    std::string const name = options_.file.filename().string();
    if (report_) {
      ordered_json summary = chosen->document;
      summary["tablet"] = name;
      summary["exit_code"] = chosen->failed ? kNotAsExpected : kDone;
      report_->Write(ReportPage(TraceReportData(summary, chosen->findings, timeline, chosen->heading)));
      report_->Keep();
    }
    if (trace_) {
      trace_->Write(JsonText(ChromeTrace(timeline, name, "microseconds since the start's first message")));
      trace_->Keep();
    }
    if (options_.tablet) comparison_ = Compare(chosen->events, simulation_);
  }

  void Tell(const TraceStart& start, const tablet::Event& event) {
    if (keeper_) keeper_->Take(start, event);
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
    if (keeper_) keeper_->End(start);
    failed_ += start.Failure().empty() ? 0 : 1;
    if (options_.json) {
      if (documents_.size() < kMostStarts) documents_.push_back(ToJson(start));
    } else {
      PrintStart(console_, start);
      told_ = 0;
    }
  }

  std::string Encoding() const {
    if (reader_.lines().is_utf16() || reader_.facts().kind == "trace log") return "UTF-16";
    return reader_.lines().first_in_code_page() == 0 ? "UTF-8" : "code page 1252";
  }

  void PrintTrace() {
    const TraceFacts& facts = reader_.facts();
    Table table(console_);
    if (const KeptStart* const chosen = keeper_ ? keeper_->chosen() : nullptr) {
      table.Row("Shown", chosen->heading);
      if (chosen->left_out != 0) table.More(fmt::format("without its last {}", Counted(chosen->left_out, "message")));
      if (comparison_) PrintComparison(console_, *comparison_, options_.tablet->string(), chosen->lines);
    }
    table.Row("Trace", fmt::format("{}, {} in {}, {} of other providers", facts.kind,
                                   Counted(facts.messages, "message") + " of the service",
                                   Counted(reader_.records(), facts.kind == "trace log" ? "record" : "line"),
                                   facts.others + facts.unformatted));
    for (const std::string& note : NotesOf(reader_)) table.More(note);
    if (reader_.gaps().lost() != 0)
      Paragraph(table, "Missing", GapLines(reader_.gaps()), "", [](const auto& line) { return line; });
    std::string const failed = failed_ == 0 ? "none of them failed" : fmt::format("{} failed", failed_);
    table.Row("Starts", fmt::format("{}, {}", starts_.starts(), failed), failed_ == 0 ? Style::kGood : Style::kBad);
  }

  void PrintDocument(int code) {
    const TraceFacts& facts = reader_.facts();
    ordered_json comparison;
    if (comparison_) comparison = ToJson(*comparison_, options_.tablet->string(), keeper_->chosen()->lines);
    ordered_json shown;
    if (keeper_) shown = keeper_->chosen()->number;
    PrintJson(console_, {{"schema", 1},
                         {"trace", options_.file.string()},
                         {"exit_code", code},
                         {"kind", facts.kind},
                         {"encoding", Encoding()},
                         {"lines", reader_.records()},
                         {"messages", facts.messages},
                         {"others", facts.others},
                         {"unformatted", facts.unformatted},
                         {"unreadable", facts.unreadable},
                         {"lost_events", facts.lost_events},
                         {"starts_in_trace", starts_.starts()},
                         {"failed_starts", failed_},
                         {"lost", reader_.gaps().lost()},
                         {"gaps", ToJson(reader_.gaps())},
                         {"notes", NotesOf(reader_)},
                         {"starts", documents_},
                         {"start_shown", std::move(shown)},
                         {"comparison", std::move(comparison)}});
  }

  const ExplainOptions& options_;
  Console& console_;
  TraceReader reader_;
  StartSplitter starts_;
  std::map<std::size_t, StoryTeller> tellers_;  ///< of the starts whose messages may still come
  std::size_t told_ = 0;                        ///< the number of the start whose story was told last
  std::uint64_t failed_ = 0;
  std::optional<OutputFile> report_;
  std::optional<OutputFile> trace_;
  std::optional<StartKeeper> keeper_;
  std::vector<tablet::Event> simulation_;
  std::optional<Comparison> comparison_;
  ordered_json documents_ = ordered_json::array();
};

}  // namespace

int Explain(const ExplainOptions& options, Console& console) { return Explanation(options, console).Run(); }

}  // namespace cli
