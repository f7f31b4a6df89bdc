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
/// Kept on purpose: one would expect the program's name in front; the line begins with a blank, which leaves the name
/// empty and makes "CPCrash" the first argument. Pinned by the test
/// SsrDumpTest.TheUserIsToldByTheToastProgram.
constexpr WCHAR kToastCommandLine[] = TEXT(" CPCrash");

constexpr int kToastAttempts = 10;
constexpr DWORD kToastPauseMs = 1000;

/// Kept on purpose: one would expect local time, and a number that tells two crashes apart; the name has the time in
/// UTC to the second, and a second crash within it goes into the same folder. Pinned by the tests
/// SsrDumpTest.TheFolderIsNamedByTheTimeInUtc and ASecondCrashWithinTheSecondGoesIntoTheSameFolder.
void FormatDestination(WCHAR (&folder)[MAX_PATH]) {
  SYSTEMTIME now = {};
  ::GetSystemTime(&now);
  FormatWideTo(folder, TEXT("c:\\users\\public\\documents\\RetailLog\\CPCrash_%04d%02d%02d_%02d%02d%02d"), now.wYear,
               now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond);
}

/// Kept on purpose: one would expect somebody to log on first, or a last word when nobody was told; ten attempts hold
/// up the modem's start by ten seconds and end without one. Pinned by the test
/// SsrDumpTest.WithNobodyLoggedOnItGivesUpAfterTenSeconds.
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
  // Nothing may come between the two: the second goes by the first one's last error.
  if (::CreateDirectoryW(destination, nullptr) == FALSE) (void)CreateDirectoryFull(destination);

  // Kept on purpose: one would expect the dumps alone to be moved, and the user to be told of what was moved; every
  // file of the folder goes, and neither the folder's making nor any move need have succeeded. Pinned by the tests
  // SsrDumpTest.EveryFileBesidesADumpIsMovedToo and TheUserIsToldEvenIfNothingCouldBeMoved.
  HelperDebugPrint(TEXT("%S:%d : Moving SSR dump files"), "CheckSSRDumpFile", 4454);
  (void)CopyMoveFiles(kDumpFolder, TEXT("*.*"), destination);
  TellUser();
}
