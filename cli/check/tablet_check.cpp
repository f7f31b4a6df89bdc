#include "cli/check/tablet_check.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <set>

#include "cli/archive/driver_images.h"
#include "cli/base/own_drive.h"
#include "cli/base/service_facts.h"
#include "cli/check/equal_archives.h"
#include "cli/check/rules/archive_rules.h"
#include "cli/check/rules/policy_rules.h"
#include "cli/check/rules/value_rules.h"
#include "cli/check/stop_check.h"
#include "cli/validate/validation.h"
#include "sim/tablet/base/input_error.h"
#include "sim/tablet/base/text.h"
#include "sim/tablet/folder/folder.h"

namespace cli {

namespace {

namespace fs = std::filesystem;
using Kind = CheckCase::Kind;
using CaseResult = CheckCase::Result;

/// A trial may take this much more time for each megabyte of the largest archive.
constexpr std::uint64_t kBytesPerSecond = 1'000'000;
/// What a trial takes besides reading its archive, in bytes.
constexpr std::uint64_t kOfEachTrial = 1'000'000;

/// "file:12: key" as a place; what follows the line begins the text.
CheckFinding FromProblem(const tablet::InputError& problem) {
  CheckFinding finding{
      .id = "folder", .place = {problem.place(), 0, {}}, .text = problem.problem(), .next = problem.next()};
  const std::string& place = problem.place();
  for (std::size_t colon = place.find(':'); colon != std::string::npos; colon = place.find(':', colon + 1)) {
    int line = 0;
    auto const [end, error] = std::from_chars(place.data() + colon + 1, place.data() + place.size(), line);
    if (error != std::errc() || (*end != ':' && *end != '\0')) continue;
    finding.place = {place.substr(0, colon), line, {}};
    std::string_view rest(end);
    if (rest.starts_with(": ")) rest.remove_prefix(2);
    if (!rest.empty()) finding.text = fmt::format("{}: {}", rest, finding.text);
    break;
  }
  return finding;
}

/// One well-formed tablet, from its folder to everything that is found.
class Checker {
 public:
  Checker(const fs::path& folder, const CheckSettings& settings, Console& console, TabletCheck& check)
      : folder_(folder),
        settings_(settings),
        console_(console),
        check_(check),
        description_(tablet::ReadTabletFolder(folder)),
        drive_(folder, description_),
        places_(folder) {
    tablet::ReadRegistryFolder(folder, registry_);
    firmware_.Load(folder / "efi");
    ReadOwnPolicy();
    instance_ = FindDriverInstance(registry_);
    auto const request = registry_.Get(service_facts::kParametersKey, u"Distribute");
    bool const requested = request && request->data == std::vector<std::uint8_t>{1, 0, 0, 0};
    deploys_ = requested || (instance_ && !instance_->points_at_service);
    check_.name = description_.name;
  }

  void Work() {
    for (CheckFinding& finding : FindingsOfValues(facts_)) Add(std::move(finding));
    FindCases();
    TryArchives();
    JudgeArchives();
    for (CheckCase& one : check_.cases) Judge(one);
    CheckOthers();
    if (settings_.stops) TryStopping();
    if (policy_) ApplyPolicy(*policy_, check_, places_);
  }

 private:
  void ReadOwnPolicy() {
    fs::path file = folder_ / kPolicyFile;
    if (settings_.policy) file = *settings_.policy;
    if (!settings_.policy && !fs::exists(file)) return;
    policy_ = ReadPolicy(file);
    check_.policy = file.string();
  }

  std::size_t Add(CheckFinding finding) {
    return AddFinding(check_.findings, std::move(finding), policy_ ? &*policy_ : nullptr);
  }

  // --- cases

