// The tests' program inside Wine: controls the test driver and the service manager.
//
//   steer driver PATH                       creates and starts the test driver
//   steer interface NAME on|off             makes "modem", "safi", "usb" or "statistics" arrive or leave
//   steer variable KEY HEX                  sets a firmware variable; "-" removes it
//   steer trouble STATUS COUNT             makes the firmware driver reply STATUS, COUNT times or "always"
//   steer show KEY                          prints a firmware variable
//   steer arrivals                          prints what the devices received since the last call
//   steer attributes LIST                   prints the attributes of the files listed in a UTF-8 file, one a line
//   steer spawn PATH                        starts a program and leaves it running
//   steer install SECTION INF               installs a section of an INF file, without questions or a restart
//   steer create NAME PATH                  creates a service that starts with the system
//   steer start NAME                        starts a service without waiting
//   steer stop NAME MILLISECONDS            stops it and prints each status until it has stopped
//   steer await NAME MILLISECONDS           the same, without sending a control
//   steer control NAME CODE                 sends a control
//
// "--" separates several commands. The output is JSON, one object a line. A failure is
// {"failed": WHAT, "error": NUMBER} and exit code 1.
#include <windows.h>

// Needs <windows.h> before it.
#include <setupapi.h>
#include <winsvc.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tests/windows/programs/steering.h"

