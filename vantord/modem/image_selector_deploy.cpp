// The deployment of the selected modem image.
#include <cstring>

#include "vantord/common/diagnostic_log.h"
#include "vantord/common/handles.h"
#include "vantord/common/registry.h"
#include "vantord/common/wide_format.h"
#include "vantord/modem/image_selector.h"
#include "vantord/modem/registry_names.h"
#include "vantord/unzip/unzip.h"

namespace {

/// Deliberate: The joined path of the toast archive has two backslashes in a row; Windows reads them as one. Expected:
/// a folder without its final backslash.
/// Test: ImageDeployment.TheToastArchiveIsNamedWithTwoBackslashes
constexpr WCHAR kToastFolder[] = TEXT("c:\\Windows\\ToastGenerator\\");
constexpr WCHAR kToastArchive[] = TEXT("ToastResource_20180816.zip");
constexpr WCHAR kModemFolder[] = TEXT("c:\\windows\\system32\\modem_core");
constexpr WCHAR kModemPattern[] = TEXT("c:\\windows\\system32\\modem_core\\*");
constexpr WCHAR kTargetFolder[] = TEXT("c:\\windows\\system32\\");

/// Prepares to replace a file that an earlier deployment may have left read-only.
/// Deliberate: The attributes of a missing target have every bit set, so the call is made for it too and fails without
/// effect. Expected: a check for INVALID_FILE_ATTRIBUTES.
/// Test: ImageDeployment.AMissingTargetIsAskedToGiveUpItsReadOnlyBit
void ClearReadOnly(const WCHAR* path) {
  DWORD const attributes = ::GetFileAttributesW(path);
  if (attributes & FILE_ATTRIBUTE_READONLY) ::SetFileAttributesW(path, attributes & ~FILE_ATTRIBUTE_READONLY);
}

/// Deliberate: Folders are logged; they are neither hidden nor entered. Expected: the same treatment as files.
/// Test: ImageDeployment.ASubFolderOfTheArchivesIsNeitherHiddenNorEntered
void HideFound(const WIN32_FIND_DATAW& found) {
  if (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
    DebugPrintZone(ZONE_DETAIL, TEXT("%S:%d : %s  <DIR>"), "CImageSelector::HideModemFiles", 207, found.cFileName);
    return;
  }
  if (found.dwFileAttributes & FILE_ATTRIBUTE_HIDDEN) return;
  WCHAR path[MAX_PATH] = {};
  FormatWideTo(path, TEXT("%s\\%s"), kModemFolder, found.cFileName);
  ::SetFileAttributesW(path, found.dwFileAttributes | FILE_ATTRIBUTE_HIDDEN);
  DebugPrintZone(ZONE_DETAIL, TEXT("%S:%d : %s FILE_ATTRIBUTE_HIDDEN"), "CImageSelector::HideModemFiles", 222, path);
}

}  // namespace

DWORD CImageSelector::SelectAndDeployImage() {
  ModemBinaryName modemBinary = {};
  WCHAR archivePath[MAX_PATH] = {};
  FormatWideTo(archivePath, TEXT("%s\\%s"), kToastFolder, kToastArchive);
  // Deliberate: A failed toast archive is ignored: the modem's firmware does not depend on pictures. Expected: a failed
  // deployment.
  // Test: ImageDeployment.AMissingToastArchiveDoesNotStopTheModem
  (void)UnzipBinary(archivePath, kToastFolder);

  if (!DetermineImageByCSC(modemBinary)) DetermineImageByModemID(modemBinary);

  // Deliberate: The archives are hidden before the extraction, so also if it fails. Expected: hidden after a success.
  // Test: ImageDeployment.TheArchivesAreHiddenEvenWhenTheExtractionFails
  HideModemFiles();

  std::memset(archivePath, 0, sizeof(archivePath));
  FormatWideTo(archivePath, TEXT("%s\\%s"), kModemFolder, modemBinary);
  if (UnzipBinary(archivePath, kTargetFolder) == 0) return 0;

  // Deliberate: The request is deleted even if there is none; that failure is logged and ignored. Expected: a deletion
  // only after a request.
  // Test: ImageDeployment.ADeploymentThatNobodyRequestedLogsThatThereWasNoRequest
  (void)SRegistryDeleteValue(kParametersKey, kDistributeValue);
  return 1;
}

// Deliberate: A failed entry makes the result 0 but stops no other entry, and what was extracted stays. An empty file
// counts as failed although it is written. An archive without entries succeeds. Expected: all or nothing.
// Test: ImageDeployment.ACorruptEntryDoesNotStopTheOthers,
// ImageDeployment.AnEmptyFileFailsTheDeploymentThoughItIsWritten,
// ImageDeployment.AnArchiveWithoutEntriesCountsAsDeployed
DWORD CImageSelector::UnzipBinary(const WCHAR* archivePath, const WCHAR* targetFolder) {
  FunctionScope const scope("CImageSelector::UnzipBinary");
  ZipHandle* const archive = OpenZipFile(archivePath);
  if (archive == nullptr) {
    DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : Failure in Unzipping %s"), "CImageSelector::UnzipBinary", 244,
                   archivePath);
    return 0;
  }
  DebugPrintZone(ZONE_DETAIL, TEXT("%S:%d : Unzipping %s"), "CImageSelector::UnzipBinary", 247, archivePath);

  ZipEntry total = {};
  GetZipEntry(archive, -1, total);
  DWORD result = 1;
  for (INT index = 0; index < total.index; ++index) {
    // A new record each time: an entry that cannot be read must not be taken for the one before it.
    ZipEntry entry = {};
    GetZipEntry(archive, index, entry);
    WCHAR target[MAX_PATH] = {};
    FormatWideTo(target, TEXT("%s%s"), targetFolder, entry.name);
    ClearReadOnly(target);
    DWORD const status = UnzipZipEntry(archive, index, target);
    DebugPrintZone(ZONE_DETAIL, TEXT("%S:%d : Unzipping status %x"), "CImageSelector::UnzipBinary", 269, status);
    if (status != UNZIP_OK) result = 0;
  }
  CloseZipFile(archive);
  return result;
}

void CImageSelector::HideModemFiles() {
  // A missing folder has every attribute bit set, so it is skipped here.
  DWORD const attributes = ::GetFileAttributesW(kModemFolder);
  if (!(attributes & FILE_ATTRIBUTE_HIDDEN)) {
    ::SetFileAttributesW(kModemFolder, attributes | FILE_ATTRIBUTE_HIDDEN);
    DebugPrintZone(ZONE_DETAIL, TEXT("%S:%d : %s FILE_ATTRIBUTE_HIDDEN"), "CImageSelector::HideModemFiles", 193,
                   kModemFolder);
  }

  WIN32_FIND_DATAW found = {};
  FindHandle const search(::FindFirstFileW(kModemPattern, &found));
  if (!search) {
    DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : %s not Exist"), "CImageSelector::HideModemFiles", 199, kModemPattern);
    return;
  }
  do {
    HideFound(found);
  } while (::FindNextFileW(search.get(), &found));
  DWORD const error = ::GetLastError();
  if (error != ERROR_NO_MORE_FILES) {
    DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : Error in Hiding Files with Error (%d)"), "CImageSelector::HideModemFiles",
                   230, error);
  }
}
