// mingw-w64's header, and powersetting.h, which Windows' own header brings along.
#pragma once
#pragma GCC system_header

#include_next <powrprof.h>

#include <powersetting.h>
