#include "cli/check/case_trial.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <utility>

#include "cli/archive/lint_findings.h"
#include "cli/base/own_drive.h"
#include "cli/base/service_facts.h"
#include "cli/boot/changes.h"
#include "cli/boot/observer.h"
#include "cli/check/trial_watch.h"
#include "cli/output/crash_report.h"
#include "cli/output/story_teller.h"
#include "sim/tablet/base/text.h"
#include "sim/tablet/drive/pe_version.h"
#include "sim/tablet/folder/folder.h"

namespace cli {

namespace {

using nlohmann::json;
using nlohmann::ordered_json;

/// A service that an archive is known to hang is waited for no longer than this.
constexpr std::chrono::milliseconds kShortTimeOut{1000};
/// Between the first start and the second.
constexpr tablet::FileTicks kDark = 60 * tablet::kTicksPerSecond;
constexpr std::size_t kMostAgain = 5;
constexpr std::u16string_view kTarget = u"C:\\Windows\\System32\\";

/// "1.0.25.0" of a version block's fixed record.
std::string VersionOf(const std::vector<std::uint8_t>& block) {
  constexpr std::size_t kProductVersion = tablet::kVersionValueOffset + 16;
  if (block.size() < kProductVersion + 8) return {};
  auto const word = [&](std::size_t at) {
    return block[kProductVersion + at] | static_cast<unsigned>(block[kProductVersion + at + 1]) << 8;
  };
  return fmt::format("{}.{}.{}.{}", word(2), word(0), word(6), word(4));
}

/// One trial, from the folder to its result.
class CaseTrial {
 public:
  CaseTrial(const TrialTask& task, const Deliver& deliver)
      : task_(task),
        deliver_(deliver),
        description_(tablet::ReadTabletFolder(task.folder)),
        teller_([this](const StoryLine& line) { story_.push_back(Format(line)); }, StoryTeller::Detail::kFailures) {
    // What the trial is judged by must be reported, whatever the tablet does on its own.
    description_.trace_collected = true;
    description_.trace_enabled_after = {};
  }

  void Work() {
    ReadArchive();
    std::unique_ptr<TabletRun> run = PowerOn();
    auto seen = std::make_unique<Observer>(*run);
    auto watch = std::make_unique<TrialWatch>(*run);
    run->machine().journal().Listen([this](const tablet::Event& event) { teller_.Tell(event); });
    run->OnHang([&](const RunEnd& end) { deliver_(Result(*run, *seen, *watch, end, true)); });
    RunEnd const end = run->Run(std::nullopt);
    json result = Result(*run, *seen, *watch, end, false);
    bool const deployed = seen->findings().Outcome().deployed();
    watch.reset();
    seen.reset();
    if (deployed && end.kind == RunEnd::Kind::kStopped) result["again"] = StartAgain(std::move(run));
    deliver_(result);
  }

 private:
  /// The archive's directory, by the service's own reader, on a tablet that is gone before the run's begins.
  void ReadArchive() {
    if (task_.archive.empty()) return;
    tablet::Tablet machine(description_, task_.folder);
    machine.drive().KeepInMemory();
    end_record_ = ReadEndRecord(machine.drive().HostPath(tablet::ToUtf16(task_.archive)));
    bool done = false;
    machine.scheduler().Start(1, "survey", [&] {
      survey_ = ReadSurvey(task_.archive, false);
      done = true;
    });
    machine.scheduler().Wait(tablet::kForever, [&done] { return done; });
  }

  RunSettings Settings() const {
    return {.time_out = survey_.hangs ? std::min(kShortTimeOut, task_.time_out) : task_.time_out};
  }

  std::unique_ptr<TabletRun> PowerOn() {
    auto run = std::make_unique<TabletRun>(description_, task_.folder, task_.folder, Settings());
    tablet::Tablet& machine = run->machine();
    machine.drive().KeepInMemory();
    if (task_.row) BecomeTabletOf(*task_.row, machine);
    if (task_.request) machine.registry().PutDword(service_facts::kParametersKey, u"Distribute", 1);
    machine.registry().RemoveValue(service_facts::kParametersKey, u"ulZoneMask");
    images_ = DriverImages(machine.registry());
    return run;
  }

