#include "cli/run/run_command.h"

#include <fmt/format.h>
#include <unistd.h>

#include "cli/base/exit_code.h"
#include "cli/base/json_text.h"
#include "cli/base/output_file.h"
#include "cli/base/work_folder.h"
#include "cli/boot/full_timeline.h"
#include "cli/output/event_json.h"
#include "cli/output/story_teller.h"
#include "cli/output/summary.h"
#include "cli/report/chrome_trace.h"
#include "cli/report/report_page.h"
#include "cli/report/timeline.h"
#include "cli/run/typed_commands.h"
#include "cli/select/decision.h"
#include "sim/tablet/base/input_error.h"
#include "sim/tablet/folder/folder.h"
#include "sim/tablet/folder/folder_stamp.h"

namespace cli {

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using Style = Console::Style;

/// The folder of the run's drive: beside the place it may be kept at, so that keeping it is a rename.
WorkFolder MakeWorkFolder(const RunOptions& options) {
  if (options.save && LiesWithin(*options.save, options.folder)) {
    throw tablet::InputError(options.save->string(), "lies in the tablet itself", "name a folder elsewhere");
  }
  if (options.in_place) return WorkFolder(options.folder / ".run-");
  if (!options.save) return WorkFolder::Temporary();
  const fs::path& target = *options.save;
  bool const usable = !fs::exists(target) || (fs::is_directory(target) && fs::is_empty(target));
  bool const is_tablet = fs::is_regular_file(target / "tablet.json");
  if (!usable && !is_tablet) {
    throw tablet::InputError(target.string(), "exists already, and is not a tablet's folder",
                             "name a folder that does not exist or is empty");
  }
  if (!usable && !options.force) {
    throw tablet::InputError(target.string(), "exists already",
                             "name a folder that does not exist or is empty, or add --force to replace this tablet");
  }
  if (LiesWithin(options.folder, target)) {
    throw tablet::InputError(target.string(), "holds the tablet itself", "name a folder elsewhere");
  }
  return WorkFolder::Beside(target);
}

/// Before anything is written. What the run keeps is a folder, checked by MakeWorkFolder.
void CheckFiles(const RunOptions& options) {
  std::vector<Output> files;
  if (options.events) files.push_back({"--events", *options.events});
  if (options.trace) files.push_back({"--trace", *options.trace});
  if (options.report) files.push_back({"--report", *options.report});
  CheckOutputs(files, {options.folder}, options.force);
  for (const Output& file : files) {
    if (!options.save || !LiesWithin(file.file, *options.save)) continue;
    throw UsageError(fmt::format("{} lies in the folder of --save; name a file elsewhere", file.option));
  }
}

/// One run, from the folder to the summary.
class Session {
 public:
  Session(const RunOptions& options, Console& console)
      : options_(options),
        console_(console),
        begun_(Clock::now()),
        description_(tablet::ReadTabletFolder(options.folder)),
        stamp_((CheckFiles(options), options.folder)),
        work_(MakeWorkFolder(options)),
        teller_([this](const StoryLine& line) { Show(line); },
                options.verbose ? StoryTeller::Detail::kEverything : StoryTeller::Detail::kFailures) {
    if (options.events) events_.emplace(*options.events, options.calls);
    if (options.full_timeline) AddFullTimeline(description_);
    // Whether they can be written is better known before the run than after it.
    if (options.trace) trace_.emplace(*options.trace);
    if (options.report) report_.emplace(*options.report);
    // The choice has a tablet of its own, which must be gone before this one is powered on.
    if (options.report) decision_ = Decide(options.folder, nullptr);
    if (copies_) tablet::CopyDrive(options.folder, work_.path());
    run_ = std::make_unique<TabletRun>(description_, options.folder, DriveFolder(),
                                       RunSettings{.seed = options.seed,
                                                   .realtime = options.realtime,
                                                   .cut_at = options.cut_at,
                                                   .cut_call = options.cut_call,
                                                   .cut_occurrence = options.cut_occurrence,
                                                   .stop_early = options.stop_early,
                                                   .time_out = options.time_out});
    if (!copies_) run_->machine().drive().KeepInMemory();
    for (const tablet::Fault& fault : options.faults) run_->machine().faults().Add(fault);
    observer_ = std::make_unique<Observer>(*run_);
  }

  int Run() {
    if (!options_.json) console_.Line(console_.Styled(Style::kStrong, description_.name));
    RunEnd end = Live();
    if (end.kind == RunEnd::Kind::kPowerCut) {
      faults_ = run_->machine().faults().all();
      cut_ = PowerCut{end.message, run_->machine().scheduler().calls(), run_->machine().scheduler().Now()};
      BootAgain();
      end = Live();
    }
    return Finish(end, true);
  }

 private:
  /// One run, from power-on to its end.
  RunEnd Live() {
    Listen();
    run_->OnHang([this](const RunEnd& end) {
      // On the watchdog's thread: the service runs on and cannot be brought to an end, the program can.
      int code = kOperationFailed;
      try {
        code = Finish(end, false);
      } catch (const std::exception& error) {
        console_.Warn(error.what());
      }
      console_.Finish();
      EndNow(code);
    });
    if (options_.realtime) run_->ListenTo([this] { return DoWhatIsTyped(); });
    std::optional<tablet::Millis> until;
    if (options_.until) until = tablet::Millis(*options_.until);
    return run_->Run(until);
  }

