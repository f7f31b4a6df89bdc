#include "cli/archive/lint.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <ctime>
#include <fstream>
#include <iterator>

#include "cli/archive/archive_survey.h"
#include "cli/archive/archive_trial.h"
#include "cli/archive/driver_images.h"
#include "cli/archive/lint_findings.h"
#include "cli/base/child_process.h"
#include "cli/base/console.h"
#include "cli/base/service_facts.h"
#include "cli/base/watchdog.h"
#include "cli/base/work_folder.h"
#include "cli/boot/changes.h"
#include "sim/tablet/base/input_error.h"
#include "sim/tablet/base/text.h"
#include "sim/tablet/drive/drive_path.h"
#include "sim/tablet/drive/pe_version.h"
#include "sim/tablet/folder/folder.h"

namespace cli {

namespace {

namespace fs = std::filesystem;
using nlohmann::ordered_json;

/// The archive was seen to make the service hang: it need not be waited for as long as for one that should not.
constexpr std::chrono::milliseconds kShortTimeOut{1000};
/// No archive makes the service call without end: the watchdog is enough.
constexpr std::uint64_t kNoLimit = std::uint64_t{1} << 60;
/// An archive that unpacks to no more is tried on a drive in memory.
constexpr std::uint64_t kMostInMemory = 256'000'000;

std::uint32_t NumberAt(const std::vector<std::uint8_t>& bytes, std::size_t at) {
  std::uint32_t number = 0;
  for (std::size_t i = 4; i-- > 0;) number = number << 8 | bytes[at + i];
  return number;
}

/// The file version of the fixed record; null for a file without a version block.
ordered_json VersionOf(const tablet::Drive& drive, std::u16string_view path) {
  constexpr std::uint32_t kSignature = 0xFEEF04BD;
  constexpr std::size_t kFixed = tablet::kVersionValueOffset;
  std::vector<std::uint8_t> block;
  bool const found =
      drive.VersionResource(path, block) == tablet::kSuccess && block.size() >= tablet::kLeastVersionResource;
  if (!found || NumberAt(block, kFixed) != kSignature) return nullptr;
  std::uint32_t const high = NumberAt(block, kFixed + 8);
  std::uint32_t const low = NumberAt(block, kFixed + 12);
  return fmt::format("{}.{}.{}.{}", high >> 16, high & 0xFFFF, low >> 16, low & 0xFFFF);
}

/// UTC.
std::string TimeText(tablet::FileTicks ticks) {
  auto const seconds =
      static_cast<std::time_t>(static_cast<std::int64_t>(ticks / tablet::kTicksPerSecond) -
                               static_cast<std::int64_t>(tablet::kUnixEpoch / tablet::kTicksPerSecond));
  std::tm parts{};
  ::gmtime_r(&seconds, &parts);
  return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02}", parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday,
                     parts.tm_hour, parts.tm_min, parts.tm_sec);
}

/// Attributes, time of writing, checksum and version of a file of the drive: {"attributes": "RA", "written":
/// "2026-03-02 08:00:00", "sum": "0a1b2c3d", "version": "1.0.25.0" or null}; null for what is not a file.
ordered_json DescribeFile(const tablet::Drive& drive, const std::string& path) {
  std::u16string const wide = tablet::ToUtf16(path);
  if (!drive.Exists(wide)) return nullptr;
  tablet::FileFacts const facts = drive.Facts(wide);
  if ((facts.attributes & tablet::kAttributeDirectory) != 0) return nullptr;
  return {{"attributes", AttributeLetters(facts.attributes)},
          {"written", TimeText(facts.times.write)},
          {"sum", fmt::format("{:08x}", drive.Sum(wide))},
          {"version", VersionOf(drive, wide)}};
}

/// One archive on its tablet.
class Linter {
 public:
  Linter(const LintSubject& subject, const fs::path& work)
      : subject_(subject),
        description_(subject.tablet ? tablet::ReadTabletFolder(*subject.tablet) : tablet::Description{}),
        machine_(description_, work, {.call_limit = kNoLimit}),
        end_(ReadEndRecord(subject.archive)) {
    if (subject.tablet) tablet::LoadState(*subject.tablet, machine_);
    machine_.drive().PutFolder(u"C:\\Windows\\System32");
    std::u16string name = tablet::ToUtf16(subject.archive.filename().string());
    if (!tablet::IsValidName(name) || tablet::NamesDosDevice(name) || name.size() > 100) name = u"archive.bin";
    if (end_.out_of_reach) return;
    std::ifstream in(subject.archive, std::ios::binary);
    std::vector<std::uint8_t> const bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    path_ = std::string(service_facts::kArchiveFolder) + "\\" + tablet::ToUtf8(name);
    machine_.drive().Put(tablet::ToUtf16(path_), bytes);
  }

