#include "cli/run/run_command.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "cli/base/exit_code.h"
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

/// Whether `path`, which need not exist, is `folder` or something in it.
bool LiesWithin(const fs::path& path, const fs::path& folder) {
  fs::path const whole = fs::weakly_canonical(folder);
  fs::path const inner = fs::weakly_canonical(path);
  return std::mismatch(whole.begin(), whole.end(), inner.begin(), inner.end()).first == whole.end();
}

/// Where the run's drive stands: beside the place it may be kept at, so that keeping it is a rename.
WorkFolder MakeWorkFolder(const RunOptions& options) {
  if (options.save && LiesWithin(*options.save, options.folder)) {
    throw tablet::InputError(options.save->string(), "lies in the tablet itself", "name a folder elsewhere");
  }
  if (options.in_place) return WorkFolder(options.folder / fmt::format(".run-{}", ::getpid()));
  if (!options.save) return WorkFolder::Temporary();
  const fs::path& target = *options.save;
  bool const usable = !fs::exists(target) || (fs::is_directory(target) && fs::is_empty(target));
  if (!usable)
    throw tablet::InputError(target.string(), "exists already", "name a folder that does not exist or is empty");
  fs::path plain = fs::absolute(target).lexically_normal();
  if (!plain.has_filename()) plain = plain.parent_path();
  try {
    return WorkFolder(plain.string() + fmt::format(".making-{}", ::getpid()));
  } catch (const tablet::InputError& error) {
    throw tablet::InputError(target.string(), error.problem(), error.next());
  }
}

/// Texts may be the service's: what is no UTF-8 must not end the run.
std::string Dump(const nlohmann::ordered_json& document, int indent = -1) {
  return document.dump(indent, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

/// One run, from the folder to the summary.
class Session {
 public:
  Session(const RunOptions& options, Console& console)
      : options_(options),
        console_(console),
        begun_(Clock::now()),
        description_(tablet::ReadTabletFolder(options.folder)),
        stamp_(options.folder),
        work_(MakeWorkFolder(options)),
        teller_([this](const StoryLine& line) { Show(line); }, options.verbose) {
    if (options.events) events_.emplace(*options.events, options.calls);
    if (options.full_timeline) AddFullTimeline(description_);
    // Whether they can be written is better known before the run than behind it.
    for (const auto& file : {options.trace, options.report}) {
      if (file) WriteTextFile(*file, "");
    }
    // The choice has a tablet of its own, which must be gone before this one is powered on.
    if (options.report) decision_ = Decide(options.folder, nullptr);
    if (copies_) tablet::CopyDrive(options.folder, work_.path());
    run_ = std::make_unique<TabletRun>(description_, options.folder, DriveFolder(),
                                       RunSettings{.seed = options.seed,
                                                   .realtime = options.realtime,
                                                   .cut_at = options.cut_at,
                                                   .stop_early = options.stop_early,
                                                   .patience = options.patience});
    if (!copies_) run_->machine().drive().KeepInMemory();
    for (const tablet::Fault& fault : options.faults) run_->machine().faults().Add(fault);
    observer_ = std::make_unique<Observer>(*run_);
  }

  int Run() {
    if (!options_.json) console_.Line(console_.Styled(Style::kStrong, description_.name));
    RunEnd end = Live();
    if (end.kind == RunEnd::Kind::kPowerCut) {
      faults_ = run_->machine().faults().all();
      cut_ = PowerCut{end.message, run_->machine().scheduler().Now()};
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
        std::fprintf(stderr, "vantord-tablet: %s\n", error.what());
      }
      std::fflush(stdout);
      RemoveWorkFolders();
      ::_exit(code);
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
        RunSettings{.seed = options_.seed, .realtime = options_.realtime, .patience = options_.patience});
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
      if (!typed.answer.empty()) std::fprintf(stderr, "vantord-tablet: %s\n", typed.answer.c_str());
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
    if (options_.realtime) std::fflush(stdout);
  }

  int Finish(const RunEnd& end, bool may_keep) {
    teller_.Flush();
    console_.EndProgress();
    Summary summary;
    summary.tablet = description_.name;
    summary.end = end;
    summary.exit_code = ExitCodeOf(end.kind);
    summary.faults = cut_ ? faults_ : run_->machine().faults().all();
    summary.asked_cut = options_.cut_at;
    summary.cut = cut_;
    if (may_keep) summary.kept = Keep();
    if (events_) events_->Close();
    WritePictures(summary);
    summary.real_seconds = std::chrono::duration<double>(Clock::now() - begun_).count();
    if (options_.json) {
      console_.Line(Dump(SummaryJson(summary, *run_, *observer_), 2));
    } else {
      PrintSummary(console_, summary, *run_, *observer_);
    }
    return summary.exit_code;
  }

  void WritePictures(const Summary& summary) {
    if (!options_.trace && !options_.report) return;
    tablet::Tablet& machine = run_->machine();
    // The clock begins anew behind a power cut; in the picture it goes on.
    tablet::Millis const before = cut_ ? cut_->at : tablet::Millis{0};
    std::vector<tablet::Event> events = first_life_;
    for (const tablet::Event& event : machine.journal().events()) {
      events.push_back(event);
      events.back().time += before;
    }
    Timeline const timeline = Timeline::Of(events, before + machine.scheduler().Now());
    if (options_.trace) WriteTextFile(*options_.trace, Dump(ChromeTrace(timeline, description_.name)));
    if (!options_.report) return;
    nlohmann::ordered_json const document = SummaryJson(summary, *run_, *observer_);
    WriteTextFile(*options_.report, ReportPage(ReportData(document, decision_, timeline, options_.seed)));
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
    work_.KeepAs(*options_.save);
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
