// Events as JSON Lines.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "sim/tablet/kernel/journal.h"

namespace cli {

nlohmann::ordered_json ToJson(const tablet::Event& event, std::uint64_t seq);

/// A file of events, one per line, numbered from 1 as they are written.
class EventFile {
 public:
  /// Throws InputError when the file cannot be written.
  EventFile(const std::filesystem::path& file, bool with_calls);
  void Write(const tablet::Event& event);
  /// Throws InputError when something could not be written.
  void Close();

 private:
  std::filesystem::path file_;
  std::ofstream out_;
  bool with_calls_;
  std::uint64_t seq_ = 0;
};

}  // namespace cli
