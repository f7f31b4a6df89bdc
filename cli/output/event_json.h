// Events as JSON Lines.
#pragma once

#include <cstdint>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "cli/base/output_file.h"
#include "sim/tablet/kernel/journal.h"

namespace cli {

nlohmann::ordered_json ToJson(const tablet::Event& event, std::uint64_t seq);

/// A file of events, one per line, numbered from 1 as they are written.
class EventFile {
 public:
  /// Throws InputError when the file cannot be written.
  EventFile(const std::filesystem::path& file, bool with_calls) : out_(file), with_calls_(with_calls) {}
  void Write(const tablet::Event& event);
  /// Throws InputError when something could not be written.
  void Keep() { out_.Keep(); }

 private:
  OutputFile out_;
  bool with_calls_;
  std::uint64_t seq_ = 0;
};

}  // namespace cli
