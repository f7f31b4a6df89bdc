#include "cli/check/stop_check.h"

#include <fmt/format.h>

#include <algorithm>

#include "cli/base/child_process.h"
#include "cli/base/service_facts.h"
#include "cli/sweep/sweep_command.h"
#include "sim/tablet/base/text.h"

namespace cli {

namespace {

using nlohmann::ordered_json;

/// Without --deep, so many cuts that about this much is unpacked, which takes some seconds.
constexpr std::uint64_t kBytesToUnpack = 800'000'000;
constexpr std::uint64_t kFewestCuts = 6;
constexpr std::uint64_t kMostCuts = 24;
constexpr std::uint64_t kSchedules = 4;
constexpr std::uint64_t kAllSchedules = 200;

/// The other archives make no difference, and a sweep reads each.
void RemoveOthers(tablet::Drive& drive, const std::string& archive) {
  std::u16string const path = tablet::ToUtf16(archive);
  std::size_t const name = path.rfind(u'\\') + 1;
  std::vector<tablet::FileFacts> files;
  if (drive.Find(path.substr(0, name) + u'*', files) != tablet::kSuccess) return;
  for (const tablet::FileFacts& file : files) {
    bool const folder = (file.attributes & tablet::kAttributeDirectory) != 0;
    if (!folder && !tablet::EqualIgnoringCase(file.name, path.substr(name))) {
      drive.Remove(path.substr(0, name) + file.name);
    }
  }
}

SweepOptions OptionsFor(const StopTask& task, const CheckSettings& settings) {
  SweepOptions options;
  options.folder = task.folder;
  options.pool = settings.pool;
  options.plan.kinds = {SweepTask::Kind::kCut, SweepTask::Kind::kSchedule};
  options.plan.pairs = 0;
  options.prepare = settings.prepare_stop;
  options.plan.schedules = task.all ? kAllSchedules : kSchedules;
  if (!task.all) {
    options.plan.most_cuts =
        std::clamp(kBytesToUnpack / std::max<std::uint64_t>(task.written, 1), kFewestCuts, kMostCuts);
  }
  options.change = [&task](tablet::Tablet& machine) {
    if (task.row) BecomeTabletOf(*task.row, machine);
    if (task.request) machine.registry().PutDword(service_facts::kParametersKey, u"Distribute", 1);
    RemoveOthers(machine.drive(), task.archive);
  };
  return options;
}

}  // namespace

StopResult TryStops(const StopTask& task, const CheckSettings& settings, Console& console) {
  // A sweep changes how this process allocates and loads copies of the service: it has a process of its own.
  ordered_json const document = RunInChild(task.folder.string(), [&](const Answer& answer) {
    answer(SweepTablet(OptionsFor(task, settings), console).ToJson());
  });
  StopResult result;
  result.cuts = document["tried"]["cut"];
  result.schedules = document["tried"]["schedule"];
  for (const ordered_json& finding : document["findings"]) {
    result.broken.push_back(
        fmt::format("{}: {}", finding["promise"].get<std::string>(), finding["detail"].get<std::string>()));
    if (result.repeat.empty()) result.repeat = finding["repeat"];
  }
  return result;
}

}  // namespace cli
