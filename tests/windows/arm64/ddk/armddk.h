// What <wdm.h> of mingw-w64 expects of a header for ARM, which mingw-w64 does not have.
#pragma once

EXTERN_C struct _KTHREAD* NTAPI KeGetCurrentThread(void);
