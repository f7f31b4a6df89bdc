// What a test does inside of Wine: steers the test driver and plays the service manager's client.
//
//   steer driver PATH                       makes and starts the test driver
//   steer interface modem|safi on|off       lets a device interface arrive or leave
//   steer variable KEY HEX                  gives a firmware variable its bytes; no bytes remove it
//   steer arrivals                          prints what has arrived at the devices since the last time
//   steer create PATH                       makes the service
//   steer start|stop MILLISECONDS           prints each state until it is at rest
//   steer control CODE                      sends a control
//
// Several may stand behind one another, parted by "--". Prints what went wrong and ends with 1 when one fails.
#include <windows.h>

// Needs <windows.h> before it.
#include <winsvc.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "tests/windows/steering.h"

namespace {

using Words = std::vector<std::wstring>;

constexpr const WCHAR kService[] = L"Vantord";
constexpr const WCHAR kDriver[] = L"VantordTestDriver";

bool Fail(const char* what) {
  std::printf("%s failed: %lu\n", what, ::GetLastError());
  return false;
}

SC_HANDLE Manager() {
  static SC_HANDLE const manager = ::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS);
  return manager;
}

SC_HANDLE Service() {
  static SC_HANDLE const service = ::OpenServiceW(Manager(), kService, SERVICE_ALL_ACCESS);
  return service;
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
  SteerInterface wanted = {words[1] == L"safi" ? kSteerSafi : kSteerModem, words[2] == L"on" ? 1ul : 0ul};
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

bool PrintArrivals(const Words&) {
  SteerArrivals arrivals = {};
  if (!Steer(kReadArrivals, nullptr, 0, &arrivals, sizeof(arrivals))) return false;
  std::printf("opened %lu times, statistics %lu times\n", arrivals.modemOrSafiOpened, arrivals.statisticsOpened);
  for (ULONG i = 0; i < arrivals.requests && i < sizeof(arrivals.codes) / sizeof(arrivals.codes[0]); ++i) {
    std::printf("request 0x%08lx\n", arrivals.codes[i]);
  }
  ULONG set = 0;
  for (ULONG i = 0; i < arrivals.resetBytes; ++i) set += arrivals.reset[i] != 0 ? 1 : 0;
  if (arrivals.resetBytes != 0) {
    std::printf("reset of %lu bytes, %lu of them set, byte 1040 is %u\n", arrivals.resetBytes, set,
                arrivals.reset[1040]);
  }
  return true;
}

bool CreateTheService(const Words& words) {
  SC_HANDLE const service = ::CreateServiceW(Manager(), kService, nullptr, SERVICE_ALL_ACCESS,
                                             SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL,
                                             words[1].c_str(), nullptr, nullptr, nullptr, nullptr, nullptr);
  return service != nullptr || Fail("making the service");
}

const char* StateName(DWORD state) {
  constexpr const char* kNames[] = {"?",       "STOPPED",          "START_PENDING", "STOP_PENDING",
                                    "RUNNING", "CONTINUE_PENDING", "PAUSE_PENDING", "PAUSED"};
  return kNames[state < 8 ? state : 0];
}

/// Prints every status that differs from the one before, until the service rests in `wanted` or STOPPED. Whatever the
/// service does, the wait ends.
bool Await(DWORD wanted, DWORD milliseconds) {
  SERVICE_STATUS_PROCESS last = {};
  last.dwCurrentState = ~0ul;
  ULONGLONG const end = ::GetTickCount64() + milliseconds;
  for (;;) {
    SERVICE_STATUS_PROCESS now = {};
    DWORD needed = 0;
    if (!::QueryServiceStatusEx(Service(), SC_STATUS_PROCESS_INFO, reinterpret_cast<BYTE*>(&now), sizeof(now),
                                &needed)) {
      return Fail("QueryServiceStatusEx");
    }
    if (now.dwCurrentState != last.dwCurrentState || now.dwCheckPoint != last.dwCheckPoint ||
        now.dwControlsAccepted != last.dwControlsAccepted) {
      std::printf("%s accepts 0x%lx exit %lu check point %lu wait hint %lu\n", StateName(now.dwCurrentState),
                  now.dwControlsAccepted, now.dwWin32ExitCode, now.dwCheckPoint, now.dwWaitHint);
      last = now;
    }
    if (now.dwCurrentState == wanted || now.dwCurrentState == SERVICE_STOPPED) return true;
    if (::GetTickCount64() > end) {
      std::printf("the service did not come to rest within %lu ms\n", milliseconds);
      return false;
    }
    ::Sleep(2);
  }
}

bool StartTheService(const Words& words) {
  if (!::StartServiceW(Service(), 0, nullptr)) return Fail("StartServiceW");
  return Await(SERVICE_RUNNING, std::wcstoul(words[1].c_str(), nullptr, 10));
}

/// A second control after the stop would end the service's process under Wine: from here on it is only asked.
bool StopTheService(const Words& words) {
  SERVICE_STATUS status = {};
  if (!::ControlService(Service(), SERVICE_CONTROL_STOP, &status)) return Fail("ControlService");
  return Await(SERVICE_STOPPED, std::wcstoul(words[1].c_str(), nullptr, 10));
}

bool SendControl(const Words& words) {
  SERVICE_STATUS status = {};
  return ::ControlService(Service(), std::wcstoul(words[1].c_str(), nullptr, 10), &status) || Fail("ControlService");
}

struct Verb {
  const WCHAR* name;
  std::size_t words;
  bool (*run)(const Words&);
};

constexpr Verb kVerbs[] = {
    {L"driver", 2, &StartDriver},     {L"interface", 3, &ToggleInterface}, {L"variable", 3, &PutVariable},
    {L"arrivals", 1, &PrintArrivals}, {L"create", 2, &CreateTheService},   {L"start", 2, &StartTheService},
    {L"stop", 2, &StopTheService},    {L"control", 2, &SendControl},
};

bool Run(const Words& words) {
  for (const Verb& verb : kVerbs) {
    if (!words.empty() && words[0] == verb.name && words.size() == verb.words) return verb.run(words);
  }
  std::printf("what is \"%ls\"?\n", words.empty() ? L"" : words[0].c_str());
  return false;
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
