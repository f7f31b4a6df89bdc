#include "cli/archive/lint.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <fstream>
#include <iterator>

#include "cli/archive/archive_survey.h"
#include "cli/archive/archive_trial.h"
#include "cli/archive/driver_images.h"
#include "cli/archive/lint_warnings.h"
#include "cli/base/child_process.h"
#include "cli/base/console.h"
#include "cli/base/service_facts.h"
#include "cli/base/watchdog.h"
#include "cli/base/work_folder.h"
#include "cli/boot/call_text.h"
#include "sim/tablet/base/input_error.h"
#include "sim/tablet/base/text.h"
#include "sim/tablet/drive/drive_path.h"
#include "sim/tablet/folder/folder.h"
#include "vantord/unzip/unzip.h"

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

  void Work(const Answer& answer) {
    if (end_.out_of_reach) {
      // Known without a trial, which would need several gigabytes.
      trial_.opened = end_.opens_empty;
      trial_.ended = true;
      answer(Findings(false));
    }
    ReadArchive();
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

  std::uint64_t Unpacked() const {
    std::uint64_t sum = 0;
    for (const SurveyedEntry& entry : survey_.entries) sum += entry.header_ok ? entry.bytes : 0;
    return sum;
  }

  ordered_json Findings(bool hung);
  ordered_json EntryFindings(std::size_t index) const;
  std::string ReasonOf(const SurveyedEntry& entry, const TriedEntry& tried) const;
  std::pair<std::string, std::string> Verdict(bool hung) const;
  std::size_t Count(bool (*is)(const TriedEntry& entry)) const;
  void AddArchiveWarnings(std::vector<Warning>& warnings) const;
  ordered_json Images(std::vector<Warning>& warnings) const;

  LintSubject subject_;
  tablet::Description description_;
  tablet::Tablet machine_;
  EndRecord const end_;
  std::string path_;
  Survey survey_;
  Trial trial_;
  std::atomic<std::uint64_t> ticks_{0};
};

bool Fails(const TriedEntry& entry) { return entry.code.value_or(0) != 0; }

/// Codes with which an entry leaves nothing that could be used, not even in part.
bool IsRefusal(std::uint32_t code) { return code != UNZIP_BAD_DATA && code != UNZIP_WRITE_FAILED; }

std::string Linter::ReasonOf(const SurveyedEntry& entry, const TriedEntry& tried) const {
  std::uint32_t const code = tried.code.value_or(0);
  if (code == 0) return {};
  if (!entry.header_ok) return "its central header is damaged or missing";
  if (code == UNZIP_BAD_PASSWORD) return "it is encrypted, and the service has no password";
  if (code == UNZIP_WRITE_FAILED) return "the file cannot be written: the drive is full";
  if (entry.described == UNZIP_BAD_HEADER && entry.method != 0 && entry.method != 8) {
    return fmt::format("compression method {} is not known to the service, which takes 0 and 8", entry.method);
  }
  if (entry.described == UNZIP_BAD_HEADER) return "its local header disagrees with the central directory";
  if (entry.described != 0) return "its headers cannot be read";
  if (code == UNZIP_FILE_FAILED) {
    if (entry.raw_name.ends_with('/') && !entry.folder) {
      return "its name ends as a folder's does, but its attributes are those of a file";
    }
    return "its file cannot be made: " + ErrorText(tried.create_error);
  }
  if (entry.bytes == 0) return "it is empty, and the service takes an empty file for a failure";
  if (entry.bytes == 0xFFFFFFFF || entry.packed_bytes == 0xFFFFFFFF) {
    return "its size is in a Zip64 field, which the service does not know";
  }
  if (entry.delivered < entry.bytes) {
    return fmt::format("its data cannot be unpacked after byte {} of {}", entry.delivered, entry.bytes);
  }
  return "its data cannot be unpacked";
}

ordered_json Linter::EntryFindings(std::size_t index) const {
  const SurveyedEntry& entry = survey_.entries[index];
  const TriedEntry* const tried = index < trial_.entries.size() ? &trial_.entries[index] : nullptr;
  std::string verdict = "not reached";
  ordered_json code;
  ordered_json lands;
  std::string reason;
  if (tried != nullptr && tried->device) {
    verdict = "unknown";
    reason = "its name is a device's on Windows, which is not modelled";
  }
  if (tried != nullptr && tried->code) {
    verdict = *tried->code == 0 ? "accepted" : IsRefusal(*tried->code) ? "refused" : "fails";
    code = fmt::format("{:#010x}", *tried->code);
    reason = ReasonOf(entry, *tried);
    if (std::string const place = LandingOf(*tried); !place.empty() && !entry.name.empty()) lands = place;
  }
  return {{"index", index},
          {"name", entry.raw_name},
          {"folder", entry.folder},
          {"verdict", verdict},
          {"code", std::move(code)},
          {"reason", reason},
          {"cleaned", entry.name},
          {"lands", std::move(lands)},
          {"bytes", entry.bytes},
          {"packed_bytes", entry.packed_bytes},
          {"method", entry.method},
          {"encrypted", entry.encrypted},
          {"checksum_differs", entry.crc_differs}};
}

