// Tells the starts of a trace apart.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "cli/explain/trace_start.h"

namespace cli {

class StartSplitter {
 public:
  /// Called for each record with the start that it belongs to and the event that it is there.
  std::function<void(const TraceStart&, const tablet::Event&)> on_event;
  /// Called once for each start, when none of its messages can come any more.
  std::function<void(const TraceStart&)> on_end;

  /// A record of the service.
  void Take(const TraceRecord& record);
  /// At the end of the trace.
  void Finish();

  std::size_t starts() const { return starts_; }

 private:
  TraceStart& StartOf(const TraceRecord& record);
  void Close(std::size_t index);

  std::vector<std::unique_ptr<TraceStart>> open_;  ///< the one last heard of comes last
  std::size_t starts_ = 0;
};

}  // namespace cli
