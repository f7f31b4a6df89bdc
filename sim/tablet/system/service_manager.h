// The service manager as one service of its own process meets it: start, dispatcher, controls, status reports, and
// the end of the process.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sim/tablet/base/win_error.h"
#include "sim/tablet/kernel/handles.h"
#include "sim/tablet/kernel/journal.h"
#include "sim/tablet/kernel/scheduler.h"
#include "sim/tablet/system/failure_actions.h"
#include "sim/tablet/system/service_watch.h"

namespace tablet {

/// SERVICE_STATUS, field by field.
struct ServiceStatus {
  std::uint32_t type = 0;
  std::uint32_t state = 1;  ///< 1 stopped, 2 start pending, 3 stop pending, 4 running, ...
  std::uint32_t controls_accepted = 0;
  std::uint32_t exit_code = 0;
  std::uint32_t specific_exit_code = 0;
  std::uint32_t check_point = 0;
  std::uint32_t wait_hint = 0;  ///< milliseconds
};

inline constexpr std::uint32_t kServiceOwnProcess = 0x10;  ///< the type of a service
inline constexpr std::uint32_t kServiceStopped = 1;
inline constexpr std::uint32_t kServiceStartPending = 2;
inline constexpr std::uint32_t kServiceStopPending = 3;
inline constexpr std::uint32_t kServiceRunning = 4;
inline constexpr std::uint32_t kServicePaused = 7;

inline constexpr std::uint32_t kControlStop = 1;
inline constexpr std::uint32_t kControlInterrogate = 4;
inline constexpr std::uint32_t kControlShutdown = 5;
inline constexpr std::uint32_t kControlPowerEvent = 13;
inline constexpr std::uint32_t kControlPreshutdown = 15;

/// The Windows name of a state without its prefix: "START_PENDING"; its number when it has none.
std::string StateName(std::uint32_t state);

/// How the service's process ended.
struct ProcessEnd {
  bool died = false;   ///< an exception left a thread
  std::string reason;  ///< of a death
  int exit_code = 0;   ///< what main returned otherwise
};

class ServiceManager {
 public:
  using ServiceMain = std::function<void(const std::vector<std::u16string>& arguments)>;
  using Handler = std::function<std::uint32_t(std::uint32_t control, std::uint32_t event_type, void* data)>;

  ServiceManager(Scheduler& scheduler, Journal& journal, HandleTable& handles);

  // The machine's side.

  /// Starts the service: a process whose first thread runs `process_main`.
  void Start(std::u16string service, std::function<int()> process_main);
  /// Gives the first thread of a process in which the service starts anew, with process-wide state as at the start of a
  /// process. Without it a process that died is not restarted.
  void OnRestart(std::function<std::function<int()>()> make_process) { make_process_ = std::move(make_process); }
  /// A failure action is still to come.
  bool restart_pending() const { return restart_pending_; }
  /// How often the process has died since power-on.
  std::size_t deaths() const { return deaths_; }

  /// Sends a control. Where Windows refuses it: kServiceNotActive, kServiceCannotAcceptControl (the service is in a
  /// pending state, or a stop was sent before) or kInvalidServiceControl (not in its accepted mask, or it cannot be
  /// sent). A stop of a service that starts is decided by the mask alone. Controls are delivered one after the other on
  /// the dispatcher's thread; Send does not wait for that. `data`, if given, stays valid until the handler has
  /// returned.
  WinError Send(std::uint32_t control, std::uint32_t event_type = 0, std::shared_ptr<void> data = nullptr);

  /// Puts a control to the handler whatever the service accepts, as Windows never would; for tests of the handler.
  void SendUnchecked(std::uint32_t control, std::uint32_t event_type, std::shared_ptr<void> data = nullptr);
  /// What the handler returned for the control it handled last.
  std::uint32_t last_answer() const { return last_answer_; }

  const std::u16string& name() const { return service_; }
  /// How long the system waits for the service after the preshutdown notice.
  void SetPreshutdownTimeout(Millis timeout) { watch_.SetPreshutdownTimeout(timeout); }
  /// Called when the service's process has ended, however it did; its handles are still open.
  void OnProcessEnd(std::function<void(ProcessId)> hook) { end_hook_ = std::move(hook); }
  /// Opening the service manager fails with access denied.
  void DenyManager() { manager_denied_ = true; }
  bool manager_denied() const { return manager_denied_; }
  /// One control at a time on the whole machine: calls that send a control or start a service wait for the handler.
  void MakeControlsSerial() { serial_controls_ = true; }
  /// Called by `call` before it sends a control to another service or starts one. With serial controls it waits until
  /// no handler runs; kServiceRequestTimeout after 30 s.
  [[nodiscard]] WinError AwaitTurn(std::string_view call);
  void SetFailureActions(FailureActions actions) { failure_actions_ = std::move(actions); }
  const FailureActions& failure_actions() const { return failure_actions_; }

  bool started() const { return process_ != kMachineProcess; }
  ProcessId process() const { return process_; }
  const ServiceStatus& status() const { return status_; }
  const std::optional<ProcessEnd>& ended() const { return ended_; }
  /// The service runs and every one of its threads waits without a deadline.
  bool IsParked() const;

  // The service process's side.

  /// Runs the dispatcher on the calling thread until the service has stopped. kControllerConnectFailed when the
  /// process was not started by the service manager.
  WinError RunDispatcher(const std::u16string& name, ServiceMain service_main);
  /// 0 when the service is not one of this process.
  HandleValue RegisterHandler(const std::u16string& name, Handler handler);
  /// Halts the run on a report after STOPPED, which can crash the process on Windows.
  WinError Report(HandleValue handle, const ServiceStatus& status);

 private:
  struct Control {
    std::uint32_t code;
    std::uint32_t event_type;
    std::shared_ptr<void> data;
  };

  void OnDeath(ProcessId process, const std::string& thread, const std::string& why);
  void EndOfProcess(ProcessEnd end);
  void ActOnFailure();
  /// What both ends of a process have in common.
  void CleanUp();

  Scheduler& scheduler_;
  Journal& journal_;
  HandleTable& handles_;
  std::u16string service_;
  ProcessId process_ = kMachineProcess;
  ProcessId next_process_ = 1;
  ServiceStatus status_;
  ServiceWatch watch_;
  std::function<void(ProcessId)> end_hook_;
  FailureActions failure_actions_;
  FailureCount failures_;
  std::function<std::function<int()>()> make_process_;
  bool restart_pending_ = false;
  std::size_t deaths_ = 0;
  bool manager_denied_ = false;
  Handler handler_;
  HandleValue status_handle_ = 0;
  std::deque<Control> controls_;
  bool serial_controls_ = false;
  bool stop_sent_ = false;
  std::optional<std::uint32_t> handled_;  ///< the control that the handler works on
  std::uint32_t last_answer_ = 0;
  std::optional<ProcessEnd> ended_;
};

}  // namespace tablet
