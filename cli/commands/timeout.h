// Times on the command line.
#pragma once

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace cli {

/// "5s", "1.5s", "200ms", "3min", "1h"; a number alone counts in `unit`. Throws CLI::ValidationError for anything else,
/// less than `least` or more than a hundred thousand years; `option` is for its message.
std::chrono::milliseconds ParseDuration(const std::string& option, const std::string& text,
                                        std::chrono::milliseconds unit, std::chrono::milliseconds least);

/// Adds --timeout, in seconds: the processor time without a call after which the service counts as hung.
void AddTimeout(CLI::App& app, std::chrono::milliseconds& timeout);
/// Adds --until, in milliseconds of virtual time.
void AddUntil(CLI::App& app, std::optional<std::int64_t>& until);

}  // namespace cli
