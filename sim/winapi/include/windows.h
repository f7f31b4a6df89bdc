// Replaces Windows' own header, on the include path of hosted builds only. The folder's other headers need
// this one first, as Windows' own do.
#pragma once

#if !defined(WIN32_LEAN_AND_MEAN) || !defined(NOMINMAX)
#error "Vantord is built with WIN32_LEAN_AND_MEAN and NOMINMAX defined, as every build of it is"
#endif

#include <wchar16.h>
#include <winbase.h>
#include <winerror.h>
#include <winreg.h>
#include <winuser.h>
#include <winver.h>

#define VANTORD_WINDOWS_H
