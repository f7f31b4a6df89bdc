#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "sim/tablet/base/text.h"
#include "sim/tablet/description/description_parts.h"

namespace tablet {

namespace {

using Kind = JsonNode::Kind;

constexpr std::int64_t kOneYear = 365LL * 24 * 3600 * 1000;

std::vector<SessionDescription> ReadSessions(const Section& root, const std::string& file) {
  static constexpr std::array<std::string_view, 2> kKnown{"id", "user"};
  std::vector<SessionDescription> sessions;
  for (const JsonNode* node : root.List("sessions", Kind::kObject)) {
    Section const section(*node, file, fmt::format("sessions[{}]", sessions.size()), kKnown);
    const JsonNode& id = section.Need("id", Kind::kInteger);
    SessionDescription session{.id = static_cast<std::uint32_t>(section.Number("id", 1, kMostWord, 1))};
    if (std::ranges::any_of(sessions, [&](const auto& other) { return other.id == session.id; })) {
      section.Refuse(id, "id", fmt::format("there is a session {} already", session.id), "give each its own number");
    }
    if (const JsonNode* user = section.Find("user", Kind::kText)) session.user = ToUtf16(user->text);
    sessions.push_back(std::move(session));
  }
  return sessions;
}

std::vector<ProcessDescription> ReadProcesses(const Section& root, const std::string& file) {
  static constexpr std::array<std::string_view, 8> kKnown{
      "account", "duplicate_error", "modules_error", "name", "open_error", "session", "session_error", "token_error"};
  std::vector<ProcessDescription> processes;
  for (const JsonNode* node : root.List("processes", Kind::kObject)) {
    Section const section(*node, file, fmt::format("processes[{}]", processes.size()), kKnown);
    ProcessDescription process{.name = ToUtf16(section.Need("name", Kind::kText).text)};
    process.session = Word(section, "session", process.session);
    if (const JsonNode* account = section.Find("account", Kind::kText)) process.account = ToUtf16(account->text);
    process.open_error = Word(section, "open_error", process.open_error);
    process.modules_error = Word(section, "modules_error", process.modules_error);
    process.session_error = Word(section, "session_error", process.session_error);
    process.token_error = Word(section, "token_error", process.token_error);
    process.duplicate_error = Word(section, "duplicate_error", process.duplicate_error);
    processes.push_back(std::move(process));
  }
  return processes;
}

std::vector<ImageStateChange> ReadSetup(const Section& root, const std::string& file) {
  static constexpr std::array<std::string_view, 2> kKnown{"at_ms", "image_state"};
  std::vector<ImageStateChange> changes;
  for (const JsonNode* node : root.List("setup", Kind::kObject)) {
    Section const section(*node, file, fmt::format("setup[{}]", changes.size()), kKnown);
    section.Need("at_ms", Kind::kInteger);
    changes.push_back({.at = Millis(section.Number("at_ms", 0, kOneYear, 0)),
                       .state = ToUtf16(section.Need("image_state", Kind::kText).text)});
  }
  return changes;
}

}  // namespace

void ReadCrash(const Section& root, const std::string& file, Description& out) {
  static constexpr std::array<std::string_view, 3> kAmss{"open_error", "present", "request_error"};
  static constexpr std::array<std::string_view, 2> kToast{"error", "failures"};
  if (root.Find("sessions") != nullptr) out.crash.sessions = ReadSessions(root, file);
  out.crash.processes = ReadProcesses(root, file);
  out.crash.setup = ReadSetup(root, file);
  // The driver comes with the modem.
  out.crash.amss.present = out.modem_present;
  if (const JsonNode* node = root.Find("amss")) {
    Section const amss(*node, file, "amss", kAmss);
    out.crash.amss.present = amss.Flag("present", out.crash.amss.present);
    out.crash.amss.open_error = Word(amss, "open_error", 0);
    out.crash.amss.request_error = Word(amss, "request_error", 0);
  }
  if (const JsonNode* node = root.Find("toast")) {
    Section const toast(*node, file, "toast", kToast);
    out.crash.toast.failures = Word(toast, "failures", 0);
    out.crash.toast.error = static_cast<WinError>(toast.Number("error", 1, kMostWord, out.crash.toast.error));
  }
}

}  // namespace tablet
