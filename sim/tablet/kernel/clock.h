// The tablet's wall clock: UTC and local time made of virtual time.
#pragma once

#include <cstdint>

#include "sim/tablet/kernel/scheduler.h"

namespace tablet {

/// A count of 100 ns steps since 1601-01-01 00:00 UTC, as FILETIME holds it.
using FileTicks = std::uint64_t;

inline constexpr FileTicks kTicksPerSecond = 10'000'000;
inline constexpr FileTicks kTicksPerMilli = 10'000;
/// Ticks from 1601 to 1970.
inline constexpr FileTicks kUnixEpoch = 11'644'473'600ULL * kTicksPerSecond;

class Clock {
 public:
  Clock(const Scheduler& scheduler, FileTicks power_on, int utc_offset_minutes)
      : scheduler_(scheduler), power_on_(power_on), utc_offset_minutes_(utc_offset_minutes) {}

  FileTicks UtcNow() const { return power_on_ + static_cast<FileTicks>(scheduler_.Now().count()) * kTicksPerMilli; }
  /// Local time is UTC plus this many minutes.
  int utc_offset_minutes() const { return utc_offset_minutes_; }

 private:
  const Scheduler& scheduler_;
  FileTicks power_on_;
  int utc_offset_minutes_;
};

}  // namespace tablet
