// The service control manager, seen from a service process.
#pragma once

#ifndef VANTORD_WINDOWS_H
#error "include <windows.h> first, as for Windows' own header"
#endif

#define SERVICE_STOPPED 0x00000001u
#define SERVICE_START_PENDING 0x00000002u
#define SERVICE_STOP_PENDING 0x00000003u
#define SERVICE_RUNNING 0x00000004u
#define SERVICE_CONTINUE_PENDING 0x00000005u
#define SERVICE_PAUSE_PENDING 0x00000006u
#define SERVICE_PAUSED 0x00000007u

#define SERVICE_ACCEPT_STOP 0x00000001u
#define SERVICE_ACCEPT_POWEREVENT 0x00000040u
#define SERVICE_ACCEPT_PRESHUTDOWN 0x00000100u

#define SERVICE_CONTROL_STOP 0x00000001u
#define SERVICE_CONTROL_PAUSE 0x00000002u
#define SERVICE_CONTROL_CONTINUE 0x00000003u
#define SERVICE_CONTROL_INTERROGATE 0x00000004u
#define SERVICE_CONTROL_SHUTDOWN 0x00000005u
#define SERVICE_CONTROL_DEVICEEVENT 0x0000000Bu
#define SERVICE_CONTROL_POWEREVENT 0x0000000Du
#define SERVICE_CONTROL_PRESHUTDOWN 0x0000000Fu

struct SERVICE_STATUS_HANDLE__;
using SERVICE_STATUS_HANDLE = SERVICE_STATUS_HANDLE__*;

struct SERVICE_STATUS {
  DWORD dwServiceType;
  DWORD dwCurrentState;
  DWORD dwControlsAccepted;
  DWORD dwWin32ExitCode;
  DWORD dwServiceSpecificExitCode;
  DWORD dwCheckPoint;
  DWORD dwWaitHint;  ///< milliseconds
};
using LPSERVICE_STATUS = SERVICE_STATUS*;
static_assert(sizeof(SERVICE_STATUS) == 28);

using LPSERVICE_MAIN_FUNCTIONW = void(WINAPI*)(DWORD argumentCount, LPWSTR* arguments);
using LPHANDLER_FUNCTION_EX = DWORD(WINAPI*)(DWORD control, DWORD eventType, LPVOID eventData, LPVOID context);

struct SERVICE_TABLE_ENTRYW {
  LPWSTR lpServiceName;
  LPSERVICE_MAIN_FUNCTIONW lpServiceProc;
};
static_assert(sizeof(SERVICE_TABLE_ENTRYW) == 16);

struct SC_HANDLE__;
using SC_HANDLE = SC_HANDLE__*;

#define SC_MANAGER_ALL_ACCESS 0xF003Fu
#define SERVICE_ALL_ACCESS 0xF01FFu
#define SERVICE_CONFIG_FAILURE_ACTIONS 2u

enum SC_STATUS_TYPE { SC_STATUS_PROCESS_INFO = 0 };

struct SERVICE_STATUS_PROCESS {
  DWORD dwServiceType;
  DWORD dwCurrentState;
  DWORD dwControlsAccepted;
  DWORD dwWin32ExitCode;
  DWORD dwServiceSpecificExitCode;
  DWORD dwCheckPoint;
  DWORD dwWaitHint;  ///< milliseconds
  DWORD dwProcessId;
  DWORD dwServiceFlags;
};
static_assert(sizeof(SERVICE_STATUS_PROCESS) == 36);

enum SC_ACTION_TYPE { SC_ACTION_NONE = 0, SC_ACTION_RESTART = 1, SC_ACTION_REBOOT = 2, SC_ACTION_RUN_COMMAND = 3 };

struct SC_ACTION {
  SC_ACTION_TYPE Type;
  DWORD Delay;  ///< milliseconds
};
static_assert(sizeof(SC_ACTION) == 8);

struct SERVICE_FAILURE_ACTIONSW {
  DWORD dwResetPeriod;  ///< seconds
  LPWSTR lpRebootMsg;
  LPWSTR lpCommand;
  DWORD cActions;
  SC_ACTION* lpsaActions;
};
static_assert(sizeof(SERVICE_FAILURE_ACTIONSW) == 40);

extern "C" {
SC_HANDLE WINAPI OpenSCManagerW(LPCWSTR machine, LPCWSTR database, DWORD access);
SC_HANDLE WINAPI OpenServiceW(SC_HANDLE manager, LPCWSTR name, DWORD access);
BOOL WINAPI CloseServiceHandle(SC_HANDLE handle);
BOOL WINAPI QueryServiceStatusEx(SC_HANDLE service, SC_STATUS_TYPE level, LPBYTE buffer, DWORD size, LPDWORD needed);
BOOL WINAPI StartServiceW(SC_HANDLE service, DWORD argumentCount, LPCWSTR* arguments);
BOOL WINAPI ControlService(SC_HANDLE service, DWORD control, LPSERVICE_STATUS status);
BOOL WINAPI ChangeServiceConfig2W(SC_HANDLE service, DWORD level, LPVOID info);
BOOL WINAPI StartServiceCtrlDispatcherW(const SERVICE_TABLE_ENTRYW* table);
SERVICE_STATUS_HANDLE WINAPI RegisterServiceCtrlHandlerExW(LPCWSTR serviceName, LPHANDLER_FUNCTION_EX handler,
                                                           LPVOID context);
BOOL WINAPI SetServiceStatus(SERVICE_STATUS_HANDLE handle, LPSERVICE_STATUS status);
}
