// The radio interface layer's proxy library, "kavrilproxy.dll": a part of the platform, imported by ordinal only. The
// ordinals are listed in package/kavrilproxy.def.
#pragma once

#include <windows.h>

/// An opaque connection to the radio layer.
using HRIL = void*;

/// Completion of a command. Called on a thread of the proxy; the sixth argument is the client's context.
using RILRESULTCALLBACK = void(CALLBACK*)(ULONG_PTR, ULONG_PTR, ULONG_PTR, ULONG_PTR, ULONG_PTR, void* context);
/// A notification of the radio. Called on a thread of the proxy; the fifth argument is the client's context.
using RILNOTIFYCALLBACK = void(CALLBACK*)(ULONG_PTR, ULONG_PTR, ULONG_PTR, ULONG_PTR, void* context);

extern "C" {
/// Ordinal 1: connects. `notificationClasses` points to the mask of wanted notification classes. On success (a result
/// that is not negative) `*handle` is the connection, which RIL_Release ends.
HRESULT WINAPI RIL_Initialize(DWORD port, RILRESULTCALLBACK onResult, RILNOTIFYCALLBACK onNotify,
                              DWORD* notificationClasses, DWORD reserved, void* context, const WCHAR* clientName,
                              HRIL* handle);
/// Ordinal 3: disconnects.
HRESULT WINAPI RIL_Release(HRIL handle);
/// Ordinal 9: a radio command; its completion arrives through the result callback.
HRESULT WINAPI RIL_RadioCommand(HRIL handle, void* reserved, DWORD value);
}
