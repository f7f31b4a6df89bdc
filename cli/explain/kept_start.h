// The events of one start of a trace, kept for the page, the timeline and the comparison.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <vector>

#include "cli/explain/trace_start.h"

namespace cli {

struct KeptStart {
  std::size_t number = 0;
  std::string heading;
  nlohmann::ordered_json document;
  Findings findings;
  std::vector<tablet::Event> events;
  std::vector<std::uint64_t> lines;  ///< of the file, one for each event
  std::uint64_t left_out = 0;        ///< events beyond the most that are kept
  bool failed = false;
};

class StartKeeper {
 public:
  /// Events of a start that are kept: a hundred times those of a deployment.
  static constexpr std::size_t kMost = 50'000;

  /// `number`: the start that is wanted; nothing: the last one that failed, or else the last one.
  explicit StartKeeper(std::optional<std::size_t> number) : wanted_(number) {}

  void Take(const TraceStart& start, const tablet::Event& event);
  void End(const TraceStart& start);
  /// Null where the trace does not have it.
  const KeptStart* chosen() const { return chosen_.get(); }

 private:
  std::optional<std::size_t> wanted_;
  std::map<std::size_t, std::unique_ptr<KeptStart>> open_;
  std::unique_ptr<KeptStart> chosen_;
};

}  // namespace cli
