// The interface between the test driver and the programs that control it. Include <wdm.h> (driver) or <windows.h>
// (programs) before it.
#pragma once

/// The control device, under \DosDevices in the kernel.
#define VANTORD_STEERING_DEVICE "VantordTest"

inline constexpr ULONG kSteerInterface = 0x80002000;  ///< in: SteerInterface
inline constexpr ULONG kSteerVariable = 0x80002004;   ///< in: SteerVariable; no bytes: the variable is removed
inline constexpr ULONG kSteerTrouble = 0x80002008;    ///< in: SteerTrouble
inline constexpr ULONG kReadVariable = 0x8000200C;    ///< in: SteerVariable with the key; out: the same
inline constexpr ULONG kReadArrivals = 0x80002010;    ///< out: SteerArrivals, which are then reset

/// Three device interfaces, absent at first, and "\\.\AMSSStats", present at first.
enum SteerWhich : ULONG { kSteerModem = 0, kSteerSafi = 1, kSteerUsb = 2, kSteerInterfaces = 3, kSteerStatistics = 3 };

/// An interface arrives or leaves.
struct SteerInterface {
  ULONG which;  ///< SteerWhich
  ULONG present;
};

/// A firmware variable. `key`: the vendor's braced GUID directly followed by the name, null-terminated.
struct SteerVariable {
  WCHAR key[130];
  ULONG bytes;
  UCHAR data[256];
};

inline constexpr ULONG kSteerAlways = 0xFFFFFFFF;

/// The reply to the next requests to the firmware driver.
struct SteerTrouble {
  ULONG status;  ///< the reply's status; 0: normal
  ULONG count;   ///< number of requests; kSteerAlways: all
};

/// A failing firmware driver gets several hundred requests.
inline constexpr ULONG kSteerKeptCodes = 2048;

/// What the devices received.
struct SteerArrivals {
  ULONG modemOrSafiOpened;  ///< one device carries both interfaces
  ULONG statisticsOpened;   ///< "\\.\AMSSStats"
  ULONG requests;           ///< number of requests; the codes of the first ones follow
  ULONG codes[kSteerKeptCodes];
  ULONG resetBytes;  ///< of the last request to the statistics device
  UCHAR reset[1042];
};
