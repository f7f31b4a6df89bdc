// The manual page and the completions for shells, all made from the program's own options, so that none can say
// anything else than --help.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <string_view>

namespace cli {

/// In roff, for section 1.
std::string ManPage(const CLI::App& app);

enum class Shell { kBash, kZsh, kFish };

std::string_view NameOf(Shell shell);
/// A file that the shell reads: for bash one to be sourced, for zsh one of $fpath, for fish one of its completions.
std::string Completion(const CLI::App& app, Shell shell);

}  // namespace cli
