// The kit's own service: what it does is chosen by its start argument, and what happens to it is noted in a file.
#pragma once

#include <string>

namespace kit {

/// What the service does, as its start argument.
inline constexpr const wchar_t* kQuick = L"quick";               ///< runs at once; without an argument, too
inline constexpr const wchar_t* kSilentStart = L"silent-start";  ///< reports nothing for two seconds
inline constexpr const wchar_t* kSlowStart = L"slow-start";      ///< START_PENDING for four seconds
inline constexpr const wchar_t* kSlowStop = L"slow-stop";        ///< STOP_PENDING for four seconds
inline constexpr const wchar_t* kStopFails = L"stop-fails";      ///< RUNNING again after a stop, for two seconds
inline constexpr const wchar_t* kLateStatus = L"late-status";    ///< reports RUNNING after STOPPED
inline constexpr const wchar_t* kPower = L"power";               ///< registers for a power setting
inline constexpr const wchar_t* kDesktop = L"desktop";           ///< starts a program on an empty desktop
inline constexpr const wchar_t* kPreshutdown = L"preshutdown";   ///< accepts the preshutdown notice

/// Controls of the service, besides those of Windows.
inline constexpr unsigned kHarmless = 134;
inline constexpr unsigned kControlOther = 200;  ///< the handler sends kHarmless to the second service
inline constexpr unsigned kStartOther = 201;    ///< the handler starts the second service

inline constexpr const wchar_t* kServiceNotes = L"service.txt";  ///< in the folder; one line for each note

/// The service's process: `name` is its own, `folder` that of its notes.
int RunOwnService(const std::wstring& name, const std::wstring& folder);

}  // namespace kit
