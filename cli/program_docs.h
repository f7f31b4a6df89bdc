// The manual page and the completion for bash, both made from the program's own options, so that neither can say
// anything else than --help.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace cli {

/// In roff, for section 1.
std::string ManPage(const CLI::App& app);
/// To be sourced by bash, as /usr/share/bash-completion/completions/vantord-tablet is.
std::string BashCompletion(const CLI::App& app);

}  // namespace cli
