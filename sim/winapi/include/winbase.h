// What Windows keeps in winbase.h and in the API-set headers that winbase.h includes: files, threads and events, time,
// memory, last error, tokens, text conversion. Only what the product calls is declared; sim/winapi/README.md says how
// far each call is modelled.
#pragma once

#include <winnt.h>

#include <cstdarg>

#define INVALID_HANDLE_VALUE (reinterpret_cast<HANDLE>(static_cast<LONG_PTR>(-1)))
#define INVALID_FILE_ATTRIBUTES (static_cast<DWORD>(-1))
#define INVALID_SET_FILE_POINTER (static_cast<DWORD>(-1))
#define INFINITE 0xFFFFFFFFu

#define WAIT_OBJECT_0 0x00000000u
#define WAIT_TIMEOUT 258u
#define WAIT_FAILED 0xFFFFFFFFu

#define CREATE_NEW 1u
#define CREATE_ALWAYS 2u
#define OPEN_EXISTING 3u
#define OPEN_ALWAYS 4u
#define TRUNCATE_EXISTING 5u

#define FILE_BEGIN 0u
#define FILE_CURRENT 1u
#define FILE_END 2u

#define FILE_FLAG_OVERLAPPED 0x40000000u
#define SECURITY_IMPERSONATION (SecurityImpersonation << 16)

#define CREATE_NEW_CONSOLE 0x00000010u
#define NORMAL_PRIORITY_CLASS 0x00000020u
#define CREATE_UNICODE_ENVIRONMENT 0x00000400u

#define WT_EXECUTELONGFUNCTION 0x00000010u

#define FORMAT_MESSAGE_ALLOCATE_BUFFER 0x00000100u
#define FORMAT_MESSAGE_IGNORE_INSERTS 0x00000200u
#define FORMAT_MESSAGE_FROM_SYSTEM 0x00001000u

#define LMEM_FIXED 0x0000u
#define LMEM_ZEROINIT 0x0040u
#define LPTR (LMEM_FIXED | LMEM_ZEROINIT)

#define CP_ACP 0u
#define CP_UTF8 65001u

struct SECURITY_ATTRIBUTES {
  DWORD nLength;
  LPVOID lpSecurityDescriptor;
  BOOL bInheritHandle;
};
using LPSECURITY_ATTRIBUTES = SECURITY_ATTRIBUTES*;
static_assert(sizeof(SECURITY_ATTRIBUTES) == 24);

struct OVERLAPPED {
  ULONG_PTR Internal;
  ULONG_PTR InternalHigh;
  DWORD Offset;
  DWORD OffsetHigh;
  HANDLE hEvent;
};
using LPOVERLAPPED = OVERLAPPED*;
static_assert(sizeof(OVERLAPPED) == 32);

struct SYSTEMTIME {
  WORD wYear;
  WORD wMonth;
  WORD wDayOfWeek;
  WORD wDay;
  WORD wHour;
  WORD wMinute;
  WORD wSecond;
  WORD wMilliseconds;
};
using LPSYSTEMTIME = SYSTEMTIME*;
static_assert(sizeof(SYSTEMTIME) == 16);

struct WIN32_FIND_DATAW {
  DWORD dwFileAttributes;
  FILETIME ftCreationTime;
  FILETIME ftLastAccessTime;
  FILETIME ftLastWriteTime;
  DWORD nFileSizeHigh;
  DWORD nFileSizeLow;
  DWORD dwReserved0;
  DWORD dwReserved1;
  WCHAR cFileName[MAX_PATH];
  WCHAR cAlternateFileName[14];
};
using LPWIN32_FIND_DATAW = WIN32_FIND_DATAW*;
static_assert(sizeof(WIN32_FIND_DATAW) == 592);

struct STARTUPINFOW {
  DWORD cb;  ///< bytes of the structure
  LPWSTR lpReserved;
  LPWSTR lpDesktop;
  LPWSTR lpTitle;
  DWORD dwX;
  DWORD dwY;
  DWORD dwXSize;
  DWORD dwYSize;
  DWORD dwXCountChars;
  DWORD dwYCountChars;
  DWORD dwFillAttribute;
  DWORD dwFlags;
  WORD wShowWindow;
  WORD cbReserved2;
  LPBYTE lpReserved2;
  HANDLE hStdInput;
  HANDLE hStdOutput;
  HANDLE hStdError;
};
using LPSTARTUPINFOW = STARTUPINFOW*;
static_assert(sizeof(STARTUPINFOW) == 104);

struct PROCESS_INFORMATION {
  HANDLE hProcess;
  HANDLE hThread;
  DWORD dwProcessId;
  DWORD dwThreadId;
};
using LPPROCESS_INFORMATION = PROCESS_INFORMATION*;
static_assert(sizeof(PROCESS_INFORMATION) == 24);

using LPTHREAD_START_ROUTINE = DWORD(WINAPI*)(LPVOID parameter);

