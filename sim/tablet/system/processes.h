// Logon sessions and processes as other processes see them: their ids, names, tokens, and what is started in them. The
// simulated processes' own threads are the scheduler's affair.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sim/tablet/kernel/crash_description.h"
#include "sim/tablet/kernel/handles.h"
#include "sim/tablet/kernel/journal.h"

namespace tablet {

using Process = const ProcessDescription;

/// An open process.
struct ProcessAccess : Object {
  explicit ProcessAccess(std::shared_ptr<Process> of) : process(std::move(of)) {}
  std::string_view kind() const override { return "process"; }
  std::shared_ptr<Process> const process;
};

/// The first thread of a process that was started here.
struct StartedThread : Object {
  std::string_view kind() const override { return "thread"; }
};

/// A token of a process, or one that was made of it.
struct ProcessToken : Object {
  ProcessToken(std::shared_ptr<Process> of, std::uint32_t with, bool is_primary)
      : process(std::move(of)), access(with), primary(is_primary) {}
  std::string_view kind() const override { return "token"; }
  std::shared_ptr<Process> const process;
  std::uint32_t const access;  ///< the rights it was opened with
  bool const primary;          ///< a process can be started with it; a process's own token is opened, not taken
};

/// A program that was started through the tablet.
struct StartedProgram {
  Millis at{0};
  std::uint32_t id = 0;
  std::u16string path;
  std::u16string command_line;
  std::uint32_t session = 0;
  std::u16string user;     ///< the user who is logged on in that session; empty: none
  std::u16string account;  ///< that it runs under
  std::uint32_t flags = 0;
  std::uint32_t start_information_bytes = 0;  ///< the size field of the start information
  std::vector<std::u16string> environment;    ///< "NAME=value"; without a block of its own: the service's
};

class Processes {
 public:
  /// Every tablet has the processes of session 0, every session its own; the described ones follow.
  Processes(const CrashDescription& description, const Scheduler& scheduler, Journal& journal);
  Processes(const Processes&) = delete;
  Processes& operator=(const Processes&) = delete;

  /// In the order they began, the two that have no executable first.
  const std::vector<std::shared_ptr<Process>>& running() const { return running_; }
  /// Null for an unknown id.
  std::shared_ptr<Process> Find(std::uint32_t id) const;
  /// Returns the id.
  std::uint32_t Add(ProcessDescription process);
  void End(std::uint32_t id);
  /// The user who is logged on in a session; empty: none, or an unknown session.
  std::u16string UserOf(std::uint32_t session) const;

  /// The variables of a user, and those of the service with `inherit`, as an environment block holds them.
  std::vector<std::u16string> Environment(const ProcessToken& token, bool inherit) const;

  /// Starts a program with a token's account and session. `program` has path, command line, flags and environment; the
  /// rest is filled in. An error when its starts are to fail.
  WinError Start(const ProcessToken& token, StartedProgram& program);
  const std::vector<StartedProgram>& started() const { return started_; }

  /// The next `failures` starts fail.
  void FailStarts(const ToastDescription& failing) { failing_ = failing; }

 private:
  const Scheduler& scheduler_;
  Journal& journal_;
  std::vector<SessionDescription> sessions_;
  std::vector<std::shared_ptr<Process>> running_;
  std::vector<StartedProgram> started_;
  ToastDescription failing_;
  std::uint32_t next_id_ = 4;
};

}  // namespace tablet
