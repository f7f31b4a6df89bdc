#include "cli/compare/verify_command.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <vector>

#include "cli/archive/archive_trial.h"
#include "cli/base/child_process.h"
#include "cli/base/digest.h"
#include "cli/base/exit_code.h"
#include "cli/base/json_text.h"
#include "cli/base/own_drive.h"
#include "cli/base/table.h"
#include "cli/base/watchdog.h"
#include "cli/base/work_folder.h"
#include "cli/select/decision.h"
#include "sim/tablet/base/input_error.h"
#include "sim/tablet/base/text.h"
#include "sim/tablet/folder/folder.h"

namespace cli {

namespace {

namespace fs = std::filesystem;
using nlohmann::ordered_json;
using Style = Console::Style;

/// The place of the archive on the tablet that is thrown away: outside of the folder that it is extracted into.
constexpr std::string_view kTrialArchive = "c:\\archive.bin";

/// In the child: what the service makes of the archive on an empty drive.
ordered_json Extract(const fs::path& archive, const fs::path& work, std::chrono::milliseconds time_out,
                     const Answer& answer) {
  tablet::Tablet machine({}, work);
  std::ifstream in(archive, std::ios::binary);
  std::vector<std::uint8_t> const bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  machine.drive().Put(tablet::ToUtf16(kTrialArchive), bytes);
  machine.drive().PutFolder(u"C:\\Windows\\System32");
  Trial trial;
  std::atomic<std::uint64_t> ticks{0};
  machine.scheduler().OnTick([&ticks] { ticks.fetch_add(1, std::memory_order_relaxed); });
  Watchdog const watchdog([&] { return machine.scheduler().calls() + ticks.load(std::memory_order_relaxed); }, time_out,
                          [&answer](std::chrono::milliseconds) {
                            answer({{"trouble", "the service hangs on it"}});
                          });
  Try(machine, std::string(kTrialArchive), trial);
  if (!trial.not_modelled.empty()) return {{"trouble", trial.not_modelled}};
  if (!trial.opened) return {{"trouble", "the service finds no archive in it"}};
  ordered_json files = ordered_json::array();
  for (const tablet::FileChange& change : machine.drive().Changes()) {
    if (change.folder) continue;
    files.push_back({{"path", tablet::ToUtf8(change.path)},
                     {"bytes", change.bytes},
                     {"sha256", Sha256Of(machine.drive().HostPath(change.path))}});
  }
  return {{"complete", trial.complete()}, {"files", std::move(files)}};
}

/// One file of the archive and its state on the tablet.
ordered_json Compare(const ordered_json& file, const tablet::Drive& drive) {
  std::string const path = file["path"];
  std::u16string const wide = tablet::ToUtf16(path);
  ordered_json on_tablet;
  std::string state = "missing";
  if (drive.Exists(wide) && (drive.Facts(wide).attributes & tablet::kAttributeDirectory) == 0) {
    on_tablet = Sha256Of(drive.HostPath(wide));
    state = on_tablet == file["sha256"] ? "equal" : "differs";
  }
  return {{"path", path},
          {"state", state},
          {"bytes", file["bytes"]},
          {"archive_sha256", file["sha256"]},
          {"tablet_sha256", std::move(on_tablet)}};
}

fs::path ArchiveOf(const VerifyOptions& options, const tablet::Drive& drive) {
  if (options.archive) {
    if (!fs::is_regular_file(*options.archive)) {
      throw tablet::InputError(options.archive->string(), "is not a file", "name an archive");
    }
    return *options.archive;
  }
  Decision const decision = Decide(options.folder, nullptr);
  if (!FindArchive(drive, decision.path).present) {
    throw tablet::InputError(options.folder.string(), fmt::format("has no archive {}, which it gets", decision.path),
                             "\"vantord-tablet select\" shows why it gets that one; --archive names another");
  }
  return drive.HostPath(tablet::ToUtf16(decision.path));
}

void Print(Console& console, const ordered_json& document) {
  Table table(console);
  table.Row("Tablet", document["tablet"].get<std::string>());
  table.Row("Archive", document["archive"]["file"].get<std::string>());
  if (document["archive"]["trouble"].is_string()) {
    table.More(document["archive"]["trouble"].get<std::string>(), Style::kBad);
  }
  std::size_t equal = 0;
  for (const ordered_json& file : document["files"]) {
    std::string const state = file["state"];
    if (state == "equal") {
      ++equal;
      continue;
    }
    console.Line(fmt::format("{}  {}", console.Styled(Style::kBad, fmt::format("{:<10}", state)),
                             file["path"].get<std::string>()));
    console.Line(
        console.Styled(Style::kDim, fmt::format("{:<12}archive {}", "", file["archive_sha256"].get<std::string>())));
    if (file["tablet_sha256"].is_string()) {
      console.Line(
          console.Styled(Style::kDim, fmt::format("{:<12}tablet  {}", "", file["tablet_sha256"].get<std::string>())));
    }
  }
  bool const good = document["exit_code"] == kDone;
  table.Row("Files", fmt::format("{} of {} are as in the archive", equal, document["files"].size()),
            good ? Style::kGood : Style::kBad);
}

}  // namespace

int Verify(const VerifyOptions& options, Console& console) {
  tablet::Description const description = tablet::ReadTabletFolder(options.folder);
  OwnDrive const drive(options.folder, description);
  fs::path const archive = ArchiveOf(options, drive.get());
  WorkFolder const work = WorkFolder::Temporary();
  ordered_json const extracted = RunInChild(
      archive.string(), [&](const Answer& answer) { answer(Extract(archive, work.path(), options.time_out, answer)); });
  ordered_json files = ordered_json::array();
  bool good = !extracted.contains("trouble");
  ordered_json trouble;
  if (!good) trouble = extracted["trouble"];
  for (const ordered_json& file : extracted.value("files", ordered_json::array())) {
    files.push_back(Compare(file, drive.get()));
    good = good && files.back()["state"] == "equal";
  }
  if (trouble.is_null() && !extracted["complete"]) trouble = "the service does not extract all of it: see lint";
  int const code = good ? kDone : kNotAsExpected;
  ordered_json const document{
      {"schema", 1},
      {"exit_code", code},
      {"tablet", description.name},
      {"archive", {{"file", archive.string()}, {"sha256", Sha256Of(archive)}, {"trouble", std::move(trouble)}}},
      {"files", std::move(files)}};
  if (options.json) {
    PrintJson(console, document);
  } else {
    Print(console, document);
  }
  return code;
}

}  // namespace cli
