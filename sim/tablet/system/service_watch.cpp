#include "sim/tablet/system/service_watch.h"

#include <fmt/format.h>

#include <utility>

namespace tablet {

namespace {
/// How long a handler may take before the sender of the control gets a time-out.
constexpr Millis kHandlerLimit{30'000};
}  // namespace

void ServiceWatch::Reported(const Report& report) {
  Cancel(progress_);
  if (report.stopped) Cancel(preshutdown_);
  if (!report.pending) return;
  Set(progress_, report.wait_hint,
      fmt::format("note: no progress reported for longer than the wait hint of {} ms while {}",
                  report.wait_hint.count(), report.state));
}

void ServiceWatch::HandlerCalled(std::uint32_t control) {
  Set(handler_, kHandlerLimit,
      fmt::format("note: the handler has not returned from control {} for 30 s, which counts as no answer: "
                  "ERROR_SERVICE_REQUEST_TIMEOUT (1053)",
                  control));
}

void ServiceWatch::HandlerReturned() { Cancel(handler_); }

void ServiceWatch::PreshutdownSent() {
  Set(preshutdown_, preshutdown_timeout_,
      fmt::format("note: not stopped within the preshutdown time-out of {} ms; Windows would shut down without waiting "
                  "any longer",
                  preshutdown_timeout_.count()));
}

void ServiceWatch::Forget() {
  for (std::uint64_t* const timer : {&progress_, &handler_, &preshutdown_}) Cancel(*timer);
}

void ServiceWatch::Set(std::uint64_t& timer, Millis limit, std::string text) {
  Cancel(timer);
  // Longer than the limit, not as long.
  timer = scheduler_.At(scheduler_.Now() + limit + Millis{1}, [this, &timer, text = std::move(text)] {
    timer = 0;
    journal_.Note(text);
  });
}

void ServiceWatch::Cancel(std::uint64_t& timer) { scheduler_.Cancel(std::exchange(timer, 0)); }

}  // namespace tablet
