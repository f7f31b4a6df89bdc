#include "vantord/unzip/unzip.h"

#include <new>

#include "vantord/unzip/tunzip.h"

namespace {

constexpr DWORD kUnzipKind = 1;

bool IsUnzipHandle(const ZipHandle* handle) { return handle != nullptr && handle->kind == kUnzipKind; }

}  // namespace

// Deliberate: Nothing in the service reads the variable. Expected: the operations' results alone.
// Test: ExtractionTest.TheLastResultIsThatOfTheLatestOperation
DWORD LastUnzipResult = UNZIP_OK;

ZipHandle* OpenZipFile(const WCHAR* archivePath) {
  std::unique_ptr<TUnzip> unzip(new (std::nothrow) TUnzip);
  std::unique_ptr<ZipHandle> handle(new (std::nothrow) ZipHandle{kUnzipKind, nullptr});
  if (unzip == nullptr || handle == nullptr) {
    LastUnzipResult = UNZIP_FILE_FAILED;
    return nullptr;
  }
  LastUnzipResult = unzip->Open(archivePath);
  if (LastUnzipResult != UNZIP_OK) return nullptr;
  handle->unzip = unzip.release();
  return handle.release();
}

DWORD GetZipEntry(ZipHandle* handle, INT index, ZipEntry& entry) {
  LastUnzipResult = IsUnzipHandle(handle) ? handle->unzip->Get(index, entry) : UNZIP_BAD_HANDLE;
  return LastUnzipResult;
}

DWORD UnzipZipEntry(ZipHandle* handle, INT index, const WCHAR* destination) {
  LastUnzipResult = IsUnzipHandle(handle) ? handle->unzip->Unzip(index, destination) : UNZIP_BAD_HANDLE;
  return LastUnzipResult;
}

DWORD CloseZipFile(ZipHandle* handle) {
  // Deliberate: A handle of another kind is not released. Expected: its release.
  // Test: ExtractionTest.AHandleOfAnotherKindIsLeftAlone
  if (!IsUnzipHandle(handle)) {
    LastUnzipResult = UNZIP_BAD_HANDLE;
    return LastUnzipResult;
  }
  std::unique_ptr<ZipHandle> const closed(handle);
  std::unique_ptr<TUnzip> const archive(handle->unzip);
  LastUnzipResult = UNZIP_OK;
  return LastUnzipResult;
}