  void FindCases() {
    MoreNames more;
    for (auto const& [name, wanted] : policy_ ? policy_->codes : CheckPolicy{}.codes) {
      if (name != "*") more.codes.push_back(name);
    }
    for (auto const& [name, wanted] : policy_ ? policy_->ids : CheckPolicy{}.ids) {
      if (name != "*") more.ids.push_back(name);
    }
    Decision const decision = Decide(folder_, nullptr);
    CheckCase own{.kind = Kind::kOwn};
    own.row.archive = decision.name;
    own.row.path = decision.path;
    own.row.file = FindArchive(drive_.get(), decision.path);
    own.row.reachable = true;
    check_.cases.push_back(std::move(own));
    CheckOwnNames(decision);
    SelectionMatrix matrix = MakeMatrix(folder_, drive_.get(), more);
    for (MatrixRow& row : matrix.rows) {
      Kind const kind = row.origin == Origin::kSalesCode    ? Kind::kCode
                        : row.origin == Origin::kRegistryId ? Kind::kId
                                                            : Kind::kNone;
      check_.cases.push_back({.kind = kind, .row = std::move(row)});
    }
    for (const std::string& name : matrix.unnamed) {
      fs::path const file = drive_.get().HostPath(service_facts::kWideArchiveFolder) / name;
      Add({"archive-unused", {file.string(), 0, {}}, "nothing leads to this file", "remove it, or add it to a map"});
    }
  }

  /// Names that the tablet has and that its maps do not.
  void CheckOwnNames(const Decision& decision) {
    auto const at = [&](Origin origin) -> const Source& { return decision.sources[static_cast<std::size_t>(origin)]; };
    auto const check = [&](Origin map, std::string_view id, const FindingPlace& place, std::string_view what) {
      const Source& source = at(map);
      if (!source.asked || source.error != tablet::kFileNotFound || source.key.empty()) return;
      Add({std::string(id), place,
           fmt::format("no map has the tablet's {} \"{}\": it gets {}", what, source.key, decision.name),
           "correct it, or add it to the map"});
    };
    check(Origin::kCscMap, "sales-code-unmapped",
          places_.OfVariable("SALES_CODE", *tablet::Guid::Parse(service_facts::kSalesCodeVendor)), "sales code");
    check(Origin::kIdMap, "image-id-unmapped",
          at(Origin::kRegistryId).found
              ? places_.OfValue(service_facts::kServiceKey, u"ModemImageID")
              : places_.OfVariable("ModemImageID", *tablet::Guid::Parse(service_facts::kImageIdVendor)),
          "image ID");
  }

  FindingPlace PlaceOf(const CheckCase& one) const {
    if (one.kind == Kind::kCode) return places_.OfValue(service_facts::kWideCscMap, tablet::ToUtf16(one.row.name));
    if (one.kind == Kind::kId) return places_.OfValue(service_facts::kWideImageIdMap, tablet::ToUtf16(one.row.name));
    return places_.OfFile("C");
  }

  /// The first case that leads to an archive as its map has it.
  const CheckCase& FirstOf(std::size_t archive) const {
    const CheckCase* first = nullptr;
    for (const CheckCase& one : check_.cases) {
      if (one.archive != archive) continue;
      bool const named = one.row.reachable && (one.kind == Kind::kCode || one.kind == Kind::kId);
      if (first == nullptr || (named && first->kind == Kind::kOwn)) first = &one;
    }
    return *first;
  }

  bool IsOwn(std::size_t archive) const { return check_.cases.front().archive == archive; }

  // --- trials

  TrialTask TaskFor(std::size_t index) const {
    const CheckedArchive& archive = check_.archives[index];
    TrialTask task{.folder = folder_, .row = std::nullopt, .request = !deploys_, .archive = {}};
    if (archive.present) task.archive = archive.path;
    if (!IsOwn(index)) task.row = FirstOf(index).row;
    task.compares = !deploys_ && instance_ && IsOwn(index);
    task.time_out = settings_.time_out;
    if (!policy_) return task;
    for (const CheckCase& one : check_.cases) {
      auto const wanted = one.archive == index ? policy_->versions.find(one.row.archive) : policy_->versions.end();
      if (wanted == policy_->versions.end() || !task.versions.empty()) continue;
      task.versions = wanted->second;
    }
    return task;
  }

