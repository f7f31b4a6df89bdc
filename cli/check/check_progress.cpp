#include "cli/check/check_progress.h"

#include <fmt/format.h>

#include <utility>

namespace cli {

namespace {

using std::chrono::milliseconds;

/// What a trial takes besides reading its archive, in bytes.
constexpr std::uint64_t kOfEachTrial = 1'000'000;
constexpr std::int64_t kMinute = 60;

}  // namespace

std::string TimeLeft(milliseconds used, std::uint64_t done, std::uint64_t whole) {
  double const left =
      static_cast<double>(used.count()) / 1000 * static_cast<double>(whole - done) / static_cast<double>(done);
  auto const seconds = static_cast<std::int64_t>(left) + 1;
  return seconds < 2 * kMinute ? fmt::format("{} s", seconds)
                               : fmt::format("{} min", (seconds + kMinute - 1) / kMinute);
}

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
  auto const used = std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - begun_);
  console_.Progress(fmt::format("{} of {} archives of {}, {} left", finished_, weights_.size(), tablet_,
                                TimeLeft(used, done_, whole_)),
                    done_, whole_);
}

}  // namespace cli
