#include "vantord/uefi/uefi_handler.h"

#include <windows.h>

#include "vantord/common/diagnostic_log.h"
#include "vantord/common/wide_format.h"
#include "vantord/uefi/safi_driver.h"

namespace {
constexpr DWORD kRetryDelayMs = 15;
constexpr DWORD kSalesCodeBytes = 4;
}  // namespace

CKAVRILUEFIHandler::CKAVRILUEFIHandler(const WCHAR* name, const WCHAR* guid) {
  CopyWide(m_wcsName, 260, name);
  CopyWide(m_wcsGuid, 260, guid);
}

bool CKAVRILUEFIHandler::Ready() {
  if (m_hToken) {
    DebugPrintZone(ZONE_DETAIL, TEXT("%S:%d : Already performed"), "CKAVRILUEFIHandler::Ready", 43);
    return true;
  }
  HANDLE token = nullptr;
  if (!::OpenProcessToken(::GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &token)) {
    DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : OpenProcessToken Failed"), "CKAVRILUEFIHandler::Ready", 21);
    return false;
  }
  m_hToken = TokenHandleKeepingError(token);
  TOKEN_PRIVILEGES privileges = {};
  privileges.PrivilegeCount = 1;
  if (!::LookupPrivilegeValueW(nullptr, SE_SYSTEM_ENVIRONMENT_NAME, &privileges.Privileges[0].Luid)) {
    DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : LookupPrivilegeValue Failed"), "CKAVRILUEFIHandler::Ready", 25);
    m_hToken.Close();
    return false;
  }
  privileges.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
  // The call also succeeds if the account does not hold the privilege; the driver then decides.
  if (!::AdjustTokenPrivileges(m_hToken.get(), FALSE, &privileges, sizeof(privileges), nullptr, nullptr)) {
    DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : AdjustTokenPrivileges Failed"), "CKAVRILUEFIHandler::Ready", 35);
    m_hToken.Close();
    return false;
  }
  return true;
}

DWORD CKAVRILUEFIHandler::Read(void* buffer, DWORD capacity) {
  if (!Ready()) {
    DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : Ready to Read failed!"), "CKAVRILUEFIHandler::Read", 70);
    return 0;
  }
  DWORD bytes = 0;
  DWORD error = ERROR_SUCCESS;
  DWORD attempt = 0;
  for (; attempt < MAX_UEFI_IO_RETRY; ++attempt) {
    bytes = SafiGetVariable(m_wcsName, m_wcsGuid, buffer, capacity);
    if (bytes != 0) break;
    error = ::GetLastError();
    DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : ERROR ! Failed to read - name[%s] guid[%s], GetLastError=%d"),
                   "CKAVRILUEFIHandler::Read", 81, m_wcsName, m_wcsGuid, error);
    if (error != ERROR_IO_DEVICE) break;
    DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : ERROR_IO_DEVICE, we will retry after %d msecs"),
                   "CKAVRILUEFIHandler::Read", 84, kRetryDelayMs);
    ::Sleep(kRetryDelayMs);
  }
  if (attempt == MAX_UEFI_IO_RETRY) {
    DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : Retry count reached MAX_UEFI_IO_RETRY"), "CKAVRILUEFIHandler::Read", 93);
  }
  // Deliberate: A read closes the token. Expected: a token as long as the handler.
  // Test: UefiHandler.AReadClosesTheToken
  m_hToken.Close();
  if (bytes == 0) ::SetLastError(error);
  return bytes;
}

bool CKAVRILUEFIHandler::WriteOnce(const void* data) {
  SafiKey const key(m_wcsName, m_wcsGuid);
  if (key.text() == nullptr) {
    WriteDebugger("Error : Invalid memory for SetFirmwareEnvironmentVariable \n");
    return false;
  }
  return SafiWriteVariable(key.text(), data);
}

bool CKAVRILUEFIHandler::Write(const void* data) {
  // Deliberate: Ready runs twice and only the second result counts. Expected: one run.
  // Test: UefiHandler.AWriteRunsReadyTwice
  (void)Ready();
  if (!Ready()) {
    DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : Ready to Write failed!"), "CKAVRILUEFIHandler::Write", 103);
    return false;
  }
  DWORD error = ERROR_SUCCESS;
  // Deliberate: A write makes no pause between its attempts. Expected: the pause of a read.
  // Test: UefiHandler.AWriteIsTried400TimesAtOnce
  for (DWORD attempt = 0; attempt < MAX_UEFI_IO_RETRY; ++attempt) {
    if (WriteOnce(data)) return true;
    error = ::GetLastError();
    DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : SAVE ITEM FAILED!!!, Error = %d"), "CKAVRILUEFIHandler::Write", 113,
                   error);
    if (error != ERROR_IO_DEVICE) {
      ::SetLastError(error);
      return false;
    }
    DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : ERROR_IO_DEVICE, we will retry"), "CKAVRILUEFIHandler::Write", 116);
  }
  DebugPrintZone(ZONE_ERROR, TEXT("%S:%d : Retry count reached MAX_UEFI_IO_RETRY"), "CKAVRILUEFIHandler::Write", 128);
  ::SetLastError(error);
  return false;
}

bool GetUEFISalesCode(char* code) {
  CKAVRILUEFIHandler handler(TEXT("SALES_CODE"), TEXT("{9806d87d-b4fb-4d02-97d2-8597337abc83}"));
  (void)handler.Ready();  // Read calls it again and reports its failure
  if (handler.Read(code, kSalesCodeBytes) == 0) return false;
  DebugPrintZone(ZONE_DETAIL, TEXT("%S:%d : UEFI Sales_Code = %c%c%c!!!"), "GetUEFISalesCode", 235,
                 static_cast<BYTE>(code[0]), static_cast<BYTE>(code[1]), static_cast<BYTE>(code[2]));
  return true;
}
