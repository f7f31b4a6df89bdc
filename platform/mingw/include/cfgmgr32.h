// mingw-w64's header has the notification types but not the two calls; its import library has both. Declared as
// Microsoft documents them. On the include path of mingw-w64 builds only.
#pragma once

#include_next <cfgmgr32.h>

extern "C" {
CONFIGRET WINAPI CM_Register_Notification(PCM_NOTIFY_FILTER filter, PVOID context, PCM_NOTIFY_CALLBACK callback,
                                          PHCMNOTIFICATION notification);
CONFIGRET WINAPI CM_Unregister_Notification(HCMNOTIFICATION notification);
}
