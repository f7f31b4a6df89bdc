// Event tracing as its controller sees it: providers that register, sessions that enable them, messages that arrive.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tablet/guid.h"
#include "tablet/journal.h"
#include "tablet/win_error.h"

namespace tablet {

/// Settings of a session as its starter gave them.
struct TraceSessionSettings {
  std::u16string name;
  std::uint32_t buffer_kb = 0;
  std::uint32_t minimum_buffers = 0;
  std::uint32_t maximum_buffers = 0;
  std::uint32_t log_file_mode = 0;
  std::uint32_t clock = 0;  ///< 1: performance counter
  std::u16string log_file;  ///< empty: none
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
  /// Tells a provider that it is enabled or disabled; `logger` is 0 when disabled. Runs on the calling thread.
  using Callback = std::function<void(bool enabled, std::uint64_t logger)>;

  explicit TraceController(Journal& journal) : journal_(journal) {}

  // The providers' side.
  /// Returns the registration handle. A provider that the collector has enabled is told so before this returns.
  std::uint64_t Register(const Guid& provider, Callback callback);
  bool Unregister(std::uint64_t registration);
  /// A message on a logger handle; kInvalidHandle when no session has that handle.
  WinError Message(std::uint64_t logger, const Guid& message, std::uint16_t number, std::u16string_view text);
  std::uint32_t EnableFlags(std::uint64_t logger) const;
  std::uint8_t EnableLevel(std::uint64_t logger) const;

  // The sessions' side.
  WinError StartSession(TraceSessionSettings settings, std::uint64_t& handle);  ///< kAlreadyExists: name is taken
  WinError Enable(std::uint64_t session, const EnabledProvider& provider);
  const std::vector<TraceSession>& sessions() const { return sessions_; }

  // The machine's side.
  /// The collector is the tablet's own listener; it enables a provider as soon as it registers.
  void Collect(const Guid& provider, std::uint32_t flags, std::uint8_t level);
  void StopCollecting(const Guid& provider);
  bool IsRegistered(const Guid& provider) const;

 private:
  struct Registration {
    std::uint64_t handle;
    Guid provider;
    Callback callback;
  };
  struct Collected {
    std::uint32_t flags;
    std::uint8_t level;
  };

  Journal& journal_;
  std::uint64_t next_handle_ = 0x10;
  std::vector<Registration> registrations_;
  std::vector<TraceSession> sessions_;
  std::map<Guid, Collected> collected_;
};

}  // namespace tablet
