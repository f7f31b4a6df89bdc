// The trace session of the factory line: its name, its size and the providers it records.
#pragma once

#include <windows.h>

inline constexpr WCHAR kFactorySessionName[] = TEXT("KAVRIL10");
inline constexpr DWORD kFactoryProviderCount = 12;
inline constexpr DWORD kFactoryMinimumBuffers = 64;

/// In the order in which they are enabled; the third is this service's own.
extern const GUID kFactoryProviders[kFactoryProviderCount];