namespace {

using Words = std::vector<std::wstring>;

constexpr const WCHAR kDriver[] = L"VantordTestDriver";
constexpr DWORD kPollMilliseconds = 2;

bool Fail(const char* what) {
  std::printf("{\"failed\": \"%s\", \"error\": %lu}\n", what, ::GetLastError());
  return false;
}

SC_HANDLE Manager() {
  static SC_HANDLE const manager = ::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
  return manager;
}

SC_HANDLE Service(const std::wstring& name) {
  SC_HANDLE const service = ::OpenServiceW(Manager(), name.c_str(), SERVICE_ALL_ACCESS);
  if (service == nullptr) Fail("OpenServiceW");
  return service;
}

DWORD Number(const std::wstring& text) { return std::wcstoul(text.c_str(), nullptr, 10); }

void PrintHex(const UCHAR* bytes, ULONG count) {
  for (ULONG i = 0; i < count; ++i) std::printf("%02x", bytes[i]);
}

bool Steer(ULONG code, void* in, DWORD inBytes, void* out = nullptr, DWORD outBytes = 0) {
  HANDLE const device = ::CreateFileW(L"\\\\.\\" VANTORD_STEERING_DEVICE, GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                      OPEN_EXISTING, 0, nullptr);
  if (device == INVALID_HANDLE_VALUE) return Fail("opening the steering device");
  DWORD returned = 0;
  bool const done = ::DeviceIoControl(device, code, in, inBytes, out, outBytes, &returned, nullptr) != FALSE;
  if (!done) Fail("steering");
  ::CloseHandle(device);
  return done;
}

bool StartDriver(const Words& words) {
  SC_HANDLE const driver =
      ::CreateServiceW(Manager(), kDriver, nullptr, SERVICE_ALL_ACCESS, SERVICE_KERNEL_DRIVER, SERVICE_DEMAND_START,
                       SERVICE_ERROR_NORMAL, words[1].c_str(), nullptr, nullptr, nullptr, nullptr, nullptr);
  if (driver == nullptr) return Fail("making the driver");
  return ::StartServiceW(driver, 0, nullptr) || Fail("starting the driver");
}

bool ToggleInterface(const Words& words) {
  constexpr const WCHAR* kNames[] = {L"modem", L"safi", L"usb", L"statistics"};
  SteerInterface wanted = {0, words[2] == L"on" ? 1ul : 0ul};
  while (wanted.which < std::size(kNames) && words[1] != kNames[wanted.which]) ++wanted.which;
  return Steer(kSteerInterface, &wanted, sizeof(wanted));
}

bool PutVariable(const Words& words) {
  SteerVariable variable = {};
  words[1].copy(variable.key, sizeof(variable.key) / sizeof(WCHAR) - 1);
  for (std::size_t i = 0; i + 1 < words[2].size() && variable.bytes < sizeof(variable.data); i += 2) {
    variable.data[variable.bytes++] = static_cast<UCHAR>(std::wcstoul(words[2].substr(i, 2).c_str(), nullptr, 16));
  }
  return Steer(kSteerVariable, &variable, sizeof(variable));
}

bool MakeTrouble(const Words& words) {
  SteerTrouble trouble = {Number(words[1]), words[2] == L"always" ? kSteerAlways : Number(words[2])};
  return Steer(kSteerTrouble, &trouble, sizeof(trouble));
}

bool ShowVariable(const Words& words) {
  SteerVariable variable = {};
  words[1].copy(variable.key, sizeof(variable.key) / sizeof(WCHAR) - 1);
  if (!Steer(kReadVariable, &variable, sizeof(variable), &variable, sizeof(variable))) return false;
  std::printf("{\"variable\": \"");
  PrintHex(variable.data, variable.bytes);
  std::printf("\"}\n");
  return true;
}

bool PrintArrivals(const Words&) {
  static SteerArrivals arrivals;
  if (!Steer(kReadArrivals, nullptr, 0, &arrivals, sizeof(arrivals))) return false;
  std::printf("{\"opened\": %lu, \"statistics_opened\": %lu, \"requests\": [", arrivals.modemOrSafiOpened,
              arrivals.statisticsOpened);
  for (ULONG i = 0; i < arrivals.requests && i < kSteerKeptCodes; ++i) {
    std::printf("%s%lu", i == 0 ? "" : ", ", arrivals.codes[i]);
  }
  std::printf("], \"reset\": \"");
  PrintHex(arrivals.reset, arrivals.resetBytes);
  std::printf("\"}\n");
  return true;
}

bool PrintAttributes(const Words& words) {
  std::ifstream list(std::string(words[1].begin(), words[1].end()));
  for (std::string line; std::getline(list, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    WCHAR path[MAX_PATH] = {};
    ::MultiByteToWideChar(CP_UTF8, 0, line.c_str(), -1, path, MAX_PATH);
    DWORD const attributes = ::GetFileAttributesW(path);
    if (attributes == INVALID_FILE_ATTRIBUTES) {
      std::printf("{\"attributes\": null, \"error\": %lu}\n", ::GetLastError());
    } else {
      std::printf("{\"attributes\": %lu}\n", attributes);
    }
  }
  return true;
}

bool Spawn(const Words& words) {
  STARTUPINFOW startup = {};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION process = {};
  std::wstring commandLine = words[1];
  return ::CreateProcessW(words[1].c_str(), commandLine.data(), nullptr, nullptr, FALSE, DETACHED_PROCESS, nullptr,
                          nullptr, &startup, &process) ||
         Fail("CreateProcessW");
}

/// Does what rundll32 does for `setupapi,InstallHinfSection`, without a window. It returns no result.
bool Install(const Words& words) {
  ::InstallHinfSectionW(nullptr, nullptr, (words[1] + L" 128 " + words[2]).c_str(), 0);
  return true;
}

bool CreateTheService(const Words& words) {
  SC_HANDLE const service = ::CreateServiceW(Manager(), words[1].c_str(), nullptr, SERVICE_ALL_ACCESS,
                                             SERVICE_WIN32_OWN_PROCESS, SERVICE_AUTO_START, SERVICE_ERROR_NORMAL,
                                             words[2].c_str(), nullptr, nullptr, nullptr, nullptr, nullptr);
  return service != nullptr || Fail("CreateServiceW");
}

/// Prints every status that differs from the previous one, until the service has stopped or the time is up.
bool Await(SC_HANDLE service, DWORD milliseconds) {
  SERVICE_STATUS_PROCESS last = {};
  last.dwCurrentState = ~0ul;
  ULONGLONG const end = ::GetTickCount64() + milliseconds;
  for (;;) {
    SERVICE_STATUS_PROCESS now = {};
    DWORD needed = 0;
    if (!::QueryServiceStatusEx(service, SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&now), sizeof(now), &needed)) {
      return Fail("QueryServiceStatusEx");
    }
    if (now.dwCurrentState != last.dwCurrentState || now.dwCheckPoint != last.dwCheckPoint ||
        now.dwControlsAccepted != last.dwControlsAccepted) {
      std::printf(
          "{\"state\": %lu, \"controls_accepted\": %lu, \"exit_code\": %lu, \"check_point\": %lu, "
          "\"wait_hint\": %lu}\n",
          now.dwCurrentState, now.dwControlsAccepted, now.dwWin32ExitCode, now.dwCheckPoint, now.dwWaitHint);
      last = now;
    }
    if (now.dwCurrentState == SERVICE_STOPPED) return true;
    if (::GetTickCount64() > end) return Fail("waiting for the service to stop");
    ::Sleep(kPollMilliseconds);
  }
}

bool StartTheService(const Words& words) {
  SC_HANDLE const service = Service(words[1]);
  return service != nullptr && (::StartServiceW(service, 0, nullptr) || Fail("StartServiceW"));
}

bool AwaitItsEnd(const Words& words) {
  SC_HANDLE const service = Service(words[1]);
  return service != nullptr && Await(service, Number(words[2]));
}

/// A second control after the stop would end the service's process under Wine: only queries follow.
bool StopTheService(const Words& words) {
  SC_HANDLE const service = Service(words[1]);
  if (service == nullptr) return false;
  SERVICE_STATUS status = {};
  if (!::ControlService(service, SERVICE_CONTROL_STOP, &status)) return Fail("ControlService");
  return Await(service, Number(words[2]));
}

bool SendControl(const Words& words) {
  SC_HANDLE const service = Service(words[1]);
  if (service == nullptr) return false;
  SERVICE_STATUS status = {};
  return ::ControlService(service, Number(words[2]), &status) || Fail("ControlService");
}

struct Verb {
  const WCHAR* name;
  std::size_t words;
  bool (*run)(const Words&);
};

constexpr Verb kVerbs[] = {
    {L"driver", 2, &StartDriver},
    {L"interface", 3, &ToggleInterface},
    {L"variable", 3, &PutVariable},
    {L"trouble", 3, &MakeTrouble},
    {L"show", 2, &ShowVariable},
    {L"arrivals", 1, &PrintArrivals},
    {L"attributes", 2, &PrintAttributes},
    {L"spawn", 2, &Spawn},
    {L"install", 3, &Install},
    {L"create", 3, &CreateTheService},
    {L"start", 2, &StartTheService},
    {L"stop", 3, &StopTheService},
    {L"await", 3, &AwaitItsEnd},
    {L"control", 3, &SendControl},
};

bool Run(const Words& words) {
  for (const Verb& verb : kVerbs) {
    if (!words.empty() && words[0] == verb.name && words.size() == verb.words) return verb.run(words);
  }
  ::SetLastError(ERROR_INVALID_PARAMETER);
  return Fail("understanding what is asked");
}

}  // namespace

extern "C" int wmain(int count, WCHAR** given) {
  Words words;
  for (int i = 1; i < count; ++i) {
    if (std::wstring(given[i]) != L"--") {
      words.emplace_back(given[i]);
      continue;
    }
    if (!Run(words)) return 1;
    words.clear();
  }
  return Run(words) ? 0 : 1;
}
