#include "cli/explain/start_splitter.h"

#include <algorithm>

namespace cli {

namespace {

/// Starts whose messages may still come: a process that ends while the next one starts, traces of several tablets.
constexpr std::size_t kMostOpen = 8;

}  // namespace

void StartSplitter::Take(const TraceRecord& record) {
  TraceStart& start = StartOf(record);
  tablet::Event const event = start.Take(record);
  if (on_event) on_event(start, event);
}

/// That of the record's process, unless the record begins another one.
TraceStart& StartSplitter::StartOf(const TraceRecord& record) {
  const auto* const message = std::get_if<tablet::TraceEvent>(&record.what);
  auto const same = std::ranges::find_if(open_, [&](const auto& one) { return one->process() == record.process; });
  if (same != open_.end()) {
    // JSON Lines have what happened before the first message.
    bool const begins = message != nullptr && BeginsStart(*message) && (*same)->counts().all != 0;
    if (!begins) {
      std::rotate(same, same + 1, open_.end());
      return *open_.back();
    }
    Close(static_cast<std::size_t>(same - open_.begin()));
  }
  if (open_.size() == kMostOpen) Close(0);
  open_.push_back(std::make_unique<TraceStart>(++starts_, record));
  return *open_.back();
}

void StartSplitter::Close(std::size_t index) {
  open_[index]->Finish();
  if (on_end) on_end(*open_[index]);
  open_.erase(open_.begin() + static_cast<std::ptrdiff_t>(index));
}

void StartSplitter::Finish() {
  while (!open_.empty()) Close(0);
}

}  // namespace cli
