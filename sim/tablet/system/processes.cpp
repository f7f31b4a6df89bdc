#include "sim/tablet/system/processes.h"

#include <fmt/format.h>

#include <algorithm>

#include "sim/tablet/base/text.h"

namespace tablet {

namespace {

constexpr std::uint32_t kIdStep = 4;

std::u16string LastPart(std::u16string_view path) { return std::u16string(path.substr(path.find_last_of(u'\\') + 1)); }

/// A process that only the system may open.
ProcessDescription Protected(std::u16string name, std::uint32_t session) {
  ProcessDescription process{.name = std::move(name), .session = session};
  process.open_error = kAccessDenied;
  return process;
}

}  // namespace

Processes::Processes(const CrashDescription& description, const Scheduler& scheduler, Journal& journal)
    : scheduler_(scheduler), journal_(journal), sessions_(description.sessions), failing_(description.toast) {
  // The idle process has the id 0, with which nothing can be opened.
  running_.push_back(std::make_shared<ProcessDescription>(ProcessDescription{.open_error = kInvalidParameter}));
  Add(Protected(u"System", 0));
  Add(Protected(u"smss.exe", 0));
  Add(Protected(u"csrss.exe", 0));
  Add(Protected(u"wininit.exe", 0));
  Add(Protected(u"services.exe", 0));
  Add({.name = u"svchost.exe"});
  Add({.name = u"Vantord.exe"});
  for (const SessionDescription& session : sessions_) {
    Add(Protected(u"csrss.exe", session.id));
    Add({.name = u"winlogon.exe", .session = session.id});
    if (!session.user.empty()) Add({.name = u"explorer.exe", .session = session.id, .account = session.user});
  }
  for (const ProcessDescription& process : description.processes) Add(process);
}

std::shared_ptr<Process> Processes::Find(std::uint32_t id) const {
  auto const found = std::ranges::find_if(running_, [&](const auto& process) { return process->id == id; });
  return found == running_.end() ? nullptr : *found;
}

std::uint32_t Processes::Add(ProcessDescription process) {
  if (process.id == 0) {
    while (Find(next_id_) != nullptr) next_id_ += kIdStep;
    process.id = next_id_;
  }
  running_.push_back(std::make_shared<ProcessDescription>(process));
  return process.id;
}

void Processes::End(std::uint32_t id) {
  std::erase_if(running_, [&](const auto& process) { return process->id == id; });
}

std::u16string Processes::UserOf(std::uint32_t session) const {
  auto const found = std::ranges::find_if(sessions_, [&](const auto& candidate) { return candidate.id == session; });
  return found == sessions_.end() ? std::u16string() : found->user;
}

std::vector<std::u16string> Processes::Environment(const ProcessToken& token, bool inherit) const {
  // In the order of their names, as Windows keeps them.
  std::vector<std::u16string> variables{u"SystemDrive=C:", u"SystemRoot=C:\\Windows"};
  if (inherit) variables.push_back(u"TEMP=C:\\Windows\\TEMP");
  variables.push_back(u"USERNAME=" + token.process->account);
  return variables;
}

WinError Processes::Start(const ProcessToken& token, StartedProgram& program) {
  if (failing_.failures != 0) {
    --failing_.failures;
    return failing_.error;
  }
  program.at = scheduler_.Now();
  program.session = token.process->session;
  program.user = UserOf(program.session);
  program.account = token.process->account;
  program.id = Add({.name = LastPart(program.path), .session = program.session, .account = program.account});
  started_.push_back(program);
  std::string const who = program.user.empty() ? "where nobody is logged on" : "of " + ToUtf8(program.user);
  journal_.Note(fmt::format("{}{} started in session {}, {}", ToUtf8(LastPart(program.path)),
                            ToUtf8(program.command_line), program.session, who));
  return kSuccess;
}

}  // namespace tablet
