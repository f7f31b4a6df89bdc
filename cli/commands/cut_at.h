// The option --cut-at of run and collect.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <string>

namespace cli {

struct CutAt {
  std::uint64_t number = 0;  ///< of the call; 0: the power is not cut, or at `occurrence`
  std::string call;          ///< a name of the catalogue of faults
  std::uint64_t occurrence = 0;
};

/// "150" or "WriteFile@20". Throws CLI::ValidationError for anything else.
CutAt ParseCutAt(const std::string& text);

}  // namespace cli
