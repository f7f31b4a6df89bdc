#include "cli/explain/simulated_start.h"

#include "cli/base/exit_code.h"
#include "cli/base/unfinished.h"
#include "cli/boot/observer.h"
#include "cli/boot/tablet_run.h"
#include "sim/tablet/base/input_error.h"
#include "sim/tablet/folder/folder.h"

namespace cli {

std::vector<tablet::Event> SimulateStart(const std::filesystem::path& folder, Console& console) {
  tablet::Description const description = tablet::ReadTabletFolder(folder);
  TabletRun run(description, folder, folder, {});
  run.machine().drive().KeepInMemory();
  Observer const observer(run);  // ends a run that polls for ever
  run.OnHang([&console](const RunEnd& end) {
    console.Warn(end.message + "; \"vantord-tablet run\" shows where");
    EndNow(kServiceFailed);
  });
  run.Run(std::nullopt);
  std::vector<tablet::Event> messages;
  for (const tablet::Event& event : run.machine().journal().events()) {
    if (std::holds_alternative<tablet::TraceEvent>(event.what)) messages.push_back(event);
  }
  if (messages.empty()) {
    throw tablet::InputError((folder / "tablet.json").string(), "its run logs no message",
                             "let it collect the trace: \"trace\": {\"collect\": true}");
  }
  return messages;
}

}  // namespace cli
