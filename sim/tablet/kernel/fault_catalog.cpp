#include "sim/tablet/kernel/fault_catalog.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>

namespace tablet {

namespace {

/// A row of the list; errors are names, separated by blanks.
struct Row {
  std::string_view name;
  Failure failure;
  std::string_view errors;
};

constexpr Row kRows[] = {
    // The configuration manager.
    {"CM_Get_Device_Interface_ListW", Failure::kConfigRet,
     "CR_FAILURE CR_OUT_OF_MEMORY CR_BUFFER_SMALL CR_REGISTRY_ERROR CR_NO_CM_SERVICES"},
    {"CM_Get_Device_Interface_List_SizeW", Failure::kConfigRet,
     "CR_FAILURE CR_OUT_OF_MEMORY CR_REGISTRY_ERROR CR_NO_CM_SERVICES"},
    {"CM_Register_Notification", Failure::kConfigRet, "CR_FAILURE CR_OUT_OF_MEMORY CR_INVALID_DATA CR_NO_CM_SERVICES"},
    {"CM_Unregister_Notification", Failure::kConfigRet, "CR_FAILURE CR_INVALID_DATA"},

    // Device sets.
    {"SetupDiDestroyDeviceInfoList", Failure::kFalse, "ERROR_INVALID_HANDLE"},
    {"SetupDiEnumDeviceInterfaces", Failure::kFalse,
     "ERROR_NO_MORE_ITEMS ERROR_INVALID_HANDLE ERROR_NOT_ENOUGH_MEMORY"},
    {"SetupDiGetClassDevsW", Failure::kInvalidHandle,
     "ERROR_NOT_ENOUGH_MEMORY ERROR_ACCESS_DENIED ERROR_INVALID_PARAMETER"},
    {"SetupDiGetDeviceInterfaceDetailW", Failure::kFalse,
     "ERROR_INSUFFICIENT_BUFFER ERROR_INVALID_USER_BUFFER ERROR_NOT_ENOUGH_MEMORY"},

    // Files and devices.
    {"CloseHandle", Failure::kFalse, "ERROR_INVALID_HANDLE"},
    {"CreateDirectoryW", Failure::kFalse,
     "ERROR_ACCESS_DENIED ERROR_PATH_NOT_FOUND ERROR_ALREADY_EXISTS ERROR_DISK_FULL ERROR_WRITE_PROTECT "
     "ERROR_IO_DEVICE"},
    {"CreateFileW", Failure::kInvalidHandle,
     "ERROR_ACCESS_DENIED ERROR_FILE_NOT_FOUND ERROR_PATH_NOT_FOUND ERROR_SHARING_VIOLATION ERROR_DISK_FULL "
     "ERROR_TOO_MANY_OPEN_FILES ERROR_WRITE_PROTECT ERROR_IO_DEVICE ERROR_FILE_CORRUPT ERROR_NO_SYSTEM_RESOURCES"},
    {"DeviceIoControl", Failure::kFalse,
     "ERROR_IO_DEVICE ERROR_INVALID_FUNCTION ERROR_ACCESS_DENIED ERROR_INVALID_HANDLE ERROR_NOT_READY "
     "ERROR_BAD_COMMAND ERROR_GEN_FAILURE ERROR_SEM_TIMEOUT ERROR_OPERATION_ABORTED ERROR_DEVICE_NOT_CONNECTED"},
    {"FindClose", Failure::kFalse, "ERROR_INVALID_HANDLE"},
    {"FindFirstFileW", Failure::kInvalidHandle,
     "ERROR_FILE_NOT_FOUND ERROR_PATH_NOT_FOUND ERROR_ACCESS_DENIED ERROR_IO_DEVICE"},
    {"FindNextFileW", Failure::kFalse, "ERROR_NO_MORE_FILES ERROR_IO_DEVICE ERROR_NOT_ENOUGH_MEMORY"},
    {"GetCurrentDirectoryW", Failure::kZero, "ERROR_NOT_ENOUGH_MEMORY"},
    {"GetFileAttributesW", Failure::kAllOnes,
     "ERROR_FILE_NOT_FOUND ERROR_PATH_NOT_FOUND ERROR_ACCESS_DENIED ERROR_SHARING_VIOLATION ERROR_IO_DEVICE"},
    {"MoveFileExW", Failure::kFalse,
     "ERROR_ACCESS_DENIED ERROR_SHARING_VIOLATION ERROR_FILE_NOT_FOUND ERROR_ALREADY_EXISTS ERROR_NOT_SAME_DEVICE "
     "ERROR_DISK_FULL ERROR_IO_DEVICE"},
    {"ReadFile", Failure::kFalse,
     "ERROR_IO_DEVICE ERROR_CRC ERROR_LOCK_VIOLATION ERROR_INVALID_HANDLE ERROR_NO_SYSTEM_RESOURCES"},
    {"SetFileAttributesW", Failure::kFalse,
     "ERROR_ACCESS_DENIED ERROR_FILE_NOT_FOUND ERROR_SHARING_VIOLATION ERROR_WRITE_PROTECT ERROR_IO_DEVICE"},
    {"SetFilePointer", Failure::kAllOnes, "ERROR_IO_DEVICE ERROR_INVALID_HANDLE ERROR_NEGATIVE_SEEK"},
    {"SetFileTime", Failure::kFalse, "ERROR_ACCESS_DENIED ERROR_INVALID_HANDLE ERROR_IO_DEVICE"},
    {"WriteFile", Failure::kFalse,
     "ERROR_DISK_FULL ERROR_IO_DEVICE ERROR_HANDLE_DISK_FULL ERROR_WRITE_PROTECT ERROR_LOCK_VIOLATION "
     "ERROR_INVALID_HANDLE"},

    // Firmware variables: the status that their driver returns.
    {"Pstatus", Failure::kAnswerOfFirmware,
     "ERROR_IO_DEVICE ERROR_ENVVAR_NOT_FOUND ERROR_ACCESS_DENIED ERROR_INVALID_FUNCTION ERROR_INVALID_PARAMETER "
     "ERROR_INSUFFICIENT_BUFFER"},

    // Time, threads, events.
    {"CreateEventW", Failure::kNull, "ERROR_NOT_ENOUGH_MEMORY ERROR_NO_SYSTEM_RESOURCES"},
    {"CreateThread", Failure::kNull, "ERROR_NOT_ENOUGH_MEMORY ERROR_NO_SYSTEM_RESOURCES ERROR_COMMITMENT_LIMIT"},
    {"GetSystemTime", Failure::kNever, ""},
    {"GetTickCount", Failure::kNever, ""},
    {"LocalFileTimeToFileTime", Failure::kFalse, "ERROR_INVALID_PARAMETER"},
    {"QueueUserWorkItem", Failure::kFalse, "ERROR_NOT_ENOUGH_MEMORY ERROR_NO_SYSTEM_RESOURCES"},
    {"SetEvent", Failure::kFalse, "ERROR_INVALID_HANDLE"},
    {"Sleep", Failure::kNever, ""},
    {"SystemTimeToFileTime", Failure::kFalse, "ERROR_INVALID_PARAMETER"},
    {"WaitForSingleObject", Failure::kWaitFailed, "ERROR_INVALID_HANDLE"},

    // Processes and tokens.
    {"AdjustTokenPrivileges", Failure::kFalse, "ERROR_ACCESS_DENIED ERROR_INVALID_HANDLE ERROR_NOT_ENOUGH_MEMORY"},
    {"CreateEnvironmentBlock", Failure::kFalse, "ERROR_ACCESS_DENIED ERROR_NOT_ENOUGH_MEMORY ERROR_NO_TOKEN"},
    {"CreateProcessAsUserW", Failure::kFalse,
     "ERROR_ACCESS_DENIED ERROR_FILE_NOT_FOUND ERROR_PATH_NOT_FOUND ERROR_PRIVILEGE_NOT_HELD ERROR_NOT_ENOUGH_MEMORY "
     "ERROR_BAD_EXE_FORMAT ERROR_COMMITMENT_LIMIT"},
    {"DestroyEnvironmentBlock", Failure::kFalse, "ERROR_INVALID_PARAMETER"},
    {"DuplicateTokenEx", Failure::kFalse,
     "ERROR_ACCESS_DENIED ERROR_NOT_ENOUGH_MEMORY ERROR_BAD_IMPERSONATION_LEVEL ERROR_INVALID_HANDLE"},
    {"GetCurrentProcess", Failure::kNever, ""},
    {"K32EnumProcessModules", Failure::kFalse, "ERROR_PARTIAL_COPY ERROR_ACCESS_DENIED ERROR_INVALID_HANDLE"},
    {"K32EnumProcesses", Failure::kFalse, "ERROR_NOT_ENOUGH_MEMORY ERROR_NO_SYSTEM_RESOURCES ERROR_NOACCESS"},
    {"K32GetModuleBaseNameW", Failure::kZero, "ERROR_INVALID_HANDLE ERROR_PARTIAL_COPY ERROR_ACCESS_DENIED"},
    {"LookupPrivilegeValueW", Failure::kFalse, "ERROR_NO_SUCH_PRIVILEGE RPC_S_SERVER_UNAVAILABLE"},
    {"OpenProcess", Failure::kNull, "ERROR_ACCESS_DENIED ERROR_INVALID_PARAMETER ERROR_NOT_ENOUGH_MEMORY"},
    {"OpenProcessToken", Failure::kFalse, "ERROR_ACCESS_DENIED ERROR_INVALID_HANDLE"},
    {"ProcessIdToSessionId", Failure::kFalse, "ERROR_INVALID_PARAMETER ERROR_ACCESS_DENIED"},

    // Memory and text.
    {kAllocation, Failure::kNoMemory, "ERROR_NOT_ENOUGH_MEMORY"},
    {"FormatMessageW", Failure::kZero, "ERROR_MR_MID_NOT_FOUND ERROR_NOT_ENOUGH_MEMORY"},
    {"GetLastError", Failure::kNever, ""},
    {"GetProcessHeap", Failure::kNever, ""},
    {"HeapAlloc", Failure::kNull, "ERROR_NOT_ENOUGH_MEMORY"},
    {"HeapFree", Failure::kFalse, "ERROR_INVALID_PARAMETER"},
    {"LocalAlloc", Failure::kNull, "ERROR_NOT_ENOUGH_MEMORY"},
    {"LocalFree", Failure::kItsArgument, "ERROR_INVALID_HANDLE"},
    {"MultiByteToWideChar", Failure::kZero,
     "ERROR_NO_UNICODE_TRANSLATION ERROR_INSUFFICIENT_BUFFER ERROR_INVALID_PARAMETER"},
    {"OutputDebugStringW", Failure::kNever, ""},
    {"SetLastError", Failure::kNever, ""},
    {"StringFromGUID2", Failure::kZero, "ERROR_INSUFFICIENT_BUFFER"},
    {"WideCharToMultiByte", Failure::kZero,
     "ERROR_INSUFFICIENT_BUFFER ERROR_NO_UNICODE_TRANSLATION ERROR_INVALID_PARAMETER"},

    // The registry.
    {"RegCloseKey", Failure::kStatus, "ERROR_INVALID_HANDLE"},
    {"RegCreateKeyExW", Failure::kStatus,
     "ERROR_ACCESS_DENIED ERROR_KEY_DELETED ERROR_REGISTRY_IO_FAILED ERROR_NO_SYSTEM_RESOURCES"},
    {"RegDeleteValueW", Failure::kStatus,
     "ERROR_FILE_NOT_FOUND ERROR_ACCESS_DENIED ERROR_KEY_DELETED ERROR_REGISTRY_IO_FAILED"},
    {"RegEnumKeyExW", Failure::kStatus,
     "ERROR_NO_MORE_ITEMS ERROR_ACCESS_DENIED ERROR_MORE_DATA ERROR_KEY_DELETED ERROR_REGISTRY_IO_FAILED"},
    {"RegOpenKeyExW", Failure::kStatus,
     "ERROR_FILE_NOT_FOUND ERROR_ACCESS_DENIED ERROR_KEY_DELETED ERROR_REGISTRY_IO_FAILED"},
    {"RegQueryInfoKeyW", Failure::kStatus, "ERROR_ACCESS_DENIED ERROR_KEY_DELETED ERROR_REGISTRY_IO_FAILED"},
    {"RegQueryValueExW", Failure::kStatus,
     "ERROR_FILE_NOT_FOUND ERROR_ACCESS_DENIED ERROR_MORE_DATA ERROR_KEY_DELETED ERROR_REGISTRY_IO_FAILED"},
    {"RegSetValueExW", Failure::kStatus,
     "ERROR_ACCESS_DENIED ERROR_NOT_ENOUGH_MEMORY ERROR_KEY_DELETED ERROR_REGISTRY_IO_FAILED"},

    // Services, power settings, the radio layer.
    {"ChangeServiceConfig2W", Failure::kFalse,
     "ERROR_ACCESS_DENIED ERROR_INVALID_HANDLE ERROR_SERVICE_MARKED_FOR_DELETE"},
    {"CloseServiceHandle", Failure::kFalse, "ERROR_INVALID_HANDLE"},
    {"ControlService", Failure::kFalse,
     "ERROR_SERVICE_CANNOT_ACCEPT_CTRL ERROR_SERVICE_NOT_ACTIVE ERROR_INVALID_SERVICE_CONTROL "
     "ERROR_SERVICE_REQUEST_TIMEOUT ERROR_ACCESS_DENIED ERROR_SHUTDOWN_IN_PROGRESS"},
    {"OpenSCManagerW", Failure::kNull, "ERROR_ACCESS_DENIED RPC_S_SERVER_UNAVAILABLE ERROR_SHUTDOWN_IN_PROGRESS"},
    {"OpenServiceW", Failure::kNull, "ERROR_SERVICE_DOES_NOT_EXIST ERROR_ACCESS_DENIED ERROR_INVALID_HANDLE"},
    {"PowerSettingRegisterNotification", Failure::kStatus, "ERROR_INVALID_HANDLE ERROR_NOT_ENOUGH_MEMORY"},
    {"PowerSettingUnregisterNotification", Failure::kStatus, "ERROR_INVALID_HANDLE"},
    {"QueryServiceStatusEx", Failure::kFalse,
     "ERROR_ACCESS_DENIED ERROR_INVALID_HANDLE ERROR_INSUFFICIENT_BUFFER ERROR_SHUTDOWN_IN_PROGRESS"},
    {"RIL_Initialize", Failure::kResult, "E_FAIL E_OUTOFMEMORY E_ACCESSDENIED E_INVALIDARG"},
    {"RIL_RadioCommand", Failure::kResult, "E_FAIL E_ABORT E_HANDLE E_INVALIDARG"},
    {"RIL_Release", Failure::kResult, "E_FAIL E_HANDLE"},
    {"RegisterServiceCtrlHandlerExW", Failure::kNull,
     "ERROR_SERVICE_NOT_IN_EXE ERROR_NOT_ENOUGH_MEMORY ERROR_INVALID_NAME"},
    {"SetServiceStatus", Failure::kFalse, "ERROR_INVALID_HANDLE ERROR_INVALID_DATA"},
    {"StartServiceCtrlDispatcherW", Failure::kFalse, "ERROR_FAILED_SERVICE_CONTROLLER_CONNECT ERROR_INVALID_DATA"},
    {"StartServiceW", Failure::kFalse,
     "ERROR_ACCESS_DENIED ERROR_SERVICE_ALREADY_RUNNING ERROR_SERVICE_DISABLED ERROR_SERVICE_REQUEST_TIMEOUT "
     "ERROR_SERVICE_DEPENDENCY_FAIL ERROR_SERVICE_LOGON_FAILED ERROR_SERVICE_DATABASE_LOCKED"},

    // Event tracing.
    {"EnableTraceEx2", Failure::kStatus,
     "ERROR_ACCESS_DENIED ERROR_INVALID_PARAMETER ERROR_INVALID_HANDLE ERROR_NO_SYSTEM_RESOURCES ERROR_TIMEOUT"},
    {"GetTraceEnableFlags", Failure::kZero, "ERROR_INVALID_PARAMETER"},
    {"GetTraceEnableLevel", Failure::kZero, "ERROR_INVALID_PARAMETER"},
    {"GetTraceLoggerHandle", Failure::kInvalidTrace, "ERROR_INVALID_PARAMETER ERROR_BAD_LENGTH"},
    {"RegisterTraceGuidsW", Failure::kStatus,
     "ERROR_ACCESS_DENIED ERROR_NOT_ENOUGH_MEMORY ERROR_INVALID_PARAMETER ERROR_NO_SYSTEM_RESOURCES"},
    {"StartTraceW", Failure::kStatus,
     "ERROR_ACCESS_DENIED ERROR_ALREADY_EXISTS ERROR_BAD_LENGTH ERROR_NOT_ENOUGH_MEMORY ERROR_NO_SYSTEM_RESOURCES"},
    {"TraceMessage", Failure::kStatus, "ERROR_NOT_ENOUGH_MEMORY ERROR_MORE_DATA ERROR_INVALID_HANDLE"},
    {"UnregisterTraceGuids", Failure::kStatus, "ERROR_INVALID_PARAMETER"},

    // Version information.
    {"GetFileVersionInfoSizeW", Failure::kZero,
     "ERROR_FILE_NOT_FOUND ERROR_RESOURCE_DATA_NOT_FOUND ERROR_RESOURCE_TYPE_NOT_FOUND ERROR_ACCESS_DENIED "
     "ERROR_SHARING_VIOLATION"},
    {"GetFileVersionInfoW", Failure::kFalse,
     "ERROR_RESOURCE_DATA_NOT_FOUND ERROR_FILE_NOT_FOUND ERROR_ACCESS_DENIED ERROR_SHARING_VIOLATION"},
    {"VerQueryValueW", Failure::kFalse, "ERROR_RESOURCE_TYPE_NOT_FOUND ERROR_RESOURCE_DATA_NOT_FOUND"},
};

std::vector<CatalogedCall> Build() {
  std::vector<CatalogedCall> calls;
  for (const Row& row : kRows) {
    CatalogedCall call{row.name, row.failure, {}};
    std::istringstream names{std::string(row.errors)};
    for (std::string name; names >> name;) {
      auto const number = ErrorNumber(name);
      if (!number) throw std::logic_error("the catalogue of faults names an unknown error: " + name);
      call.errors.push_back(*number);
    }
    calls.push_back(std::move(call));
  }
  return calls;
}

}  // namespace

std::span<const CatalogedCall> FaultCatalog() {
  static const std::vector<CatalogedCall> calls = Build();
  return calls;
}

const CatalogedCall* FindCataloged(std::string_view name) {
  auto const calls = FaultCatalog();
  auto const found = std::ranges::find(calls, name, &CatalogedCall::name);
  return found == calls.end() ? nullptr : &*found;
}

std::string_view DescribeFailure(Failure failure) {
  switch (failure) {
    case Failure::kNever:
      return "cannot fail";
    case Failure::kFalse:
      return "FALSE";
    case Failure::kNull:
      return "null";
    case Failure::kInvalidHandle:
      return "INVALID_HANDLE_VALUE";
    case Failure::kZero:
      return "0";
    case Failure::kAllOnes:
      return "0xFFFFFFFF";
    case Failure::kWaitFailed:
      return "WAIT_FAILED";
    case Failure::kInvalidTrace:
      return "INVALID_PROCESSTRACE_HANDLE";
    case Failure::kItsArgument:
      return "its argument";
    case Failure::kStatus:
      return "the error code";
    case Failure::kConfigRet:
      return "the CONFIGRET";
    case Failure::kResult:
      return "the HRESULT";
    case Failure::kAnswerOfFirmware:
      return "the driver's answer";
    case Failure::kNoMemory:
      return "std::bad_alloc";
  }
  return "unknown";
}

ErrorName::Family FamilyOf(Failure failure) {
  if (failure == Failure::kConfigRet) return ErrorName::Family::kConfigurationManager;
  if (failure == Failure::kResult) return ErrorName::Family::kResult;
  return ErrorName::Family::kSystem;
}

}  // namespace tablet