  /// After the power was cut: the same tablet with what is on its disk, and no faults.
  void BootAgain() {
    run_->machine().journal().Note(cut_->message);
    teller_.Flush();
    console_.EndProgress();
    if (options_.trace || options_.report) first_life_ = run_->machine().journal().events();
    observer_.reset();
    DiskState disk = TabletRun::PowerOff(std::move(run_));
    run_ = std::make_unique<TabletRun>(
        description_, std::move(disk), DriveFolder(),
        RunSettings{.seed = options_.seed, .realtime = options_.realtime, .time_out = options_.time_out});
    observer_ = std::make_unique<Observer>(*run_);
  }

  const std::filesystem::path& DriveFolder() const { return copies_ ? work_.path() : options_.folder; }

  bool Tells() const { return !options_.json && !options_.quiet; }

  void Listen() {
    run_->machine().journal().Listen([this](const tablet::Event& event) {
      if (events_) events_->Write(event);
      if (Tells()) teller_.Tell(event);
    });
    if (cut_) run_->machine().journal().Note("the tablet boots again, without faults");
    if (!Tells() || !console_.is_terminal()) return;
    observer_->on_progress = [this](const std::string& path, std::uint64_t done, std::uint64_t whole) {
      console_.Progress(fmt::format("of {}", path), done, whole);
    };
  }

  /// False once nothing more can be typed.
  bool DoWhatIsTyped() {
    for (const std::string& line : typed_.Take()) {
      Typed const typed = Interpret(line);
      if (!typed.answer.empty()) console_.Warn(typed.answer);
      if (typed.event) run_->Happen(*typed.event);
    }
    return !typed_.ended();
  }

  void Show(const StoryLine& line) {
    Style style = Style::kPlain;
    if (line.kind == "status") style = Style::kAccent;
    if (line.kind == "event") style = Style::kStrong;
    if (line.kind.empty()) style = Style::kDim;
    console_.Line(console_.Styled(style, Format(line)));
    // Whoever waits with the tablet's clock wants to hear of it now, through a pipe too.
    if (options_.realtime) console_.Finish();
  }

  int Finish(const RunEnd& end, bool may_keep) {
    teller_.Flush();
    console_.EndProgress();
    Summary summary;
    summary.tablet = description_.name;
    summary.end = end;
    summary.exit_code = ExitCodeOf(end.kind);
    summary.faults = cut_ ? faults_ : run_->machine().faults().all();
    summary.asked_cut = options_.cut_at != 0 || !options_.cut_call.empty();
    summary.cut = cut_;
    if (may_keep) summary.kept = Keep();
    if (events_) events_->Keep();
    WritePictures(summary);
    summary.real_seconds = std::chrono::duration<double>(Clock::now() - begun_).count();
    if (options_.json) {
      PrintJson(console_, SummaryJson(summary, *run_, *observer_));
    } else {
      PrintSummary(console_, summary, *run_, *observer_);
    }
    return summary.exit_code;
  }

  void WritePictures(const Summary& summary) {
    if (!trace_ && !report_) return;
    tablet::Tablet& machine = run_->machine();
    // The clock begins anew after a power cut; in the picture it continues.
    tablet::Millis const before = cut_ ? cut_->at : tablet::Millis{0};
    std::vector<tablet::Event> events = first_life_;
    for (const tablet::Event& event : machine.journal().events()) {
      events.push_back(event);
      events.back().time += before;
    }
    Timeline const timeline = Timeline::Of(events, before + machine.scheduler().Now());
    if (trace_) {
      trace_->Write(JsonText(ChromeTrace(timeline, description_.name)));
      trace_->Keep();
    }
    if (!report_) return;
    nlohmann::ordered_json const document = SummaryJson(summary, *run_, *observer_);
    report_->Write(ReportPage(ReportData(document, decision_, timeline, options_.seed)));
    report_->Keep();
  }

  std::string Keep() {
    SignalsWait const whole;
    if (!options_.in_place && !options_.save) {
      const std::string& changed = run_->machine().drive().changed_file();
      if (changed.empty()) return {};
      throw tablet::InputError(changed, "has changed while the run was on, or cannot be read", "run again");
    }
    if (auto const changed = stamp_.Difference()) {
      throw tablet::InputError((options_.folder / *changed).string(), "has changed while the run was on",
                               "nothing was kept; run again");
    }
    if (options_.in_place) {
      tablet::ReplaceState(options_.folder, run_->machine(), work_.path());
      return options_.folder.string();
    }
    tablet::CompleteFolder(options_.folder, run_->machine(), work_.path());
    if (options_.force) {
      work_.Replace(*options_.save);
    } else {
      work_.KeepAs(*options_.save);
    }
    return options_.save->string();
  }

  RunOptions options_;
  Console& console_;
  Clock::time_point begun_;
  tablet::Description description_;
  tablet::FolderStamp stamp_;
  /// The drive is in a copy of its folder: it is kept, or people have the time to change the folder during the run.
  bool copies_ = options_.in_place || options_.save || options_.realtime;
  WorkFolder work_;
  std::optional<EventFile> events_;
  std::optional<OutputFile> trace_;
  std::optional<OutputFile> report_;
  Decision decision_;  ///< for the report
  StoryTeller teller_;
  TypedCommands typed_{STDIN_FILENO};
  std::optional<PowerCut> cut_;
  std::vector<tablet::Faults::Counted> faults_;  ///< of the run that the power cut ended
  std::vector<tablet::Event> first_life_;        ///< the same one's, for the pictures
  std::unique_ptr<TabletRun> run_;
  std::unique_ptr<Observer> observer_;
};

}  // namespace

int Run(const RunOptions& options, Console& console) {
  Session session(options, console);
  return session.Run();
}

}  // namespace cli
