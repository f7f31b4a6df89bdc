#include "vantord/crash/ssr_dump.h"

#include <windows.h>

#include "vantord/common/diagnostic_log.h"
#include "vantord/common/handles.h"
#include "vantord/common/wide_format.h"
#include "vantord/crash/file_helpers.h"
#include "vantord/crash/user_session.h"

namespace {

constexpr WCHAR kDumpFolder[] = TEXT("c:\\Windows\\System32\\DriverState\\Services\\QCCDI\\Data\\ssr_dumps");
constexpr WCHAR kToastProgram[] = TEXT("c:\\Windows\\ToastGenerator\\ToastGenerator.exe");
/// Deliberate: The command line begins with a blank, so the program's name is empty and "CPCrash" is the first
/// argument. Expected: the program's name first.
/// Test: SsrDumpTest.TheUserIsToldByTheToastProgram
constexpr WCHAR kToastCommandLine[] = TEXT(" CPCrash");

constexpr int kToastAttempts = 10;
constexpr DWORD kToastPauseMs = 1000;

/// Deliberate: The folder's name is the time in UTC to the second; two crashes within one second share a folder.
/// Expected: local time, and a counter.
/// Test: SsrDumpTest.TheFolderIsNamedByTheTimeInUtc, SsrDumpTest.ASecondCrashWithinTheSecondGoesIntoTheSameFolder
void FormatDestination(WCHAR (&folder)[MAX_PATH]) {
  SYSTEMTIME now = {};
  ::GetSystemTime(&now);
  FormatWideTo(folder, TEXT("c:\\users\\public\\documents\\RetailLog\\CPCrash_%04d%02d%02d_%02d%02d%02d"), now.wYear,
               now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond);
}

/// Deliberate: Without a logged-on user ten attempts delay the start-up by ten seconds and end without a message.
/// Expected: a wait for a logon, or a final message.
/// Test: SsrDumpTest.WithNobodyLoggedOnItGivesUpAfterTenSeconds
void TellUser() {
  for (int attempt = 0; attempt < kToastAttempts; ++attempt) {
    if (RunProcessAsUser(kToastProgram, kToastCommandLine) != FALSE) {
      HelperDebugPrint(TEXT("%S:%d : Success to launch Toast for CPCrash"), "CheckSSRDumpFile", 4466);
      return;
    }
    HelperDebugPrint(TEXT("%S:%d : Failed to launch Toast for CPCrash"), "CheckSSRDumpFile", 4461);
    ::Sleep(kToastPauseMs);
  }
}

}  // namespace

void CheckSSRDumpFile() {
  WCHAR pattern[MAX_PATH] = {};
  FormatWideTo(pattern, TEXT("%s\\%s"), kDumpFolder, TEXT("*.dmp"));
  WIN32_FIND_DATAW dump = {};
  FindHandle const search(::FindFirstFileW(pattern, &dump));
  if (!search) {
    HelperDebugPrint(TEXT("%S:%d : SSR Dump File Not Found"), "CheckSSRDumpFile", 4440);
    return;
  }
  HelperDebugPrint(TEXT("%S:%d : SSR Dump File Found (%s)"), "CheckSSRDumpFile", 4444, dump.cFileName);

  WCHAR destination[MAX_PATH] = {};
  FormatDestination(destination);
  // No call between the two: the second reads the last error of the first.
  if (::CreateDirectoryW(destination, nullptr) == FALSE) (void)CreateDirectoryFull(destination);

  // Deliberate: Every file of the folder is moved, not only dumps, and the user is notified even if nothing could be
  // moved. Expected: dumps alone, and a notification after a success.
  // Test: SsrDumpTest.EveryFileBesidesADumpIsMovedToo, SsrDumpTest.TheUserIsToldEvenIfNothingCouldBeMoved
  HelperDebugPrint(TEXT("%S:%d : Moving SSR dump files"), "CheckSSRDumpFile", 4454);
  (void)CopyMoveFiles(kDumpFolder, TEXT("*.*"), destination);
  TellUser();
}