  /// May be called on the watchdog's thread.
  json Result(TabletRun& run, const Observer& seen, const TrialWatch& watch, const RunEnd& end, bool hung) {
    teller_.Flush();
    tablet::Tablet& machine = run.machine();
    Trial const trial = watch.Take(hung ? nullptr : &end);
    Deployment const outcome = seen.findings().Outcome();
    json result{{"end", NameOf(end.kind)},       {"message", end.message}, {"deployment", NameOf(outcome.state)},
                {"reason", outcome.reason},      {"toast", Toast(seen)},   {"again", json::array()},
                {"driver_files", json::array()}, {"story", story_},        {"lint", nullptr}};
    if (!task_.archive.empty() && (trial.opened || seen.findings().ModemArchive() != nullptr)) {
      CompleteSurvey(survey_, trial, machine.drive());
      result["lint"] = LintFindings({.archive = task_.archive,
                                     .end = end_record_,
                                     .survey = survey_,
                                     .trial = trial,
                                     .machine = machine,
                                     .images = images_,
                                     .free_bytes = description_.free_bytes,
                                     .hung = hung && survey_.hangs});
    }
    for (const DriverImage& image : DriverImages(machine.registry())) {
      if (!machine.drive().Exists(tablet::ToUtf16(image.file))) result["driver_files"].push_back(image.file);
    }
    auto const instance = FindDriverInstance(machine.registry());
    result["driver_updated"] = instance && instance->points_at_service;
    result["written"] = ChangesOf(run).bytes_written;
    if (auto const left = machine.drive().FreeBytes()) result["free_bytes"] = *left;
    result["reset"] = Reset(run);
    result["differing"] = task_.compares ? Differing(run) : json::array();
    result["versions"] = Versions(machine.drive());
    return result;
  }

  static std::string Toast(const Observer& seen) {
    for (const ArchiveUse& use : seen.findings().archives) {
      if (&use == seen.findings().ModemArchive() || use.path.find("ToastGenerator") == std::string::npos) continue;
      if (!use.opened) return use.path + " cannot be opened";
      if (use.unreadable) return use.path + " is no archive that the service can read";
      if (!use.failures.empty()) return fmt::format("{}: {}", use.path, Describe(use.failures.front()));
    }
    return {};
  }

  static std::string Reset(TabletRun& run) {
    CrashReport const report = CrashReport::Of(run);
    bool const failed = report.reset == CrashReport::Reset::kNoDriver || report.reset == CrashReport::Reset::kRefused;
    return failed ? report.ResetText() : std::string();
  }

  /// Files that the archive brings and that the tablet has otherwise, or not at all.
  json Differing(TabletRun& run) const {
    json lines = json::array();
    OwnDrive const own(task_.folder, description_);
    for (const tablet::FileChange& change : run.FileChanges()) {
      bool const brought = tablet::EqualIgnoringCase(change.path.substr(0, kTarget.size()), kTarget);
      if (!brought || change.folder || !(change.created || change.written)) continue;
      std::string const path = tablet::ToUtf8(change.path);
      if (!own.get().Exists(change.path)) {
        lines.push_back(path + " is missing");
      } else if (own.get().Sum(change.path) != run.machine().drive().Sum(change.path)) {
        lines.push_back(path + " differs");
      }
    }
    return lines;
  }

