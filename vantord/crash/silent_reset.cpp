#include "vantord/crash/silent_reset.h"

#include "vantord/common/diagnostic_log.h"
#include "vantord/common/handles.h"
#include "vantord/common/system_state.h"

namespace {

constexpr WCHAR kModemStatisticsDevice[] = TEXT("\\\\.\\AMSSStats");
/// Device type 0x9CA3, function 0x300, buffered, any access.
constexpr DWORD IOCTL_REQ_MODEM_RESET = 0x9CA30C00;
constexpr DWORD kSetupPollMs = 5000;

/// The request; the service sets one byte, the others stay 0.
struct ResetRequest {
  BYTE unused[1040];
  BYTE reset;
  BYTE unusedToo;
};
static_assert(sizeof(ResetRequest) == 1042);

/// Deliberate: The request has no place for the number of returned bytes. Expected: one, as older systems require it.
/// Test: SilentResetTest.TheRequestNamesNoPlaceForReturnedBytes
BOOL SendResetRequest(HANDLE device) {
  ResetRequest request = {};
  request.reset = 1;
  return ::DeviceIoControl(device, IOCTL_REQ_MODEM_RESET, &request, sizeof(request), nullptr, 0, nullptr, nullptr);
}

/// Deliberate: The reset is requested once. Expected: another attempt if the driver is busy or refuses.
/// Test: SilentResetTest.ARefusedResetIsNotTriedAgain
DWORD ResetModem() {
  HelperDebugPrint(TEXT("%S:%d : Start sending IOCTL_MODEM_RESET"), "ExecuteSilentResetQCThread", 4378);
  FileHandle device(
      ::CreateFileW(kModemStatisticsDevice, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
  if (!device) {
    HelperDebugPrint(TEXT("%S:%d : Unable to get a handle to AMSS driver!"), "ExecuteSilentResetQCThread", 4394);
    return 0;
  }
  if (SendResetRequest(device.get()) == FALSE) {
    HelperDebugPrint(TEXT("%S:%d : IOCTL_REQ_MODEM_RESET failed, error = 0x%lx"), "ExecuteSilentResetQCThread", 4412,
                     ::GetLastError());
    return 0;
  }
  device.Close();  // before the message
  HelperDebugPrint(TEXT("%S:%d : Successfully sent IOCTL_REQ_MODEM_RESET to AMSS driver"), "ExecuteSilentResetQCThread",
                   4418);
  return 1;
}

}  // namespace

// Deliberate: An image state that cannot be read counts as the end of setup. Expected: a longer wait.
// Test: SilentResetTest.AnImageStateThatCannotBeReadCountsAsTheEndOfSetup
// Deliberate: After setup the stop event is not read: the reset is sent even while the service stops. Expected: no
// reset after a stop.
// Test: SilentResetTest.BehindSetupAStopDoesNotHoldTheResetBack
DWORD WINAPI ExecuteSilentResetQCThread(LPVOID stopEvent) {
  while (IsDefaultSetupState()) {
    DWORD const ended = ::WaitForSingleObject(stopEvent, kSetupPollMs);
    if (ended == WAIT_OBJECT_0) {
      HelperDebugPrint(TEXT("%S:%d : Thread Close"), "ExecuteSilentResetQCThread", 4370);
      return 1;
    }
    // Deliberate: A failed wait is neither logged nor ends the loop, which then runs without pause. Expected: the end
    // of the thread.
    // Test: SilentResetTest.WithABadEventItAsksTheRegistryWithoutPause
    if (ended == WAIT_TIMEOUT) {
      HelperDebugPrint(TEXT("%S:%d : WAIT_TIMEOUT for waiting OOBE mode out"), "ExecuteSilentResetQCThread", 4374);
    }
  }
  return ResetModem();
}