extern "C" {

// Last error (per thread).
DWORD WINAPI GetLastError();
void WINAPI SetLastError(DWORD error);

// Files.
HANDLE WINAPI CreateFileW(LPCWSTR fileName, DWORD access, DWORD shareMode, LPSECURITY_ATTRIBUTES security,
                          DWORD disposition, DWORD flagsAndAttributes, HANDLE templateFile);
BOOL WINAPI ReadFile(HANDLE file, LPVOID buffer, DWORD bytesToRead, LPDWORD bytesRead, LPOVERLAPPED overlapped);
BOOL WINAPI WriteFile(HANDLE file, LPCVOID buffer, DWORD bytesToWrite, LPDWORD bytesWritten, LPOVERLAPPED overlapped);
DWORD WINAPI SetFilePointer(HANDLE file, LONG distance, PLONG distanceHigh, DWORD method);
BOOL WINAPI SetFileTime(HANDLE file, const FILETIME* creation, const FILETIME* access, const FILETIME* write);
DWORD WINAPI GetFileAttributesW(LPCWSTR fileName);
BOOL WINAPI SetFileAttributesW(LPCWSTR fileName, DWORD attributes);
BOOL WINAPI CreateDirectoryW(LPCWSTR path, LPSECURITY_ATTRIBUTES security);
BOOL WINAPI MoveFileExW(LPCWSTR existing, LPCWSTR target, DWORD flags);
DWORD WINAPI GetCurrentDirectoryW(DWORD bufferLength, LPWSTR buffer);
HANDLE WINAPI FindFirstFileW(LPCWSTR pattern, LPWIN32_FIND_DATAW data);
BOOL WINAPI FindNextFileW(HANDLE find, LPWIN32_FIND_DATAW data);
BOOL WINAPI FindClose(HANDLE find);
BOOL WINAPI CloseHandle(HANDLE object);
BOOL WINAPI DeviceIoControl(HANDLE device, DWORD code, LPVOID in, DWORD inSize, LPVOID out, DWORD outSize,
                            LPDWORD returned, LPOVERLAPPED overlapped);

// Time.
void WINAPI GetSystemTime(LPSYSTEMTIME systemTime);
BOOL WINAPI SystemTimeToFileTime(const SYSTEMTIME* systemTime, LPFILETIME fileTime);
BOOL WINAPI LocalFileTimeToFileTime(const FILETIME* local, LPFILETIME utc);
DWORD WINAPI GetTickCount();

// Threads and events.
void WINAPI Sleep(DWORD milliseconds);
HANDLE WINAPI CreateEventW(LPSECURITY_ATTRIBUTES security, BOOL manualReset, BOOL initialState, LPCWSTR name);
BOOL WINAPI SetEvent(HANDLE event);
DWORD WINAPI WaitForSingleObject(HANDLE object, DWORD milliseconds);
BOOL WINAPI QueueUserWorkItem(LPTHREAD_START_ROUTINE function, PVOID context, ULONG flags);

HANDLE WINAPI CreateThread(LPSECURITY_ATTRIBUTES security, SIZE_T stackBytes, LPTHREAD_START_ROUTINE function,
                           LPVOID parameter, DWORD flags, LPDWORD threadId);

// Processes and tokens.
HANDLE WINAPI OpenProcess(DWORD access, BOOL inherit, DWORD processId);
BOOL WINAPI ProcessIdToSessionId(DWORD processId, DWORD* sessionId);
BOOL WINAPI CreateProcessAsUserW(HANDLE token, LPCWSTR application, LPWSTR commandLine,
                                 LPSECURITY_ATTRIBUTES processSecurity, LPSECURITY_ATTRIBUTES threadSecurity,
                                 BOOL inheritHandles, DWORD flags, LPVOID environment, LPCWSTR currentDirectory,
                                 LPSTARTUPINFOW startupInfo, LPPROCESS_INFORMATION processInformation);
BOOL WINAPI DuplicateTokenEx(HANDLE token, DWORD access, LPSECURITY_ATTRIBUTES security,
                             SECURITY_IMPERSONATION_LEVEL level, TOKEN_TYPE type, PHANDLE duplicate);
HANDLE WINAPI GetCurrentProcess();
BOOL WINAPI OpenProcessToken(HANDLE process, DWORD access, PHANDLE token);
BOOL WINAPI LookupPrivilegeValueW(LPCWSTR system, LPCWSTR name, PLUID luid);
BOOL WINAPI AdjustTokenPrivileges(HANDLE token, BOOL disableAll, PTOKEN_PRIVILEGES newState, DWORD bufferLength,
                                  PTOKEN_PRIVILEGES previousState, PDWORD returnLength);

// Memory.
HANDLE WINAPI GetProcessHeap();
LPVOID WINAPI HeapAlloc(HANDLE heap, DWORD flags, SIZE_T bytes);
BOOL WINAPI HeapFree(HANDLE heap, DWORD flags, LPVOID memory);
HLOCAL WINAPI LocalAlloc(UINT flags, SIZE_T bytes);
HLOCAL WINAPI LocalFree(HLOCAL memory);

// Text.
void WINAPI OutputDebugStringW(LPCWSTR text);
DWORD WINAPI FormatMessageW(DWORD flags, LPCVOID source, DWORD messageId, DWORD languageId, LPWSTR buffer, DWORD size,
                            std::va_list* arguments);
int WINAPI MultiByteToWideChar(UINT codePage, DWORD flags, LPCCH in, int inBytes, LPWSTR out, int outCharacters);
int WINAPI WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR in, int inCharacters, LPSTR out, int outBytes,
                               LPCCH defaultCharacter, LPBOOL usedDefault);
}
