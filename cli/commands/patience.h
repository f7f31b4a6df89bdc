#pragma once

#include <CLI/CLI.hpp>
#include <chrono>

namespace cli {

/// Adds --patience, in seconds, which sets `patience`; the value it has now is the default that --help shows.
void AddPatience(CLI::App& app, std::chrono::milliseconds& patience);

}  // namespace cli