  void TryArchives() {
    std::vector<TrialTask> tasks;
    std::uint64_t largest = 0;
    std::uint64_t left = 0;  // bytes, of which each trial that ends takes its own
    if (description_.modem_present) {
      check_.archives = ArchivesOf(check_.cases, drive_.get());
      for (std::size_t i = 0; i < check_.archives.size(); ++i) {
        tasks.push_back(TaskFor(i));
        left += check_.archives[i].bytes + kOfEachTrial;
        largest = std::max(largest, check_.archives[i].bytes);
      }
    }
    if (!deploys_ || !description_.modem_present) {
      tasks.push_back({.folder = folder_, .row = std::nullopt, .archive = {}, .time_out = settings_.time_out});
      left += kOfEachTrial;
    }
    WorkerPoolOptions pool = settings_.pool;
    pool.time_out += std::chrono::seconds(largest / kBytesPerSecond);
    std::uint64_t const whole = left;
    std::size_t finished = 0;
    auto const begun = std::chrono::steady_clock::now();
    console_.Progress(fmt::format("of the archives of {}", check_.folder), 0, whole);
    RunWorkerPool(
        tasks.size(), pool, [&](std::size_t job, const Deliver& deliver) { RunTrial(tasks[job], deliver); },
        [&](std::size_t job, const nlohmann::json& answer) {
          bool const of_archive = job < check_.archives.size();
          if (of_archive) {
            check_.archives[job].trial = TakeTrial(answer);
          } else {
            check_.own_start = TakeTrial(answer);
          }
          left -= kOfEachTrial + (of_archive ? check_.archives[job].bytes : 0);
          console_.Progress(fmt::format("{} of {} archives of {}, {} left", ++finished, tasks.size(), check_.folder,
                                        TimeLeft(std::chrono::steady_clock::now() - begun, whole - left, whole)),
                            whole - left, whole);
        });
    console_.EndProgress();
  }

  void JudgeArchives() {
    for (std::size_t i = 0; i < check_.archives.size(); ++i) {
      CheckedArchive& archive = check_.archives[i];
      const CheckCase& first = FirstOf(i);
      Lead lead{TitleOf(first), PlaceOf(first)};
      for (CheckFinding& finding : FindingsOfTrial(archive, lead, facts_)) {
        archive.findings.push_back(Add(std::move(finding)));
      }
    }
    if (!check_.own_start) return;
    const TrialResult& own = *check_.own_start;
    if (!own.crash.empty()) {
      Add({"not-checked", places_.OfFolder(), own.crash, "report this as a fault of the program"});
    } else if (own.end != "stopped") {
      Add({"run", places_.OfFolder(), own.message, "\"vantord-tablet run\" shows how it comes to that"});
    } else if (instance_ && description_.modem_present) {
      for (const std::string& file : own.driver_files) {
        Add({"driver-file", places_.OfValue(instance_->key, u"AmssSwImagePath"),
             fmt::format("the driver is pointed at {}, drive C: has no such file, and no start deploys", file),
             "correct the driver's paths, or request a deployment with \"Distribute\""});
      }
    }
  }

  // --- results

  void Judge(CheckCase& one) {
    if (!description_.modem_present) return Settle(one, CaseResult::kNotNeeded, "the tablet has no modem");
    // A name of the policy that no map has gets what every other name gets.
    if (!one.row.reachable && !one.row.entry.empty()) {
      bool const by_driver =
          std::ranges::any_of(check_.findings, [](auto& known) { return known.id == "firmware-driver"; });
      if (!by_driver) {
        one.findings.push_back(
            Add({"map-unreachable", PlaceOf(one), fmt::format("\"{}\" is {}", one.row.name, one.row.remark),
                 "correct the code or ID, or remove the entry"}));
      }
      return Settle(one, CaseResult::kNeverUsed, one.row.remark);
    }
    one.findings = check_.archives[*one.archive].findings;
    for (std::size_t const index : one.findings) {
      const CheckFinding& finding = check_.findings[index];
      if (finding.severity() != Severity::kError) continue;
      const std::string& entry = finding.place.entry;
      return Settle(one, CaseResult::kFails, entry.empty() ? finding.text : entry + ": " + finding.text);
    }
    if (!instance_) {
      Settle(one, CaseResult::kFails, "the driver has no instance that could be pointed at the firmware");
    } else if (deploys_) {
      Settle(one, CaseResult::kDeploys,
             fmt::format("{} unpacked", HumanBytes(check_.archives[*one.archive].trial.written)));
    } else if (IsOwn(*one.archive)) {
      Settle(one, CaseResult::kKeeps, "no start deploys: its files are there already");
    } else {
      Settle(one, CaseResult::kKeepsAnother,
             fmt::format("no start deploys: the tablet keeps the files of {}", check_.cases[0].row.archive));
    }
  }

  static void Settle(CheckCase& one, CaseResult result, std::string reason) {
    one.result = result;
    one.reason = std::move(reason);
  }

