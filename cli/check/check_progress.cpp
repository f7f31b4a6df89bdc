#include "cli/check/check_progress.h"

#include <fmt/format.h>

#include <utility>

namespace cli {

namespace {

/// What a trial takes besides reading its archive, in bytes.
constexpr std::uint64_t kOfEachTrial = 1'000'000;

}  // namespace

CheckProgress::CheckProgress(Console& console, std::string tablet, std::vector<std::uint64_t> bytes)
    : console_(console),
      tablet_(std::move(tablet)),
      weights_(std::move(bytes)),
      begun_(std::chrono::steady_clock::now()) {
  for (std::uint64_t& weight : weights_) whole_ += weight += kOfEachTrial;
  console_.Progress(fmt::format("of the archives of {}", tablet_), 0, whole_);
}

void CheckProgress::Done(std::size_t trial) {
  done_ += weights_[trial];
  ++finished_;
  console_.Progress(fmt::format("{} of {} archives of {}, {} left", finished_, weights_.size(), tablet_,
                                TimeLeft(std::chrono::steady_clock::now() - begun_, done_, whole_)),
                    done_, whole_);
}

}  // namespace cli