std::size_t Linter::Count(bool (*is)(const TriedEntry& entry)) const {
  return static_cast<std::size_t>(std::ranges::count_if(trial_.entries, is));
}

/// The word and the reason, half a sentence.
std::pair<std::string, std::string> Linter::Verdict(bool hung) const {
  if (hung) {
    return {"hangs",
            fmt::format("the service never returns from entry {}: the central header of entry {} is damaged or "
                        "missing, and {} entries are claimed; the service cannot be stopped then",
                        trial_.entries.size(), survey_.entries.size() - 1, survey_.claimed)};
  }
  if (!trial_.not_modelled.empty()) {
    return {"unknown", fmt::format("what becomes of entry {} is not modelled: {}", trial_.entries.size() - 1,
                                   trial_.not_modelled)};
  }
  if (!trial_.opened) return {"not found", "the service finds no archive: " + end_.trouble};
  if (std::size_t const failures = Count(Fails)) {
    return {"fails", fmt::format("{} of {} entries fail", failures, trial_.entries.size())};
  }
  if (std::size_t const devices = Count([](const TriedEntry& one) { return one.device; })) {
    return {"unknown", fmt::format("{} of {} entries have a device's name, which is not modelled", devices,
                                   trial_.entries.size())};
  }
  return {"deploys", trial_.entries.empty() ? "it has no entries" : "every entry is accepted"};
}

void Linter::AddArchiveWarnings(std::vector<Warning>& warnings) const {
  if (!trial_.opened) return;
  if (end_.zip64) {
    warnings.push_back({"zip64", std::nullopt, "it is a Zip64 archive, which the service does not know"});
  }
  if (end_.opens_empty) {
    warnings.push_back(
        {"end-record", std::nullopt,
         "its end record begins at 2 GiB or more: the service finds no entries, and counts it as deployed"});
  }
}

ordered_json Linter::Images(std::vector<Warning>& warnings) const {
  ordered_json images = ordered_json::array();
  for (const DriverImage& image : DriverImages(const_cast<Linter*>(this)->machine_.registry())) {
    // The last entry that lands there decides.
    std::optional<std::size_t> brings;
    std::u16string const file = tablet::FoldCase(tablet::ToUtf16(image.file));
    for (std::size_t i = 0; i < trial_.entries.size(); ++i) {
      bool const lands = trial_.entries[i].code && !survey_.entries[i].folder;
      if (lands && tablet::FoldCase(tablet::ToUtf16(LandingOf(trial_.entries[i]))) == file) brings = i;
    }
    ordered_json entry;
    if (brings && !Fails(trial_.entries[*brings])) entry = *brings;
    if (entry.is_null() && trial_.ended && trial_.opened) {
      warnings.push_back({"image", std::nullopt,
                          brings ? fmt::format("the driver is pointed at {}, and entry {}, which brings it, fails",
                                               image.path, *brings)
                                 : fmt::format("the driver is pointed at {}, which no entry brings", image.path)});
    }
    images.push_back({{"value", image.value}, {"path", image.path}, {"entry", std::move(entry)}});
  }
  return images;
}

ordered_json Linter::Findings(bool hung) {
  auto const [verdict, reason] = Verdict(hung);
  ordered_json entries = ordered_json::array();
  for (std::size_t i = 0; i < survey_.entries.size(); ++i) entries.push_back(EntryFindings(i));
  std::vector<Warning> warnings = WarningsOf(survey_, trial_, machine_);
  AddArchiveWarnings(warnings);
  ordered_json images = Images(warnings);
  ordered_json list = ordered_json::array();
  for (const Warning& warning : warnings) {
    ordered_json entry;
    if (warning.entry) entry = *warning.entry;
    list.push_back({{"what", warning.what}, {"entry", std::move(entry)}, {"text", warning.text}});
  }
  ordered_json free_bytes;
  if (description_.free_bytes) free_bytes = *description_.free_bytes;
  return {{"archive", subject_.archive.string()}, {"verdict", verdict},           {"reason", reason},
          {"claimed_entries", survey_.claimed},   {"unpacked_bytes", Unpacked()}, {"free_bytes", std::move(free_bytes)},
          {"entries", std::move(entries)},        {"images", std::move(images)},  {"warnings", std::move(list)}};
}

}  // namespace

ordered_json Lint(const LintSubject& subject) {
  std::string const place = subject.archive.string();
  if (!fs::exists(subject.archive)) throw tablet::InputError(place, "there is no such file", "name an archive");
  if (!fs::is_regular_file(subject.archive)) throw tablet::InputError(place, "is no file", "name an archive");
  if (!std::ifstream(subject.archive)) throw tablet::InputError(place, "cannot be read", "check its rights");
  WorkFolder const work = WorkFolder::Temporary();
  if (subject.tablet) {
    tablet::ReadTabletFolder(*subject.tablet);
    tablet::CopyDrive(*subject.tablet, work.path());
  }
  return RunInChild(place, [&](const Answer& answer) {
    Linter linter(subject, work.path());
    linter.Work(answer);
  });
}

}  // namespace cli
