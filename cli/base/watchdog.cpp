#include "cli/base/watchdog.h"

#include <time.h>

#include <algorithm>
#include <utility>

namespace cli {

namespace {

constexpr std::chrono::milliseconds kShortestLook{1};
constexpr std::chrono::milliseconds kLongestLook{100};

std::chrono::nanoseconds ProcessorTime() {
  timespec used{};
  ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
  return std::chrono::seconds(used.tv_sec) + std::chrono::nanoseconds(used.tv_nsec);
}

}  // namespace

Watchdog::Watchdog(std::function<std::uint64_t()> beats, std::chrono::milliseconds time_out, OnHang on_hang)
    : beats_(std::move(beats)), time_out_(time_out), on_hang_(std::move(on_hang)), thread_([this] { Watch(); }) {}

Watchdog::~Watchdog() {
  {
    std::lock_guard const lock(mutex_);
    done_ = true;
  }
  woken_.notify_one();
  thread_.join();
}

void Watchdog::Watch() {
  std::uint64_t last = beats_();
  std::chrono::nanoseconds moved = ProcessorTime();
  auto still = time_out_;
  std::unique_lock lock(mutex_);
  auto const look = std::clamp(time_out_ / 4, kShortestLook, kLongestLook);
  while (!woken_.wait_for(lock, look, [this] { return done_; })) {
    std::uint64_t const now = beats_();
    if (now != last) {
      last = now;
      moved = ProcessorTime();
      still = time_out_;
    } else if (ProcessorTime() - moved >= still) {
      on_hang_(still);
      still += time_out_;
    }
  }
}

}  // namespace cli
