// Ends a run that makes no progress: some archives keep the service in a loop that calls nothing, where virtual time
// does not move.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>

namespace cli {

class Watchdog {
 public:
  /// Told how long nothing has moved: `time_out` or, when it has returned so often, a multiple of that.
  using OnHang = std::function<void(std::chrono::milliseconds still)>;

  /// While it runs, calls `on_hang` on a thread of its own each time that `beats` has given the same number for
  /// `time_out` of this process's processor time: a busy machine does not count. `beats` is called on that thread.
  Watchdog(std::function<std::uint64_t()> beats, std::chrono::milliseconds time_out, OnHang on_hang);
  ~Watchdog();
  Watchdog(const Watchdog&) = delete;
  Watchdog& operator=(const Watchdog&) = delete;

 private:
  void Watch();

  std::function<std::uint64_t()> beats_;
  std::chrono::milliseconds time_out_;
  OnHang on_hang_;
  std::mutex mutex_;
  std::condition_variable woken_;
  bool done_ = false;
  std::thread thread_;
};

}  // namespace cli