  void CheckOthers() {
    std::set<std::string> names;
    for (const CheckCase& one : check_.cases) {
      if (one.result == CaseResult::kKeepsAnother) names.insert(one.row.archive);
    }
    if (names.empty()) return;
    Add({"other-archives", places_.OfValue(instance_->key, u"AmssFwImagePath"),
         fmt::format(
             "\"AmssFwImagePath\" is right already, so no start deploys anything: tablets that get {} keep the files of {}",
             *names.begin() + (names.size() == 1 ? "" : fmt::format(" (and {} more)", names.size() - 1)),
             check_.cases[0].row.archive),
         "ship the path that the driver's INF file writes, or allow it for a tablet that is not to be copied"});
  }

  void TryStopping() {
    std::vector<std::size_t> good;
    for (std::size_t i = 0; i < check_.archives.size(); ++i) {
      const CheckedArchive& archive = check_.archives[i];
      bool const fails = std::ranges::any_of(
          archive.findings, [&](std::size_t index) { return check_.findings[index].severity() == Severity::kError; });
      if (!fails && archive.trial.deployment == "deployed") good.push_back(i);
    }
    std::ranges::sort(good, {}, [&](std::size_t i) { return check_.archives[i].trial.written; });
    if (!settings_.deep && good.size() > 1) good.resize(1);
    for (std::size_t const index : good) TryStopping(index);
    check_.stops.all = settings_.deep;
  }

  void TryStopping(std::size_t index) {
    TrialTask const trial = TaskFor(index);
    try {
      StopResult const result = TryStops({.folder = folder_,
                                          .row = trial.row,
                                          .request = trial.request,
                                          .archive = trial.archive,
                                          .written = check_.archives[index].trial.written,
                                          .all = settings_.deep},
                                         settings_, console_);
      ++check_.stops.archives;
      check_.stops.cuts += result.cuts;
      check_.stops.schedules += result.schedules;
      std::string const next =
          IsOwn(index) ? result.repeat : fmt::format("on a tablet with {}: {}", TitleOf(FirstOf(index)), result.repeat);
      for (const std::string& line : result.broken) {
        check_.archives[index].findings.push_back(
            Add({"stop-anywhere", {check_.archives[index].file, 0, {}}, line, next}));
      }
    } catch (const std::runtime_error& error) {
      Add({"not-checked", places_.OfFolder(), fmt::format("power cuts were not tried: {}", error.what()),
           "\"vantord-tablet sweep\" shows more"});
    }
  }

  fs::path folder_;
  const CheckSettings& settings_;
  Console& console_;
  TabletCheck& check_;
  tablet::Description description_;
  OwnDrive drive_;
  TabletPlaces places_;
  tablet::Registry registry_;
  tablet::Firmware firmware_;
  TabletFacts facts_{description_, registry_, firmware_, drive_.get(), places_};
  std::optional<CheckPolicy> policy_;
  std::optional<DriverInstance> instance_;
  bool deploys_ = false;  ///< a start of the tablet as it is deploys
};

}  // namespace

std::string_view NameOf(Kind kind) {
  static constexpr std::array<std::string_view, 4> kNames{"own", "code", "id", "none"};
  return kNames[static_cast<std::size_t>(kind)];
}

std::string_view NameOf(CaseResult result) {
  static constexpr std::array<std::string_view, 7> kNames{"deploys",       "fails",      "fails as expected", "keeps",
                                                          "keeps another", "never used", "not needed"};
  return kNames[static_cast<std::size_t>(result)];
}

std::string TitleOf(const CheckCase& one) {
  if (one.kind == Kind::kCode) return "sales code " + one.row.name;
  if (one.kind == Kind::kId) return "image ID " + one.row.name;
  return one.kind == Kind::kNone ? "neither code nor ID" : "this tablet";
}

bool TabletCheck::well() const {
  return well_formed && std::ranges::none_of(findings, &CheckFinding::fails) &&
         std::ranges::none_of(cases, &CheckCase::fails);
}

TabletCheck CheckTablet(const fs::path& folder, const CheckSettings& settings, Console& console) {
  TabletCheck check;
  check.folder = folder.string();
  for (const tablet::InputError& problem : ProblemsOf(folder)) check.findings.push_back(FromProblem(problem));
  check.well_formed = check.findings.empty();
  if (check.well_formed) Checker(folder, settings, console, check).Work();
  return check;
}

}  // namespace cli
