// The zone mask that the service starts with.
#pragma once

/// Replaces g_ulZoneMask by the registry's "ulZoneMask" (REG_DWORD under the service's "Parameters"), if that can be
/// read.
void GetDebugZoneMask();
