// One run of a tablet: power-on, the unchanged service, controls, the end. The service keeps process-wide state: the
// first run of a process of the host has the service that is in the program, each later one a fresh copy of it.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "sim/tablet/machine/tablet.h"

namespace cli {

struct RunSettings {
  std::uint64_t seed = 0;
  bool realtime = false;
  /// The power is cut at this call of the Windows API, counted from 1; 0: never.
  std::uint64_t cut_at = 0;
  /// Or at this occurrence of this call; empty: never.
  std::string cut_call{};
  std::uint64_t cut_occurrence = 0;
  /// A stop is sent as soon as the service runs, whatever the timeline says.
  bool stop_early = false;
  /// The service's requests for memory count as occurrences of tablet::kAllocation. They do in any case when a fault of
  /// that name is there at the start.
  bool counts_allocations = false;
  /// Calls without movement of the clock after which the service counts as polling without end.
  std::uint64_t call_limit = tablet::Scheduler::Options{}.call_limit;
  /// The watchdog's: processor time without a call of the Windows API after which the service counts as hung.
  std::chrono::milliseconds time_out{10'000};
};

/// How a run ended.
struct RunEnd {
  enum class Kind {
    kStopped,      ///< reported STOPPED without an error code; its process has ended
    kFailed,       ///< reported STOPPED with an error code, or ended without such a report
    kDied,         ///< an exception left one of its threads
    kHung,         ///< neither ended nor ever runs again
    kTimeLimit,    ///< the wanted virtual time was reached first
    kCallLimit,    ///< it polls without end
    kNotModelled,  ///< it called what the simulation does not model
    kPowerCut,     ///< the power was cut, as asked
  };
  Kind kind = Kind::kStopped;
  std::string message;      ///< a sentence for people, without a full stop
  std::uint32_t error = 0;  ///< Windows' number, which the service or its process ended with
};

/// The end's name in documents: "stopped", "failed", ...
std::string_view NameOf(RunEnd::Kind kind);
/// The exit code that an end leads to.
int ExitCodeOf(RunEnd::Kind kind);

/// What outlasts a power cut, beside drive C: in the work folder (unless it is in memory): everything that was written
/// is on disk. With it goes what the first run began with, so that changes are told against that.
struct DiskState {
  std::unique_ptr<tablet::Registry> registry;
  tablet::Firmware::Variables firmware;
  std::shared_ptr<tablet::DriveNode> drive;  ///< of a drive in memory

  std::unique_ptr<tablet::Registry> registry_before;
  tablet::Firmware::Variables firmware_before;
  std::vector<tablet::FileChange> file_changes;
  std::optional<std::uint64_t> free_bytes;  ///< left on the drive; nothing without a limit
};

class TabletRun {
 public:
  /// Powers on: registry and firmware from `folder`, a tablet; drive C: in `work` (see tablet::CopyDrive).
  TabletRun(const tablet::Description& description, const std::filesystem::path& folder,
            const std::filesystem::path& work, RunSettings options);
  /// Powers on again after another run in `work` has been powered off. The service is a fresh copy, with process-wide
  /// state as at the start of a process; the description, its timeline too, begins anew.
  TabletRun(const tablet::Description& description, DiskState disk, const std::filesystem::path& work,
            RunSettings options);
  ~TabletRun();

  /// Takes the power away: nothing of the run runs any more, the drive stays in its work folder.
  static DiskState PowerOff(std::unique_ptr<TabletRun> run);

  /// Changes what was asked for when the run was made: seed, power cut, early stop. Before Start.
  void Arm(std::uint64_t seed, std::uint64_t cut_at, bool stop_early);

  tablet::Tablet& machine() { return machine_; }
  const tablet::Registry& registry_before() const { return *registry_before_; }
  const tablet::Firmware::Variables& firmware_before() const { return firmware_before_; }
  /// What happened to files, also in runs before this one; ordered by path.
  std::vector<tablet::FileChange> FileChanges();

  /// What the watchdog does with a hung service, on a thread of its own. When it returns, it is told again after the
  /// same time-out again. Set before Start.
  void OnHang(std::function<void(const RunEnd&)> act) { on_hang_ = std::move(act); }

  /// Asks `poll` twenty times a second whether something happened, until it returns that nothing more can come or the
  /// service was told to end; the service is not sent a stop before. Set before Start.
  void ListenTo(std::function<bool()> poll) { poll_ = std::move(poll); }

  /// Starts the service and schedules the description's timeline.
  void Start();
  /// Runs until the service has ended, or rests (parked, with no event of the timeline to come), or the clock reaches
  /// `deadline`. Returns the end if there is one: kHung for a service that makes no progress without being parked.
  std::optional<RunEnd> RunUntilRest(tablet::Millis deadline = tablet::kForever);
  /// Lets virtual time pass; ends early when the service ends.
  std::optional<RunEnd> Advance(tablet::Millis duration);
  /// Lets something happen to the tablet now.
  void Happen(const tablet::TimelineEvent& event);

  /// Start to end: follows the timeline; without a stop there, the service is sent a stop once it is parked. At
  /// `until`, when given, the run is over.
  RunEnd Run(std::optional<tablet::Millis> until);

 private:
  void Prepare();
  bool CountsAllocations();
  std::optional<RunEnd> WaitFor(tablet::Millis deadline, const std::function<bool()>& enough);
  void Poll();
  bool HasEnded();
  std::optional<RunEnd> End();
  bool IsResting();

  tablet::Description description_;
  RunSettings options_;
  tablet::Tablet machine_;
  std::unique_ptr<tablet::Registry> registry_before_;
  tablet::Firmware::Variables firmware_before_;
  std::vector<tablet::FileChange> earlier_file_changes_;
  std::size_t events_to_come_ = 0;
  std::function<bool()> poll_;
  bool listening_ = false;
  std::uint64_t cut_seen_ = 0;  ///< occurrences of the call at which the power is cut
  bool told_ = false;           ///< a control that ends the service was sent
  std::atomic<std::uint64_t> ticks_{0};
  std::function<void(const RunEnd&)> on_hang_;
};

}  // namespace cli
