// Where the device stands in its run: factory line, first-boot setup, or a user's hands. Nothing is cached: each
// query reads the registry or the file system again and logs its verdict.
#pragma once

#include <windows.h>

/// The image state is IMAGE_STATE_SPECIALIZE_RESEAL_TO_AUDIT.
[[nodiscard]] bool IsAuditMode();
/// The image state is IMAGE_STATE_UNDEPLOYABLE.
[[nodiscard]] bool IsUndeployMode();
/// Audit mode, or an undeployable image with the factory's diagnostic library on it.
[[nodiscard]] bool IsFactoryLoggingMode();
/// The file can be opened for nothing, sharing nothing.
[[nodiscard]] bool CheckFileExist(const WCHAR* path);
/// First-boot setup has not ended: the image state can be read and is none of the completed or resealed ones.
[[nodiscard]] bool IsDefaultSetupState();
/// The system keeps crash dumps ("CrashDumpEnabled" can be read and is not 0).
[[nodiscard]] bool IsDiagnosisDumpEnabled();