  json Versions(const tablet::Drive& drive) const {
    json lines = json::array();
    for (const WantedVersion& wanted : task_.versions) {
      std::u16string path = std::u16string(kTarget) + tablet::ToUtf16(wanted.file);
      std::replace(path.begin(), path.end(), u'/', u'\\');
      std::vector<std::uint8_t> block;
      if (!drive.Exists(path)) {
        lines.push_back(
            fmt::format("{} is not there after the deployment, and must have version {}", wanted.file, wanted.version));
      } else if (drive.VersionResource(path, block) == tablet::kSuccess) {
        if (std::string const found = VersionOf(block); found != wanted.version) {
          lines.push_back(fmt::format("{} has version {}, not {}", wanted.file, found, wanted.version));
        }
      } else {
        std::vector<std::uint8_t> const bytes = drive.Contents(path);
        bool const held =
            std::search(bytes.begin(), bytes.end(), wanted.version.begin(), wanted.version.end()) != bytes.end();
        if (!held) lines.push_back(fmt::format("{} does not hold the text \"{}\"", wanted.file, wanted.version));
      }
    }
    return lines;
  }

  /// What the next start does that it should not.
  json StartAgain(std::unique_ptr<TabletRun> first) {
    description_.power_on +=
        static_cast<tablet::FileTicks>(first->machine().scheduler().Now().count()) * (tablet::kTicksPerSecond / 1000) +
        kDark;
    DiskState disk = TabletRun::PowerOff(std::move(first));
    TabletRun run(description_, std::move(disk), task_.folder, Settings());
    std::unique_ptr<tablet::Registry> const registry = run.machine().registry().Snapshot();
    tablet::Firmware::Variables const firmware = run.machine().firmware().variables();
    Observer const seen(run);
    run.OnHang([this](const RunEnd& end) { deliver_({{"crashed", "the second start: " + end.message}}); });
    RunEnd const end = run.Run(std::nullopt);
    std::vector<std::string> lines;
    if (end.kind != RunEnd::Kind::kStopped) lines.push_back(end.message);
    if (const ArchiveUse* const archive = seen.findings().ModemArchive())
      lines.push_back("it goes for " + archive->path + " again");
    for (const tablet::FileChange& change : run.machine().drive().Changes()) {
      if (change.created || change.written) lines.push_back("it writes " + tablet::ToUtf8(change.path));
    }
    for (const tablet::RegistryChange& change : tablet::Registry::Compare(*registry, run.machine().registry())) {
      using Kind = tablet::RegistryChange::Kind;
      bool const usual =
          change.kind == Kind::kKeyAdded || change.value == u"PELT_KNOW_TO_GO_SSR" || change.value == u"ImageState";
      if (!usual) lines.push_back(fmt::format("it changes \"{}\"", tablet::ToUtf8(change.value)));
    }
    for (const FirmwareChange& change : CompareFirmware(firmware, run.machine().firmware().variables())) {
      lines.push_back("it changes " + Describe(change));
    }
    if (lines.size() > kMostAgain) lines.resize(kMostAgain);
    return lines;
  }

  const TrialTask& task_;
  const Deliver& deliver_;
  tablet::Description description_;
  std::vector<std::string> story_;
  StoryTeller teller_;
  EndRecord end_record_;
  Survey survey_;
  std::vector<DriverImage> images_;
};

}  // namespace

void RunTrial(const TrialTask& task, const Deliver& deliver) {
  try {
    CaseTrial trial(task, deliver);
    trial.Work();
  } catch (const std::exception& error) {
    deliver({{"crashed", error.what()}, {"output", ""}});
  }
}

TrialResult TakeTrial(const json& document) {
  TrialResult result;
  if (document.contains("crashed")) {
    result.crash = document["crashed"];
    std::string const output = document.value("output", "");
    if (!output.empty()) result.crash += ": " + output;
    return result;
  }
  result.lint = ordered_json(document["lint"]);
  result.end = document["end"];
  result.message = document["message"];
  result.deployment = document["deployment"];
  result.reason = document["reason"];
  result.driver_files = document["driver_files"];
  result.driver_updated = document["driver_updated"];
  result.written = document["written"];
  if (document.contains("free_bytes")) result.free_bytes = document["free_bytes"].get<std::uint64_t>();
  result.reset = document["reset"];
  result.toast = document["toast"];
  result.again = document["again"];
  result.differing = document["differing"];
  result.versions = document["versions"];
  result.story = document["story"];
  return result;
}

}  // namespace cli
