// Event tracing, classic providers: register, handle the controller's callback, send messages, start a session.
#pragma once

#ifndef VANTORD_WINDOWS_H
#error "include <windows.h> first, as for Windows' own header"
#endif

using TRACEHANDLE = ULONG64;
using PTRACEHANDLE = TRACEHANDLE*;
#define INVALID_PROCESSTRACE_HANDLE (static_cast<TRACEHANDLE>(-1))

// Microsoft's enumerations hold any int: a controller may send requests that are not named here.
enum WMIDPREQUESTCODE : int {
  WMI_GET_ALL_DATA = 0,
  WMI_GET_SINGLE_INSTANCE = 1,
  WMI_SET_SINGLE_INSTANCE = 2,
  WMI_SET_SINGLE_ITEM = 3,
  WMI_ENABLE_EVENTS = 4,
  WMI_DISABLE_EVENTS = 5,
};
using WMIDPREQUEST = ULONG(WINAPI*)(WMIDPREQUESTCODE request, PVOID context, ULONG* reserved, PVOID buffer);

#define WNODE_FLAG_TRACED_GUID 0x00020000u
#define EVENT_TRACE_BUFFERING_MODE 0x00000400u
#define EVENT_TRACE_NO_PER_PROCESSOR_BUFFERING 0x10000000u
#define EVENT_TRACE_ADDTO_TRIAGE_DUMP 0x80000000u
#define EVENT_CONTROL_CODE_ENABLE_PROVIDER 1u
#define TRACE_LEVEL_VERBOSE 5u
#define TRACE_MESSAGE_SEQUENCE 1u
#define TRACE_MESSAGE_GUID 2u
#define TRACE_MESSAGE_TIMESTAMP 8u
#define TRACE_MESSAGE_SYSTEMINFO 32u

struct WNODE_HEADER {
  ULONG BufferSize;  ///< bytes of the whole block, with the names after the structure
  ULONG ProviderId;
  ULONG64 HistoricalContext;  ///< in a provider's callback: the logger handle
  union {
    ULONG CountLost;
    HANDLE KernelHandle;
    LARGE_INTEGER TimeStamp;
  };
  GUID Guid;
  ULONG ClientContext;  ///< 1: time stamps from the performance counter
  ULONG Flags;
};
static_assert(sizeof(WNODE_HEADER) == 48);

struct EVENT_TRACE_PROPERTIES {
  WNODE_HEADER Wnode;
  ULONG BufferSize;  ///< kilobytes
  ULONG MinimumBuffers;
  ULONG MaximumBuffers;
  ULONG MaximumFileSize;
  ULONG LogFileMode;
  ULONG FlushTimer;
  ULONG EnableFlags;
  LONG AgeLimit;
  ULONG NumberOfBuffers;
  ULONG FreeBuffers;
  ULONG EventsLost;
  ULONG BuffersWritten;
  ULONG LogBuffersLost;
  ULONG RealTimeBuffersLost;
  HANDLE LoggerThreadId;
  ULONG LogFileNameOffset;  ///< bytes from the start of the block; 0: no file
  ULONG LoggerNameOffset;
};
using PEVENT_TRACE_PROPERTIES = EVENT_TRACE_PROPERTIES*;
static_assert(sizeof(EVENT_TRACE_PROPERTIES) == 120);

struct TRACE_GUID_REGISTRATION {
  LPCGUID Guid;
  HANDLE RegHandle;
};
using PTRACE_GUID_REGISTRATION = TRACE_GUID_REGISTRATION*;
static_assert(sizeof(TRACE_GUID_REGISTRATION) == 16);

struct ENABLE_TRACE_PARAMETERS;
using PENABLE_TRACE_PARAMETERS = ENABLE_TRACE_PARAMETERS*;

extern "C" {
ULONG WINAPI RegisterTraceGuidsW(WMIDPREQUEST callback, PVOID context, LPCGUID controlGuid, ULONG guidCount,
                                 PTRACE_GUID_REGISTRATION guids, LPCWSTR imagePath, LPCWSTR resourceName,
                                 PTRACEHANDLE registration);
ULONG WINAPI UnregisterTraceGuids(TRACEHANDLE registration);
TRACEHANDLE WINAPI GetTraceLoggerHandle(PVOID buffer);
UCHAR WINAPI GetTraceEnableLevel(TRACEHANDLE logger);
ULONG WINAPI GetTraceEnableFlags(TRACEHANDLE logger);
/// Arguments after the number: pairs of pointer and SIZE_T length in bytes, ended by a null pointer.
ULONG TraceMessage(TRACEHANDLE logger, ULONG flags, LPCGUID messageGuid, USHORT messageNumber, ...);
ULONG WINAPI StartTraceW(PTRACEHANDLE session, LPCWSTR name, PEVENT_TRACE_PROPERTIES properties);
ULONG WINAPI EnableTraceEx2(TRACEHANDLE session, LPCGUID provider, ULONG control, UCHAR level, ULONGLONG matchAny,
                            ULONGLONG matchAll, ULONG timeoutMs, PENABLE_TRACE_PARAMETERS parameters);
}
