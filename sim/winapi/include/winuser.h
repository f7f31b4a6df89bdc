// Power events as services receive them.
#pragma once

#include <winbase.h>

#define DEVICE_NOTIFY_SERVICE_HANDLE 0x00000001u

#define PBT_APMSUSPEND 0x0004u
#define PBT_APMRESUMEAUTOMATIC 0x0012u
#define PBT_POWERSETTINGCHANGE 0x8013u

using HPOWERNOTIFY = PVOID;
using PHPOWERNOTIFY = HPOWERNOTIFY*;

struct POWERBROADCAST_SETTING {
  GUID PowerSetting;
  DWORD DataLength;  ///< bytes of Data
  UCHAR Data[1];
};
static_assert(sizeof(POWERBROADCAST_SETTING) == 24);
