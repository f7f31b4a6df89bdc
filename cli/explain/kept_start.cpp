#include "cli/explain/kept_start.h"

#include "cli/explain/explain_output.h"

namespace cli {

void StartKeeper::Take(const TraceStart& start, const tablet::Event& event) {
  if (wanted_ && *wanted_ != start.number()) return;
  std::unique_ptr<KeptStart>& kept = open_[start.number()];
  if (!kept) kept = std::make_unique<KeptStart>();
  if (kept->events.size() == kMost) {
    ++kept->left_out;
    return;
  }
  kept->events.push_back(event);
  kept->lines.push_back(start.last_line());
}

void StartKeeper::End(const TraceStart& start) {
  auto const found = open_.find(start.number());
  if (found == open_.end()) return;
  std::unique_ptr<KeptStart> kept = std::move(found->second);
  open_.erase(found);
  kept->number = start.number();
  kept->failed = !start.Failure().empty();
  if (!wanted_ && chosen_ && chosen_->failed && !kept->failed) return;
  kept->heading = Heading(start);
  kept->document = ToJson(start);
  kept->findings = start.findings();
  chosen_ = std::move(kept);
}

}  // namespace cli
