#include "sim/tablet/system/trace_controller.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "sim/tablet/base/text.h"
#include "sim/tablet/system/message_origin.h"

namespace tablet {

namespace {

constexpr std::uint64_t kCollector = 1;

std::uint64_t SessionOf(std::uint64_t logger) { return logger & 0xFFFF; }

std::uint64_t LoggerHandle(std::uint64_t session, std::uint8_t level, std::uint32_t flags) {
  return session | std::uint64_t{level} << 16 | std::uint64_t{flags} << 32;
}

}  // namespace

std::uint64_t TraceController::Register(const Guid& provider, Callback callback, ProcessId process) {
  std::uint64_t const handle = next_handle_++;
  HappensBefore(this);
  registrations_.push_back({handle, provider, callback, process});
  auto const enabled = enabled_.find(provider);
  if (enabled != enabled_.end()) callback(true, enabled->second);
  return handle;
}

bool TraceController::Unregister(std::uint64_t registration) {
  return std::erase_if(registrations_, [&](const Registration& r) { return r.handle == registration; }) != 0;
}

void TraceController::UnregisterAllOf(ProcessId process) {
  std::erase_if(registrations_, [&](const Registration& r) { return r.process == process; });
}

WinError TraceController::Message(std::uint64_t logger, const Guid& message, std::uint16_t number,
                                  std::u16string_view text) {
  std::uint64_t const id = SessionOf(logger);
  bool const known =
      id == kCollector || std::ranges::any_of(sessions_, [&](const TraceSession& s) { return s.handle == id; });
  if (!known) return kInvalidHandle;
  TraceEvent event{message.ToString(), number, ToUtf8(text), "", std::nullopt};
  ReadOrigin(event);
  journal_.Record(std::move(event));
  return kSuccess;
}

WinError TraceController::StartSession(TraceSessionSettings settings, std::uint64_t& handle) {
  for (const TraceSession& session : sessions_) {
    if (EqualIgnoringCase(session.settings.name, settings.name)) return kAlreadyExists;
  }
  handle = next_handle_++;
  journal_.Note(fmt::format("trace session {} started: buffers of {} KB, {} at least, mode {:#x}",
                            ToUtf8(settings.name), settings.buffer_kb, settings.minimum_buffers,
                            settings.log_file_mode));
  sessions_.push_back({handle, std::move(settings), {}});
  return kSuccess;
}

WinError TraceController::Enable(std::uint64_t session, const EnabledProvider& provider) {
  auto const found = std::ranges::find(sessions_, session, &TraceSession::handle);
  if (found == sessions_.end()) return kInvalidHandle;
  auto const same = std::ranges::find(found->enabled, provider.provider, &EnabledProvider::provider);
  if (same == found->enabled.end()) {
    found->enabled.push_back(provider);
  } else {
    *same = provider;
  }
  journal_.Note(fmt::format("trace session {} enables {}: level {}, keywords {:#x}", ToUtf8(found->settings.name),
                            provider.provider.ToString(), provider.level, provider.match_any));
  std::uint64_t const logger = LoggerHandle(session, provider.level, static_cast<std::uint32_t>(provider.match_any));
  enabled_[provider.provider] = logger;
  if (enabled_after_ > Millis{0}) {
    TellLater(provider.provider, logger);
  } else {
    Tell(provider.provider, true, logger);
  }
  return kSuccess;
}

void TraceController::TellLater(const Guid& provider, std::uint64_t logger) {
  scheduler_.At(scheduler_.Now() + enabled_after_, [this, provider, logger] {
    for (const Registration& registration : registrations_) {
      if (registration.provider != provider) continue;
      scheduler_.Start(registration.process, "event tracing", [this, callback = registration.callback, logger] {
        OutsideProduct const outside;
        HappensAfter(this);
        callback(true, logger);
      });
    }
  });
}

void TraceController::Collect(const Guid& provider, std::uint32_t flags, std::uint8_t level) {
  std::uint64_t const logger = LoggerHandle(kCollector, level, flags);
  enabled_[provider] = logger;
  Tell(provider, true, logger);
}

void TraceController::StopCollecting(const Guid& provider) {
  auto const enabled = enabled_.find(provider);
  if (enabled == enabled_.end() || SessionOf(enabled->second) != kCollector) return;
  enabled_.erase(enabled);
  Tell(provider, false, 0);
}

bool TraceController::IsRegistered(const Guid& provider) const {
  return std::ranges::any_of(registrations_, [&](const Registration& r) { return r.provider == provider; });
}

void TraceController::Tell(const Guid& provider, bool enabled, std::uint64_t logger) {
  // A callback may yield to threads that register and unregister: the list is not walked while it runs.
  std::vector<Callback> callbacks;
  for (const Registration& registration : registrations_) {
    if (registration.provider == provider) callbacks.push_back(registration.callback);
  }
  HappensAfter(this);
  for (const Callback& callback : callbacks) callback(enabled, logger);
}

}  // namespace tablet
