#include "cli/select/select_command.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>
#include <stdexcept>

#include "cli/base/exit_code.h"
#include "cli/base/json_text.h"
#include "cli/base/own_drive.h"
#include "cli/base/table.h"
#include "cli/base/work_folder.h"
#include "cli/boot/observer.h"
#include "cli/boot/tablet_run.h"
#include "cli/select/decision.h"
#include "cli/select/selection_matrix.h"
#include "sim/tablet/folder/folder.h"

namespace cli {

namespace {

using nlohmann::ordered_json;
using Style = Console::Style;

/// Whether the service would go for an archive at its next start, which depends on more than the choice.
struct NextStart {
  bool goes = false;
  std::string reason;
};

NextStart TryNextStart(const tablet::Description& description, const std::filesystem::path& folder, Console& console) {
  WorkFolder const work = WorkFolder::Temporary();
  TabletRun run(description, folder, work.path(), {});
  Observer const observer(run);
  run.OnHang([&console](const RunEnd& end) {
    console.Warn(end.message);
    EndNow(kServiceFailed);
  });
  RunEnd const end = run.Run(std::nullopt);
  if (observer.findings().ModemArchive() != nullptr)
    return {true, "the service deploys this archive at its next start"};
  if (end.kind == RunEnd::Kind::kNotModelled || end.kind == RunEnd::Kind::kCallLimit) return {false, end.message};
  return {false, "the service deploys nothing at its next start: " + observer.findings().Outcome().reason};
}

std::string Presence(const ArchiveFile& file) {
  if (file.present) return fmt::format("on the tablet, {}", HumanBytes(file.bytes));
  return file.folder ? "a folder has this name: the deployment would fail"
                     : "not on the tablet: the deployment would fail";
}

void Print(Console& console, const std::string& name, const Decision& decision, const ArchiveFile& file,
           const NextStart& next) {
  Table table(console);
  table.Row("Tablet", name);
  table.Row("Archive", decision.path.empty() ? "none" : decision.path);
  if (!decision.path.empty()) table.More(Presence(file), file.present ? Style::kGood : Style::kBad);
  table.Row("Because", decision.why, Style::kStrong);
  table.Row("Next", next.reason);
  console.Line("");
  int number = 0;
  for (const Source& source : decision.sources) {
    bool const took = source.asked && source.error == 0;
    std::string const what = took ? source.found.value_or("") : source.asked ? "nothing" : "-";
    std::string const line = fmt::format("{}  {:<25}  {}", ++number, TitleOf(source.origin), what);
    Style const style = source.decided ? Style::kGood : source.asked ? Style::kPlain : Style::kDim;
    console.Line(console.Styled(style, line + (source.decided ? "  <- decides" : "")));
    if (!source.where.empty()) console.Line(console.Styled(Style::kDim, fmt::format("{:<30}{}", "", source.where)));
    if (!source.remark.empty()) console.Line(fmt::format("{:<30}{}", "", source.remark));
  }
  console.Line("");
  Paragraph(table, "Messages", decision.messages, "none", [](const auto& text) { return text; });
}

ordered_json ToJson(const std::string& name, const Decision& decision, const ArchiveFile& file, const NextStart& next) {
  ordered_json archive;
  if (!decision.path.empty()) {
    archive = {{"path", decision.path},
               {"name", decision.name},
               {"cut", decision.cut},
               {"present", file.present},
               {"bytes", file.bytes}};
  }
  ordered_json sources = ordered_json::array();
  for (const Source& source : decision.sources) sources.push_back(ToJson(source));
  ordered_json decider;
  if (const Source* source = decision.Decider()) decider = IdOf(source->origin);
  return {{"schema", 1},
          {"exit_code", kDone},
          {"tablet", name},
          {"archive", std::move(archive)},
          {"decided_by", std::move(decider)},
          {"why", decision.why},
          {"sources", std::move(sources)},
          {"messages", decision.messages},
          {"next_start", {{"goes_for_an_archive", next.goes}, {"reason", next.reason}}}};
}

}  // namespace

int Select(const SelectOptions& options, Console& console) {
  tablet::Description const description = tablet::ReadTabletFolder(options.folder);
  OwnDrive const drive(options.folder, description);
  if (options.matrix) {
    SelectionMatrix const matrix = MakeMatrix(options.folder, drive.get());
    if (options.json) {
      PrintJson(console, ToJson(description.name, matrix));
    } else {
      Print(console, description.name, matrix);
    }
    return kDone;
  }
  Decision const decision = Decide(options.folder, nullptr);
  ArchiveFile const file = FindArchive(drive.get(), decision.path);
  NextStart const next = TryNextStart(description, options.folder, console);
  if (options.json) {
    PrintJson(console, ToJson(description.name, decision, file, next));
  } else {
    Print(console, description.name, decision, file, next);
  }
  return kDone;
}

}  // namespace cli
