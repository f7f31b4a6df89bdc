// What the test driver and the programs that steer it agree upon. Needs Windows' types before it: the driver has them
// from <wdm.h>, programs from <windows.h>.
#pragma once

/// The steering device, under \DosDevices in the kernel.
#define VANTORD_STEERING_DEVICE "VantordTest"

inline constexpr ULONG kSteerInterface = 0x80002000;  ///< in: SteerInterface
inline constexpr ULONG kSteerVariable = 0x80002004;   ///< in: SteerVariable; no bytes: the variable is removed
inline constexpr ULONG kSteerTrouble = 0x80002008;    ///< in: SteerTrouble
inline constexpr ULONG kReadVariable = 0x8000200C;    ///< in: SteerVariable, of which the key counts; out: the same
inline constexpr ULONG kReadArrivals = 0x80002010;    ///< out: SteerArrivals, which start anew

/// Three device interfaces, and "\\.\AMSSStats", which is there at first and the others are not.
enum SteerWhich : ULONG { kSteerModem = 0, kSteerSafi = 1, kSteerUsb = 2, kSteerInterfaces = 3, kSteerStatistics = 3 };

/// An interface arrives or leaves.
struct SteerInterface {
  ULONG which;  ///< SteerWhich
  ULONG present;
};

/// A firmware variable. `key`: its vendor's braced GUID directly followed by its name, terminated.
struct SteerVariable {
  WCHAR key[130];
  ULONG bytes;
  UCHAR data[256];
};

inline constexpr ULONG kSteerAlways = 0xFFFFFFFF;

/// What the next requests to the firmware driver meet.
struct SteerTrouble {
  ULONG status;  ///< the reply's status; 0: no trouble
  ULONG count;   ///< for how many requests; kSteerAlways: all
};

/// A firmware driver in lasting trouble is asked several hundred times.
inline constexpr ULONG kSteerKeptCodes = 2048;

/// What has arrived at the devices.
struct SteerArrivals {
  ULONG modemOrSafiOpened;  ///< one device carries both interfaces
  ULONG statisticsOpened;   ///< "\\.\AMSSStats"
  ULONG requests;           ///< how many there were; the codes of the first ones follow
  ULONG codes[kSteerKeptCodes];
  ULONG resetBytes;  ///< of the last request to the statistics device
  UCHAR reset[1042];
};
