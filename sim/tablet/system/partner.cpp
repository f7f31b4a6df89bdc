#include "sim/tablet/system/partner.h"

#include <fmt/format.h>

namespace tablet {

namespace {
constexpr WinError kServiceAlreadyRunning = 1056;
/// What the service manager itself reports of a service that it starts.
constexpr std::uint32_t kFirstWaitHint = 2000;
}  // namespace

Partner::Partner(const PartnerDescription& description, const Scheduler& scheduler, Journal& journal)
    : description_(description), scheduler_(scheduler), journal_(journal), state_(description.state) {}

const PartnerPhase* Partner::Phase() const {
  if (state_ == kServiceStartPending) return &description_.starting;
  if (state_ == kServiceStopPending) return &description_.stopping;
  return nullptr;
}

ServiceStatus Partner::Status() const {
  ServiceStatus status{.type = kServiceOwnProcess, .state = state_};
  const PartnerPhase* const phase = Phase();
  if (phase == nullptr) return status;
  Millis const elapsed = scheduler_.Now() - since_;
  if (elapsed >= phase->duration) {
    status.state = phase->ends_in;
    status.exit_code = phase->exit_code;
    status.wait_hint = phase->end_wait_hint;
    return status;
  }
  if (started_ && elapsed == Millis{0}) {
    status.wait_hint = kFirstWaitHint;
    return status;
  }
  status.wait_hint = phase->wait_hint;
  bool const grows = phase->check_point_every > Millis{0};
  status.check_point = 1 + (grows ? static_cast<std::uint32_t>(elapsed / phase->check_point_every) : 0);
  return status;
}

WinError Partner::Start() {
  if (description_.start_error != 0) return description_.start_error;
  if (Status().state != kServiceStopped) return kServiceAlreadyRunning;
  state_ = kServiceStartPending;
  started_ = true;
  since_ = scheduler_.Now();
  journal_.Note("partner service is started");
  return kSuccess;
}

WinError Partner::Control(std::uint32_t control) {
  if (description_.control_error != 0) return description_.control_error;
  std::uint32_t const state = Status().state;
  if (state == kServiceStopped) return kServiceNotActive;
  if (state == kServiceStartPending && control == kControlStop) return kInvalidServiceControl;
  if (state == kServiceStartPending || state == kServiceStopPending) return kServiceCannotAcceptControl;
  received_.push_back({scheduler_.Now(), control});
  journal_.Note(fmt::format("partner service receives control {}", control));
  return kSuccess;
}

}  // namespace tablet
