#include "cli/commands/list.h"

namespace cli {

std::vector<std::unique_ptr<Command>> MakeCommands() {
  std::vector<std::unique_ptr<Command>> commands;
  commands.push_back(MakeInitCommand());
  commands.push_back(MakeImportCommand());
  commands.push_back(MakeExportCommand());
  commands.push_back(MakeRunCommand());
  commands.push_back(MakeSelectCommand());
  commands.push_back(MakeLintCommand());
  commands.push_back(MakePackCommand());
  commands.push_back(MakeVerifyCommand());
  commands.push_back(MakeDiffCommand());
  commands.push_back(MakeExplainCommand());
  commands.push_back(MakeValidateCommand());
  commands.push_back(MakeCheckCommand());
  commands.push_back(MakeStoryCommand());
  commands.push_back(MakeCollectCommand());
  commands.push_back(MakeReplayCommand());
  commands.push_back(MakeFaultCommand());
  commands.push_back(MakeSweepCommand());
  commands.push_back(MakeWorldCommand());
  return commands;
}

}  // namespace cli
