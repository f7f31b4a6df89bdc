#include "cli/explain/reading/sequence_gaps.h"

#include <iterator>

namespace cli {

void SequenceGaps::Take(std::uint64_t number, std::uint64_t line, const std::string& stamp) {
  if (number == 0) return;
  bool const anew = number == 1 && highest_;
  if (highest_ && number <= *highest_ && !anew) {
    Fill(number);
  } else {
    if (anew) {
      earlier_ = All();
      gaps_.clear();
      highest_.reset();
    }
    if (highest_ && number > *highest_ + 1) {
      SequenceGap const gap{*highest_ + 1, number - 1, line_, stamp_};
      lost_ += gap.count();
      if (earlier_.size() + gaps_.size() < kMost) gaps_.emplace(gap.first, gap);
    }
    highest_ = number;
  }
  line_ = line;
  stamp_ = stamp;
}

std::vector<SequenceGap> SequenceGaps::All() const {
  std::vector<SequenceGap> all = earlier_;
  for (const auto& [first, gap] : gaps_) all.push_back(gap);
  return all;
}

/// A record that came late.
void SequenceGaps::Fill(std::uint64_t number) {
  auto after = gaps_.upper_bound(number);
  if (after == gaps_.begin()) return;
  auto const within = std::prev(after);
  SequenceGap const gap = within->second;
  if (number > gap.last) return;
  --lost_;
  gaps_.erase(within);
  if (gap.first < number) gaps_[gap.first] = {gap.first, number - 1, gap.after_line, gap.stamp};
  if (number < gap.last) gaps_[number + 1] = {number + 1, gap.last, gap.after_line, gap.stamp};
}

}  // namespace cli
