#include "cli/boot/observer.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>

#include "cli/base/service_facts.h"
#include "cli/boot/call_text.h"
#include "sim/tablet/base/text.h"

namespace cli {

namespace {

constexpr std::string_view kParameters = "Services\\Vantord\\Parameters";

bool IsArchive(std::string_view path) {
  return IsModemArchive(path) ||
         (ContainsIgnoringCase(path, "\\ToastGenerator\\") && ContainsIgnoringCase(path, ".zip"));
}

/// Values as people read them.
std::string Show(const tablet::RegistryValue& value) {
  if (value.type == tablet::kTypeDword && value.data.size() == 4) {
    return fmt::format("{}", value.data[0] | value.data[1] << 8 | value.data[2] << 16 |
                                 static_cast<std::uint32_t>(value.data[3]) << 24);
  }
  if (value.type == tablet::kTypeText || value.type == tablet::kTypeExpandText) {
    return tablet::ToUtf8(tablet::TextOf(value));
  }
  return fmt::format("{} bytes of type {}", value.data.size(), value.type);
}

std::string Show(const tablet::FirmwareVariable& variable) {
  std::string text(variable.data.begin(), variable.data.end());
  text.erase(std::find(text.begin(), text.end(), '\0'), text.end());
  bool const plain = std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c < 0x7F; });
  return plain ? text : fmt::format("{} bytes", variable.data.size());
}

/// Registry values that bear on whether and what to deploy.
bool IsOfInterest(std::string_view key, std::string_view value) {
  static constexpr std::array<std::string_view, 3> kValues{"Distribute", "ModemImageID", "AmssFwImagePath"};
  bool const map = ContainsIgnoringCase(key, "\\Parameters\\CSC") || ContainsIgnoringCase(key, "\\Parameters\\ImageID");
  return map || std::find(kValues.begin(), kValues.end(), value) != kValues.end();
}

}  // namespace

Observer::Observer(TabletRun& run) : machine_(run.machine()) {
  tablet::Tablet& machine = machine_;
  machine.journal().WantCalls(true);
  machine.journal().Listen([this](const tablet::Event& event) { OnEvent(event); });
  machine.registry().on_query = [this](std::u16string_view key, std::u16string_view value, tablet::WinError result,
                                       const tablet::RegistryValue& data) { OnQuery(key, value, result, data); };
  machine.firmware().on_find = [this](const tablet::FirmwareKey& key, const tablet::FirmwareVariable* variable) {
    OnFirmware(key, variable);
  };
  machine.drive().on_read = [this](const std::u16string& path, std::uint64_t, std::uint64_t count) {
    OnRead(path, count);
  };
}

void Observer::OnEvent(const tablet::Event& event) {
  if (auto loop = loop_.See(event)) {
    machine_.scheduler().HaltRun({tablet::Halt::Reason::kCallLimit, std::move(*loop)});
  }
  if (const auto* call = std::get_if<tablet::CallEvent>(&event.what)) OnCall(*call);
  if (const auto* message = std::get_if<tablet::TraceEvent>(&event.what)) OnMessage(*message);
}

void Observer::OnCall(const tablet::CallEvent& call) {
  if (call.name == "CreateFileW") {
    const std::string& path = call.subject;
    if (IsArchive(path)) {
      bool const opened = call.result != "0xffffffffffffffff";
      findings_.archives.push_back({.path = path,
                                    .opened = opened,
                                    .error = opened ? 0 : call.last_error,
                                    .unreadable = false,
                                    .entries = 0,
                                    .failures = {}});
    } else if (!findings_.archives.empty()) {
      extracting_ = path;
    }
  }
  // Only after a complete extraction the service opens its parameters to delete the request.
  bool const parameters = call.name == "RegOpenKeyExW" && EndsWithIgnoringCase(call.subject, kParameters);
  if (parameters && findings_.ModemArchive() != nullptr && findings_.ModemArchive()->opened)
    findings_.request_settled = true;
}

void Observer::OnMessage(const tablet::TraceEvent& message) {
  if (!findings_.archives.empty() && message.text.find("Failure in Unzipping") != std::string::npos) {
    findings_.archives.back().unreadable = true;
  }
  constexpr std::string_view kStatus = "Unzipping status ";
  std::size_t const at = message.text.find(kStatus);
  if (at == std::string::npos || findings_.archives.empty()) return;
  ArchiveUse& archive = findings_.archives.back();
  ++archive.entries;
  // The code is in this message and nowhere else.
  std::uint32_t code = 0;
  std::from_chars(message.text.data() + at + kStatus.size(), message.text.data() + message.text.size(), code, 16);
  if (code != 0) archive.failures.push_back({extracting_, code});
}

void Observer::OnQuery(std::u16string_view key, std::u16string_view value, tablet::WinError result,
                       const tablet::RegistryValue& data) {
  std::string const key_name = tablet::ToUtf8(key);
  std::string const value_name = tablet::ToUtf8(value);
  if (!IsOfInterest(key_name, value_name)) return;
  LookUp look_up{LookUp::Store::kRegistry, key_name, value_name, std::nullopt, std::nullopt};
  if (result == tablet::kSuccess) {
    look_up.found = Show(data);
    look_up.data = data;
  }
  findings_.Note(std::move(look_up));
}

void Observer::OnFirmware(const tablet::FirmwareKey& key, const tablet::FirmwareVariable* variable) {
  std::optional<std::string> found;
  if (variable != nullptr) found = Show(*variable);
  findings_.Note({LookUp::Store::kFirmware, {}, tablet::ToUtf8(key.name), std::move(found), std::nullopt});
}

void Observer::OnRead(const std::u16string& path, std::uint64_t count) {
  if (!on_progress) return;
  if (path != read_path_) {
    read_path_ = path;
    read_size_ = machine_.drive().Facts(path).size;
    read_done_ = 0;
  }
  // Headers are read byte by byte and again and again; what is read in large pieces is data, and read once.
  constexpr std::uint64_t kSmallestPiece = 2048;
  if (count < kSmallestPiece) return;
  read_done_ += count;
  on_progress(tablet::ToUtf8(path), read_done_, read_size_);
}

}  // namespace cli