  void Work(const Answer& tell) {
    auto const answer = [this, &tell](const ordered_json& findings) {
      if (subject_.on_progress) subject_.on_progress(0, 0);
      tell(findings);
    };
    if (end_.out_of_reach) {
      // Known without a trial, which would need several gigabytes.
      trial_.opened = end_.opens_empty;
      trial_.ended = true;
      answer(Findings(false));
    }
    ReportProgress();
    ReadArchive();
    read_before_ = read_;
    CheckSpace();
    if (!subject_.tablet && Delivered() <= kMostInMemory) machine_.drive().KeepInMemory();
    auto const time_out = survey_.hangs ? std::min(kShortTimeOut, subject_.time_out) : subject_.time_out;
    Watchdog const watchdog([this] { return machine_.scheduler().calls() + ticks_.load(std::memory_order_relaxed); },
                            time_out, [this, &answer](std::chrono::milliseconds) { answer(Findings(true)); });
    machine_.scheduler().OnTick([this] { ticks_.fetch_add(1, std::memory_order_relaxed); });
    Try(machine_, path_, trial_);
    answer(Findings(false));
  }

 private:
  /// Everything is read twice: for the survey and by the trial.
  void ReportProgress() {
    if (!subject_.on_progress) return;
    machine_.drive().on_read = [this, whole = fs::file_size(subject_.archive)](
                                   const std::u16string&, std::uint64_t position, std::uint64_t size) {
      read_ = std::max(read_, read_before_ + std::min(position + size, whole));
      subject_.on_progress(read_, 2 * whole);
    };
  }

  void ReadArchive() {
    bool done = false;
    machine_.scheduler().Start(1, "survey", [&] {
      survey_ = ReadSurvey(path_);
      done = true;
    });
    machine_.scheduler().Wait(tablet::kForever, [&done] { return done; });
  }

  /// The trial writes what the same reader has just delivered, and no more.
  void CheckSpace() const {
    constexpr std::uint64_t kReserve = 64'000'000;
    std::uint64_t const needed = Delivered();
    std::uint64_t const available = fs::space(fs::temp_directory_path()).available;
    if (needed + kReserve <= available) return;
    throw tablet::InputError(subject_.archive.string(),
                             fmt::format("unpacks to {}, and the folder for temporary files has room for {}",
                                         HumanBytes(needed), HumanBytes(available)),
                             "let TMPDIR name a folder with more room");
  }

  std::uint64_t Delivered() const {
    std::uint64_t sum = 0;
    for (const SurveyedEntry& entry : survey_.entries) sum += entry.delivered;
    return sum;
  }

  ordered_json Findings(bool hung) {
    ordered_json findings = LintFindings({.archive = subject_.archive.string(),
                                          .end = end_,
                                          .survey = survey_,
                                          .trial = trial_,
                                          .machine = machine_,
                                          .images = DriverImages(machine_.registry()),
                                          .free_bytes = description_.free_bytes,
                                          .hung = hung});
    for (ordered_json& entry : findings["entries"]) {
      if (!subject_.with_files) break;
      bool const landed = entry["verdict"] == "accepted" && entry["lands"].is_string();
      entry["file"] = landed ? DescribeFile(machine_.drive(), entry["lands"].get<std::string>()) : ordered_json();
    }
    return findings;
  }

  LintSubject subject_;
  tablet::Description description_;
  tablet::Tablet machine_;
  EndRecord const end_;
  std::string path_;
  Survey survey_;
  Trial trial_;
  std::atomic<std::uint64_t> ticks_{0};
  std::uint64_t read_before_ = 0;  ///< bytes of the archive that the survey has come to
  std::uint64_t read_ = 0;         ///< with those of the trial
};

}  // namespace

ordered_json Lint(const LintSubject& subject) {
  std::string const place = subject.archive.string();
  if (!fs::exists(subject.archive)) throw tablet::InputError(place, "there is no such file", "name an archive");
  if (!fs::is_regular_file(subject.archive)) throw tablet::InputError(place, "is not a file", "name an archive");
  if (!std::ifstream(subject.archive)) throw tablet::InputError(place, "cannot be read", "check its rights");
  WorkFolder const work = WorkFolder::Temporary();
  if (subject.tablet) {
    tablet::ReadTabletFolder(*subject.tablet);
    tablet::CopyDrive(*subject.tablet, work.path());
  }
  return RunInChild(place, [&](const Answer& answer) {
    try {
      Linter linter(subject, work.path());
      linter.Work(answer);
    } catch (const tablet::InputError& error) {
      if (subject.on_progress) subject.on_progress(0, 0);
      throw InWordsOf(subject.tablet.value_or(work.path()), work.path(), error);
    }
  });
}

}  // namespace cli
