// mingw-w64's header, and the two calls that its version 10 has in the import library but does not declare.
#pragma once
#pragma GCC system_header

#include_next <cfgmgr32.h>

extern "C" {
CMAPI CONFIGRET WINAPI CM_Register_Notification(PCM_NOTIFY_FILTER filter, PVOID context, PCM_NOTIFY_CALLBACK callback,
                                                PHCMNOTIFICATION notification);
CMAPI CONFIGRET WINAPI CM_Unregister_Notification(HCMNOTIFICATION notification);
}
