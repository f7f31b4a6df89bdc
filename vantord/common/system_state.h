// The device's state: factory line, first-boot setup, or in use. Nothing is cached: each query reads the registry or
// the file system again and logs its result.
#pragma once

#include <windows.h>

/// The image state is IMAGE_STATE_SPECIALIZE_RESEAL_TO_AUDIT.
[[nodiscard]] bool IsAuditMode();
/// The image state is IMAGE_STATE_UNDEPLOYABLE.
[[nodiscard]] bool IsUndeployMode();
/// Audit mode, or an undeployable image with the factory's diagnostic library on it.
[[nodiscard]] bool IsFactoryLoggingMode();
/// True if the file opens with no access rights and share mode 0.
[[nodiscard]] bool CheckFileExist(const WCHAR* path);
/// First-boot setup has not ended: the image state can be read and is neither a completed nor a resealed state.
[[nodiscard]] bool IsDefaultSetupState();
/// The system keeps crash dumps ("CrashDumpEnabled" can be read and is not 0).
[[nodiscard]] bool IsDiagnosisDumpEnabled();
