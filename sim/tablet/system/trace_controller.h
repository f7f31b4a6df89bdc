// Event tracing as its controller sees it: providers that register, sessions that enable them, messages that arrive.
//
// The providers are classic ones: at any time one session at most receives a provider's messages, the one that enabled
// it last. The tablet's own listener, the collector, is such a session. It also reads the buffers of every private
// session, so that all messages of a run are in the journal, whichever session receives them.
//
// A logger handle, as in Windows, holds all that the provider needs to know: the session's number in bits 0 to 15, the
// level in bits 16 to 23, the enable flags in bits 32 to 63.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "sim/tablet/base/guid.h"
#include "sim/tablet/base/win_error.h"
#include "sim/tablet/kernel/journal.h"

namespace tablet {

/// Settings of a session as its starter gave them.
struct TraceSessionSettings {
  std::u16string name{};
  Guid guid{};  ///< zero: whichever the system makes
  std::uint32_t buffer_kb = 0;
  std::uint32_t minimum_buffers = 0;
  std::uint32_t maximum_buffers = 0;
  std::uint32_t log_file_mode = 0;
  std::uint32_t clock = 0;    ///< 1: performance counter
  std::u16string log_file{};  ///< empty: none
};

struct EnabledProvider {
  Guid provider;
  std::uint8_t level = 0;
  std::uint64_t match_any = 0;
  std::uint64_t match_all = 0;
};

struct TraceSession {
  std::uint64_t handle = 0;
  TraceSessionSettings settings;
  std::vector<EnabledProvider> enabled;  ///< in the order they were enabled
};

class TraceController {
 public:
  /// Tells a provider that it is enabled or disabled; `logger` is 0 when disabled. Runs on the calling thread, or on
  /// one of its own if sessions enable providers later.
  using Callback = std::function<void(bool enabled, std::uint64_t logger)>;

  /// `enabled_after`: from Enable to the provider's callback; 0: before Enable returns.
  TraceController(Journal& journal, Scheduler& scheduler, Millis enabled_after = Millis{0})
      : journal_(journal), scheduler_(scheduler), enabled_after_(enabled_after) {}

  // The providers' side.
  /// Returns the registration handle. If the collector or a session has enabled the provider, its callback runs before
  /// this returns.
  std::uint64_t Register(const Guid& provider, Callback callback, ProcessId process = kMachineProcess);
  /// Does not call the callback. False for an unknown registration.
  bool Unregister(std::uint64_t registration);
  /// Forgets the registrations of a process that has ended.
  void UnregisterAllOf(ProcessId process);
  /// A message on a logger handle; kInvalidHandle when no session has that handle.
  WinError Message(std::uint64_t logger, const Guid& message, std::uint16_t number, std::u16string_view text);
  static std::uint32_t EnableFlags(std::uint64_t logger) { return static_cast<std::uint32_t>(logger >> 32); }
  static std::uint8_t EnableLevel(std::uint64_t logger) { return static_cast<std::uint8_t>(logger >> 16); }

  // The sessions' side.
  WinError StartSession(TraceSessionSettings settings, std::uint64_t& handle);  ///< kAlreadyExists: name is taken
  /// Enables a provider in a session, or changes how it is enabled there. The provider's callback is called, or runs as
  /// soon as it registers; until then its messages go where they went before. The lower half of `match_any` becomes its
  /// enable flags.
  WinError Enable(std::uint64_t session, const EnabledProvider& provider);
  const std::vector<TraceSession>& sessions() const { return sessions_; }

  // The machine's side.
  /// The collector is the tablet's own listener; it enables a provider as soon as it registers.
  void Collect(const Guid& provider, std::uint32_t flags, std::uint8_t level);
  /// Disables the provider unless another session has enabled it since.
  void StopCollecting(const Guid& provider);
  bool IsRegistered(const Guid& provider) const;
  std::size_t registrations() const { return registrations_.size(); }

 private:
  struct Registration {
    std::uint64_t handle;
    Guid provider;
    Callback callback;
    ProcessId process;
  };

  void Tell(const Guid& provider, bool enabled, std::uint64_t logger);

  /// The same on a thread of each provider's process, once enabled_after_ has passed.
  void TellLater(const Guid& provider, std::uint64_t logger);

  Journal& journal_;
  Scheduler& scheduler_;
  Millis enabled_after_;
  std::uint64_t next_handle_ = 0x10;
  std::vector<Registration> registrations_;
  std::vector<TraceSession> sessions_;
  std::map<Guid, std::uint64_t> enabled_;  ///< the logger handle of the session that enabled a provider last
};

}  // namespace tablet
