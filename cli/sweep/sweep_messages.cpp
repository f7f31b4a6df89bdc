#include "cli/sweep/sweep_messages.h"

#include <algorithm>
#include <array>

#include "cli/boot/call_text.h"

namespace cli {

namespace {

constexpr std::string_view kStatus = "Unzipping status ";
constexpr std::string_view kExtraction = "Failure in Unzipping|Unzipping status !";
constexpr std::string_view kFirmware = "Failed to read - name|SAVE ITEM FAILED|to Read failed!|to Write failed!";
constexpr std::string_view kRelease = "what cannot be released stays until the process ends";
constexpr std::string_view kSkipped = "what cannot be read is skipped";
constexpr std::string_view kIgnored = "the result is ignored";

constexpr MessageRule kRules[] = {
    // The service's start.
    {"StartServiceCtrlDispatcherW", "", "", "", "there is no trace provider yet"},
    {"RegisterServiceCtrlHandlerExW", "", "", "", "the process ends"},
    {"CreateEventW", "", "", "", "the process ends, or the modem and the radio go on without an event"},
    {"SetServiceStatus", "", "", "", kIgnored},
    {"ChangeServiceConfig2W", "", "", "Error in ChangeServiceConfig2"},
    {"QueueUserWorkItem", "", "", "", "the status STOPPED carries the error"},
    {"RegisterTraceGuidsW", "", "", "", "no session is listening"},
    {"UnregisterTraceGuids", "", "", "", "no session is listening"},
    {"GetTraceLoggerHandle", "", "", "", "no session is listening"},
    {"GetTraceEnableLevel", "", "", "", "no session is listening"},
    {"GetTraceEnableFlags", "", "", "", "no session is listening"},
    {"TraceMessage", "", "", "", "a message that is lost is lost"},
    {"StartTraceW", "", "", "Error calling StartTrace"},
    {"EnableTraceEx2", "", "", "EnableTrace("},
    {"StringFromGUID2", "", "", "", "the text is for messages only"},

    // Notifications.
    {"CM_Register_Notification", "", "", "Failed to CM_Register_Notification"},
    {"CM_Unregister_Notification", "", "", "Failed to CM_Unregister_Notification"},
    {"PowerSettingRegisterNotification", "", "", "Failed to PowerSettingRegisterNotification"},
    {"PowerSettingUnregisterNotification", "", "", "Failed to PowerSettingUnregisterNotification"},

    // Other services.
    {"OpenSCManagerW", "", "", "OpenSCManager failed"},
    {"OpenServiceW", "", "", "OpenService failed"},
    {"StartServiceW", "", "", "StartService failed"},
    {"QueryServiceStatusEx", "", "", "QueryServiceStatusEx failed"},
    {"ControlService", "", "", "ControlService Fail???"},
    {"CloseServiceHandle", "", "", "", kRelease},

    // The registry.
    {"RegCreateKeyExW", "Setup\\State", "", "SGetRegistrySZ FAILED"},
    {"RegCreateKeyExW", "Parameters\\CSC", "", "Maps CSC Reg Not Exist"},
    {"RegCreateKeyExW", "Parameters\\ImageID", "", "Maps ImageID Reg Not Exist"},
    {"RegCreateKeyExW", "LogonUI\"", "", "pSelectedUserSID not exist"},
    {"RegCreateKeyExW", "SessionData", "", "pLoggedOnUserSID not exist"},
    {"RegCreateKeyExW", "", "", "", "a key that cannot be opened is skipped"},
    {"RegOpenKeyExW", "Services\\Vantord\\Parameters", "", "RegistryDeleteValue fail"},
    {"RegOpenKeyExW", "", "", "RegistrySubKeys fail"},
    {"RegQueryInfoKeyW", "", "", "RegistrySubKeys fail"},
    {"RegEnumKeyExW", "", "", "", kSkipped},
    {"RegQueryValueExW", "", "", "RegQueryValueEx fail, ValueName = {value}"},
    {"RegSetValueExW", "", "", "RegSetValueEx fail, ValueName = {value}"},
    {"RegDeleteValueW", "", "", "RegistryDeleteValue fail"},
    {"RegCloseKey", "", "", "", kRelease},

    // The modem's control device.
    {"CM_Get_Device_Interface_List_SizeW", "", "", "CM_Get_Device_Interface_List_Size failed"},
    {"CM_Get_Device_Interface_ListW", "", "", "CM_Get_Device_Interface_List failed"},
    {"HeapAlloc", "", "StartLogSession", "Error allocating memory for properties"},
    {"HeapAlloc", "", "", "HeapAlloc failed"},
    {"HeapFree", "", "", "", kRelease},
    {"CreateFileW", "\"\",", "", "Failed to open DeviceInterfaceFunc"},
    {"CreateFileW", "0x40020000", "", "Failed to open DeviceInterfaceFunc"},

    // Firmware variables. Their driver's own messages go to the debugger.
    {"CreateFileW", "SAFI", "", kFirmware},
    {"SetupDiGetClassDevsW", "", "", kFirmware},
    {"SetupDiEnumDeviceInterfaces", "", "", kFirmware},
    {"SetupDiGetDeviceInterfaceDetailW", ", 0 bytes", "", "", "the query for the length always fails"},
    {"SetupDiGetDeviceInterfaceDetailW", "", "", kFirmware},
    {"SetupDiDestroyDeviceInfoList", "", "", "", kRelease},
    {"FormatMessageW", "", "", "", "the text is for messages only"},
    {"LocalAlloc", "", "", kFirmware},
    {"LocalFree", "", "", "", kRelease},
    {"DeviceIoControl", "0x9ca30c00", "", "IOCTL_REQ_MODEM_RESET failed"},
    {"DeviceIoControl", "", "", kFirmware},
    {"Pstatus", "", "", kFirmware},
    {"LookupPrivilegeValueW", "", "", "LookupPrivilegeValue Failed"},
    {"AdjustTokenPrivileges", "", "", "AdjustTokenPrivileges Failed"},
    {"OpenProcessToken", ", 0x28", "", "OpenProcessToken Failed"},

    // Archives and what is in them.
    {"CreateFileW", "RILRouter.dll", "", "is NOT exist!!!"},
    {"CreateFileW", "AMSSStats", "", "Unable to get a handle to AMSS driver!"},
    {"CreateFileW", "", "", kExtraction},
    {"ReadFile", "", "", kExtraction, "a header that is read again does no harm", true},
    {"WriteFile", "", "", "Unzipping status !"},
    {"SetFilePointer", "", "", "", "a failed seek is not noticed"},
    {"SetFileTime", "", "", "", kIgnored},
    {"SystemTimeToFileTime", "", "", "", kIgnored},
    {"LocalFileTimeToFileTime", "", "", "", kIgnored},
    {"GetCurrentDirectoryW", "", "", "", kIgnored},
    {"GetFileAttributesW", "", "", "", kIgnored},
    {"SetFileAttributesW", "", "", "", kIgnored},
    {"MultiByteToWideChar", "", "", "", kIgnored},
    {"WideCharToMultiByte", "", "", "", kIgnored},
    {"FindFirstFileW", "modem_core", "", "not Exist"},
    {"FindNextFileW", "", "HideModemFiles", "Error in Hiding Files"},

    // Dumps.
    {"FindFirstFileW", "*.dmp", "", "SSR Dump File Not Found"},
    {"FindFirstFileW", "", "", "FindFirstFileW error"},
    {"FindNextFileW", "", "", "FindNextFile error"},
    {"FindClose", "", "", "", kRelease},
    {"CreateDirectoryW", "", "CopyMoveFiles", "", kIgnored},
    {"CreateDirectoryW", "RetailLog", "", "Create Directory Failed|Creating Dir"},
    {"CreateDirectoryW", "", "", "", "it shows when the file in the folder is created"},
    {"MoveFileExW", "", "", "MoveFileEx error"},
    {"K32EnumProcesses", "", "", "EnumProcesses failed"},
    {"OpenProcess", "0x1fffff", "", "", kSkipped},
    {"OpenProcess", "", "", "GetActiveUserToken Error"},
    {"K32EnumProcessModules", "", "", "", kSkipped},
    {"K32GetModuleBaseNameW", "", "", "", kSkipped},
    {"ProcessIdToSessionId", "", "", "", kIgnored},
    {"OpenProcessToken", "", "", "Process token open Error"},
    {"DuplicateTokenEx", "", "", "DuplicateTokenEx Error"},
    {"CreateEnvironmentBlock", "", "", "", "the program starts without variables of its own"},
    {"DestroyEnvironmentBlock", "", "", "", kRelease},
    {"CreateProcessAsUserW", "", "", "CreateProcessAsUser Error"},

    {"allocation", "", "", "", "the step that needed the memory reports its own failure"},

    // Versions, threads, the radio.
    {"GetFileVersionInfoSizeW", "", "", "", kSkipped},
    {"GetFileVersionInfoW", "", "", "", kSkipped},
    {"VerQueryValueW", "", "", "", kSkipped},
    {"CreateThread", "", "", "", kIgnored},
    {"CloseHandle", "", "", "", kRelease},
    {"SetEvent", "", "", "", kIgnored},
    {"WaitForSingleObject", "", "", "", "the process ends, or the wait counts as over"},
    {"RIL_Initialize", "", "", "", "a radio that is not reached is skipped without a message"},
    {"RIL_RadioCommand", "", "", "", kIgnored},
    {"RIL_Release", "", "", "", kIgnored},
};

constexpr MessageRule kEndOfList{"", "", "", "", "it is the end of the list"};
constexpr MessageRule kReadAgain{"", "", "", "", "the text is longer: it is read again"};
constexpr MessageRule kExists{"", "", "", "", "the folder exists already"};

bool Contains(std::string_view text, std::string_view part) { return text.find(part) != text.npos; }

/// "Unzipping status !" is any status but 0.
bool Shows(const std::string& message, std::string_view part) {
  if (part == "Unzipping status !") {
    std::size_t const at = message.find(kStatus);
    return at != message.npos && message.substr(at + kStatus.size()) != "0";
  }
  return Contains(message, part);
}

}  // namespace

const MessageRule* RuleFor(const KnownCall& call, tablet::WinError error) {
  if (call.name == "FindNextFileW" && error == 18) return &kEndOfList;
  // Map entries that do not fit are read once more, whole.
  bool const of_map = Contains(call.function, "CImageSelector") || Contains(call.function, "ReadMapEntry");
  if (call.name == "RegQueryValueExW" && error == 234 && of_map) return &kReadAgain;
  if (call.name == "CreateDirectoryW" && error == 183 && Contains(call.args, "CPCrash_")) return &kExists;
  auto const rule = std::ranges::find_if(kRules, [&](const MessageRule& row) {
    return row.call == call.name && Contains(call.args, row.args) && Contains(call.function, row.function);
  });
  return rule == std::end(kRules) ? nullptr : &*rule;
}

bool IsReported(const MessageRule& rule, const KnownCall& call, const std::vector<std::string>& messages) {
  for (std::size_t from = 0; from <= rule.message.size();) {
    std::size_t const to = std::min(rule.message.find('|', from), rule.message.size());
    std::string part(rule.message.substr(from, to - from));
    if (std::size_t const value = part.find("{value}"); value != part.npos) {
      part.replace(value, 7, FirstQuoted(call.args));
    }
    if (std::ranges::any_of(messages, [&](const std::string& message) { return Shows(message, part); })) return true;
    from = to + 1;
  }
  return false;
}

}  // namespace cli
