#include "sim/tablet/system/service_manager.h"

#include <array>

#include <fmt/format.h>

#include "sim/tablet/base/text.h"

namespace tablet {

namespace {

constexpr std::uint32_t kProcessAborted = 1067;
constexpr std::uint32_t kRestartAction = 1;
constexpr Millis kTurnTimeout{30'000};
constexpr std::uint32_t kFirstCustomControl = 128;
constexpr std::uint32_t kLastCustomControl = 255;

/// The bit of the accepted mask that a control needs; 0: none; nullopt: it cannot be sent.
std::optional<std::uint32_t> AcceptBit(std::uint32_t control) {
  if (control == kControlInterrogate) return 0;
  if (control >= kFirstCustomControl && control <= kLastCustomControl) return 0;
  switch (control) {
    case kControlStop:
      return 0x1;
    case kControlShutdown:
      return 0x4;
    case kControlPowerEvent:
      return 0x40;
    case kControlPreshutdown:
      return 0x100;
    default:
      return std::nullopt;
  }
}

/// Start, stop, pause or continue under way.
bool IsPending(std::uint32_t state) {
  constexpr std::uint32_t kContinuePending = 5;
  constexpr std::uint32_t kPausePending = 6;
  return state == kServiceStartPending || state == kServiceStopPending || state == kContinuePending ||
         state == kPausePending;
}

/// Controls that the system sends of itself; the others come through ControlService, which looks at the state too.
bool IsSystemControl(std::uint32_t control) {
  return control == kControlShutdown || control == kControlPowerEvent || control == kControlPreshutdown;
}

/// The object of RegisterServiceCtrlHandlerExW's handle.
class StatusHandle final : public Object {
 public:
  std::string_view kind() const override { return "service status"; }
};

}  // namespace

std::string StateName(std::uint32_t state) {
  static constexpr std::array<const char*, 8> kNames{nullptr,   "STOPPED",          "START_PENDING", "STOP_PENDING",
                                                     "RUNNING", "CONTINUE_PENDING", "PAUSE_PENDING", "PAUSED"};
  return state >= 1 && state < kNames.size() ? kNames[state] : std::to_string(state);
}

ServiceManager::ServiceManager(Scheduler& scheduler, Journal& journal, HandleTable& handles)
    : scheduler_(scheduler), journal_(journal), handles_(handles), watch_(scheduler, journal) {
  scheduler_.OnDeath(
      [this](ProcessId process, const std::string& thread, const std::string& why) { OnDeath(process, thread, why); });
}

void ServiceManager::Start(std::u16string service, std::function<int()> process_main) {
  service_ = std::move(service);
  process_ = next_process_++;
  status_ = {.type = kServiceOwnProcess, .state = kServiceStartPending};
  handler_ = nullptr;
  status_handle_ = 0;
  controls_.clear();
  stop_sent_ = false;
  ended_.reset();
  journal_.Note("service \"" + ToUtf8(service_) + "\" is started");
  scheduler_.Start(process_, "main", [this, run = std::move(process_main)] {
    int const code = run();
    EndOfProcess({.died = false, .reason = {}, .exit_code = code});
  });
}

WinError ServiceManager::Send(std::uint32_t control, std::uint32_t event_type, std::shared_ptr<void> data) {
  if (ended_ || status_.state == kServiceStopped || !started()) return kServiceNotActive;
  auto const bit = AcceptBit(control);
  if (!bit) return kInvalidServiceControl;
  bool const pending =
      status_.state == kServiceStopPending || (status_.state == kServiceStartPending && control != kControlStop);
  if (stop_sent_ || (pending && !IsSystemControl(control))) return kServiceCannotAcceptControl;
  if (*bit != 0 && (status_.controls_accepted & *bit) == 0) return kInvalidServiceControl;
  if (control == kControlPreshutdown) watch_.PreshutdownSent();
  stop_sent_ = control == kControlStop || control == kControlShutdown;
  controls_.push_back({control, event_type, std::move(data)});
  return kSuccess;
}

void ServiceManager::SendUnchecked(std::uint32_t control, std::uint32_t event_type, std::shared_ptr<void> data) {
  controls_.push_back({control, event_type, std::move(data)});
}

bool ServiceManager::IsParked() const {
  return started() && !ended_ && status_.state == kServiceRunning && controls_.empty() &&
         scheduler_.IsProcessParked(process_);
}

WinError ServiceManager::RunDispatcher(const std::u16string& name, ServiceMain service_main) {
  // The name in the table is not looked at: the process holds one service, as Windows has it for own processes.
  (void)name;
  if (!started() || scheduler_.current_process() != process_) return kControllerConnectFailed;
  scheduler_.Start(process_, "service", [service = service_, run = std::move(service_main)] { run({service}); });
  for (;;) {
    scheduler_.Wait(kForever, [this] { return !controls_.empty() || status_.state == kServiceStopped; });
    HappensAfter(&status_);
    if (status_.state == kServiceStopped) return kSuccess;
    Control const control = controls_.front();
    controls_.pop_front();
    if (!handler_) continue;
    watch_.HandlerCalled(control.code);
    handled_ = control.code;
    last_answer_ = handler_(control.code, control.event_type, control.data.get());
    handled_.reset();
    watch_.HandlerReturned();
  }
}

WinError ServiceManager::AwaitTurn(std::string_view call) {
  if (!serial_controls_ || !handled_) return kSuccess;
  std::string const busy =
      fmt::format("the handler of service \"{}\" works on control {}", ToUtf8(service_), *handled_);
  journal_.Note(fmt::format("note: {} waits: {}, and Windows sends one control at a time", call, busy));
  if (scheduler_.WaitFor(kTurnTimeout, [this] { return !handled_; }) == Wake::kReady) return kSuccess;
  journal_.Note(fmt::format("note: {} fails after 30 s: {}: ERROR_SERVICE_REQUEST_TIMEOUT (1053)", call, busy));
  return kServiceRequestTimeout;
}

HandleValue ServiceManager::RegisterHandler(const std::u16string& name, Handler handler) {
  if (!started() || scheduler_.current_process() != process_ || !EqualIgnoringCase(name, service_)) return 0;
  HappensBefore(&status_);
  handler_ = std::move(handler);
  status_handle_ = handles_.Add(std::make_shared<StatusHandle>());
  return status_handle_;
}

WinError ServiceManager::Report(HandleValue handle, const ServiceStatus& status) {
  if (handle == 0 || handle != status_handle_) return kInvalidHandle;
  if (status_.state == kServiceStopped) {
    scheduler_.HaltRun({Halt::Reason::kStopped,
                        fmt::format("SetServiceStatus: {} is reported after STOPPED, which can crash the process on "
                                    "Windows; report nothing after STOPPED",
                                    StateName(status.state))});
  }
  status_ = status;
  watch_.Reported({.pending = IsPending(status.state),
                   .stopped = status.state == kServiceStopped,
                   .state = StateName(status.state),
                   .wait_hint = Millis{status.wait_hint}});
  journal_.Record(StatusEvent{.state = StateName(status.state),
                              .controls_accepted = status.controls_accepted,
                              .exit_code = status.exit_code,
                              .check_point = status.check_point,
                              .wait_hint = status.wait_hint});
  return kSuccess;
}

void ServiceManager::OnDeath(ProcessId process, const std::string& thread, const std::string& why) {
  if (process != process_ || ended_) return;
  status_.state = kServiceStopped;
  status_.exit_code = kProcessAborted;
  status_.controls_accepted = 0;
  ended_ = ProcessEnd{.died = true, .reason = fmt::format("thread \"{}\" was left by {}", thread, why), .exit_code = 0};
  CleanUp();
  journal_.Note("the service's process died: " + ended_->reason);
  ++deaths_;
  ActOnFailure();
}

void ServiceManager::ActOnFailure() {
  std::size_t const count = failures_.Add(scheduler_.Now(), failure_actions_.reset_seconds);
  const FailureAction* const action = failure_actions_.ForFailure(count);
  if (action == nullptr || action->type != kRestartAction || !make_process_) return;
  journal_.Note(fmt::format("failure {} of the service: it is restarted after {} ms", count, action->delay));
  restart_pending_ = true;
  scheduler_.At(scheduler_.Now() + Millis{action->delay}, [this] {
    restart_pending_ = false;
    Start(service_, make_process_());
  });
}

void ServiceManager::CleanUp() {
  handled_.reset();
  watch_.Forget();
  if (end_hook_) end_hook_(process_);
  handles_.CloseAllOf(process_);
}

void ServiceManager::EndOfProcess(ProcessEnd end) {
  OutsideProduct const outside;
  journal_.Note(fmt::format("the service's process ended with exit code {}", end.exit_code));
  ended_ = std::move(end);
  // A process that ends without having reported STOPPED has failed; one that has reported it with an error code has
  // not: the service's failure actions are for crashes alone.
  if (status_.state != kServiceStopped) ActOnFailure();
  CleanUp();
  scheduler_.EndProcess(process_);
}

}  // namespace tablet
