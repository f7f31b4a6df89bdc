// Rules of the service manager that are noted, not enforced: progress while a state is
// pending, a handler that returns soon, an end in time before Windows shuts down.
#pragma once

#include <cstdint>
#include <string>

#include "sim/tablet/kernel/journal.h"
#include "sim/tablet/kernel/scheduler.h"

namespace tablet {

/// Windows' own time-out of a preshutdown notice, unless the service's configuration has another.
inline constexpr Millis kPreshutdownTimeout{180'000};

class ServiceWatch {
 public:
  /// What of a status report matters here.
  struct Report {
    bool pending;
    bool stopped;
    std::string state;
    Millis wait_hint;
  };

  ServiceWatch(Scheduler& scheduler, Journal& journal) : scheduler_(scheduler), journal_(journal) {}

  void SetPreshutdownTimeout(Millis timeout) { preshutdown_timeout_ = timeout; }

  /// Every report of a pending state is progress; the next is due within its wait hint.
  void Reported(const Report& report);
  void HandlerCalled(std::uint32_t control);
  void HandlerReturned();
  void PreshutdownSent();
  /// The process has ended.
  void Forget();

 private:
  /// Notes `text` after `limit`, unless the timer is cancelled or set again before.
  void Set(std::uint64_t& timer, Millis limit, std::string text);
  void Cancel(std::uint64_t& timer);

  Scheduler& scheduler_;
  Journal& journal_;
  Millis preshutdown_timeout_ = kPreshutdownTimeout;
  std::uint64_t progress_ = 0;  ///< timers: 0 when not set
  std::uint64_t handler_ = 0;
  std::uint64_t preshutdown_ = 0;
};

}  // namespace tablet
