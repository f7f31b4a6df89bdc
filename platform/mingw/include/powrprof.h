// mingw-w64's header, and powersetting.h, which Windows' own header brings along.
#pragma once

#include_next <powrprof.h>

#include <powersetting.h>
