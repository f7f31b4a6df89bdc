// The makers of all commands; list.cpp puts them in order.
#pragma once

#include <memory>

#include "cli/commands/command.h"

namespace cli {

std::unique_ptr<Command> MakeCheckCommand();
std::unique_ptr<Command> MakeCollectCommand();
std::unique_ptr<Command> MakeExplainCommand();
std::unique_ptr<Command> MakeExportCommand();
std::unique_ptr<Command> MakeFaultCommand();
std::unique_ptr<Command> MakeImportCommand();
std::unique_ptr<Command> MakeInitCommand();
std::unique_ptr<Command> MakePackCommand();
std::unique_ptr<Command> MakeReplayCommand();
std::unique_ptr<Command> MakeRunCommand();
std::unique_ptr<Command> MakeSelectCommand();
std::unique_ptr<Command> MakeLintCommand();
std::unique_ptr<Command> MakeVerifyCommand();
std::unique_ptr<Command> MakeWorldCommand();
std::unique_ptr<Command> MakeDiffCommand();
std::unique_ptr<Command> MakeValidateCommand();
std::unique_ptr<Command> MakeStoryCommand();
std::unique_ptr<Command> MakeSweepCommand();

}  // namespace cli
