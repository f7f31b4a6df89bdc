#include "cli/watchdog.h"

#include <utility>

namespace cli {

Watchdog::Watchdog(std::function<std::uint64_t()> beats, std::chrono::milliseconds patience,
                   std::function<void()> on_hang)
    : beats_(std::move(beats)), patience_(patience), on_hang_(std::move(on_hang)), thread_([this] { Watch(); }) {}

Watchdog::~Watchdog() {
  {
    std::lock_guard const lock(mutex_);
    done_ = true;
  }
  woken_.notify_one();
  thread_.join();
}

void Watchdog::Watch() {
  using Clock = std::chrono::steady_clock;
  std::uint64_t last = beats_();
  Clock::time_point moved = Clock::now();
  std::unique_lock lock(mutex_);
  while (!woken_.wait_for(lock, std::chrono::milliseconds(100), [this] { return done_; })) {
    std::uint64_t const now = beats_();
    if (now != last) {
      last = now;
      moved = Clock::now();
    } else if (Clock::now() - moved >= patience_) {
      on_hang_();
    }
  }
}

}  // namespace cli
