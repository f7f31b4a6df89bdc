#include "kit/run/vantord_run.h"

#include <windows.h>

// These need <windows.h> before them.
#include <setupapi.h>
#include <winsvc.h>

#include <algorithm>
#include <iterator>
#include <sstream>

#include "kit/machine/places.h"
#include "kit/machine/service_control.h"
#include "kit/run/restore.h"
#include "kit/run/trace_file.h"
#include "kit/run/vantord_facts.h"

namespace kit {

namespace {

constexpr DWORD kLookMilliseconds = 2;
constexpr DWORD kStartMilliseconds = 60000;
constexpr DWORD kRunMilliseconds = 10000;
constexpr DWORD kLastMilliseconds = 60000;

std::string StateName(DWORD state) {
  constexpr const char* kNames[] = {"",        "STOPPED",          "START_PENDING", "STOP_PENDING",
                                    "RUNNING", "CONTINUE_PENDING", "PAUSE_PENDING", "PAUSED"};
  return state < std::size(kNames) ? kNames[state] : std::to_string(state);
}

/// Records each status that differs from the one before.
class StatusWatch {
 public:
  StatusWatch(SC_HANDLE service, std::vector<Fact>& lines) : service_(service), lines_(lines) {}

  /// Watches until the service is in a state, or for that long. The state at the end.
  DWORD Until(DWORD state, DWORD milliseconds) {
    ULONGLONG const end = ::GetTickCount64() + milliseconds;
    for (;;) {
      DWORD const now = Look();
      if (now == state || now == SERVICE_STOPPED || ::GetTickCount64() > end) return now;
      ::Sleep(kLookMilliseconds);
    }
  }

 private:
  DWORD Look() {
    SERVICE_STATUS_PROCESS const status = QueryService(service_);
    std::ostringstream text;
    text << StateName(status.dwCurrentState) << ", controls 0x" << std::hex << status.dwControlsAccepted << std::dec
         << ", check point " << status.dwCheckPoint << ", wait hint " << status.dwWaitHint << ", exit code "
         << status.dwWin32ExitCode;
    if (text.str() != last_) lines_.emplace_back("status", text.str());
    last_ = text.str();
    return status.dwCurrentState;
  }

  SC_HANDLE service_;
  std::vector<Fact>& lines_;
  std::string last_;
};

/// The section of the package for this program's machine, run by Windows' setup.
void InstallPackage() {
#if defined(_M_ARM64) || defined(__aarch64__)
  constexpr const WCHAR* kSection = L"DefaultInstall.NTarm64";
#else
  constexpr const WCHAR* kSection = L"DefaultInstall.NTamd64";
#endif
  std::wstring const own = OwnPath();
  std::wstring const command = std::wstring(kSection) + L" 128 " + own.substr(0, own.find_last_of(L'\\')) + kPackage;
  ::InstallHinfSectionW(nullptr, nullptr, command.c_str(), 0);
}

/// "KEY NAME: type 4, 4 bytes" without the data of texts and bytes, which may identify the device.
std::string ShownValue(const std::string& line) {
  std::vector<std::string> const fields = Fields(line, 4);
  std::string const& hex = fields[3];
  bool const is_number = fields[2] == std::to_string(REG_DWORD);
  return fields[0] + " " + fields[1] + ": type " + fields[2] +
         (is_number ? ", bytes " + hex : ", " + std::to_string(hex.size() / 2) + " bytes");
}

std::string ShownFile(const std::string& line) {
  std::string shown = line;
  std::ranges::replace(shown, '\t', ' ');
  return FromField(shown);
}

/// Lines of one list that the other has not.
template <typename Show>
void AddChanges(const char* kind, const std::vector<std::string>& before, const std::vector<std::string>& after,
                Show show, std::vector<Fact>& lines) {
  for (const std::string& line : before) {
    if (!std::ranges::binary_search(after, line)) lines.emplace_back(kind, "- " + show(line));
  }
  for (const std::string& line : after) {
    if (!std::ranges::binary_search(before, line)) lines.emplace_back(kind, "+ " + show(line));
  }
}

void StartAndStop(SC_HANDLE service, std::vector<Fact>& lines) {
  if (!::StartServiceW(service, 0, nullptr)) {
    lines.emplace_back("failed", "StartServiceW: " + std::to_string(::GetLastError()));
    return;
  }
  StatusWatch watch(service, lines);
  DWORD state = watch.Until(SERVICE_RUNNING, kStartMilliseconds);
  if (state == SERVICE_RUNNING) state = watch.Until(SERVICE_STOPPED, kRunMilliseconds);
  if (state == SERVICE_STOPPED) return;
  SERVICE_STATUS answer = {};
  lines.emplace_back("event", "stop control sent");
  if (!::ControlService(service, SERVICE_CONTROL_STOP, &answer)) {
    lines.emplace_back("failed", "ControlService: " + std::to_string(::GetLastError()));
  }
  if (watch.Until(SERVICE_STOPPED, kLastMilliseconds) != SERVICE_STOPPED) {
    lines.emplace_back("failed", "the service does not stop");
  }
}

/// Vantord starts its partner service: one that was stopped is stopped again at the end.
class PartnerKeeper {
 public:
  PartnerKeeper()
      : manager_(::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT)),
        partner_(::OpenServiceW(manager_, kPartner, SERVICE_QUERY_STATUS | SERVICE_STOP)),
        was_stopped_(QueryService(partner_).dwCurrentState == SERVICE_STOPPED) {}
  ~PartnerKeeper() {
    SERVICE_STATUS answer = {};
    if (was_stopped_) ::ControlService(partner_, SERVICE_CONTROL_STOP, &answer);
  }
  PartnerKeeper(const PartnerKeeper&) = delete;
  PartnerKeeper& operator=(const PartnerKeeper&) = delete;

 private:
  ScHandle manager_;
  ScHandle partner_;
  bool was_stopped_;
};

}  // namespace

std::vector<Fact> RunVantord() {
  std::vector<Fact> lines;
  PartnerKeeper const partner;
  InstallPackage();
  std::vector<std::string> const values = RunValues();
  std::vector<std::string> const files = RunFiles();
  unsigned long const error = BeginTrace();
  if (error != ERROR_SUCCESS) lines.emplace_back("failed", "the trace session: " + std::to_string(error));
  {
    ScHandle const manager(::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    ScHandle const service(::OpenServiceW(manager, kVantord, SERVICE_QUERY_STATUS | SERVICE_START | SERVICE_STOP));
    if (service == nullptr) {
      lines.emplace_back("failed", "Windows' setup did not install the service: " + std::to_string(::GetLastError()));
    } else {
      StartAndStop(service, lines);
    }
  }
  EndTrace();
  for (const std::string& message : TraceMessages()) lines.emplace_back("trace", message);
  AddChanges("registry", values, RunValues(), &ShownValue, lines);
  AddChanges("file", files, RunFiles(), &ShownFile, lines);
  return lines;
}

}  // namespace kit
